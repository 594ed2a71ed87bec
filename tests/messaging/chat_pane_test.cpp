#include "messaging/chat_pane.h"

#include <gtest/gtest.h>

#include <QMimeData>
#include <QScrollBar>
#include <QTest>
#include <QTextBlock>

#include "text/text_rules.h"

using namespace Qt::StringLiterals;

namespace {

/// The colour of line `number`, from its first character.
QColor ColourOf(const ChatBox& box, int number)
{
    return box.document()->findBlockByNumber(number).begin().fragment().charFormat().foreground().color();
}

struct Typed {
    MessageBox box{nullptr};
    int limits = 0;
    Typed()
    {
        box.onLimit = [this] { ++limits; };
        box.show();
    }
    void Paste(QMimeData* data)
    {
        struct Opened : MessageBox {
            using MessageBox::insertFromMimeData;
        };
        (box.*&Opened::insertFromMimeData)(data);
    }
};

}  // namespace

TEST(ChatBox, KeepsOneParagraphALine)
{
    ChatBox box(nullptr);
    EXPECT_EQ(box.Conversation(), u""_s);
    box.Append(LineFor(u"ann"_s, u"ann"_s, u"hi"_s));
    box.Append(LineFor(u"ann"_s, u"eve"_s, u"x\r\nann: y"_s));
    box.Append(LineFor(u"ann"_s, u"eve"_s, u"<b>a</b>\u00A0&amp; \u05D0"_s));
    EXPECT_EQ(box.Conversation(), u"ann: hi\r\neve: x\u2028ann: y\r\neve: <b>a</b>\u00A0&amp; \u05D0"_s);
    EXPECT_EQ(ColourOf(box, 0), QColor(255, 0, 0));
    EXPECT_EQ(ColourOf(box, 1), QColor(0, 0, 255));
    EXPECT_EQ(box.textCursor().position(), box.document()->characterCount() - 1);
    QTest::keyClicks(&box, u"no"_s);
    EXPECT_TRUE(box.Conversation().startsWith(u"ann: hi\r\n"_s));
}

