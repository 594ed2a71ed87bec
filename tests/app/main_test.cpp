// Start and end of the program, followed without windows: what happens, in which order, whatever fails.
#include <gtest/gtest.h>

#include <QRegularExpression>

#include "app/display_choice.h"
#include "app/end_program.h"
#include "app/link_setup.h"
#include "app/startup.h"
#include "settings/settings.h"
#include "support/fake_camera.h"
#include "support/fake_companion.h"
#include "support/fixture.h"

using namespace Qt::StringLiterals;

namespace {

class Ending : public testing::Test, protected Fixture {
protected:
    Ending()
    {
        state.ports.camera = &camera;
        state.ports.companion = &companion;
        state.gCameraReady = true;
        state.gFrameEncoder = service->MakeFrameEncoder();
        InMeeting(u"ann"_s, {u"bob"_s});
    }
    QString Stored(const SettingKey& key) { return GetSetting(state, key); }
    void End() { EXPECT_THROW(EndProgram(state), ProcessEnded); }
    /// Where each of these stands in the journal; -1 for none.
    qsizetype At(const QString& entry) const { return journal.indexOf(entry); }

    FakeCamera camera;
    FakeCompanion companion;
};

}  // namespace

TEST_F(Ending, SavesThePlacementAndLeavesInOrder)
{
    companion.running = true;
    meeting.placement = {150, 75.5f, 12000, 9000};
    meeting.state = WindowState::Maximised;
    End();
    EXPECT_EQ(Stored(keys::kXPos), u"150"_s);
    EXPECT_EQ(Stored(keys::kYPos), u"75.5"_s);
    EXPECT_EQ(Stored(keys::kHeight), u"9000"_s);
    EXPECT_EQ(Stored(keys::kWidth), u"12000"_s);
    EXPECT_EQ(meeting.state, WindowState::Normal);
    EXPECT_EQ(camera.calls, (QStringList{u"callback off"_s, u"preview off"_s, u"close"_s}));
    EXPECT_EQ(companion.journal, QStringList{u"16 "_s}) << companion.journal.join(u',').toStdString();
    EXPECT_EQ(journal.filter(QRegularExpression(u"^(share timer|LeaveMeeting|Logout|Close)"_s)),
              (QStringList{u"share timer 0"_s, u"LeaveMeeting()"_s, u"Logout()"_s, u"Close()"_s}));
    EXPECT_EQ(state.gMeetingForm, nullptr);
    EXPECT_EQ(state.gFrameEncoder, nullptr);
}

TEST_F(Ending, WithoutASessionOnlyClosesTheService)
{
    service->Logout();
    journal.clear();
    state.gMeetingForm = nullptr;
    state.gCameraReady = false;
    End();
    EXPECT_GE(At(u"Close()"_s), 0);
    EXPECT_LT(At(u"LeaveMeeting()"_s), 0);
    EXPECT_LT(At(u"Logout()"_s), 0);
    EXPECT_TRUE(camera.calls.isEmpty());
    EXPECT_EQ(Stored(keys::kXPos), QString());
}

TEST_F(Ending, GoesOnWhateverFails)
{
    for (const auto& call : {u"LeaveMeeting"_s, u"Logout"_s, u"Close"_s}) service->failures[call] = u"gone"_s;
    End();
    for (const auto& call : {u"LeaveMeeting()"_s, u"Logout()"_s, u"Close()"_s}) EXPECT_GE(At(call), 0);
    EXPECT_TRUE(prompts.boxes.isEmpty());
}

namespace {

class Starting : public testing::Test, protected Fixture {
protected:
    Starting()
    {
        state.gMeetingForm = nullptr;
        parts.makeMessenger = [this] {
            journal += u"messenger"_s;
            return std::make_unique<FakeService>(journal);
        };
        parts.showSplash = [this] { journal += u"splash"_s; };
        parts.unloadSplash = [this] { journal += u"unload"_s; };
        parts.loginUser = [this] {
            journal += u"login"_s;
            return entered;
        };
        parts.makeMeeting = [this] {
            journal += u"meeting"_s;
            return &meeting;
        };
        parts.endProgram = [this] { journal += u"end"_s; };
        parts.startFailed = [this] { journal += u"failed"_s; };
    }
    bool entered = true;
    MainParts parts;
};

}  // namespace

TEST_F(Starting, OpensTheMeetingWhereItStood)
{
    // Stored, missing and unreadable: what cannot be used leaves the window's own.
    SaveSetting(state, keys::kXPos, u"300.5"_s);
    SaveSetting(state, keys::kHeight, u"tall"_s);
    SaveSetting(state, keys::kWidth, u"1e99"_s);  // more than the number it becomes can hold
    Main(state, parts);
    EXPECT_EQ(journal,
              (QStringList{u"messenger"_s, u"splash"_s, u"login"_s, u"meeting"_s, u"show"_s, u"unload"_s}));
    EXPECT_EQ(meeting.placement.left, 300.5f);
    EXPECT_EQ(meeting.placement.top, 900);
    EXPECT_EQ(meeting.placement.height, 9000);
    EXPECT_TRUE(std::isfinite(meeting.placement.width)) << meeting.placement.width;
    EXPECT_EQ(state.gMeetingForm, &meeting);
}

