// Dialogs and boxes, the mark that they leave, and the splash that gives way to them.
#include "ui/prompts.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QDialog>
#include <QFile>
#include <QFileDialog>
#include <QHeaderView>
#include <QLineEdit>
#include <QMessageBox>
#include <QProxyStyle>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QTreeView>

#include "support/fixture.h"
#include "ui/frm_splash.h"
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
    EXPECT_TRUE(QTest::qWaitFor([&] { return boxes[0]->informativeText().startsWith(u"999 "_s); }));
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

TEST(Prompts, ALinkIsShownWholeAndNotOpenedByAKeyInPassing)
{
    Dialogs f;
    const QString address = u"http://xn--4ca.example/"_s + QString(1900, u'x') + u"<b>"_s;
    const auto ask = [&](auto answer) {
        QTimer::singleShot(0, &f.theGate, [&] {
            const auto boxes = Dialogs::Boxes();
            ASSERT_EQ(boxes.size(), 1U);
            EXPECT_EQ(boxes[0]->informativeText().remove(u'\n'), address);
            EXPECT_EQ(boxes[0]->textFormat(), Qt::PlainText);
            EXPECT_TRUE(boxes[0]->text().contains(u"xn--4ca.example"_s));
            EXPECT_LT(boxes[0]->width(), 1000);
            answer(*boxes[0]);
        });
        return f.real.AskLink(address, u"xn--4ca.example"_s);
    };
    EXPECT_FALSE(ask([](QMessageBox& box) { QTest::keyClick(&box, Qt::Key_Return); }));
    EXPECT_FALSE(ask([](QMessageBox& box) { QTest::keyClick(&box, Qt::Key_Escape); }));
    EXPECT_TRUE(ask([](QMessageBox& box) { box.findChild<QPushButton*>(u"cmdOpen"_s)->click(); }));
}

TEST(Prompts, FilesAreChosenByNameFromColumnsShownWhole)
{
    Dialogs f;
    QTemporaryDir folder;
    const QDir before = QDir::current();
    QDir::setCurrent(folder.path());
    QFile(folder.filePath(u"meeting.bmp"_s)).open(QIODevice::WriteOnly);
    const auto choose = [](const QString& file) {
        auto* name = QApplication::activeModalWidget()->findChild<QLineEdit*>(u"fileNameEdit"_s);
        QTest::keyClicks(name, file);
        QTest::keyClick(name, Qt::Key_Return);
    };
    QTimer::singleShot(0, &f.theGate, [&] {
        auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        ASSERT_TRUE(dialog);
        EXPECT_EQ(dialog->labelText(QFileDialog::LookIn), u"Save in:"_s);
        auto* list = dialog->findChild<QTreeView*>(u"treeView"_s);
        EXPECT_TRUE(QTest::qWaitFor([&] { return list->model()->rowCount(list->rootIndex()) == 1; }));
        const QAbstractItemView* sized = list;  // which lets everybody ask
        int wanted = 0;
        for (int column = 0; column < list->header()->count(); ++column) {
            EXPECT_GE(list->columnWidth(column), sized->sizeHintForColumn(column)) << column;
            wanted += list->columnWidth(column);
        }
        EXPECT_LE(wanted, list->viewport()->width());
        choose(u"other"_s);  // gets its ending
    });
    EXPECT_EQ(f.real.SaveFile(u"T"_s, u"Images"_s, {u"*.jpg"_s, u"*.bmp"_s}, u"jpg"_s),
              folder.filePath(u"other.jpg"_s));
    QTimer::singleShot(0, &f.theGate, [&] { choose(u"meeting.bmp"_s); });
    EXPECT_EQ(f.real.OpenFile(u"T"_s, u"Images"_s, {u"*.jpg"_s, u"*.bmp"_s}),
              folder.filePath(u"meeting.bmp"_s));
    QDir::setCurrent(before.path());
}

TEST(Prompts, NoButtonHasAStockIcon)
{
    struct IconStyle : QProxyStyle {  // as desktops have it
        int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                      QStyleHintReturn* data) const override
        {
            return hint == SH_DialogButtonBox_ButtonsHaveIcons
                       ? 1
                       : QProxyStyle::styleHint(hint, option, widget, data);
        }
    };
    QApplication::setStyle(new IconStyle);
    Dialogs f;
    const auto look = [&](auto run) {
        int buttons = 0;
        QTimer::singleShot(0, &f.theGate, [&] {
            auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
            QMessageBox inside(QMessageBox::Warning, u"T"_s, u"Replace it?"_s, QMessageBox::Yes, dialog);
            inside.show();
            for (QWidget* window : {static_cast<QWidget*>(dialog), static_cast<QWidget*>(&inside)})
                for (const QPushButton* button : window->findChildren<QPushButton*>()) {
                    EXPECT_TRUE(button->icon().isNull()) << button->text().toStdString();
                    ++buttons;
                }
            dialog->reject();
        });
        run();
        EXPECT_GE(buttons, 2);
    };
    look([&] { f.real.Box(BoxIcon::Information, u"T"_s, u"x"_s); });
    look([&] { f.real.CriticalBox(u"T"_s, u"x"_s, Cause::Local); });
    look([&] { f.real.OpenFile(u"T"_s, u"Images"_s, {u"*.jpg"_s}); });
    look([&] { f.real.SelectFont(u"T"_s, {}); });
    QApplication::setStyle(u"Fusion"_s);
}

TEST(Splash, NeverStandsBehindADialog)
{
    frmSplash splash;
    splash.ShowPainted();
    ASSERT_TRUE(splash.isVisible());
    QDialog dialog;
    dialog.show();
    EXPECT_FALSE(splash.isVisible());
    dialog.hide();
    EXPECT_TRUE(QTest::qWaitFor([&] { return splash.isVisible(); }));  // while the login goes on
    splash.Unload();
    dialog.show();
    dialog.hide();
    QCoreApplication::processEvents();
    EXPECT_FALSE(splash.isVisible());
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
