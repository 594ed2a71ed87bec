// Relays that share their meetings, one of which dies, is cut off or goes.

#include <array>

#include "service/keepers/posting_client.h"
#include "service/keepers/sites.h"

namespace zephyl {
namespace {

constexpr int kLines = 300;
constexpr std::chrono::milliseconds kPause{3};

class Takeover : public testing::Test {
protected:
    Takeover()
    {
        for (std::size_t i = 0; i < sites.size(); ++i) Open(i);
    }
    ~Takeover() override
    {
        for (auto& client : clients) client->Stop();
    }

    void Open(std::size_t i)
    {
        static const char* const names[] = {"one", "two", "three"};
        auto site = std::make_unique<Site>(cluster, names[i], times);
        ports[i] = site->relay->Port();
        sites[i] = std::move(site);
    }
    /// As kill -9.
    void Kill(std::size_t i)
    {
        ports[i] = 1;  // nobody listens there
        sites[i].reset();
    }
    /// Alice, bob and carol in one meeting, each at a relay of their own, kept by Alice's; until so many
    /// lines of each are accepted.
    void Gather(int lines = 50)
    {
        const char* const handles[] = {"Alice", "bob", "carol"};
        for (std::size_t i = 0; i < 3; ++i) {
            std::vector<PostingClient::PortOf> relays;
            for (std::size_t k = 0; k < 3; ++k)
                relays.emplace_back([this, at = (i + k) % 3] { return ports[at].load(); });
            clients.push_back(std::make_unique<PostingClient>(handles[i], relays));
            ASSERT_EQ(clients.back()->Enter("Room01", i == 0), RESULT_OK);
        }
        for (const auto& client : clients) client->Start(kLines, kPause);
        WaitForLines(lines);
    }
    void WaitForLines(int lines)
    {
        for (std::size_t i = 0; i < 3; ++i) ASSERT_TRUE(clients[i]->Accepted(lines)) << i;
    }
    /// Everything has come to everybody, once, in one order, and nobody was seen leaving.
    void ExpectAllWhole()
    {
        const std::vector<std::string> others[] = {{"bob", "carol"}, {"Alice", "carol"}, {"Alice", "bob"}};
        for (std::size_t i = 0; i < 3; ++i) EXPECT_TRUE(clients[i]->Done(others[i], kLines)) << i;
        std::map<std::pair<std::string, std::uint64_t>, std::uint64_t> places;
        for (const auto& client : clients) {
            client->Stop();
            EXPECT_EQ(client->faults, std::vector<std::string>());
            EXPECT_EQ(client->left, std::vector<std::string>());
            EXPECT_EQ(client->lines.size(), 2u * kLines);
            for (std::size_t i = 1; i < client->lines.size(); ++i)
                EXPECT_LT(client->lines[i - 1].sequence, client->lines[i].sequence);
            for (const auto& line : client->lines) {
                const auto [at, first] = places.emplace(std::pair(line.from, line.number), line.sequence);
                EXPECT_EQ(at->second, line.sequence) << line.from << " " << line.number;
            }
        }
    }

