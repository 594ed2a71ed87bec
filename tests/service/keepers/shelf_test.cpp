// What several clients of one relay get goes there once.

#include "service/relay/keepers/shelf.h"

#include <random>

#include "service/keepers/sites.h"
#include "service/wire/framing.h"

namespace zephyl {
namespace {

std::string Frame(std::size_t bytes, char letter)
{
    std::string frame;
    Header header;
    header.mutable_item()->set_sequence(static_cast<unsigned char>(letter));
    AppendFrame(frame, header, std::string(bytes, letter), Way::Down);
    return frame;
}

/// Both ends of a line.
struct Shelves {
    /// What comes of these frames; "-": it cannot be known.
    std::string Carry(const std::string& frames, bool lost = false)
    {
        words::Shelved shelved;
        fresh.clear();
        out.Put(frames, shelved, fresh);
        if (lost) return "";
        const auto pieces = in.Take(shelved, fresh);
        if (!pieces) return "-";
        std::string all;
        for (const Piece& piece : *pieces) all += piece.bytes;
        return all;
    }
    ShelfOut out;
    ShelfIn in;
    std::string fresh;  // of the last one
};

TEST(Shelf, CarriesEachFrameOnce)
{
    Shelves line;
    const std::string a = Frame(200, 'a'), b = Frame(16'000, 'b'), c = Frame(10, 'c'), own = Frame(50, 'o');
    const struct {
        std::string frames, fresh;
    } rows[] = {
        {a + b, a + b},
        {a + b, ""},             // to the next receiver
        {b + c, c},              // one that has got a part of it already
        {own + a + b + c, own},  // with something of its own in front
        {c + own + own + a, ""},
        {"", ""},  // in another order
        {a + Frame(201, 'a'), Frame(201, 'a')},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        EXPECT_EQ(line.Carry(row.frames), row.frames);
        EXPECT_EQ(line.fresh, row.fresh);
    }
}

TEST(Shelf, SaysWhenSomethingIsMissing)
{
    Shelves line;
    const std::string a = Frame(200, 'a'), b = Frame(200, 'b');
    EXPECT_EQ(line.Carry(a), a);
    line.Carry(b, true);
    EXPECT_EQ(line.Carry(a), a);
    EXPECT_EQ(line.Carry(a + b), "-");
    line.out.Forget();
    EXPECT_EQ(line.Carry(a + b), a + b);
    line.in.Forget();
    EXPECT_EQ(line.Carry(a), "-");
}

// Receivers that are behind by all that is kept and more, words that are lost, and both ends agree.
TEST(Shelf, ForgetsTheSameAtBothEnds)
{
    const unsigned seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const auto upTo = [&](std::size_t most) { return random() % most; };
    Shelves line;
    std::vector<std::string> frames;
    for (int i = 0; i < 600; ++i) frames.push_back(Frame(upTo(2) ? upTo(300) : upTo(16'000), char(i)));
    std::size_t receivers[] = {0, 0, 0}, carried = 0, all = 0;
    while (receivers[0] < frames.size()) {
        const std::size_t who = upTo(8);
        std::size_t& at = receivers[who > 2 ? 0 : who];  // the first one is ahead
        std::string batch;
        for (std::size_t n = 1 + upTo(6); n > 0 && at < frames.size(); --n) batch += frames[at++];
        const bool lost = upTo(100) == 0;
        const std::string got = line.Carry(batch, lost);
        if (lost) line.out.Forget();
        if (!lost) {
            ASSERT_TRUE(got == batch);
        }
        carried += line.fresh.size();
        all += batch.size();
    }
    EXPECT_LT(carried, all);
}

class SharedLine : public testing::Test {
protected:
    MemoryCluster cluster;
    Site one{cluster, "one"}, two{cluster, "two"};
};

TEST_F(SharedLine, CarriesOneCopyForAllClientsOfARelay)
{
    auto alice = one.In("Alice");
    std::vector<std::unique_ptr<RawClient>> there;
    for (const char* handle : {"bob", "carol", "dave"}) {
        there.push_back(two.LoggedIn(handle));
        ASSERT_EQ(there.back()->Enter("Room01", false).result(), RESULT_OK);
        EXPECT_EQ(alice->Presence(), handle + std::string(" 5"));
    }
    const std::size_t before = one.engine->BytesToRelays();
    const std::string picture(200'000, 'p');
    Header post = PostHeader(CHANNEL_BOARD, 1, picture.size());
    post.mutable_post()->mutable_picture()->set_type(2);
    alice->SendItem(post, picture);
    for (const auto& client : there) {
        Received got = client->Wait(Header::kItem);
        while (got.header.item().has_presence()) got = client->Wait(Header::kItem);
        EXPECT_EQ(got.body, picture);
    }
    const std::string live(50'000, 'l');
    alice->SendLive(0, 1, live);
    for (const auto& client : there) EXPECT_EQ(client->Wait(Header::kLive).body, live);
    EXPECT_LT(one.engine->BytesToRelays() - before, 3 * picture.size() / 2);
}

}  // namespace
}  // namespace zephyl
