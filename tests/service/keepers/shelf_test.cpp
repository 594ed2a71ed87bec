// What several clients of one relay get goes there once.

#include "service/relay/keepers/shelf.h"

#include <random>

#include "service/keepers/sites.h"
#include "service/relay/admin_socket.h"
#include "service/relay/log/stored.h"
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
        out.Put(frames, shelved, fresh,
                [this](std::string_view frame) { return overheard.Find(written, frame); });
        while (const auto word = overheard.TakeWord()) said.push_back(word->listen());
        if (lost) return "";
        const auto pieces = in.Take(shelved, fresh, heard);
        if (!pieces) return "-";
        std::string all;
        for (const Piece& piece : *pieces) all += piece.bytes;
        return all;
    }
    /// An item each. Returns what was written.
    std::string Write(const std::vector<std::string>& items, bool unheard = false)
    {
        std::string batch, frames;
        for (const std::string& one : items) {
            LogItem item;
            item.frames = one;
            StoreItem(batch, item);
            frames += one;
        }
        const ChainName name{"log", 7, ++entries};
        written.Add(name, std::make_shared<const std::string>(batch));
        if (!unheard) heard.Add(name, batch);
        return frames;
    }
    /// As the other end answers; `late`: to the question before.
    void Hears(bool late = false)
    {
        words::Listening listening;
        listening.set_subject("log");
        listening.set_ask(said.back().ask() - (late ? 1 : 0));
        overheard.Hears(listening, written.Next());
    }
    ShelfOut out;
    ShelfIn in;
    WrittenEntries written;
    OverheardOut overheard;
    HeardEntries heard;
    std::vector<words::Listen> said;
    std::uint64_t entries = 0;
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

TEST(Shelf, NamesWhatWasHeardWhenItWasWritten)
{
    Shelves line;
    const std::string large = Frame(16'000, 'l');
    const auto carries = [&](const std::string& frames, const std::string& fresh) {
        EXPECT_EQ(line.Carry(frames), frames);
        EXPECT_EQ(line.fresh, fresh);
    };
    // The other end is asked to listen once enough has come, and counts when it says that it has heard.
    for (std::size_t i = 0; i * 16'000 < kWorthListening; ++i) {
        const std::string frames = line.Write({Frame(16'000, char('A' + i))});
        EXPECT_TRUE(line.said.empty());
        carries(frames, frames);
    }
    ASSERT_EQ(line.said.size(), 1u);
    EXPECT_EQ(line.said[0].subject(), "log");
    line.Hears(true);
    std::string before = line.Write({Frame(15'000, 'e')}, true);
    line.Hears();
    carries(before, before);
    // Large frames of an entry, also of two parts and with small ones between.
    const std::string two = Frame(16'000, 'f') + Frame(5'000, 'g'), small = Frame(100, 'h');
    carries(line.Write({two, small, large}), small);
    carries(small + two, "");
    const std::string other = line.Write({Frame(2'000, 'i')}), own = Frame(3'000, 'o');
    carries(own + line.Write({Frame(2'000, 'j')}) + other, own);
    // What it missed is told from what was lost on the way.
    EXPECT_EQ(line.Carry(line.Write({Frame(2'000, 'k')}, true)), "-");
    line.out.Forget();
    // Behind much else it is not expected to know it any more, and has it still where it is.
    const std::string early = line.Write({Frame(16'000, 'm')}), late = line.Write({Frame(16'000, 'n')});
    const std::size_t each = 16'100;
    for (std::size_t bytes = each; bytes + 2 * each < kWrittenBytes; bytes += each)
        line.Write({Frame(16'000, 'x')});
    carries(late, "");
    for (int i = 0; i < 2; ++i) line.Write({Frame(16'000, 'y')});
    carries(early, early);
    // Nothing large comes any more.
    for (int i = 0; i < 60 && line.said.size() == 1; ++i) {
        line.overheard.Fade();
        carries("", "");
    }
    ASSERT_EQ(line.said.size(), 2u);
    EXPECT_EQ(line.said[1].ask(), 0u);
    line.said[1].set_ask(1);
    line.Hears();  // it had not heard that when it said so
    carries(line.Write({large + Frame(1'500, 'z')}), large + Frame(1'500, 'z'));
    ASSERT_EQ(line.said.size(), 3u);
    EXPECT_EQ(line.said[2].ask(), 0u);
}

class SharedLine : public testing::Test {
protected:
    static void Place(RawClient& client, std::uint64_t number, const std::string& picture)
    {
        Header post = PostHeader(CHANNEL_BOARD, number, picture.size());
        post.mutable_post()->mutable_picture()->set_type(2);
        client.SendItem(post, picture);
    }
    static std::string NextPicture(RawClient& client)
    {
        Received got = client.Wait(Header::kItem);
        while (got.header.item().has_presence()) got = client.Wait(Header::kItem);
        return got.body;
    }

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
    Place(*alice, 1, picture);
    for (const auto& client : there) EXPECT_EQ(NextPicture(*client), picture);
    const std::string live(50'000, 'l');
    alice->SendLive(0, 1, live);
    for (const auto& client : there) EXPECT_EQ(client->Wait(Header::kLive).body, live);
    EXPECT_LT(one.engine->BytesToRelays() - before, 3 * picture.size() / 2);
}

// The log's own copy is enough, and who has missed that comes back for it.
TEST_F(SharedLine, CarriesNoneOfWhatTheOtherRelayHearsWritten)
{
    auto alice = one.In("Alice");
    two.made = true;
    auto bob = two.In("bob");
    std::uint64_t number = 0;
    const auto picture = [](std::uint64_t which) { return std::string(40'000, char(which)); };
    std::size_t carried = 40'000;
    while (number < 50 && carried > 2'000) {
        const std::size_t before = one.engine->BytesToRelays();
        ++number;
        Place(*alice, number, picture(number));
        ASSERT_EQ(NextPicture(*bob), picture(number));
        carried = one.engine->BytesToRelays() - before;
    }
    EXPECT_LT(carried, 2'000u);
    one.engine->WriteUnheard(1);
    ++number;
    Place(*alice, number, picture(number));
    alice->WaitAccepted(CHANNEL_BOARD, number);
    EXPECT_THROW(bob->Wait(Header::kBye), boost::system::system_error);
    auto back = two.Fresh();
    ASSERT_EQ(back->Resume(two.place).result(), RESULT_OK);
    for (std::uint64_t i = 1; i <= number; ++i) EXPECT_EQ(NextPicture(*back), picture(i));
}

// What a relay has forgotten of one that it took for gone is not named to it any more.
TEST_F(SharedLine, BeginsAnewWithARelayThatStoodStill)
{
    ClusterTimes patient = Site::kTimes;
    patient.decidesFor = patient.leftAfter = patient.goneAfter = patient.cutOffAfter = std::chrono::hours(1);
    Site still{cluster, "still", patient};
    auto alice = still.In("Alice");
    two.made = true;
    auto bob = two.In("bob");
    const std::string picture(40'000, 'p');
    Place(*alice, 1, picture);
    EXPECT_EQ(NextPicture(*bob), picture);
    still.engine->Hold();
    EXPECT_THROW(bob->Wait(Header::kBye), boost::system::system_error);
    still.engine->Release();
    while (AskDaemon(two.options.data, "status")->body.find(R"("state":"gone")") != std::string::npos) {
    }
    auto back = two.Fresh();
    ASSERT_EQ(back->Resume(two.place).result(), RESULT_OK);
    EXPECT_EQ(NextPicture(*back), picture);
}

}  // namespace
}  // namespace zephyl
