// Copies of what the servers keep of the meetings, and what an operator's commands see of those servers.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <random>
#include <thread>

#include "service/cluster/pair.h"
#include "service/relay/cluster/log_copy.h"
#include "service/relay/cluster/nats_look.h"
#include "service/relay/cluster/open_engine.h"
#include "service/relay/private_folder.h"

namespace zephyl {
namespace {

struct Copied {
    std::string stream, head;
    std::vector<std::string> parts;
};

std::vector<Copied> CopyAll(const NatsSite& site)
{
    std::vector<Copied> all;
    for (const std::string& stream : CopiedStreams()) {
        StreamCopy copy(site, stream);
        if (copy.Head().empty()) continue;
        all.push_back({stream, copy.Head(), {}});
        while (auto part = copy.Next()) all.back().parts.push_back(std::move(*part));
    }
    return all;
}

void PutBack(const NatsSite& site, const std::vector<Copied>& all)
{
    PuttingBack servers(site);
    for (const Copied& one : all) {
        servers.Begin(one.stream, one.head);
        for (const std::string& part : one.parts) servers.Add(part);
        servers.End();
    }
}

std::unique_ptr<Engine> Connected(const NatsSite& site)
{
    auto engine = std::make_unique<NatsEngine>(site, OpenNats, [](const std::string&) {});
    WaitFor(*engine, true);
    return engine;
}

/// Entry and sequence of each that stands there.
std::vector<std::pair<std::uint64_t, std::string>> EntriesOf(Engine& engine, const std::string& subject)
{
    std::vector<std::pair<std::uint64_t, std::string>> all;
    const auto [result, entries] = Await<EngineResult, std::vector<EngineEntry>>(
        [&](auto got) { engine.Read(subject, 0, 64 << 20, got); });
    EXPECT_EQ(result, EngineResult::Ok);
    for (const EngineEntry& one : entries) all.emplace_back(one.sequence, one.bytes);
    return all;
}

/// What it says against putting these back; "": nothing.
std::string Refusal(const NatsSite& site, const std::vector<Copied>& all)
try {
    PutBack(site, all);
    return "";
} catch (const StartError& error) {
    return error.what();
}

TEST(CopiesOfMeetings, GoOnWhereTheyWereInOtherServers)
{
    QUORVIA_NEEDS_NATS();
    const std::string subject = "zephyl.log.m1.talk";
    TestNats first, second(3);
    std::vector<Copied> copies;
    std::vector<std::pair<std::uint64_t, std::string>> entries;
    std::uint64_t last = 0, lease = 0;
    {
        const auto engine = Connected(first.Site());
        for (int i = 0; i < 20; ++i) {  // of several parts: what cannot be made smaller
            std::string bytes(200'000, '\0');
            std::generate(bytes.begin(), bytes.end(), [random = std::mt19937(unsigned(i))]() mutable {
                return static_cast<char>(random());
            });
            last = Append(*engine, subject, bytes, last).sequence;
        }
        lease = Put(*engine, "codes", "lease", Put(*engine, "codes", "first", 0).sequence).sequence;
        entries = EntriesOf(*engine, subject);
        copies = CopyAll(first.Site());
    }
    ASSERT_EQ(copies.size(), 2u);  // no meeting has had a record
    EXPECT_GT(copies[0].parts.size(), 3u);
    ASSERT_EQ(Refusal(second.Site(), copies), "");
    EXPECT_NE(Refusal(second.Site(), copies).find("have meetings"), std::string::npos);
    const auto engine = Connected(second.Site());
    EXPECT_EQ(EntriesOf(*engine, subject), entries);
    EXPECT_GT(Put(*engine, "codes", "later", lease).sequence, lease) << "epochs go on";
    std::atomic<bool> ends{false};
    std::thread relay([&] {
        for (std::uint64_t at = 0; !ends;) at = Put(*engine, "relays", "lives", at).sequence;
    });
    EXPECT_NE(Refusal(second.Site(), copies).find("stop all of them"), std::string::npos);
    ends = true;
    relay.join();
}

TEST(CopiesOfMeetings, MayBePutBackOnceMoreWhenThatWasInterrupted)
{
    QUORVIA_NEEDS_NATS();
    TestNats first, second;
    std::vector<Copied> copies;
    {
        const auto engine = Connected(first.Site());
        Put(*engine, "codes", "lease", 0);
        copies = CopyAll(first.Site());
    }
    std::vector<Copied> half{copies.front()};
    EXPECT_EQ(Refusal(second.Site(), half), "");
    half.front().parts.front()[0] = '~';  // no copy of theirs
    EXPECT_NE(Refusal(second.Site(), half), "");
    EXPECT_EQ(Refusal(second.Site(), copies), "");
}

TEST(LogServers, AreSeenAsTheyAre)
{
    QUORVIA_NEEDS_NATS();
    TestNats nats(3);
    NatsSite site = nats.Site();
    site.logBytes = 100 << 20;
    const auto engine = Connected(site);
    const auto [facts] = Await<EngineFacts>([&](auto got) { engine->Look(got); });
    EXPECT_TRUE(facts.connected && facts.answered && facts.problem.empty());
    EXPECT_EQ(std::tuple(facts.servers, facts.limitBytes, facts.copies), std::tuple(3u, 100u << 20, 3u));
    NatsLook look(site.servers[0]);
    EXPECT_EQ(look.JetStreamFault(), "");
    EXPECT_EQ(look.LookAt(kLogStream).facts.limitBytes, 100u << 20);
    EXPECT_TRUE(look.LookAt("ZEPHYL_NONE").missing);
    NatsServer other = site.servers[0];
    other.password = "wrong";
    EXPECT_THROW(NatsLook{other}, NatsAway);
    nats.Kill(2);
    nats.Kill(1);
    while (look.LookAt(kLogStream).fault.empty()) {  // one that led them finds out a moment later
    }
}

}  // namespace
}  // namespace zephyl
