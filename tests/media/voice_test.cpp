#include "media/voice.h"

#include <gtest/gtest.h>

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
