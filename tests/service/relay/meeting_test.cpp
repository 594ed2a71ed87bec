// Meetings as their attendees see them, over real connections.

#include <sys/mman.h>
#include <unistd.h>

#include <fstream>

#include "service/relay/relay_fixture.h"

namespace zephyl {
namespace {

using Texts = std::vector<std::string>;

INSTANTIATE_TEST_SUITE_P(, RelayTest, kAllWays, NameOfWays);

TEST_P(RelayTest, EntersByCodeAndTellsTheOthers)
{
    auto alice = LoggedIn("ALICE");
    const struct {
        const char* code;
        bool create;
        Result result;
    } rows[] = {
        {"nowhere", false, RESULT_NOT_FOUND},
        {"", true, RESULT_IN_USE},
        {"Room01", true, RESULT_OK},
    };
    for (const auto& row : rows)
        EXPECT_EQ(alice->Enter(row.code, row.create).result(), row.result) << row.code;
    auto bob = LoggedIn("bob");
    EXPECT_EQ(bob->Enter(" rOOM01 ", true).result(), RESULT_IN_USE);  // case and blanks make no other code
    const Entered entered = bob->Enter(" rOOM01 ", false);
    ASSERT_EQ(entered.result(), RESULT_OK);
    ASSERT_EQ(entered.place().attendees_size(), 2);
    EXPECT_EQ(entered.place().attendees(0).handle(), "Alice");  // the account's spelling, in order of joining
    EXPECT_EQ(entered.place().attendees(1).handle(), "bob");
    EXPECT_EQ(alice->Presence(), "bob 5");
    EXPECT_TRUE(bob->Quiet(Header::kItem));  // nobody is told of themselves
    bob->Leave();
    EXPECT_EQ(alice->Presence(), "bob 0");
    EXPECT_EQ(bob->Enter("room01", false).result(), RESULT_OK);
    alice->Post(1, "[[ZUM_WB_POINTER]]1");
    EXPECT_EQ(bob->Texts(1), Texts{"Alice: [[ZUM_WB_POINTER]]1"});  // the board's first, after much talk
    bob->Kill();
    EXPECT_EQ(alice->Presence(), "bob 5");
    EXPECT_EQ(alice->Presence(), "bob 0");
}

TEST_P(RelayTest, AnEmptyMeetingCanBeJoinedOrMadeAnew)
{
    auto alice = In("Alice");
    const std::string first = place.meeting();
    alice->PostAndWait(1, "[[ZUM_WB_PEN]]3");
    alice->Leave();
    auto bob = LoggedIn("bob");
    const Entered joined = bob->Enter("Room01", false);
    EXPECT_EQ(joined.place().meeting(), first);
    EXPECT_EQ(bob->Texts(1), Texts{"Alice: [[ZUM_WB_PEN]]3"});
    bob->Leave();
    const Entered anew = bob->Enter("Room01", true);
    ASSERT_EQ(anew.result(), RESULT_OK);
    EXPECT_NE(anew.place().meeting(), first);
    EXPECT_TRUE(bob->Quiet(Header::kItem));
    EXPECT_EQ(alice->Enter("Room01", false, first).result(),
              RESULT_ENDED);  // that code means another one now
}

TEST_P(RelayTest, EveryTextArrivesOnceAndInOrder)
{
    auto alice = In("Alice");
    auto bob = In("bob");
    alice->Post(1, "same");
    alice->Post(2, "same");
    alice->Post(2, "sent again");  // after a cut: dropped by its number
    alice->Post(1, "sent again");
    alice->Post(7, "numbers may jump");
    EXPECT_EQ(bob->Texts(3), (Texts{"Alice: same", "Alice: same", "Alice: numbers may jump"}));
    alice->WaitAccepted(CHANNEL_TALK, 7);
    EXPECT_TRUE(bob->Quiet(Header::kItem));
    bob->Post(1, "[[ZUM_WB_PEN]]3");  // each channel counts for itself
    bob->Post(1, "hello");
    Texts both = alice->Texts(2);  // no order is promised between the two
    std::sort(both.begin(), both.end());
    EXPECT_EQ(both, (Texts{"bob: [[ZUM_WB_PEN]]3", "bob: hello"}));
    EXPECT_TRUE(alice->Quiet(Header::kItem));
}

TEST_P(RelayTest, AWhisperReachesNobodyWhoComesMeanwhile)
{
    auto alice = In("Alice");
    auto bob = In("bob");
    alice->Post(1, "for bob", {"BOB"});
    auto carol = In("carol");
    alice->Post(2, "for bob still", {"bob"});
    alice->Post(3, "for all");
    EXPECT_EQ(bob->Texts(3), (Texts{"Alice: for bob", "Alice: for bob still", "Alice: for all"}));
    EXPECT_EQ(carol->Texts(1), Texts{"Alice: for all"});
}

TEST_P(RelayTest, RefusesSinglePostsAndGoesOn)
{
    auto alice = In("Alice");
    auto bob = In("bob");
    alice->SendItem(PostHeader(CHANNEL_BOARD, 1, 5), "hello");  // a line that calls itself a record
    Header picture = PostHeader(CHANNEL_BOARD, 2, 0);
    picture.mutable_post()->mutable_picture()->set_type(0);  // a camera frame in the log
    alice->Send(picture);
    picture.mutable_post()->set_number(3);
    picture.mutable_post()->mutable_picture()->set_type(2);
    picture.mutable_post()->mutable_picture()->set_x(32'768);
    alice->Send(picture);
    alice->Post(4, "[[ZUM_WB_TEXT]]" + std::string(kRecordBytes, 'x'));
    alice->Post(1, std::string(kTextBytes + 1, 'x'));
    for (const std::uint64_t number : {1, 2, 3, 4, 1}) EXPECT_EQ(alice->Refused(), number);
    bob->readAlong = true;  // the largest ones
    alice->Post(2, std::string(kTextBytes, 'y'));
    EXPECT_EQ(bob->Texts(1)[0].size(), kTextBytes + 7);
    alice->Post(5, "[[ZUM_WB_PEN]]" + std::string(kRecordBytes - 14, 'p'));
    EXPECT_EQ(bob->Texts(1)[0].size(), kRecordBytes + 7);
}

TEST_P(RelayTest, OnlyWhoStartedTheMeetingTakesBack)
{
    const auto of = [](const std::string& handle, std::uint64_t number, Channel channel = CHANNEL_BOARD) {
        Header header = PostHeader(channel, number, 0);
        header.mutable_post()->mutable_take_back()->set_handle(handle);
        return header;
    };
    const auto taken = [](RawClient& by) {
        const Item item = by.Wait(Header::kItem).header.item();
        return item.from() + " " + item.take_back().handle();
    };
    auto alice = In("Alice");
    EXPECT_TRUE(place.started());
    auto bob = In("bob");
    EXPECT_FALSE(place.started());
    EXPECT_EQ(alice->Presence(), "bob 5");
    bob->Send(of("Alice", 1));
    EXPECT_EQ(bob->Refused(), 1u);
    Header listed = of("bob", 1);
    listed.mutable_post()->mutable_recipients()->add_handles("bob");
    const Header bad[] = {listed, of("", 2), of("[[no handle]]", 3), of("bob", 1, CHANNEL_TALK)};
    for (const Header& header : bad) {
        alice->Send(header);
        EXPECT_EQ(alice->Refused(), header.post().number());
    }
    Header withBody = of("bob", 4);
    withBody.mutable_post()->set_total(4);
    alice->Send(withBody, "body");
    EXPECT_EQ(alice->Refused(), 4u);
    alice->Send(of("bob", 5));
    alice->Post(6, "[[ZUM_WB_PEN]]3");
    EXPECT_EQ(taken(*bob), "Alice bob");
    EXPECT_EQ(bob->Texts(1), Texts{"Alice: [[ZUM_WB_PEN]]3"});
    auto carol = In("carol");  // who comes later does it, too
    EXPECT_EQ(taken(*carol), "Alice bob");
    // The handle counts, not the login; and of a meeting that is made anew it is another one.
    alice = LoggedIn("ALICE");
    EXPECT_TRUE(alice->Enter("Room01", false).place().started());
    for (auto* leaves : {&alice, &bob, &carol}) (*leaves)->Leave();
    EXPECT_TRUE(bob->Enter("Room01", true).place().started());
    EXPECT_FALSE(alice->Enter("Room01", false).place().started());
}

TEST_P(RelayTest, TheNewestLiveFrameWinsAndWaitsForItsReceiver)
{
    auto alice = In("Alice");
    auto bob = In("bob");
    const std::string frame(60'000, 'f');
    for (std::uint64_t i = 1; i <= 50; ++i) alice->SendLive(0, i, frame);
    alice->PostAndWait(1, "afterwards");
    std::uint64_t live = 0, frames = 0, newest = 0;
    while (newest < 50) {
        const Received next = bob->Wait(Header::kLive);
        EXPECT_GT(next.header.live().frame(), newest);
        EXPECT_EQ(next.header.live().from(), "Alice");
        newest = next.header.live().frame();
        live += next.body.size();
        ++frames;
        if (newest < 50) bob->SendRead(0, 0, live);
    }
    EXPECT_LT(frames, 20u);  // two on their way, then one for each answer
}

TEST_P(RelayTest, TakesNoLivePictureOfATypeThereIsNot)
{
    auto alice = In("Alice");
    auto bob = In("bob");
    for (const int type : {2, 3, -1, 300, 0, 1}) alice->SendLive(type, 1, "frame");
    EXPECT_EQ(bob->Wait(Header::kLive).header.live().picture().type(), 0);
    EXPECT_EQ(bob->Wait(Header::kLive).header.live().picture().type(), 1);
    EXPECT_TRUE(bob->Quiet(Header::kLive));
    const std::vector<std::string> crowd(kSeatsPerMeeting, "x");
    alice->PostAndWait(1, "to a crowd", crowd);
    alice->Post(2, "to more than there can be", std::vector<std::string>(kSeatsPerMeeting + 1, "x"));
    EXPECT_EQ(alice->Refused(), 2u);
}

TEST_P(RelayTest, KeepsSomeEmptyMeetingsOfOneCreator)
{
    options.budgets.entries = 0;
    auto alice = LoggedIn("Alice");
    auto bob = LoggedIn("bob");
    for (int i = 0; i < 22; ++i) {
        EXPECT_EQ(alice->Enter("room" + std::to_string(10 + i), true).result(), RESULT_OK);
        if (i == 0) bob->Enter("room10", false);
        alice->Leave();
    }
    EXPECT_EQ(alice->Enter("room10", false).result(), RESULT_OK);  // somebody is there
    alice->Leave();
    EXPECT_EQ(alice->Enter("room11", false).result(), RESULT_NOT_FOUND);
    EXPECT_EQ(alice->Enter("room12", false).result(), RESULT_OK);
}

TEST_P(RelayTest, ANewcomerGetsTheBoardAndNotWhatPassed)
{
    auto alice = In("Alice");
    auto bob = In("bob");
    std::uint64_t number = 0;
    alice->Post(++number, "[[ZUM_WB_PEN]]old");
    alice->Post(++number, "[[ZUM_WB_CLEAR]]");
    for (int i = 0; i < 20; ++i) alice->Post(++number, "[[ZUM_WB_PEN]]" + std::to_string(i));
    alice->Post(++number, "[[ZUM_WB_POINTER]]1");
    alice->Post(++number, "[[ZUM_WB_PEN]]for bob", {"bob"});
    alice->Post(++number, "[[ZUM_WB_UNDO]]");
    alice->Post(1, "said before");
    alice->WaitAccepted(CHANNEL_BOARD, number);
    auto carol = In("carol");
    alice->Post(++number, "[[ZUM_WB_PEN]]last");
    const Texts board = carol->Texts(23);
    EXPECT_EQ(board.front(), "Alice: [[ZUM_WB_CLEAR]]");
    EXPECT_EQ(board[20], "Alice: [[ZUM_WB_PEN]]19");
    EXPECT_EQ(board[21], "Alice: [[ZUM_WB_UNDO]]");
    EXPECT_EQ(board[22], "Alice: [[ZUM_WB_PEN]]last");
    EXPECT_TRUE(carol->Quiet(Header::kItem));
}

TEST_P(RelayTest, AFloodIsPausedThenCutOffAndLosesNothing)
{
    options.times.grace = std::chrono::minutes(1);
    options.times.floodAfter = std::chrono::milliseconds(300);
    options.budgets.items = 100;
    options.budgets.itemsBurst = 50;
    auto bob = In("bob");
    auto alice = In("Alice");
    for (std::uint64_t i = 1; i <= 500; ++i) alice->Post(i, std::to_string(i));
    EXPECT_EQ(alice->Goodbye(), BYE_FLOOD);
    EXPECT_TRUE(alice->Ended());
    alice = std::make_unique<RawClient>(relay->Port());
    const Resumed back = alice->Resume(place);
    ASSERT_EQ(back.result(), RESULT_OK);
    const std::uint64_t have = back.place().have().talk();
    EXPECT_GT(have, 50u);
    EXPECT_LT(have, 250u);
    alice->Post(have + 1, "the next one");
    const Texts all = bob->Texts(static_cast<int>(have) + 1);
    EXPECT_EQ(all.back(), "Alice: the next one");
    EXPECT_EQ(all[49], "Alice: 50");
}

// That a code is in use says that there is such a meeting.
TEST_P(RelayTest, ACodeThatIsInUseCountsAsAGuess)
{
    auto alice = In("Alice"), guesser = LoggedIn("carol");
    for (int i = 0; i < 10; ++i) EXPECT_EQ(guesser->Enter("Room01", true).result(), RESULT_IN_USE);
    const Entered later = guesser->Enter("Room01", false);
    EXPECT_EQ(later.result(), RESULT_LATER);
    EXPECT_GT(later.wait_ms(), 0u);
}

TEST_P(RelayTest, ShortOfMemoryItGivesUpTheLeastAndRecovers)
{
    constexpr std::size_t kRoom = 64 << 20;
    std::size_t pages = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    options.bounds.memory = resident * static_cast<std::size_t>(::getpagesize()) + kRoom;
    options.times.grace = std::chrono::minutes(1);
    auto alice = In("Alice");
    alice->readAlong = true;
    auto bob = In("bob");
    EXPECT_EQ(alice->Presence(), "bob 5");
    alice->PostAndWait(1, "unread");
    const auto logsIn = [&] {
        return RawClient(relay->Port()).Login("carol", "secret", 7).result() == RESULT_OK;
    };
    EXPECT_TRUE(logsIn());
    void* ballast =
        ::mmap(nullptr, 2 * kRoom, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
    while (logsIn()) {
    }
    EXPECT_TRUE(bob->Ended());  // who has not read is the first to go, and may come back
    alice->PostAndWait(2, "goes on");
    ::munmap(ballast, 2 * kRoom);
    while (!logsIn()) {
    }
    bob = std::make_unique<RawClient>(relay->Port());
    ASSERT_EQ(bob->Resume(place).result(), RESULT_OK);
    EXPECT_EQ(bob->Texts(2).back(), "Alice: goes on");
}

}  // namespace
}  // namespace zephyl
