// What a service that was killed finds again, and what a damaged file costs.

#include <fcntl.h>
#include <unistd.h>

#include <fstream>

#include "service/relay/log/journal.h"
#include "service/relay/relay_fixture.h"
#include "service/relay/test_disk.h"

namespace zephyl {
namespace {

using Texts = std::vector<std::string>;
namespace fs = std::filesystem;

class RestartTest : public RelayTest {
protected:
    RestartTest() { options.times.grace = std::chrono::minutes(1); }
    /// The service goes without a word to anybody, and another one starts on its data.
    void KillAndStart() { StartRelay(); }
    fs::path NewestSegment(const std::string& part) const
    {
        fs::path newest;
        for (const auto& entry : fs::recursive_directory_iterator(options.data / "meetings"))
            if (entry.path().filename().string().starts_with(part + "-") && entry.path() > newest)
                newest = entry.path();
        return newest;
    }
};
INSTANTIATE_TEST_SUITE_P(, RestartTest, testing::Values(Ways{Logs::Files}, Ways{Logs::ColdFiles}),
                         NameOfWays);

TEST_P(RestartTest, EverybodyGoesOnWhereTheyWere)
{
    auto bob = In("bob");
    const Place bobs = place;
    EXPECT_TRUE(bobs.started());
    auto alice = In("Alice");
    const Place alices = place;
    alice->Post(1, "said");
    alice->Post(2, std::string(kTextBytes + 1, 'x'));  // refused
    alice->Post(1, "[[ZUM_WB_PEN]]drawn");
    alice->PostAndWait(3, "for bob", {"bob"});
    alice->WaitAccepted(CHANNEL_BOARD, 1);
    EXPECT_EQ(bob->Texts(3).size(), 3u);  // read by the link, not yet taken
    for (int kill = 0; kill < 2; ++kill) KillAndStart();
    bob = Fresh();
    const Resumed resumed = bob->Resume(bobs);
    ASSERT_EQ(resumed.result(), RESULT_OK);
    EXPECT_TRUE(resumed.place().started());
    Texts again = bob->Texts(3);
    std::sort(again.begin(), again.end());
    EXPECT_EQ(again, (Texts{"Alice: [[ZUM_WB_PEN]]drawn", "Alice: for bob", "Alice: said"}));
    alice = Fresh();
    const Resumed back = alice->Resume(alices);
    ASSERT_EQ(back.result(), RESULT_OK);
    EXPECT_EQ(back.place().have().talk(), 3u);
    EXPECT_EQ(alice->Refused(), 2u);
    alice->Post(3, "for bob", {"bob"});  // no answer had come: dropped by its number
    alice->Post(4, "after the restart");
    EXPECT_EQ(bob->Texts(1), Texts{"Alice: after the restart"});
    EXPECT_TRUE(bob->Quiet(Header::kItem));  // nobody was seen to leave
    auto carol = LoggedIn("carol");
    EXPECT_EQ(carol->Enter("room01", true).result(), RESULT_IN_USE);
    const Entered carols = carol->Enter("room01", false);
    EXPECT_EQ(carols.result(), RESULT_OK);
    const Item drawn = carol->Wait(Header::kItem).header.item();
    EXPECT_EQ(drawn.from(), "Alice");
    EXPECT_TRUE(drawn.taken_ms() >= alices.now_ms() && drawn.taken_ms() < carols.place().now_ms());
}

TEST_P(RestartTest, ASeatEndsWithItsAccountsPermission)
{
    auto bob = In("bob");
    const Place bobs = place;
    auto alice = In("Alice");
    const Place alices = place;
    relay->TheAccounts().SetPassword("bob", HashPassword("another", kCheapHash));
    KillAndStart();
    EXPECT_EQ(Fresh()->Resume(bobs).result(), RESULT_UNKNOWN);
    const Resumed back = Fresh()->Resume(alices);
    ASSERT_EQ(back.result(), RESULT_OK);
    EXPECT_EQ(back.place().attendees_size(), 1);
}

TEST_P(RestartTest, AMeetingNobodyAsksForIsDeleted)
{
    options.times.keepEmpty = std::chrono::milliseconds(50);
    auto alice = In("Alice");  // whose place nobody asks for is no reason to keep it
    KillAndStart();
    auto bob = LoggedIn("bob");
    while (!fs::is_empty(options.data / "meetings")) EXPECT_TRUE(bob->Quiet(Header::kItem));
    EXPECT_EQ(bob->Enter("Room01", false).result(), RESULT_NOT_FOUND);
    EXPECT_EQ(Fresh()->Resume(place).result(), RESULT_UNKNOWN);
}

// Whatever was left of a seat's time, a service that starts gives all of it again.
TEST_P(RestartTest, TimesBeginAnew)
{
    using std::chrono::steady_clock;
    options.times.grace = std::chrono::seconds(1);
    options.budgets.codesPerAccount = options.budgets.codesPerAddress = 0;
    auto bob = In("bob");
    Place bobs = place;
    auto alice = In("Alice");
    const Place alices = place;
    EXPECT_EQ(bob->Presence(), "Alice 5");
    auto started = steady_clock::now();
    const auto again = [&] {  // Alice is not there when the service goes
        started = steady_clock::now();
        KillAndStart();
        bob = Fresh();
        bobs = bob->Resume(bobs).place();
    };
    alice->Kill();
    for (int kills = 0; kills < 2; ++kills) again();  // a place that was cut off keeps all of its grace time
    while (bob->Presence() != "Alice 0") continue;
    EXPECT_GE(steady_clock::now() - started, options.times.grace);
    again();  // and is away after that, for all of that time
    alice = LoggedIn("Alice");
    EXPECT_EQ(alice->Enter("Room01", false, alices.meeting()).place().seat(), alices.seat());
    alice->Kill();
    while (bob->Presence() != "Alice 0") continue;
    options.times.away = std::chrono::seconds(1);
    again();
    bob->Leave();
    auto carol = LoggedIn("carol");  // the code is in use until Alice's place is gone
    while (carol->Enter("Room01", true).result() == RESULT_IN_USE) continue;
    EXPECT_GE(steady_clock::now() - started, options.times.away);
}

TEST_P(RestartTest, ATornEndIsCutAndItsSenderSendsItAgain)
{
    auto bob = In("bob");  // who has read nothing
    auto alice = In("Alice");
    const Place alices = place;
    alice->Post(1, "safe");
    alice->PostAndWait(2, "torn");
    relay.reset();
    const fs::path segment = NewestSegment("talk");
    std::string bytes;
    {
        std::ifstream in(segment, std::ios::binary);
        bytes.assign(std::istreambuf_iterator<char>(in), {});
    }
    fs::resize_file(segment, bytes.rfind("torn") + 2);  // a write that a power cut ended
    StartRelay();
    alice = Fresh();
    const Resumed back = alice->Resume(alices);
    EXPECT_EQ(back.place().have().talk(), 1u);
    auto carol = In("carol");
    alice->Post(2, "torn");
    EXPECT_EQ(carol->Texts(1), Texts{"Alice: torn"});
    const Received presence = alice->Wait(Header::kItem);
    EXPECT_GT(presence.header.item().sequence() >> 32,
              alices.position().talk() >> 32);  // no cursor stands before it
}

// What a power cut takes is sent again, perhaps behind an UNDO that reaches beyond the CLEAR then.
TEST_P(RestartTest, NewcomersBeginWithAClearOnceWhatSettledItIsSafe)
{
    auto alice = In("Alice");
    auto bob = In("bob");
    const std::uint64_t beginning = place.position().board();
    auto carol = LoggedIn("carol");
    alice->Post(1, "[[ZUM_WB_PEN]]old");
    alice->PostAndWait(2, "[[ZUM_WB_CLEAR]]");
    TestDisk::The().stuck = true;
    for (std::uint64_t i = 3; i <= 22; ++i) alice->Post(i, "[[ZUM_WB_PEN]]" + std::to_string(i));
    EXPECT_EQ(bob->Texts(22).back(), "Alice: [[ZUM_WB_PEN]]22");
    Header enter;
    enter.mutable_enter()->set_code("Room01");
    carol->Send(enter);
    EXPECT_EQ(bob->Presence(), "carol 5");
    TestDisk::The().stuck = false;
    TestDisk::The().stuck.notify_all();
    const Place carols = carol->Wait(Header::kEntered).header.entered().place();
    EXPECT_EQ(carols.position().board(), beginning);
    alice->WaitAccepted(CHANNEL_BOARD, 22);
    EXPECT_EQ(In("dave")->Texts(1), Texts{"Alice: [[ZUM_WB_CLEAR]]"});
}

TEST_P(RestartTest, AllIsSafeBeforeItEndsInOrder)
{
    auto alice = In("Alice");
    for (std::uint64_t i = 1; i <= 50; ++i) alice->Post(i, "[[ZUM_WB_PEN]]" + std::to_string(i));
    EXPECT_TRUE(alice->Quiet(Header::kItem));
    relay->Stop();
    std::uint64_t accepted = 0;
    for (;;) {
        const Received next = alice->Next();
        if (next.header.has_accepted()) accepted = next.header.accepted().board();
        if (!next.header.has_bye()) continue;
        EXPECT_EQ(next.header.bye().reason(), BYE_RESTART);
        break;
    }
    EXPECT_EQ(accepted, 50u);
    EXPECT_TRUE(alice->Ended());
    StartRelay();
    EXPECT_EQ(In("bob")->Texts(50).back(), "Alice: [[ZUM_WB_PEN]]50");
}

TEST(Journal, TellsATornEndFromDamageAndNeverTakesEither)
{
    const TemporaryFolder folder;
    const fs::path path = folder.path / "journal";
    std::string entries;
    for (const char* payload : {"one", "two", "three"}) AppendEntry(entries, payload);
    const struct {
        const char* why;
        std::string bytes;
        int whole;
        JournalEnd end;
    } rows[] = {
        {"whole", entries, 3, JournalEnd::Clean},
        {"empty", "", 0, JournalEnd::Clean},
        {"preallocated", entries + std::string(4096, '\0'), 3, JournalEnd::Clean},
        {"cut in the last", entries.substr(0, entries.size() - 1), 2, JournalEnd::Torn},
        {"cut in a prefix", entries.substr(0, 15 + 5), 1, JournalEnd::Torn},
        {"a bit in the last", entries.substr(0, entries.size() - 1) + "E", 2, JournalEnd::Torn},
        {"a bit in the first", entries.substr(0, 14) + "E" + entries.substr(15), 0, JournalEnd::Damaged},
        {"garbage behind", entries + "\xff\xff\xff\xff garbage", 3, JournalEnd::Torn},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.why);
        std::ofstream(path, std::ios::binary) << row.bytes;
        int whole = 0;
        Journal journal(path);
        EXPECT_EQ(journal.Load([&](std::string_view, std::uint64_t) { ++whole; }), row.end);
        EXPECT_EQ(whole, row.whole);
        if (row.end == JournalEnd::Damaged) continue;
        journal.Cut();
        std::string more;
        AppendEntry(more, "more");
        EXPECT_TRUE(journal.Append(more));
        EXPECT_EQ(Journal(path).Load([&](std::string_view, std::uint64_t) { --whole; }), JournalEnd::Clean);
        EXPECT_EQ(whole, -1);  // it goes on behind the last whole one
    }
}

}  // namespace
}  // namespace zephyl
