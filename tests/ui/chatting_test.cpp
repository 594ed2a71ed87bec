#include <gtest/gtest.h>

#include <QMenuBar>

#include "settings/settings.h"
#include "ui/meeting_desk.h"

using namespace Qt::StringLiterals;

namespace {

/// A key that QTest has no name for.
void Press(QWidget* at, Qt::Key key, const QString& text)
{
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier, text);
    QCoreApplication::sendEvent(at, &press);
}

}  // namespace

TEST(Chatting, EnterSendsToEverybodyElseOnce)
{
    MeetingDesk desk;
    desk.Whole().Type(u"  hi  "_s);
    QTest::keyClick(desk.Panel().txtMessage, Qt::Key_Return);
    EXPECT_EQ(desk.Sent(), QStringList({u"bob: hi"_s, u"cy: hi"_s}));
    EXPECT_EQ(desk.Conversation(), u"ann: hi"_s);
    EXPECT_EQ(desk.Panel().MessageText(), u""_s);
    EXPECT_EQ(desk.prompts.beeps, 0);
    QTest::keyClick(desk.Panel().txtMessage, Qt::Key_Enter);
    EXPECT_EQ(desk.prompts.beeps, 1);  // nothing typed
    EXPECT_EQ(desk.Sent().size(), 2);

    MeetingDesk alone(QStringList{});
    alone.Whole().Type(u"echo"_s);
    alone.Click(alone.Panel().cmdSend);
    EXPECT_EQ(alone.Sent(), QStringList());
    EXPECT_EQ(alone.Conversation(), u"ann: echo"_s);
}

TEST(Chatting, WhisperReachesTheSelectionOnly)
{
    MeetingDesk desk;
    desk.Whole().Type(u" psst "_s);
    desk.Click(desk.Panel().cmdWhisper);
    EXPECT_EQ(desk.prompts.beeps, 1);  // nobody selected
    EXPECT_EQ(desk.Panel().MessageText(), u"psst"_s);

    desk.ClickUser(0);
    desk.ClickUser(2, Qt::ControlModifier);
    desk.service->Status(u"dan"_s, 5);  // joins at the same moment: the selection stays what it was
    desk.Click(desk.Panel().cmdWhisper);
    EXPECT_EQ(desk.Sent(), QStringList({u"cy: psst"_s}));
    EXPECT_EQ(desk.Conversation(), u""_s);
    EXPECT_EQ(desk.trace.Last("note").value(u"text"_s), u"Whispered to cy"_s);
    EXPECT_EQ(desk.Panel().MessageText(), u""_s);

    desk.ClickUser(0);  // oneself
    desk.Type(u"x"_s);
    desk.Click(desk.Panel().cmdWhisper);
    EXPECT_EQ(desk.Sent().size(), 1);
    EXPECT_EQ(desk.prompts.beeps, 1);
    EXPECT_EQ(desk.Panel().MessageText(), u""_s);
}

TEST(Chatting, TypingAnywhereGoesIntoTheMessage)
{
    MeetingDesk desk;
    desk.Whole();
    int letters = 0;
    for (const char* name : {"lstUsers", "picDraw", "picMain", "txtChat", "sldFPS", "chkTalk"}) {
        SCOPED_TRACE(name);
        QWidget* place = desk.Find(name);
        for (const auto& [key, text] : {std::pair(Qt::Key_AsciiTilde, u"~"_s),
                                        std::pair(Qt::Key_Clear, u"\v"_s)}) {  // the second is no text
            place->setFocus();
            Press(place, key, text);
            EXPECT_TRUE(desk.Panel().txtMessage->hasFocus());
        }
        EXPECT_EQ(desk.Panel().MessageText(), QString(++letters, u'~'));
    }
    for (const char* name : {"lstUsers", "picDraw", "txtChat", "sldFPS"}) {
        desk.Panel().SetMessageText(u"go"_s);
        desk.Find(name)->setFocus();
        QTest::keyClick(desk.Find(name), Qt::Key_Left);
        QTest::keyClick(desk.Find(name), Qt::Key_Return);  // the default button, once
        EXPECT_EQ(desk.Panel().MessageText(), u""_s) << name;
    }
    EXPECT_EQ(desk.Sent().count(u"bob: go"_s), 4);
    EXPECT_EQ(desk.prompts.beeps, 0);
    desk.Panel().SetMessageText(u"secret"_s);
    desk.ClickUser(1);
    desk.Panel().cmdWhisper->setFocus();
    QTest::keyClick(desk.Panel().cmdWhisper, Qt::Key_Return);  // presses itself, not Send
    EXPECT_EQ(desk.Sent().count(u"cy: secret"_s), 0);
    EXPECT_EQ(desk.Sent().count(u"bob: secret"_s), 1);
}

TEST(Chatting, KeysOfAnOpenMenuStayInIt)
{
    MeetingDesk desk;
    desk.Whole();
    auto* menu = desk.Find<QMenu>("mnuTools");
    desk.Find("picDraw")->setFocus();
    desk.window->menuBar()->setActiveAction(menu->menuAction());
    ASSERT_EQ(QApplication::activePopupWidget(), menu);
    QTest::keyClick(menu, Qt::Key_Z);  // no entry begins like that
    EXPECT_EQ(desk.Panel().MessageText(), QString());
    EXPECT_TRUE(desk.Find("picDraw")->hasFocus());
    menu->close();
}

TEST(Chatting, LogsPlainAndSendsEnciphered)
{
    MeetingDesk desk({u"bob"_s});
    SaveSetting(desk.state, keys::kEnableLogging, u"1"_s);
    desk.state.gEncryptMessages = desk.state.gUseLocalKey = true;
    desk.state.gLocalKey = u"00112233445566778899"_s;
    desk.Whole().Panel().SetMessageText(u"\u0416"_s);
    QTest::keyClick(desk.Panel().txtMessage, Qt::Key_Return);
    ASSERT_EQ(desk.Sent().size(), 1);
    EXPECT_TRUE(desk.Sent().first().startsWith(u"bob: [[ZUM_LOCAL_ENCRYPT]]"_s));
    EXPECT_TRUE(desk.trace.Last("note").value(u"text"_s).toString().contains(u'?'));  // lost on the way
    QFile log(desk.folders.Special(5) + u"/Zephyl Logs/bob.log"_s);
    ASSERT_TRUE(log.open(QIODevice::ReadOnly));
    EXPECT_TRUE(log.readAll().endsWith("\tann: \\u0416\r\n"));

    desk.service->failures[u"Send"_s] = u"the link is down"_s;
    desk.Type(u"lost"_s);
    QTest::keyClick(desk.Panel().txtMessage, Qt::Key_Return);
    EXPECT_EQ(desk.prompts.boxes.size(), 1);
    EXPECT_TRUE(desk.prompts.boxes.value(0).contains(u"SendZUMMessage: the link is down"_s));
    EXPECT_TRUE(desk.Conversation().endsWith(u"ann: lost"_s));
}