TEST(ChatBox, MarksBesideTheTextWhatHasNotGoneOut)
{
    ChatBox box(nullptr);
    box.resize(212, 197);
    box.show();
    const auto say = [&](const QString& text, quint64 after, quint64 upTo) {
        box.Append(LineFor(u"ann"_s, u"ann"_s, text));
        box.AwaitAcceptance(after, upTo);
    };
    const auto signs = [&] {
        QStringList said;
        for (const QRect& place : box.Signs()) {
            EXPECT_TRUE(box.viewport()->rect().contains(place)) << place.x() << ' ' << place.y();
            said += box.SignText(place.center()).left(8);
        }
        return said;
    };
    say(u"quickly accepted"_s, 0, 3);  // three receivers
    box.Accepted(3);
    say(u"open"_s, 3, 6);
    EXPECT_EQ(signs(), QStringList());  // for a moment
    box.SetConnected(false);
    EXPECT_EQ(signs(), QStringList({u"Not sent"_s}));
    box.Append(LineFor(u"ann"_s, u"bob"_s, u"in between"_s));
    say(QString(u"as wide as the box and longer "_s).repeated(3), 9, 10);  // behind a whisper, 7 to 9
    EXPECT_EQ(signs(), QStringList({u"Not sent"_s, u"Not sent"_s}));
    const QImage marked = box.grab().toImage();
    box.Accepted(5);  // one of three copies is not there yet
    box.Lost(8);      // the whisper
    EXPECT_EQ(signs().size(), 2);
    box.Lost(10);
    box.Accepted(10);  // the first word counts
    EXPECT_EQ(signs(), QStringList({u"Not deli"_s}));
    EXPECT_NE(marked, box.grab().toImage());
    EXPECT_TRUE(
        box.Conversation().startsWith(u"ann: quickly accepted\r\nann: open\r\nbob: in between\r\n"_s));
    for (int i = 0; i < 10'500; ++i) box.Append(LineFor(u"ann"_s, u"bob"_s, u"x"_s));
    EXPECT_EQ(signs(), QStringList());  // the line is forgotten, and its sign with it
}

// Times stand in a margin of their own: the text, its links and its signs are where they were without.
TEST(ChatBox, ShowsTimesBesideTheText)
{
    ChatBox box(nullptr);
    box.resize(300, 400);
    box.show();
    const QDateTime evening(QDate(2026, 3, 1), QTime(23, 59, 58));
    const auto say = [&](const QString& text, const QDateTime& when) {
        box.Append(LineFor(u"ann"_s, u"bob"_s, text), when);
    };
    say(u"late"_s, evening);
    say(u"later"_s, evening.addSecs(1));
    const QString said = box.Conversation();
    const QImage plain = box.grab().toImage();
    const auto top = [&](int line) {
        return box.document()->findBlockByNumber(line).layout()->position().y();
    };
    const qreal row = top(1) - top(0);
    box.ShowTimes(true);
    EXPECT_EQ(box.Conversation(), said);
    EXPECT_EQ(box.TimeText({6, int(top(1) + row / 2)}), GeneralDate(evening.addSecs(1)));
    EXPECT_EQ(box.TimeText({250, int(top(1) + row / 2)}), QString());
    EXPECT_NE(box.grab().toImage(), plain);
    say(u"early"_s, evening.addSecs(5));  // under a date
    EXPECT_EQ(top(1) - top(0), row);
    EXPECT_GT(top(2) - top(1), 1.5 * row);
    EXPECT_EQ(ColourOf(box, 2), QColor(0, 0, 255));
    for (int i = 0; i < 10'500; ++i) say(u"x"_s, evening.addSecs(3600 + i));
    box.verticalScrollBar()->setValue(0);
    const QString first = box.TimeText({6, 6});
    const int left = box.document()->blockCount();
    EXPECT_EQ(first,
              GeneralDate(evening.addSecs(3600 + 10'500 - left)));  // what was forgotten took its times along
    box.ShowTimes(false);
    EXPECT_EQ(box.TimeText({6, 6}), QString());
    EXPECT_EQ(top(1) - top(0), row);
}

TEST(ChatBox, ForgetsTheOldestLines)
{
    ChatBox box(nullptr);
    box.show();
    for (int i = 0; i < 10'500; ++i) {
        if (i == 300) box.moveCursor(QTextCursor::Start);  // somebody reads what was said before
        if (i == 600) box.selectAll();
        box.Append(LineFor(u"ann"_s, u"bob"_s, QString::number(i)));
        ASSERT_TRUE(box.textCursor().atEnd() && !box.textCursor().hasSelection()) << i;
    }
    EXPECT_GT(box.verticalScrollBar()->value(), 10'000);
    EXPECT_EQ(box.verticalScrollBar()->value(), box.verticalScrollBar()->maximum());
    EXPECT_EQ(box.document()->blockCount(), 10'000);
    EXPECT_TRUE(box.Conversation().startsWith(u"bob: 500\r\n"_s));
    EXPECT_TRUE(box.Conversation().endsWith(u"bob: 10499"_s));
    EXPECT_EQ(ColourOf(box, 0), QColor(0, 0, 255));
}

TEST(MessageBox, TakesPlainTextOnly)
{
    Typed typed;
    QMimeData rich;
    rich.setHtml(u"<b>bold</b>"_s);
    rich.setText(u"one\ntwo\u00A0x"_s);
    typed.Paste(&rich);
    EXPECT_EQ(typed.box.Text(), u"one\r\ntwo\u00A0x"_s);
    EXPECT_FALSE(typed.box.document()->toHtml().contains(u"bold"_s));
}

TEST(MessageBox, HoldsNoMoreThanCanBeSent)
{
    const struct {
        QString before, pasted;
        qsizetype bytes;
        int limits;
        const char* why;
    } rows[] = {
        {u""_s, QString(16'384, u'a'), 16'384, 0, "just fits"},
        {u""_s, QString(16'385, u'a'), 16'384, 1, "one too many"},
        {u"abc"_s, QString(20'000, u'\u00E9'), 16'383, 1, "two bytes each, never half a character"},
        {u""_s, QString(10'000, u'\n'), 16'384, 1, "a line break is two bytes"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.why);
        Typed typed;
        typed.box.SetText(row.before);
        QMimeData data;
        data.setText(row.pasted);
        typed.Paste(&data);
        EXPECT_EQ(typed.box.Text().toUtf8().size(), row.bytes);
        EXPECT_EQ(typed.limits, row.limits);
        EXPECT_TRUE(typed.box.Text().startsWith(row.before));
    }
}
