#include "platform/linux/x11_companion.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QElapsedTimer>
#include <QFile>

#include "media/media_fixture.h"
#include "media/voice.h"
#include "platform/x11_desk.h"

using namespace Qt::StringLiterals;

namespace {

struct X11CompanionTest : testing::Test, MediaFixture {
    X11Desk desk{false};
    stage::Folder folder;
    X11Companion real{folder.Path(), desk.Display().toLatin1()};

    X11CompanionTest()
    {
        state.ports.companion = &real;
        InMeeting(u"alice"_s, {u"bob"_s, u"carol"_s});
    }
    X11Desk::Window Recorder()
    {
        return desk.Open(u"VoktalClass"_s, u"Voktal"_s, {0, 0, 9, 9}, u"0"_s, true);
    }
    QStringList Lines(X11Desk::Window& voktal, int count)
    {
        QStringList lines;
        for (int i = 0; i < count; ++i) lines += QString::fromLatin1(voktal.process->ReadLine()).trimmed();
        return lines;
    }
};

}  // namespace

TEST_F(X11CompanionTest, ReceivesExactlyWhatTheMeetingTells)
{
    auto almost = desk.Open(u"VoktalClass"_s, u"Voktal 2"_s, {0, 0, 9, 9}, u"0"_s, true);
    EXPECT_FALSE(real.Running());
    auto voktal = Recorder();
    media.talk = true;
    chkTalk_Click(state);
    VoiceRemoveParticipant(state, u"10.0.0.5"_s, u"bob"_s);
    media.talk = false;
    chkTalk_Click(state);
    VoiceAddParticipant(state, u"host"_s, u"Dürer €"_s);
    VoiceAddParticipant(state, QString(255, u'x'),
                        u"bob"_s);  // longer than an atom's name may be: it gives way
    CloseVoktal(state);
    EXPECT_EQ(Lines(voktal, 8),
              QStringList({u"1225 bob.example:2074|bob"_s, u"1225 carol.example:2074|carol"_s,
                           u"1229 10.0.0.5|bob"_s, u"1228 bob.example|bob"_s, u"1228 carol.example|carol"_s,
                           u"1225 host:2074|D\u00fcrer \u0080"_s, u"1225 "_s + QString(251, u'x') + u"|bob"_s,
                           u"16"_s}));
    EXPECT_EQ(voktal.process->WaitForEnd(), 0);
    EXPECT_FALSE(real.Send(kVoktalLeft, "a|b"));
}

TEST_F(X11CompanionTest, AnotherClientsIsNotOurs)
{
    qputenv("VOKTAL_CLIENT", "1");
    const auto other = Recorder();
    EXPECT_FALSE(real.Running());
    EXPECT_FALSE(real.Send(kVoktalStart, "a|bob"));
    qputenv("VOKTAL_CLIENT", QByteArray::number(getpid()));
    auto own = Recorder();
    qunsetenv("VOKTAL_CLIENT");
    EXPECT_TRUE(real.Running());
    EXPECT_TRUE(real.Send(kVoktalStart, "a|bob"));
    EXPECT_EQ(Lines(own, 1), QStringList(u"1225 a|bob"_s));
}

TEST_F(X11CompanionTest, OneThatHangsCostsNoTimeAndLosesNothing)
{
    auto voktal = Recorder();
    voktal.process->Signal(SIGSTOP);
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < 50; ++i) EXPECT_TRUE(real.Send(kVoktalStart, QByteArray::number(i)));
    EXPECT_LT(timer.elapsed(), 1000);
    voktal.process->Signal(SIGCONT);
    const QStringList lines = Lines(voktal, 50);
    for (int i = 0; i < 50; ++i) EXPECT_EQ(lines[i], u"1225 %1"_s.arg(i));
}

TEST_F(X11CompanionTest, AFrozenDisplayCostsASecondForEachRequest)
{
    auto voktal = Recorder();
    ASSERT_TRUE(real.Running());
    xcb_grab_server(desk.Raw());
    xcb_get_input_focus_reply_t* grabbed =
        xcb_get_input_focus_reply(desk.Raw(), xcb_get_input_focus(desk.Raw()), nullptr);
    std::free(grabbed);
    QElapsedTimer timer;
    timer.start();
    EXPECT_FALSE(real.Send(kVoktalStart, "late"));
    EXPECT_GE(timer.elapsed(), 900);
    EXPECT_LT(timer.elapsed(), 1500);
    xcb_ungrab_server(desk.Raw());
    xcb_flush(desk.Raw());
    EXPECT_TRUE(real.Send(kVoktalStop, "next"));  // an answer that came too late does not confuse the next
    EXPECT_EQ(Lines(voktal, 1), QStringList(u"1228 next"_s));
}

TEST_F(X11CompanionTest, StartsTheProgramBesideOursHiddenOrShown)
{
    VoiceAddParticipant(state, u"a"_s, u"bob"_s);  // not installed: nothing happens, nothing is said
    EXPECT_TRUE(prompts.boxes.isEmpty());
    qputenv("DISPLAY", desk.Display().toLatin1());
    prctl(PR_SET_CHILD_SUBREAPER, 1);  // one that ends at once, and whose end nobody asks for
    ASSERT_TRUE(QFile::link(u"/bin/true"_s, folder / "Voktal"));
    StartVoktal(state);
    siginfo_t ended;
    ASSERT_EQ(waitid(P_ALL, 0, &ended, WEXITED | WNOWAIT), 0);
    ASSERT_TRUE(QFile::remove(folder / "Voktal"));
    ASSERT_TRUE(QFile::link(stage::Programs() + u"/x11_double"_s, folder / "Voktal"));
    for (const char* hide : {"1", "0"}) {
        Set("Hide Voktal", hide);
        StartVoktal(state);
        StartVoktal(state);  // still on its way: not a second time
        ASSERT_TRUE(desk.Until([&] { return real.Running(); }));
        const auto asker = X11Connection::Open(desk.Display().toLatin1());
        const auto voktal = asker->Children(asker->Screen().root);
        ASSERT_EQ(voktal.size(), 1u);
        const auto shown = [&] {
            asker->Begin();
            const auto reply = asker->Answer<xcb_get_window_attributes_reply_t>(
                xcb_get_window_attributes(asker->Raw(), voktal[0]));
            return reply && reply->map_state == XCB_MAP_STATE_VIEWABLE;
        };
        EXPECT_EQ(*hide == '0' ? desk.Until(shown) : shown(), *hide == '0');
        CloseVoktal(state);
        ASSERT_TRUE(desk.Until([&] { return !real.Running(); }));
    }
}
