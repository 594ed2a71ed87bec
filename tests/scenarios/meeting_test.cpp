// People at real windows and a script meet at a real service: what a newcomer would try first.
#include <sys/stat.h>

#include <gtest/gtest.h>
#include <signal.h>

#include <QDir>

#include "scenarios/meeting_fixture.h"

using namespace Qt::StringLiterals;
using namespace stage;

TEST_F(Meeting, TwoPeopleAndAScriptTrustTheServiceAndTalk)
{
    auto ann = Sit(u"ann"_s, false), bob = Sit(u"bob"_s);
    // Nobody vouches for the service yet: refused by default, then trusted, then never asked again.
    ann->Login(u"ann"_s, kPeople.at(u"ann"_s), u"Sketch01"_s, false);
    EXPECT_EQ(ann->Wait("trust").value(u"fingerprint"_s).toString(), service.Fingerprint());
    Answer(*ann, u"trust"_s, u"Return"_s);
    ann->Wait("dialog", Is("name", u"frmLogin"_s));
    ann->ClickControl(u"cmdOK"_s);
    ann->Wait("dialog", Is("name", u"trust"_s));
    ann->ClickControl(u"cmdTrust"_s);
    ann->Wait("window_whole");
    Enter(*bob, u"bob"_s, u"sketch01"_s, true);
    Script eve(service, folder, "eve");
    Join(eve, u"eve"_s, u"SKETCH01"_s);
    for (Desk* desk : {ann.get(), bob.get()}) desk->Wait("attendee", Is("handle", u"eve"_s));

    Say(*ann, u"Hello all"_s);
    EXPECT_EQ(bob->Wait("line", Is("from", u"ann"_s)).value(u"text"_s).toString(), u"Hello all"_s);
    eve.Event(Message(u"ann"_s, u"Hello all"_s));
    Ok(eve, "send", {{u"to"_s, u"bob"_s}, {u"text"_s, u"psst"_s}});
    bob->Wait("line", Is("text", u"psst"_s));

    ann->ClickControl(u"tool_Exit"_s);
    EXPECT_EQ(ann->Client().WaitForEnd(), 0);
    bob->Wait("attendee", Both(Is("handle", u"ann"_s), Is("status", 0)));
    eve.Event(Both(Is("event", u"status"_s), Both(Is("handle", u"ann"_s), Is("status", 0))));
}

TEST_F(Meeting, PreferencesOpenedByThemselvesByKeysAreStored)
{
    Desk ann(folder, u"ann"_s);
    ann.StartClient({u"--preferences"_s});
    ann.Wait("dialog", Is("name", u"frmPreferences"_s));
    ann.Key(u"alt+r"_s);  // the first page is at its defaults already
    ann.Type(u"logs"_s);
    ann.Key(u"Return"_s);
    ann.Key(u"space"_s);
    ann.Key(u"alt+a"_s);
    ann.Wait("preferences_stored");
    ann.Key(u"Escape"_s);
    EXPECT_EQ(ann.WaitForEnd(), 0);
    const QByteArray stored = ReadFile(ann.ConfigHome() + u"/quorvia/registry.reg"_s);
    EXPECT_TRUE(stored.contains("\"Enable Logging\"=\"1\"\n")) << stored.toStdString();
}

TEST_F(Meeting, SpeaksTheDesktopsLanguageAndIsNotFrozenByAServiceThatVanishes)
{
    const std::map<QString, QString> german{{u"LC_ALL"_s, u"de_DE.UTF-8"_s}};
    auto ann = Sit(u"ann"_s, true, {}, german);
    ann->Login(u"ann"_s, kPeople.at(u"ann"_s), u"abc"_s, false);
    EXPECT_EQ(ann->Wait("box").value(u"text"_s).toString(),
              u"The Meeting Code must be between 6 and 20 characters."_s);
    Answer(*ann, u"box"_s, u"Return"_s);
    Enter(*ann, u"ann"_s, u"Sprache1"_s, false);
    service.Stop(SIGKILL);
    ann->Wait("panel", Both(Is("panel", u"Link"_s), Begins("text", u"Verbindung unterbrochen"_s)));
    Say(*ann, u"anybody?"_s);
    ann->Wait("line", Is("text", u"anybody?"_s));
    ann->Drag({ann->Board(20, 20), ann->Board(60, 60)});
    ann->Wait("record", Is("from", u"ann"_s));
    ann->Key(u"alt+F4"_s);
    EXPECT_EQ(ann->Client().WaitForEnd(), 0);
}

TEST_F(Meeting, NewMeetingLeavesTheOldOneBehind)
{
    Script eve(service, folder, "eve"), bob(service, folder, "bob");
    auto ann = Sit(u"ann"_s);
    Enter(*ann, u"ann"_s, u"First001"_s, false);
    Join(eve, u"eve"_s, u"First001"_s);
    ann->Wait("attendee", Is("handle", u"eve"_s));
    Join(bob, u"bob"_s, u"Second02"_s, "create");

    ann->Key(u"alt+m"_s);
    ann->Key(u"n"_s);
    ann->Wait("dialog", Is("name", u"frmLogin"_s));
    ann->Login(u"ann"_s, kPeople.at(u"ann"_s), u"Second02"_s, true);
    ann->Wait("dialog", Is("name", u"frmLogin"_s));  // the second one, filled in
    ann->ClickOption(u"optJoinMeeting"_s);
    ann->ClickControl(u"cmdOK"_s);
    eve.Event(Both(Is("event", u"status"_s), Both(Is("handle", u"ann"_s), Is("status", 0))));
    bob.Event(Both(Is("event", u"status"_s), Both(Is("handle", u"ann"_s), Is("status", 5))));
    EXPECT_EQ(eve.Ask(Do("users"))[u"handles"_s].toArray(), QJsonArray{u"eve"_s});
    Say(*ann, u"thanks"_s);
    bob.Event(Message(u"ann"_s, u"thanks"_s));
}

