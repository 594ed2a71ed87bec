// What strangers write, wherever a window shows it: plain text in its own place.
#include <gtest/gtest.h>

#include <QLabel>
#include <QStyledItemDelegate>
#include <QTextDocument>

#include "base/error_trap.h"
#include "messaging/chat_rules.h"
#include "session/login_rules.h"
#include "support/injections.h"
#include "support/plain.h"
#include "text/text_rules.h"
#include "ui/meeting_desk.h"
#include "whiteboard/history.h"

using namespace Qt::StringLiterals;

namespace {

/// What a tooltip shows: it reads some texts as markup.
QString Shown(const QString& toolTip)
{
    QTextDocument document;
    if (Qt::mightBeRichText(toolTip))
        document.setHtml(toolTip);
    else
        document.setPlainText(toolTip);
    return document.toPlainText().replace(u'\n', u' ');
}

TEST(Strangers, ArePlainTextInEveryPanelBoxAndList)
{
    WholeDesk f;
    AttendeeList& list = *f.Panel().lstUsers;
    const auto* modified = f.Find<QLabel>("WBStatus");
    const auto* link = f.Find<QLabel>("Link");
    const auto display = [&](int row) {
        const auto* look =
            qobject_cast<QStyledItemDelegate*>(list.itemDelegateForIndex(list.model()->index(row, 0)));
        return look ? look->displayText(list.item(row)->text(), {}) : QString();
    };
    for (const std::string& bytes : Injections()) {
        const QString text = Utf8Text(QByteArrayView(bytes.data(), qsizetype(bytes.size())));
        SCOPED_TRACE(bytes);
        ShowLastModified(f.state, text, f.clock.now);
        EXPECT_EQ(modified->textFormat(), Qt::PlainText);
        EXPECT_TRUE(IsPlain(modified->text(), true));

        LinkState note;
        note.text = text, note.details = text, note.remark = true;
        f.service->Link(note);
        EXPECT_EQ(link->textFormat(), Qt::PlainText);
        EXPECT_TRUE(IsPlain(link->text(), true));
        EXPECT_TRUE(IsPlain(Shown(link->toolTip())));
        note.remark = false;
        f.service->Link(note);
        EXPECT_TRUE(IsPlain(link->text(), true));

        const int row = list.count();
        list.Add(text);
        EXPECT_TRUE(IsPlain(display(row)));
        EXPECT_TRUE(IsPlain(Shown(list.item(row)->toolTip())));
        EXPECT_EQ(list.item(row)->text(), text);  // a whisper reaches whom it names

        f.prompts.boxes.clear();
        Trapped(f.state, "HandleWBMessage", [&] { throw std::runtime_error(bytes); });
        EXPECT_TRUE(IsPlain(f.prompts.boxes.join(QString())));
        EXPECT_TRUE(IsPlain(PasswordSentMessage(text, text), true));
        EXPECT_TRUE(IsPlain(HandleUnknownMessage(text), true));

        const qsizetype lines = f.Conversation().count(u"\r\n"_s);
        f.Panel().txtChat->Append(LineFor(u"ann"_s, text, u"x"_s));
        EXPECT_EQ(f.Conversation().count(u"\r\n"_s), lines + (row > 3));  // none before the first
        EXPECT_TRUE(IsPlain(LineFor(u"ann"_s, text, u"x"_s).text, true));
    }
}

}  // namespace