TEST_F(Starting, EndsWhenTheUserGivesUp)
{
    entered = false;
    Main(state, parts);
    EXPECT_EQ(journal, (QStringList{u"messenger"_s, u"splash"_s, u"login"_s, u"unload"_s, u"end"_s}));
}

TEST_F(Starting, AFailureSaysOneSentenceAndEnds)
{
    parts.makeMeeting = []() -> MeetingScreens* { throw std::runtime_error("no window"); };
    pointer.shape = PointerShape::Busy;
    EXPECT_THROW(Main(state, parts), ProcessEnded);
    EXPECT_EQ(journal.last(2), QStringList({u"failed"_s, u"end"_s}));  // the exit code tells a script
    EXPECT_EQ(pointer.shape, PointerShape::Default);
    ASSERT_EQ(prompts.boxes.size(), 1);
    EXPECT_TRUE(prompts.boxes[0].endsWith(
        u"Quorvia Error|Quorvia Critical Error: Quorvia failed to load. You may need to re-install Quorvia."_s))
        << prompts.boxes[0].toStdString();
}

TEST(Display, IsTheSessionsOwnUnlessTheUserChose)
{
    const struct {
        bool chosen, wayland, x11, answers, plugin;
        const char *platform, *whyNot;
    } rows[] = {
        {false, true, true, true, true, "wayland;xcb", ""},
        {false, true, false, true, true, "wayland", ""},
        {false, true, true, true, false, "xcb", ""},  // no plugin: as a guest of its X server
        {false, true, true, false, true, "xcb", ""},  // the name of a session that has ended
        {false, false, true, false, true, "xcb", ""},
        {false, true, false, true, false, "", "qt6-wayland"},
        {false, true, false, false, true, "", "nobody answers"},
        {false, false, false, false, true, "", "no display"},
        {true, true, true, true, true, "", ""},
        {true, false, false, false, false, "", ""},
    };
    for (const auto& row : rows) {
        const DisplayChoice choice =
            ChooseDisplay({row.chosen, row.wayland, row.x11, row.answers, row.plugin});
        EXPECT_EQ(choice.platform, QLatin1String(row.platform));
        EXPECT_TRUE(*row.whyNot ? choice.whyNot.contains(QLatin1String(row.whyNot)) : choice.whyNot.isEmpty())
            << choice.whyNot.toStdString();
    }
}

TEST(LinkSetup, ReachesTheServiceAsTheConfigurationSays)
{
    Fixture f;
    StoreServiceSettings settings(f.state);
    const struct {
        const char *http, *tcp, *interval, *proxy;
        Protocol protocol;
        int seconds;
    } rows[] = {
        {"", "", "", "", Protocol::Udp, 1},
        {"0", "1", "5", " p:1 ", Protocol::Tcp, 5},
        {"1", "1", "0.5", "direct", Protocol::Http, 1},
        {"True", "True", "99999", "", Protocol::Udp, 3600},  // only "1" is on
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.http << '|' << row.tcp << '|' << row.interval);
        for (const auto& [key, text] : {std::pair("Use HTTP", row.http),
                                        {"Use TCP Port", row.tcp},
                                        {"HTTP Polling Interval", row.interval},
                                        {"HTTP Proxy", row.proxy},
                                        {"Service Address", " meet.example "}})
            f.registry.Put(u"Zephyl\\Configs\\Work\\Data"_s, QLatin1String(key), QLatin1String(text));
        const ServiceChoice choice = settings.Read(u"Work"_s);
        EXPECT_EQ(choice.service, u"meet.example"_s);
        EXPECT_EQ(choice.protocol, row.protocol);
        EXPECT_EQ(choice.pollingInterval.count(), row.seconds);
        EXPECT_EQ(choice.proxy, QString::fromLatin1(row.proxy).trimmed());
        EXPECT_EQ(f.state.gConfigName, u"(System Default)"_s);
    }
}

/// A pin that cannot be read is not one that is not there: any authority could speak for the service then.
TEST(LinkSetup, APinThatCannotBeReadIsAFailure)
{
    Fixture f;
    StoreServiceSettings settings(f.state);
    EXPECT_EQ(settings.PinnedKey(u"meet.example"_s), std::nullopt);
    settings.PinKey(u"meet.example"_s, u"sha256:aa"_s);
    EXPECT_EQ(settings.PinnedKey(u"meet.example"_s), u"sha256:aa"_s);
    f.registry.readFailure = u"broken"_s;
    EXPECT_THROW(settings.PinnedKey(u"meet.example"_s), std::runtime_error);
    EXPECT_EQ(settings.PinnedKey(u""_s), std::nullopt);  // its door file says whom to trust
}
