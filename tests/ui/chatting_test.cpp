#include <gtest/gtest.h>

#include <QMenuBar>

#include "settings/settings.h"
#include "support/files.h"
#include "ui/meeting_desk.h"
#include "ui/missing_script.h"

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
    desk.Whole().Say(u"  hi  "_s);
    EXPECT_EQ(desk.Sent(), QStringList({u"bob: hi"_s, u"cy: hi"_s}));
    EXPECT_EQ(desk.Conversation(), u"ann: hi"_s);
    EXPECT_EQ(desk.Panel().MessageText(), u""_s);
    EXPECT_EQ(desk.prompts.beeps, 0);
    QTest::keyClick(desk.Panel().txtMessage, Qt::Key_Enter);
    EXPECT_EQ(desk.prompts.beeps, 1);  // nothing typed
    EXPECT_EQ(desk.Sent().size(), 2);
    desk.Type(u"held down"_s);
    QKeyEvent repeated(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, u"\r"_s, true);
    QCoreApplication::sendEvent(desk.Panel().txtMessage, &repeated);  // behind a send
    EXPECT_EQ(desk.Sent().size(), 2);
    QTest::keyClick(desk.Panel().txtMessage, Qt::Key_Return, Qt::ShiftModifier);
    EXPECT_EQ(desk.Sent().value(2), u"bob: held down"_s);

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
    EXPECT_TRUE(desk.trace.Last("note").value(u"text"_s).toString().startsWith(u"Whispered to nobody"_s));
}

TEST(Chatting, ALineIsMarkedUntilTheServiceHasIt)
{
    WholeDesk desk;
    const auto signs = [&] { return desk.Panel().txtChat->Signs().size(); };
    desk.service->Link({LinkState::Phase::Cut, LinkState::Back::No, u"Cut off"_s, {}, false});
    desk.Say(u"one"_s);
    desk.Say(u"two"_s);
    EXPECT_EQ(signs(), 2);
    desk.service->Link({LinkState::Phase::Connected, LinkState::Back::Resumed, u""_s, {}, false});
    EXPECT_EQ(signs(), 2);
    desk.service->Accept(2);  // bob and cy
    EXPECT_EQ(signs(), 1);
    desk.service->Lose(4);
    EXPECT_EQ(signs(), 1);
    EXPECT_EQ(desk.Conversation(), u"ann: one\r\nann: two"_s);

    MeetingDesk alone(QStringList{});
    alone.Whole();
    alone.service->Link({LinkState::Phase::Cut, LinkState::Back::No, u"Cut off"_s, {}, false});
    alone.Say(u"echo"_s);
    EXPECT_EQ(alone.Panel().txtChat->Signs().size(), 0);  // nobody it could reach
}

TEST(Chatting, SaysWhichScriptHasNoFont)
{
    const auto latinAndGreek = [](char32_t c) { return c < 0x400; };
    const struct {
        QString text, missing;
    } rows[] = {
        {u"caf\u00E9 \u03B1 \u2014 \u20AC"_s, {}},  // punctuation and signs have no script
        {u"\u4F60\u597D"_s, u"Chinese"_s},
        {u"\u304B\u306A"_s, u"Japanese"_s},
        {u"a \uD55C\uAE00"_s, u"Korean"_s},
        {u"\u0416"_s, u"Cyrillic"_s},
        {u"ok \U0001F600"_s, u"emoji"_s},
        {u"\u13A0"_s, u"a rare script"_s},
        {u"\uE000\uFFFF"_s, {}},  // private, and no character at all
        {QString(), {}},
    };
    MissingScript watch(latinAndGreek);
    for (const auto& row : rows) EXPECT_EQ(watch.In(row.text), row.missing) << row.text.toStdString();

    int asked = 0;
    MissingScript all([&](char32_t) { return ++asked > 0; });
    QString many;
    for (char16_t c = 0x4E00; c < 0x5E00; ++c) many += c;
    EXPECT_EQ(all.In(many), QString());
    EXPECT_EQ(asked, 64);  // a stranger's text does not hold the window
    all.In(u"\u4E00\u4E01"_s);
    EXPECT_EQ(asked, 64);

    WholeDesk desk;
    desk.service->Say(u"bob"_s, u"\U00016F00"_s);  // Miao; hardly a machine shows it
    EXPECT_EQ(desk.trace.Last("note").value(u"text"_s).toString().startsWith(u"No font for a rare script"_s),
              !SomeFontShows(U'\U00016F00'));
}

