// Coming back: after a cut, after grace, and behind a login elsewhere.

#include "service/relay/relay_fixture.h"

namespace zephyl {
namespace {

using Texts = std::vector<std::string>;

class ReturnTest : public RelayTest {
protected:
    ReturnTest() { options.times.grace = std::chrono::minutes(1); }
};

INSTANTIATE_TEST_SUITE_P(, ReturnTest, kAllWays, NameOfWays);

TEST_P(ReturnTest, ResumesWithoutAnybodySeeingIt)
{
    auto bob = In("bob");
    auto alice = In("Alice");
    const Place cut = place;
    alice->PostAndWait(1, "before the cut");
    alice->Kill();
    bob->PostAndWait(1, "meanwhile");
    alice = Fresh();
    const Resumed back = alice->Resume(cut);
    ASSERT_EQ(back.result(), RESULT_OK);
    EXPECT_EQ(back.place().have().talk(), 1u);
    EXPECT_EQ(alice->Wait(Header::kAccepted).header.accepted().talk(), 1u);  // the last one may be lost
    EXPECT_EQ(alice->Texts(1), Texts{"bob: meanwhile"});
    alice->Post(1, "before the cut");  // sent again, because no answer had come
    alice->Post(2, "afterwards");
    EXPECT_EQ(bob->Presence(), "Alice 5");
    EXPECT_EQ(bob->Texts(2), (Texts{"Alice: before the cut", "Alice: afterwards"}));
    EXPECT_TRUE(bob->Quiet(Header::kItem));  // and never a 0
}

TEST_P(ReturnTest, ATokenOpensItsOwnSeatOnce)
{
    auto alice = In("Alice");
    const Place first = place;
    Resumed lost;
    for (int answers = 0; answers < 3;
         ++answers) {  // any number of them may be lost: the old token stays good
        lost = Fresh()->Resume(first);
        ASSERT_EQ(lost.result(), RESULT_OK) << answers;
    }
    EXPECT_EQ(alice->Goodbye(), BYE_REPLACED);
    auto third = Fresh();
    const Resumed taken = third->Resume(first);
    ASSERT_EQ(taken.result(), RESULT_OK);
    EXPECT_TRUE(third->Quiet(Header::kItem));  // the first frame uses it up
    for (const Place& over : {first, lost.place()}) EXPECT_EQ(Fresh()->Resume(over).result(), RESULT_UNKNOWN);
    EXPECT_EQ(Fresh()->Resume(taken.place(), first.position()).result(), RESULT_OK);
}

TEST_P(ReturnTest, AfterGraceItGoesOnWhereItHadRead)
{
    options.times.grace = std::chrono::milliseconds(60);
    auto bob = In("bob");
    auto alice = In("Alice");
    const Place cut = place;
    EXPECT_EQ(bob->Presence(), "Alice 5");
    alice->Kill();
    EXPECT_EQ(bob->Presence(), "Alice 0");
    bob->PostAndWait(1, "while away");
    alice = Fresh();
    EXPECT_EQ(alice->Resume(cut).result(), RESULT_UNKNOWN);
    ASSERT_EQ(alice->Login("Alice", "secret", StreamOf("Alice"), true).result(), RESULT_OK);
    const Entered back = alice->Enter("Room01", false, cut.meeting());
    ASSERT_EQ(back.result(), RESULT_OK);
    EXPECT_EQ(back.place().seat(), cut.seat());
    EXPECT_EQ(alice->Texts(1), Texts{"bob: while away"});
    EXPECT_EQ(bob->Presence(), "Alice 5");
}

TEST_P(ReturnTest, ADetachedSeatEndsWithItsAccount)
{
    auto bob = In("bob");
    const std::function<bool(Accounts&, const std::string&)> changes[] = {
        [](Accounts& accounts, const std::string& handle) { return accounts.SetPermitted(handle, false); },
        [](Accounts& accounts, const std::string& handle) {
            return accounts.SetPassword(handle, HashPassword("another", kCheapHash));
        },
        [](Accounts& accounts, const std::string& handle) { return accounts.Remove(handle); },
    };
    const char* handles[] = {"Alice", "carol", "dave"};
    for (std::size_t i = 0; i < std::size(changes); ++i) {
        const std::string handle = handles[i];
        In(handle)->Kill();
        const Place cut = place;
        EXPECT_EQ(bob->Presence(), handle + " 5");
        EXPECT_TRUE(changes[i](relay->TheAccounts(), handle));
        EXPECT_EQ(Tell("account " + handle), "ok");
        EXPECT_EQ(bob->Presence(), handle + " 0");
        EXPECT_EQ(Fresh()->Resume(cut).result(), RESULT_UNKNOWN) << handle;
    }
}

TEST_P(ReturnTest, OwnEarlierStrokesComeBackToWhoEntersAgain)
{
    auto alice = In("Alice");
    alice->PostAndWait(1, "[[ZUM_WB_PEN]]mine");
    alice->Leave();
    const Entered again = alice->Enter("Room01", false);
    EXPECT_EQ(again.place().have().board(), 1u);  // numbers go on
    EXPECT_EQ(alice->Texts(1), Texts{"Alice: [[ZUM_WB_PEN]]mine"});
}

TEST_P(ReturnTest, WhatAGivenUpLoginSendsLaterCountsNoMore)
{
    auto bob = In("bob");
    auto old = LoggedIn("Alice");
    auto alice = LoggedIn("Alice");  // the same stream: the link came back by itself
    EXPECT_EQ(old->Goodbye(), BYE_REPLACED);
    EXPECT_EQ(alice->Enter("Room01", false).result(), RESULT_OK);
    EXPECT_TRUE(old->Ended());
    EXPECT_EQ(bob->Presence(), "Alice 5");
    EXPECT_TRUE(bob->Quiet(Header::kItem));
}

}  // namespace
}  // namespace zephyl
