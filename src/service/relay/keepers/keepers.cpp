#include "service/relay/keepers/keepers.h"

#include <spdlog/logger.h>

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <random>

#include "service/relay/cluster/jetstream_log.h"
#include "service/relay/keepers/random_number.h"
#include "service/relay/log/log_room.h"
#include "service/relay/meeting/directory.h"

namespace zephyl {
namespace asio = boost::asio;
namespace {

constexpr std::chrono::seconds kLookAround{1};
constexpr char kBlames[] = "zephyl.blames";

}  // namespace

Keepers::Keepers(asio::io_context& io, std::unique_ptr<Engine> engine, LogRoom& logs, spdlog::logger& log,
                 Membership::Own own, std::vector<std::string> named, ClusterTimes times)
    : mIo(io),
      mEngine(std::move(engine)),
      mLogs(logs),
      mLog(log),
      mNamed(std::move(named)),
      mMembers(std::make_shared<Membership>(io, *mEngine, log, std::move(own), times)),
      mLeases(io, *mEngine, mMembers, log),
      mRemovals(std::make_shared<Removals>(*mEngine)),
      mLines(std::make_shared<Lines>(io, *mEngine, log, mMembers->Self())),
      mTimer(std::make_shared<asio::steady_timer>(io))
{
}

Keepers::~Keepers() = default;

void Keepers::Start(Directory& directory, Ways ways)
{
    mDirectory = &directory;
    mWays = std::move(ways);
    mQuestions = mEngine->Listen(Lines::QuestionsOf(mMembers->Self()),
                                 [this](const EngineWord& word) { Heard(word); });
    mBlames = mEngine->Listen(kBlames, [this](const EngineWord& word) {
        words::Blame heard;
        if (heard.ParseFromArray(word.bytes.data(), static_cast<int>(word.bytes.size())) &&
            heard.from() != mMembers->Self().name)
            mWays.blames(heard.address(), static_cast<int>(heard.blame()));
    });
    mLines->Start(mWays.opened);
    mLeases.Start(
        [this](const MeetingHead& head, std::uint64_t epoch) { mDirectory->LeaseLost(head, epoch); });
    mMembers->Start(
        {[lines = mLines](const RelayId& relay) { lines->Gone(relay, "the relay is gone"); }, mWays.cutOff});
    LookAround();
}

void Keepers::Stop()
{
    mQuestions.reset();
    mBlames.reset();
    mLeases.Stop();
    mLines->Stop();
    mMembers->Stop();
    mRemovals->Stop();
    mEngine.reset();
    mLines->Drop();
}

void Keepers::TellBlame(const std::string& address, int blame)
{
    words::Blame word;
    word.set_from(mMembers->Self().name);
    word.set_address(address);
    word.set_blame(static_cast<std::uint32_t>(blame));
    mEngine->Publish(kBlames, word.SerializeAsString());
}

// Where there are more of them than a client remembers each is told of others, or the clients of one that is
// gone would all come to the same few.
std::vector<std::string> Keepers::Addresses() const
{
    std::vector<std::string> addresses, others = mNamed;
    for (const Membership::Member& other : mMembers->Others()) {
        std::erase(others, other.address);
        if (!other.draining && !other.stranger && !other.address.empty()) addresses.push_back(other.address);
    }
    if (addresses.size() > kRelaysNamed)
        std::shuffle(addresses.begin(), addresses.end(), std::mt19937_64(RandomNumber()));
    addresses.insert(addresses.end(), others.begin(), others.end());
    if (addresses.size() > kRelaysNamed) addresses.resize(kRelaysNamed);
    return addresses;
}

asio::awaitable<CodeLease> Keepers::Look(std::string code)
{
    return mLeases.Look(std::move(code));
}

asio::awaitable<std::optional<std::uint64_t>> Keepers::Name(MeetingHead head)
{
    return mLeases.Name(std::move(head));
}

asio::awaitable<SharedMeetings::Named> Keepers::CodeOf(std::string meeting)
{
    return mLeases.CodeOf(std::move(meeting));
}

void Keepers::Forget(const MeetingHead& head, Told told)
{
    asio::co_spawn(mIo, ForgetAll(head), [told = std::move(told)](std::exception_ptr, bool gone) {
        if (told) told(gone);
    });
}

asio::awaitable<bool> Keepers::ForgetAll(MeetingHead head)
{
    const bool gone = co_await mLeases.Forget(head);
    if (gone)
        for (std::string& subject : JetStreamLog::Subjects(EngineKey(head.id)))
            mRemovals->Remove(std::move(subject));
    co_return gone;
}

void Keepers::Release(const MeetingHead& head)
{
    asio::co_spawn(mIo, mLeases.Release(head), asio::detached);
}

std::unique_ptr<MeetingLog> Keepers::Log(const MeetingHead& head, std::uint64_t epoch,
                                         const RelayBounds& bounds, Post post,
                                         std::function<void(bool refused)> trouble,
                                         std::function<void()> fenced)
{
    return std::make_unique<JetStreamLog>(
        EngineKey(head.id), epoch, bounds, mLogs, *mEngine,
        JetStreamWays{post, std::move(trouble), std::move(fenced),
                      [removals = mRemovals](std::string subject) { removals->Remove(std::move(subject)); },
                      [this, post](std::chrono::steady_clock::duration pause, std::function<void()> work) {
                          const auto timer = std::make_shared<asio::steady_timer>(mIo, pause);
                          timer->async_wait([timer, post, work = std::move(work)](auto) { post(work); });
                      },
                      [lines = mLines](const ChainName& entry, std::shared_ptr<const std::string> batch) {
                          lines->Writes(entry, std::move(batch));
                      }});
}

// While the engine is away that takes long, and they are looked for every second.
asio::awaitable<void> Keepers::SeeTo(std::string code)
{
    co_await mDirectory->SeeTo(code);
    const std::lock_guard lock(mSeeing);
    mSeenTo.erase(code);
}

void Keepers::LookAround()
{
    std::set<std::string> living;
    for (const Membership::Member& other : mMembers->Others())
        if (!other.draining && !other.stranger) living.insert(other.address);
    if (living != mLiving) {
        mLiving = std::move(living);
        mWays.changed();
    }
    // What a relay left behind that is gone: kept until somebody comes, or for as long as an empty meeting
    // is.
    for (const std::string& code : mLeases.Orphans()) {
        const std::lock_guard lock(mSeeing);
        if (mSeenTo.insert(code).second) asio::co_spawn(mIo, SeeTo(code), asio::detached);
    }
    mRemovals->GoOn();
    mTimer->expires_after(kLookAround);
    mTimer->async_wait([this](boost::system::error_code error) {
        if (!error) LookAround();
    });
}

}  // namespace zephyl