TEST(Chatting, OpensALinkAfterAQuestionAndNothingElse)
{
    WholeDesk desk;
    ChatBox& chat = *desk.Panel().txtChat;
    desk.service->Say(u"bob"_s, u"plain text"_s);
    desk.service->Say(u"bob"_s, u"http://\u00E4.example/ there"_s);
    const int line = int(chat.Conversation().indexOf(u"http"_s)) - 1;  // one character between lines, not two
    const auto point = [&](int position) {
        QTextCursor at(chat.document());
        at.setPosition(position);
        return chat.cursorRect(at).center() + QPoint(2, 0);
    };
    const auto click = [&](int position) {
        QTest::mouseMove(chat.viewport(), point(position));
        QTest::mouseClick(chat.viewport(), Qt::LeftButton, {}, point(position));
    };
    const QImage before = chat.viewport()->grab().toImage();
    click(3);
    EXPECT_EQ(chat.viewport()->cursor().shape(), Qt::IBeamCursor);
    EXPECT_TRUE(desk.prompts.links.isEmpty());
    click(line + 4);
    EXPECT_EQ(chat.viewport()->cursor().shape(), Qt::PointingHandCursor);
    EXPECT_NE(chat.viewport()->grab().toImage(), before);  // underlined
    EXPECT_EQ(desk.prompts.links, QStringList{u"http://xn--4ca.example/"_s});
    EXPECT_TRUE(desk.trace.Last("link_opened").isEmpty());  // the answer was no

    // Selecting is no click; the caret inside and Enter are.
    QTest::mousePress(chat.viewport(), Qt::LeftButton, {}, point(line + 2));
    QMouseEvent over(QEvent::MouseMove, point(line + 9), chat.viewport()->mapToGlobal(point(line + 9)),
                     Qt::NoButton, Qt::LeftButton, {});
    QCoreApplication::sendEvent(chat.viewport(), &over);
    QTest::mouseRelease(chat.viewport(), Qt::LeftButton, {}, point(line + 9));
    EXPECT_EQ(desk.prompts.links.size(), 1);
    desk.Panel().SetMessageText(u"a"_s);
    chat.setFocus();
    QTextCursor caret = chat.textCursor();
    caret.setPosition(line + 3);
    chat.setTextCursor(caret);
    QTest::keyClick(&chat, Qt::Key_Return);
    EXPECT_EQ(desk.prompts.links.size(), 2);
    EXPECT_FALSE(desk.Sent().contains(u"bob: a"_s));
    caret.movePosition(QTextCursor::End);
    chat.setTextCursor(caret);
    QTest::keyClick(&chat, Qt::Key_Return);  // elsewhere it sends what is typed
    EXPECT_EQ(desk.prompts.links.size(), 2);
    EXPECT_TRUE(desk.Sent().contains(u"bob: a"_s));
}

TEST(Chatting, LinesOfOthersAndNotesAreSaid)
{
    WholeDesk desk;
    desk.service->Say(u"bob"_s, u"hello"_s);
    desk.Say(u"mine"_s);
    desk.service->Status(u"dan"_s, 5);
    desk.service->Status(u"cy"_s, 0);
    desk.window->Panels().Note(u"A note."_s);
    desk.service->Say(u"bob"_s, QString(50'000, u'x'));
    QStringList said;
    for (const QWidget* line : desk.Find("announcer")->findChildren<QWidget*>())
        if (!line->accessibleName().isEmpty()) said += line->accessibleName();
    ASSERT_EQ(said.size(), 5);
    EXPECT_EQ(said.takeLast().size(), 1000);
    EXPECT_EQ(said, QStringList({u"bob: hello"_s, u"dan has come"_s, u"cy has left"_s, u"A note."_s}));
}

TEST(Chatting, TypingAnywhereGoesIntoTheMessage)
{
    WholeDesk desk;
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
    WholeDesk desk;
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
    EXPECT_EQ(desk.Panel().txtMessage->extraSelections().size(), 1);  // told before it is sent
    EXPECT_TRUE(desk.trace.Last("note").value(u"text"_s).toString().contains(u"underlined"_s));
    QTest::keyClick(desk.Panel().txtMessage, Qt::Key_Return);
    ASSERT_EQ(desk.Sent().size(), 1);
    EXPECT_TRUE(desk.Sent().first().startsWith(u"bob: [[ZUM_LOCAL_ENCRYPT]]"_s));
    EXPECT_TRUE(desk.trace.Last("note").value(u"text"_s).toString().contains(u'?'));  // lost on the way
    EXPECT_TRUE(ReadFile(desk.folders.Special(5) + u"/Zephyl Logs/bob.log"_s).endsWith("\tann: \\u0416\r\n"));

    desk.service->failures[u"Send"_s] = u"the link is down"_s;
    desk.Say(u"lost"_s);
    EXPECT_EQ(desk.prompts.boxes.size(), 1);
    EXPECT_TRUE(desk.prompts.boxes.value(0).contains(u"SendZUMMessage: the link is down"_s));
    EXPECT_TRUE(desk.Conversation().endsWith(u"ann: lost"_s));
}