    ClusterTimes times = Site::kTimes;
    MemoryCluster cluster;
    std::array<std::unique_ptr<Site>, 3> sites;
    std::array<std::atomic<std::uint16_t>, 3> ports{};
    std::vector<std::unique_ptr<PostingClient>> clients;
};

TEST_F(Takeover, OfAMeetingWhoseKeeperIsKilledAgainAndAgain)
{
    Gather(0);
    // Whoever keeps it by then: all three are killed, one after the other.
    for (std::size_t i = 0; i < 3; ++i) {
        WaitForLines(int(i + 1) * kLines / 5);
        Kill(i);
        WaitForLines(int(i + 1) * kLines / 5 + 20);
        Open(i);
    }
    ExpectAllWhole();
}

TEST_F(Takeover, NeedsNoPatienceWithAProcessThatHasEnded)
{
    times.goneAfter = std::chrono::hours(1);
    for (std::size_t i = 0; i < sites.size(); ++i) {
        Kill(i);
        Open(i);
    }
    Gather();
    Kill(0);
    ExpectAllWhole();
}

TEST_F(Takeover, OfAClientWhoseRelayIsKilled)
{
    Gather();
    Kill(1);  // bob's, which keeps nothing
    ExpectAllWhole();
    EXPECT_EQ(clients[0]->connections, 1);
    EXPECT_EQ(clients[1]->connections, 2);
    EXPECT_EQ(clients[2]->connections, 1);
}

TEST_F(Takeover, FromARelayThatWasCutOffAndStillBelievesThatItKeepsIt)
{
    Kill(0);
    times.decidesFor = std::chrono::hours(1);
    times.leftAfter = times.cutOffAfter = std::chrono::hours(2);
    Open(0);
    Gather();
    sites[0]->engine->Cut();
    // The others have it meanwhile, and Alice sits before one that does nothing.
    ASSERT_TRUE(clients[1]->Accepted(150));
    ASSERT_TRUE(clients[2]->Accepted(150));
    sites[0]->engine->Mend();
    ExpectAllWhole();
}

TEST_F(Takeover, OfTheClientsOfARelayThatIsCutOff)
{
    Gather();
    sites[0]->engine->Cut();
    ExpectAllWhole();
    EXPECT_GE(clients[0]->connections, 2);
    EXPECT_EQ(sites[0]->Fresh()->Goodbye(), BYE_RESTART);
    sites[0]->engine->Mend();
}

// As one that reaches a server which is cut off from the others.
TEST_F(Takeover, OfTheClientsOfARelayThatHearsNobodyAnyMore)
{
    Gather();
    sites[0]->engine->Hold();
    ExpectAllWhole();
    EXPECT_GE(clients[0]->connections, 2);
    sites[0]->engine->Release();
}

TEST_F(Takeover, IsNotNeededWhenWhatAllShareWasAwayForAWhile)
{
    Gather();
    for (auto& site : sites) site->engine->Cut();
    // Each of them sends its clients away by then, and nobody is better off elsewhere.
    const auto sendsAway = [](Site& site) {
        try {
            return site.Fresh()->Next().header.bye().reason() == BYE_RESTART;
        } catch (const std::exception&) {
            return false;  // it was closed before it had greeted
        }
    };
    for (auto& site : sites)
        while (!sendsAway(*site)) {
        }
    for (auto& site : sites) site->engine->Mend();
    ExpectAllWhole();
}

TEST_F(Takeover, FromARelayThatGoesInOrderTakesNoTime)
{
    Gather();
    sites[0]->relay->Stop();
    ExpectAllWhole();
    for (const auto& client : clients) EXPECT_LT(client->longestAway, times.goneAfter);
}

TEST_F(Takeover, IsNotNeededWhenAWordBetweenRelaysIsLost)
{
    for (std::size_t i = 0; i < 2; ++i) {
        Kill(i);
        Open(i);
        // From the keeper, and to it: now and then one.
        sites[i]->engine->LoseEvery(i == 0 ? 97 : 61);
    }
    Gather(0);
    ExpectAllWhole();
    EXPECT_GT(clients[1]->connections, 1);
}

// As NATS servers that have lost their leader.
TEST_F(Takeover, IsNotNeededWhenNobodyCanStoreAnythingForAWhile)
{
    Gather();
    cluster.SetFull(true);
    // Each tries with every tick.
    cluster.WaitForRefusals(3 * int((times.cutOffAfter + times.goneAfter) / (times.beat / 2)));
    cluster.SetFull(false);
    ExpectAllWhole();
    for (const auto& client : clients) EXPECT_EQ(client->connections, 1);
}

TEST_F(Takeover, OfClientsThatMoveAllTheTime)
{
    Gather(0);
    for (int i = 1; i <= 20; ++i) {
        WaitForLines(i * kLines / 25);
        clients[std::size_t(i) % 3]->Move();
    }
    ExpectAllWhole();
}

TEST_F(Takeover, LeavesWhatAnOperatorHasSaidWhereItWas)
{
    auto alice = sites[0]->In("Alice");
    auto bob = sites[1]->LoggedIn("bob");
    ASSERT_EQ(bob->Enter("Room01", false).result(), RESULT_OK);
    EXPECT_EQ(alice->Presence(), "bob 5");
    EXPECT_EQ(sites[2]->Tell("kick Room01\tbob"), "ok");
    EXPECT_EQ(bob->Goodbye(), BYE_KICKED);
    EXPECT_EQ(alice->Presence(), "bob 0");
    bob = sites[2]->LoggedIn("bob");
    EXPECT_EQ(bob->Enter("Room01", false).result(), RESULT_NOT_PERMITTED);
    Kill(0);
    EXPECT_EQ(bob->Enter("Room01", false).result(), RESULT_NOT_PERMITTED);
    EXPECT_EQ(sites[1]->Tell("unkick Room01\tbob"), "ok");
    EXPECT_EQ(sites[1]->Tell("unkick Room01\tbob"), "not kicked");
    EXPECT_EQ(bob->Enter("Room01", false).result(), RESULT_OK);
    EXPECT_EQ(sites[1]->Tell("close Room01"), "ok");
    EXPECT_EQ(bob->Goodbye(), BYE_ENDED);
    EXPECT_EQ(sites[1]->LoggedIn("carol")->Enter("Room01", false).result(), RESULT_NOT_FOUND);
}

}  // namespace
}  // namespace zephyl
