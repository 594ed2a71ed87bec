#include "relay/cells.h"

#include <sched.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <filesystem>

#include "relay/load.h"

using namespace std::chrono_literals;
using std::chrono::steady_clock;

namespace {

constexpr auto kWarm = 1000ms;
constexpr auto kMeasured = 600ms;
constexpr auto kNothingArrives = 10s;
constexpr int kSenders = 4;
constexpr int kIdle = 1000;

class Folder {
public:
    Folder()
    {
        char name[] = "/tmp/relay-bench-XXXXXX";
        mPath = ::mkdtemp(name);
    }
    ~Folder() { std::filesystem::remove_all(mPath); }
    std::filesystem::path Data() const { return mPath / "data"; }

private:
    std::filesystem::path mPath;
};

double MiB(std::size_t bytes)
{
    return static_cast<double>(bytes) / (1 << 20);
}

Servers Doors(const Servers& servers, bool gathered)
{
    return gathered ? Servers{servers.front()} : servers;
}

// For so long, and until at least one message has passed.
class Load {
public:
    Load(Peers& peers, const Work& work) : mPeers(peers), mWork(work) {}

    std::uint64_t Received() const
    {
        return std::min(mPeers.Slowest(0, mWork.sender),
                        mPeers.Slowest(mWork.sender + 1, 1 + mWork.receivers));
    }

    void Run(std::chrono::milliseconds time)
    {
        const std::uint64_t before = Received();
        const auto begin = steady_clock::now();
        while (steady_clock::now() < begin + time || Received() == before) {
            for (; mSent - Received() < static_cast<std::uint64_t>(mWork.inFlight); ++mSent)
                mPeers[mWork.sender].Post(mWork.bytes);
            mPeers.Poll(1ms);
            if (steady_clock::now() > begin + kNothingArrives) throw std::runtime_error("nothing arrives");
        }
    }

private:
    Peers& mPeers;
    const Work mWork;
    std::uint64_t mSent = 0;
};

}  // namespace

Prompt::Prompt()
{
    sched_param first{};
    first.sched_priority = 1;
    ::sched_setscheduler(0, SCHED_RR, &first);
}

Prompt::~Prompt()
{
    const sched_param usual{};
    ::sched_setscheduler(0, SCHED_OTHER, &usual);
}

std::vector<Cost> Measure(const Servers& servers, const Work& work)
{
    const int all = AccountsFor(work);
    Peers peers(Doors(servers, work.gathered), all);
    if (work.oneStopped) peers.Stop(all - 1);
    Load load(peers, work);
    load.Run(kWarm);
    struct Before {
        std::chrono::nanoseconds cpu;
        std::size_t resident;
    };
    std::vector<Before> before;
    for (const ServerProcess* const server : servers) before.push_back({server->Cpu(), server->Resident()});
    const std::uint64_t received = load.Received();
    load.Run(kMeasured);
    std::vector<Cost> costs;
    for (std::size_t i = 0; i < servers.size(); ++i) {
        const auto used = std::chrono::duration<double, std::micro>(servers[i]->Cpu() - before[i].cpu);
        const std::size_t now = servers[i]->Resident();
        costs.push_back({used.count() / static_cast<double>(load.Received() - received) / work.receivers,
                         MiB(now - std::min(now, before[i].resident)), load.Received()});
    }
    return costs;
}

Cost Measure(Kind kind, const Work& work)
{
    const Folder folder;
    const ServerProcess server(kind, folder.Data(), AccountsFor(work));
    return Measure(Servers{&server}, work).front();
}

std::vector<double> Ages(const Servers& servers, bool gathered)
{
    Peers peers(Doors(servers, gathered), kAccountsForAges);
    std::vector<double> ages;
    const auto begin = steady_clock::now();
    for (int tick = 0; tick < kTicks; ++tick) {
        const auto due = begin + tick * kTick;
        for (auto now = steady_clock::now(); now < due; now = steady_clock::now())
            peers.Poll(std::chrono::duration_cast<std::chrono::milliseconds>(due - now), &ages);
        peers[tick % kSenders].Post(200);
    }
    for (int i = 0; i < 20; ++i) peers.Poll(5ms, &ages);
    return ages;
}

std::vector<double> Ages(Kind kind)
{
    const Prompt prompt;
    const Folder folder;
    const ServerProcess server(kind, folder.Data(), kAccountsForAges);
    return Ages(Servers{&server});
}

Memory MeasureMemory(Kind kind)
{
    Memory memory;
    {
        const Folder folder;
        const ServerProcess server(kind, folder.Data(), 1);
        const Peers one(Servers{&server}, 1, false);
        memory.withOneMiB = MiB(server.Resident());
    }
    const Folder folder;
    const ServerProcess server(kind, folder.Data(), kIdle + 1);
    const Peers first(Servers{&server}, 1, false);
    const std::size_t before = server.Resident();
    const Peers others(Servers{&server}, kIdle, false, 1);
    memory.eachKiB = MiB(server.Resident() - before) * 1024 / kIdle;
    return memory;
}
