// Voice through a real service: who hears whom, and who does not.

#include "service/relay/meeting/voice_out.h"
#include "service/relay/relay_fixture.h"

namespace zephyl {
namespace {

using namespace std::chrono_literals;
using Heard = std::vector<std::string>;

void Say(RawClient& client, std::uint64_t frame, const std::string& body, std::uint32_t level = 30)
{
    Header header;
    header.mutable_voice()->set_frame(frame);
    header.mutable_voice()->set_level(level);
    header.mutable_voice()->set_from("carol");  // nobody believes it
    client.Send(header, body);
}

class VoiceTest : public RelayTest {
protected:
    /// All that `by` has heard when a line that `says` sends now arrives.
    Heard Until(RawClient& says, RawClient& by)
    {
        says.Post(++mLine, "line");
        Heard heard;
        for (;;) {
            const Received next = by.Next();
            if (next.header.has_item() && next.header.item().has_text()) return heard;
            if (next.header.has_voice()) heard.push_back(TextOf(next));
        }
    }
    static std::string TextOf(const Received& packet)
    {
        const Voice& voice = packet.header.voice();
        return voice.from() + ' ' + std::to_string(voice.frame()) + ' ' + packet.body;
    }

private:
    std::uint64_t mLine = 0;
};

INSTANTIATE_TEST_SUITE_P(, VoiceTest, testing::Values(Ways{Logs::Memory}, Ways{Logs::Memory, By::Http}),
                         NameOfWays);

TEST_P(VoiceTest, IsHeardByThoseWhoTalkWithEachOther)
{
    auto alice = In("Alice");
    auto bob = In("bob");
    auto carol = In("carol");
    Say(*alice, 1, "to nobody yet");
    alice->TalkWith({"BOB"});
    alice->TalkWith({"carol", "nobody", "Alice"}, true);
    Say(*alice, 2, "to nobody who listens");
    EXPECT_EQ(Until(*alice, *bob), Heard{});
    bob->TalkWith({"Alice"});
    Until(*bob, *alice);
    Say(*alice, 3, "first");
    Say(*alice, 4, "second");
    EXPECT_EQ(Until(*alice, *bob), (Heard{"Alice 3 first", "Alice 4 second"}));
    EXPECT_EQ(Until(*alice, *carol), Heard{});  // who does not talk with her
    alice->TalkWith({});                        // switched off
    Say(*alice, 5, "alone");
    EXPECT_EQ(Until(*alice, *bob), Heard{});
    Say(*bob, 6, "to nobody who listens");
    EXPECT_EQ(Until(*bob, *alice), Heard{});
}

TEST_P(VoiceTest, NobodyOutsideHears)
{
    auto alice = In("Alice");
    auto bob = In("bob");
    auto carol = LoggedIn("carol");
    carol->Enter("elsewhere", true);
    for (RawClient* each : {alice.get(), bob.get(), carol.get()}) each->TalkWith({"Alice", "bob", "carol"});
    Until(*bob, *alice);
    Say(*carol, 1, "from elsewhere");
    EXPECT_TRUE(carol->Quiet(Header::kVoice));
    Say(*alice, 2, "in the room");
    EXPECT_EQ(Until(*alice, *bob), Heard{"Alice 2 in the room"});
    EXPECT_TRUE(carol->Quiet(Header::kVoice));

    bob->Leave();  // and comes again as somebody whom nobody named
    EXPECT_EQ(bob->Enter("Room01", false).result(), RESULT_OK);
    bob->TalkWith({"Alice"});
    Say(*alice, 3, "after the leave");
    EXPECT_EQ(Until(*alice, *bob), Heard{});
    Say(*bob, 4, "after the leave");
    EXPECT_EQ(Until(*bob, *alice), Heard{});
}

TEST_P(VoiceTest, DropsWhatNoVoiceIs)
{
    auto alice = In("Alice");
    auto bob = In("bob");
    alice->TalkWith({"bob"});
    bob->TalkWith({"Alice"});
    Until(*bob, *alice);
    Say(*alice, 1, "");
    Say(*alice, 2, std::string(kVoiceBytes + 1, 'x'));
    Say(*alice, 3, "louder than can be", kVoiceLevelMost + 1);
    Say(*alice, 4, std::string(kVoiceBytes, 'x'), kVoiceLevelMost);
    EXPECT_EQ(Until(*alice, *bob), Heard{"Alice 4 " + std::string(kVoiceBytes, 'x')});
}

TEST_P(VoiceTest, TooMuchOfItIsLostAndNothingElse)
{
    auto alice = In("Alice");
    auto bob = In("bob");
    alice->TalkWith({"bob"});
    bob->TalkWith({"Alice"});
    Until(*bob, *alice);
    const std::size_t atOnce = 2 * kVoicePacketsEachSecond;
    for (std::uint64_t frame = 1; frame <= 10 * atOnce; ++frame) Say(*alice, frame, "x");
    const std::size_t heard = Until(*alice, *bob).size();
    EXPECT_GT(heard, 0u);
    EXPECT_LT(heard, 5 * atOnce);  // what time brought meanwhile
    EXPECT_FALSE(alice->Ended());
}

TEST(LoudestSpeakers, KeepTheirTurnUntilTheyAreSilentOrClearlyOverpowered)
{
    using Clock = LoudestSpeakers::Clock;
    LoudestSpeakers loudest;
    Clock::time_point now{};
    const struct {
        SeatNumber from;
        std::uint32_t level;
        std::chrono::milliseconds later;
        bool heard;
    } rows[] = {
        {1, 30, 20ms, true},  {2, 40, 0ms, true},   {3, 20, 0ms, true},     // there is room for three
        {4, 35, 20ms, false},                                               // not clearly louder than 2
        {4, 34, 20ms, true},                                                // instead of 2
        {2, 20, 20ms, true},                                                // who shouts back, instead of 4
        {4, 30, 20ms, false}, {1, 90, 20ms, true},                          // silent, but it was its turn
        {1, 90, 500ms, true}, {5, 127, 0ms, false}, {5, 127, 101ms, true},  // 3 has not spoken for 600 ms
    };
    for (const auto& row : rows) {
        now += row.later;
        EXPECT_EQ(loudest.Hears(row.from, row.level, now), row.heard) << row.from << " at " << row.level;
    }
}

TEST(VoiceOut, SendsNothingOldAndLosesTheNewestOfTooMuch)
{
    VoiceOut out;
    VoiceOut::Clock::time_point now{};
    const auto put = [&](SeatNumber from, char text) {
        out.Put({from, 30, std::make_shared<std::string>(1, text)}, false, now);
    };
    const auto sent = [&] {
        std::string batch;
        out.Fill(batch, now);
        return batch;
    };
    put(1, 'a');
    now += kVoiceStale;
    put(2, 'b');
    put(1, 'c');
    now += 1ms;
    out.Forget(2);
    EXPECT_EQ(sent(), "c");
    for (std::size_t i = 0; i < kVoiceWaiting; ++i) put(1, 'd');
    put(1, 'e');
    EXPECT_EQ(out.WaitingBytes(), kVoiceWaiting);
    EXPECT_EQ(sent(), std::string(kVoiceWaiting, 'd'));
    EXPECT_EQ(sent(), "");
}

TEST(VoiceOut, ADatagramTakesAsManyPacketsAsItHolds)
{
    struct Road final : LiveRoad {
        bool Takes(std::size_t) const override { return open; }
        bool Put(std::string_view) override { return false; }
        void PutVoice(std::string_view frames) override { put.emplace_back(frames); }
        bool open = false;
        std::vector<std::string> put;
    } road;
    VoiceOut out;
    const VoiceOut::Clock::time_point now{};
    std::string all;
    for (char text = 'a'; text < 'h'; ++text) {
        const std::string packet(kVoiceTogetherBytes / 3 - 1, text);
        all += packet;
        out.Put({1, 30, std::make_shared<std::string>(packet)}, false, now);
    }
    out.FillRoad(road, now);
    EXPECT_TRUE(road.put.empty() && out.Waits());
    road.open = true;
    out.FillRoad(road, now);
    ASSERT_EQ(road.put.size(), 3U);
    EXPECT_EQ(road.put[0] + road.put[1] + road.put[2], all);
    for (const std::string& one : road.put) EXPECT_LE(one.size(), kVoiceTogetherBytes);
    EXPECT_FALSE(out.Waits());
}

}  // namespace
}  // namespace zephyl
