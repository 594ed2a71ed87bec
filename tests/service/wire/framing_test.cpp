// Frames and items as bytes: what goes in comes out, whatever the pieces; what lies is found at once.

#include "service/wire/framing.h"

#include <gtest/gtest.h>

#include <random>

#include "service/wire/content.h"

namespace zephyl {
namespace {

Header TextPost(Channel channel, std::size_t total)
{
    Header header;
    header.mutable_post()->set_channel(channel);
    header.mutable_post()->mutable_text();
    header.mutable_post()->set_total(static_cast<std::uint32_t>(total));
    return header;
}

std::string Pattern(std::size_t bytes, unsigned seed)
{
    std::string text(bytes, '\0');
    std::mt19937 draw(seed);
    for (char& c : text) c = static_cast<char>(draw());
    return text;
}

TEST(Framing, ItemsOfThreeLanesSurviveAnyCutting)
{
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 draw(seed);
    const std::size_t sizes[] = {0, 1, kBodyBytes - 1, kBodyBytes, kBodyBytes + 1, 100'000, kTextBytes};
    for (int round = 0; round < 30; ++round) {
        const std::string talk = Pattern(std::min(sizes[draw() % 7], kTextBytes), draw()),
                          board = Pattern(sizes[draw() % 7], draw());
        ItemCutter talkCutter(TextPost(CHANNEL_TALK, talk.size()), LANE_TALK, talk, Way::Up);
        ItemCutter boardCutter(TextPost(CHANNEL_BOARD, board.size()), LANE_BOARD, board, Way::Up);
        std::string wire;
        while (!talkCutter.Done() || !boardCutter.Done()) {
            ItemCutter& next =
                boardCutter.Done() || (!talkCutter.Done() && draw() % 2) ? talkCutter : boardCutter;
            next.AppendNext(wire);
        }
        FrameReader reader(Way::Up);
        ItemReader items;
        int whole = 0;
        for (std::size_t at = 0; at < wire.size();) {
            const std::size_t piece = std::min<std::size_t>(1 + draw() % 20'000, wire.size() - at);
            reader.Feed(std::string_view(wire).substr(at, piece));
            at += piece;
            while (const auto frame = reader.Next()) {
                const auto item = items.Take(*frame);
                if (!item) continue;
                ++whole;
                EXPECT_TRUE(item->body == (item->header.post().channel() == CHANNEL_TALK ? talk : board));
            }
            reader.Rest();
        }
        EXPECT_EQ(whole, 2);
        EXPECT_EQ(reader.HeldBytes(), 0u);
    }
}

TEST(Framing, WaitsForTheLastByteOfAFrame)
{
    std::string wire;
    AppendFrame(wire, TextPost(CHANNEL_TALK, 5), "after", Way::Up);
    FrameReader reader(Way::Up);
    for (std::size_t at = 0; at < wire.size(); ++at) {
        EXPECT_FALSE(reader.Next()) << at;
        reader.Feed(wire.substr(at, 1));
    }
    EXPECT_EQ(reader.Next()->body, "after");
}

TEST(Framing, FindsALieBeforeItWaitsForMore)
{
    const struct {
        const char* why;
        std::string bytes;
        bool up, down;
    } rows[] = {
        {"smallest", std::string("\0\0\0\x02\0\0", 6), true, true},
        {"below its own field", std::string("\0\0\0\x01\0\0", 6), false, false},
        {"header longer than all", std::string("\0\0\0\x05\0\x04", 6), false, false},
        {"largest header up", std::string("\0\0\x10\x02\x10\0", 6), true, true},
        {"one more", std::string("\0\0\x10\x03\x10\x01", 6), false, true},
        {"largest body", std::string("\0\0\x40\x02\0\0", 6), true, true},
        {"one more", std::string("\0\0\x40\x03\0\0", 6), false, false},
    };
    for (const auto& row : rows) {
        for (const Way way : {Way::Up, Way::Down}) {
            SCOPED_TRACE(row.why);
            FrameReader reader(way);
            reader.Feed(row.bytes);
            if (way == Way::Up ? row.up : row.down)
                EXPECT_NO_THROW(reader.Next());
            else
                EXPECT_THROW(reader.Next(), WireError);
        }
    }
    std::string out;
    Header large;
    large.mutable_bye()->set_text(std::string(kHeaderBytesUp, 'x'));
    EXPECT_THROW(AppendFrame(out, large, "", Way::Up), std::length_error);
    EXPECT_THROW(AppendFrame(out, Header(), std::string(kBodyBytes + 1, 'x'), Way::Up), std::length_error);
    EXPECT_TRUE(out.empty());
}

TEST(Framing, RefusesItemsThatDoNotAddUp)
{
    Header more, other, nobody;
    more.mutable_more()->set_lane(LANE_TALK);
    other.mutable_more()->set_lane(LANE_BOARD);
    const Header ten = TextPost(CHANNEL_TALK, 10), none = TextPost(CHANNEL_TALK, 0);
    const struct {
        const char* what;
        std::vector<FrameView> frames;  // all but the last are good
        bool good;
    } rows[] = {
        {"whole", {{ten, "1234567890"}}, true},
        {"nothing at all", {{none, ""}}, true},
        {"more than nothing", {{none, "1"}}, false},
        {"an empty More", {{ten, "12345"}, {more, ""}}, false},
        {"a byte too many", {{ten, "12345"}, {more, "678901"}}, false},
        {"More of nothing", {{more, "1"}}, false},
        {"More of another lane", {{ten, "12345"}, {other, "67890"}}, false},
        {"two at once", {{ten, "12345"}, {ten, "12345"}}, false},
        {"no lane", {{nobody, "1"}}, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        ItemReader items;
        for (std::size_t i = 0; i + 1 < row.frames.size(); ++i) EXPECT_FALSE(items.Take(row.frames[i]));
        if (row.good)
            EXPECT_TRUE(items.Take(row.frames.back()));
        else
            EXPECT_THROW(items.Take(row.frames.back()), WireError);
    }
}

TEST(Framing, AnOversizedItemIsNamedAtItsFirstFrameAndThrownAway)
{
    ItemReader items;
    const std::string body(kTextBytes + 1, 'x');
    const Header header = TextPost(CHANNEL_TALK, body.size());
    std::string wire;
    AppendItem(wire, header, LANE_TALK, body, Way::Up);
    AppendItem(wire, TextPost(CHANNEL_TALK, 5), LANE_TALK, "after", Way::Up);
    FrameReader reader(Way::Up);
    reader.Feed(wire);
    std::vector<std::string> seen;
    while (const auto frame = reader.Next())
        if (const auto item = items.Take(*frame))
            seen.push_back(item->tooLarge ? "too large" : std::string(item->body));
    EXPECT_EQ(seen, (std::vector<std::string>{"too large", "after"}));
}

TEST(Content, AWhiteboardTagDecidesTheChannel)
{
    const struct {
        const char* text;
        Channel channel;
        BoardEffect effect;
        BoardEffect step;
    } rows[] = {
        {"[[ZUM_WB_PEN]]1", CHANNEL_BOARD, BoardEffect::Change, BoardEffect::Change},
        {"[[ZUM_WB_PEN]]", CHANNEL_BOARD, BoardEffect::Change, BoardEffect::None},
        {"[[ZUM_WB_PEN]]5|\u00A5|1|\u00A5|-2.5|\u00A5|3|\u00A5|4|\u00A5|255", CHANNEL_BOARD,
         BoardEffect::Change, BoardEffect::Change},
        {"[[ZUM_WB_BOX]]5|\u00A5|1|\u00A5|2|\u00A5|3|\u00A5|4|\u00A5|255|\u00A5|more", CHANNEL_BOARD,
         BoardEffect::Change, BoardEffect::Change},
        {"[[ZUM_WB_CLEAR]]", CHANNEL_BOARD, BoardEffect::Clear, BoardEffect::Clear},
        {"[[ZUM_WB_POINTER]]", CHANNEL_BOARD, BoardEffect::None, BoardEffect::None},
        {"[[ZUM_WB_UNDO]]", CHANNEL_BOARD, BoardEffect::Undo, BoardEffect::Undo},
        {"[[ZUM_WB_PE", CHANNEL_TALK, BoardEffect::None, BoardEffect::None},
        {"[[zum_wb_pen]]", CHANNEL_TALK, BoardEffect::None, BoardEffect::None},
        {" [[ZUM_WB_PEN]]", CHANNEL_TALK, BoardEffect::None, BoardEffect::None},
        {"[[ZUM_WB_NEW]]", CHANNEL_TALK, BoardEffect::None, BoardEffect::None},
        {"", CHANNEL_TALK, BoardEffect::None, BoardEffect::None},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ChannelOfText(row.text), row.channel) << row.text;
        EXPECT_EQ(EffectOf(row.text), row.effect) << row.text;
        EXPECT_EQ(StepOf(row.text), row.step) << row.text;
    }
}

}  // namespace
}  // namespace zephyl
