#include "media/voice.h"

#include <gtest/gtest.h>

#include "media/companion_care.h"
#include "media/media_fixture.h"

using namespace Qt::StringLiterals;

namespace {
struct Voice : testing::Test, MediaFixture {};
}  // namespace

TEST_F(Voice, PortIsAPositive16BitNumber)
{
    const struct {
        const char* text;
        int port;
    } rows[] = {
        {"", 2074}, {"0", 2074}, {"1", 1}, {"32767", 32767}, {"32768", 2074},
    };
    for (const auto& row : rows) {
        Set("Voktal Port", row.text);
        LoadVoktalPort(state);
        EXPECT_EQ(state.gVoktalPort, row.port) << row.text;
    }
}

TEST_F(Voice, TheFirstRequestStartsTheCompanionAndIsLost)
{
    VoiceStopParticipant(state, u"a"_s, u"bob"_s);
    VoiceRemoveParticipant(state, u"a"_s, u"bob"_s);
    CloseVoktal(state);
    EXPECT_TRUE(companion.journal.isEmpty());  // only an add starts it
    VoiceAddParticipant(state, u"a"_s, u"bob"_s);
    Set("Hide Voktal", "0");
    StartVoktal(state);
    EXPECT_EQ(companion.journal, QStringList({u"start hidden"_s, u"start shown"_s}));
    companion.running = true;
    StartVoktal(state);
    CloseVoktal(state);
    EXPECT_EQ(companion.journal.mid(2), QStringList(u"16 "_s));
}

TEST_F(Voice, OnlyExactlyOneSwitchesItOn)
{
    InMeeting(u"alice"_s, {u"bob"_s});
    companion.running = true;
    media.talk = true;
    for (const char* value : {"0", "01", "True", "1 "}) {
        Set("Enable Voktal", value);
        EXPECT_FALSE(VoktalEnabled(state)) << value;
        StartVoktal(state);
        chkTalk_Click(state);
        VoiceRemoveParticipant(state, u"a"_s, u"b"_s);
    }
    EXPECT_TRUE(companion.journal.isEmpty());
}

TEST_F(Voice, ACompanionThatComesIsToldOfEverybodyElse)
{
    InMeeting(u"alice"_s, {u"bob"_s, u"eve"_s});
    companion.running = true;
    VoiceCompanionCame(state);
    ASSERT_EQ(companion.journal.size(), 2);
    EXPECT_TRUE(companion.journal[0].startsWith(u"1225 "_s) && companion.journal[0].endsWith(u"|bob"_s));
    EXPECT_TRUE(companion.journal[1].endsWith(u"|eve"_s));
}

TEST(CompanionCare, StartsWhatHasEndedAndTellsWhatHasCome)
{
    using namespace std::chrono_literals;
    using Due = CompanionCare::Due;
    CompanionCare care;
    CompanionCare::Clock::time_point now{1h};
    const struct {
        bool talks, there;
        std::chrono::milliseconds later;
        Due due;
    } rows[] = {
        {true, false, 0ms, Due::Nothing},  // it is on its way
        {true, true, 100ms, Due::Tell},
        {true, true, 100ms, Due::Nothing},
        {false, false, 100ms, Due::Nothing},  // nobody misses it
        {true, false, 100ms, Due::Start},
        {true, false, 499ms, Due::Nothing},
        {true, false, 1ms, Due::Start},  // it did not come
        {false, true, 100ms, Due::Nothing},
        {true, true, 100ms, Due::Nothing},  // told when "Talk" was checked
    };
    for (const auto& row : rows) EXPECT_EQ(care.Look(row.talks, row.there, now += row.later), row.due);
    int starts = 0;
    for (int i = 0; i < 20; ++i) {  // it ends as soon as it has come
        starts += care.Look(true, false, now += 1s) == Due::Start;
        care.Look(true, true, now += 1s);
    }
    EXPECT_EQ(starts, 3);  // five with those before
    EXPECT_EQ(care.Look(true, true, now += 10s), Due::Nothing);
    EXPECT_EQ(care.Look(true, false, now += 1s), Due::Start);
    EXPECT_TRUE(care.HasEnded());
}
