// Error boxes that come in numbers, and the mark that our own dialogs leave.
#include "ui/prompts.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QDialog>
#include <QMessageBox>
#include <QTimer>

#include "support/fixture.h"
#include "ui/gate.h"

using namespace Qt::StringLiterals;

namespace {

struct Dialogs : Fixture {
    HoldableGate theGate;
    QtWaits theWaits{theGate};
    QtPrompts real{state, theWaits};

    static std::vector<QMessageBox*> Boxes()
    {
        std::vector<QMessageBox*> open;
        for (QWidget* window : QApplication::topLevelWidgets())
            if (auto* box = qobject_cast<QMessageBox*>(window); box && box->isVisible()) open.push_back(box);
        return open;
    }
};

}  // namespace

TEST(Prompts, OneErrorBoxCountsWhatComesMeanwhile)
{
    Dialogs f;
    for (int i = 0; i < 1000; ++i) f.real.CriticalBox(u"T"_s, u"<b>%1</b>"_s.arg(i), Cause::Remote);
    const auto boxes = Dialogs::Boxes();
    ASSERT_EQ(boxes.size(), 1U);
    EXPECT_EQ(boxes[0]->text(), u"<b>0</b>"_s);
    EXPECT_EQ(boxes[0]->textFormat(), Qt::PlainText);
    EXPECT_FALSE(boxes[0]->isModal());  // its cause is remote: the window stays usable
    EXPECT_TRUE(boxes[0]->informativeText().startsWith(u"999 "_s));
    boxes[0]->done(0);
    EXPECT_TRUE(f.real.ActivationIsOurs());

    bool modal = false;
    QTimer::singleShot(0, &f.theGate, [&] {
        const auto open = Dialogs::Boxes();
        modal = open.size() == 1 && open[0]->isModal();
        for (QMessageBox* box : open) box->done(0);
    });
    f.real.CriticalBox(u"T"_s, u"own"_s, Cause::Local);  // returns when it is answered
    EXPECT_TRUE(modal);
}

TEST(Prompts, AModelessFormServesTheRestAndMarksItsClosing)
{
    Dialogs f;
    EXPECT_FALSE(f.real.ActivationIsOurs());
    QDialog form;
    int served = 0;
    QTimer::singleShot(0, &form, [&] {
        ++served;
        EXPECT_FALSE(form.isModal());
        EXPECT_TRUE(f.theGate.IsOpen());
        EXPECT_TRUE(f.real.ActivationIsOurs());  // while it is open, as often as asked
        EXPECT_TRUE(f.real.ActivationIsOurs());
        form.done(0);
    });
    f.real.RunForm(form, Modality::Modeless);
    EXPECT_EQ(served, 1);
    EXPECT_TRUE(f.real.ActivationIsOurs());
    EXPECT_FALSE(f.real.ActivationIsOurs());  // the mark counts once
}