TEST_F(Meeting, SaysWhatComesWhileItIsBehindAndOpensLinksOnDemand)
{
    // Programs of a desktop that say what they were given.
    for (const char* name : {"pw-play", "xdg-open"}) {
        QDir().mkpath(folder / "bin");
        const QString program = folder / "bin" + u'/' + QLatin1String(name);
        WriteFile(program, "#!/bin/sh\necho \"$1\" > \"$0.said\"\n");
        QFile::setPermissions(program, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        ASSERT_EQ(mkfifo(QFile::encodeName(program + u".said"_s), 0600), 0);
    }
    auto ann = Sit(u"ann"_s, true, {{u"Mark New Lines"_s, u"1"_s}, {u"Sound For New Lines"_s, u"1"_s}},
                   {{u"PATH"_s, folder / "bin" + u':' + qEnvironmentVariable("PATH")}});
    Enter(*ann, u"ann"_s, u"Behind01"_s, false);
    Script eve(service, folder, "eve");
    Join(eve, u"eve"_s, u"Behind01"_s);
    const auto say = [&](const QString& text) {
        Ok(eve, "send", {{u"to"_s, u"ann"_s}, {u"text"_s, text}});
        ann->Wait("line", Is("text", text));
    };
    say(u"seen"_s);
    auto other = ann->Start(u"xterm"_s, {u"-T"_s, u"other"_s});
    ann->Run(u"xdotool"_s, {u"search"_s, u"--sync"_s, u"--onlyvisible"_s, u"--name"_s, u"^other$"_s,
                            u"windowactivate"_s, u"--sync"_s});
    ann->Wait("behind");
    auto played = ann->Start(u"cat"_s, {folder / "bin/pw-play.said"});
    say(u"unseen"_s);
    EXPECT_EQ(ann->Wait("mark")[u"lines"_s].toInt(), 1);
    EXPECT_TRUE(played->ReadLine().trimmed().endsWith(".wav"));
    EXPECT_EQ(ann->Wait("sound")[u"player"_s], u"pw-play"_s);
    ann->LetManagerCatchUp();
    ann->Run(
        u"sh"_s,
        {u"-c"_s, u"xprop -name '(1) Quorvia' _NET_WM_STATE | grep -q _NET_WM_STATE_DEMANDS_ATTENTION"_s});
    other.reset();
    EXPECT_EQ(ann->Wait("mark")[u"lines"_s].toInt(), 0);

    say(u"http://example.org/x"_s);
    OpenLastLink(*ann);
    auto opened = ann->Start(u"cat"_s, {folder / "bin/xdg-open.said"});
    ann->Key(u"alt+o"_s);
    EXPECT_EQ(opened->ReadLine().trimmed(), "http://example.org/x");
}

TEST_F(Meeting, AnInvitationInTheChatOpensASecondWindowAndTheFirstStays)
{
    auto ann = Sit(u"ann"_s);
    Enter(*ann, u"ann"_s, u"Links001"_s, false);
    Script eve(service, folder, "eve"), sam(service, folder, "sam");
    Join(eve, u"eve"_s, u"Links001"_s);
    Join(sam, u"sam"_s, u"Links002"_s, "create");
    const QString link = u"zephyl://%1/Links002#%2"_s.arg(service.Address(), service.Fingerprint());
    Ok(eve, "send", {{u"to"_s, u"ann"_s}, {u"text"_s, link}});
    ann->Wait("line", Is("text", link));
    OpenLastLink(*ann);
    ann->Key(u"alt+o"_s);
    const auto found =
        ann->Start(u"xdotool"_s, {u"search"_s, u"--sync"_s, u"--onlyvisible"_s, u"--name"_s,
                                  u"^Quorvia Login$"_s, u"windowactivate"_s, u"--sync"_s, u"getwindowpid"_s});
    const pid_t second = found->ReadLine().toInt();
    ASSERT_GT(second, 1);
    for (const auto& [field, text] :
         {std::pair(u"alt+h"_s, u"bob"_s), std::pair(u"alt+p"_s, kPeople.at(u"bob"_s))}) {
        ann->Key(field);
        ann->Key(u"ctrl+a"_s);
        ann->Type(text);
    }
    ann->Key(u"Return"_s);
    sam.Event(Both(Is("event", u"status"_s), Both(Is("handle", u"bob"_s), Is("status", 5))));
    EXPECT_EQ(kill(second, SIGTERM), 0);
    Ok(eve, "send", {{u"to"_s, u"ann"_s}, {u"text"_s, u"still here?"_s}});
    ann->Wait("line", Is("text", u"still here?"_s));
}
