#include "service/relay/keepers/leases.h"

#include <sodium.h>
#include <spdlog/logger.h>

#include <algorithm>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "service/relay/keepers/engine_wait.h"

namespace zephyl {
namespace asio = boost::asio;
namespace {

constexpr char kCodes[] = "codes";
constexpr char kMeetings[] = "meetings";
constexpr std::size_t kKeyBytes = 16;
constexpr std::chrono::milliseconds kMoment{100};
constexpr int kMoments = 30;  // longer than it takes to see that a relay is gone

std::string Hex(const unsigned char* bytes, std::size_t count)
{
    std::string hex(2 * count + 1, '\0');
    sodium_bin2hex(hex.data(), hex.size(), bytes, count);
    hex.pop_back();
    return hex;
}

words::CodeRecord RecordOf(const MeetingHead& head)
{
    words::CodeRecord record;
    record.set_code(head.code);
    record.set_meeting(head.id);
    record.set_creator(head.creatorKey);
    record.set_creator_stream(head.creatorStream);
    return record;
}

MeetingHead HeadOf(const words::CodeRecord& record)
{
    return {record.meeting(), record.code(), record.creator(), record.creator_stream()};
}

}  // namespace

std::string HexOf(const std::string& bytes)
{
    return Hex(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
}

std::string EngineKey(const std::string& bytes)
{
    unsigned char hash[kKeyBytes];
    crypto_generichash(hash, sizeof hash, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
                       nullptr, 0);
    return Hex(hash, sizeof hash);
}

Leases::Leases(asio::io_context& io, Engine& engine, std::shared_ptr<Membership> members, spdlog::logger& log)
    : mIo(io), mEngine(engine), mMembers(std::move(members)), mLog(log)
{
}

void Leases::Start(std::function<void(const MeetingHead&, std::uint64_t)> lost)
{
    mLost = std::move(lost);
    mWatch = mEngine.Watch(
        kCodes, [this](const EngineEntry& entry, bool removed) { Seen(entry, removed); }, [] {});
}

bool Leases::IsMine(const words::CodeRecord& record) const
{
    return RelayId{record.keeper(), record.incarnation()} == mMembers->Self();
}

std::optional<Leases::Held> Leases::Mine(const std::string& key) const
{
    const std::lock_guard lock(mMutex);
    const auto at = mHeld.find(key);
    return at == mHeld.end() ? std::nullopt : std::optional(at->second);
}

asio::awaitable<void> Leases::Pause(std::chrono::milliseconds time)
{
    asio::steady_timer timer(mIo, time);
    co_await timer.async_wait(asio::use_awaitable);
}

asio::awaitable<Leases::Standing> Leases::Ask(std::string key)
{
    auto [result, entry] = co_await GetValue(mEngine, kCodes, key);
    Standing standing{result, entry.sequence, {}};
    if (result == EngineResult::Ok && !standing.record.ParseFromString(entry.bytes)) {
        mLog.error("what stands in the engine for a meeting's code cannot be read");
        standing.result = EngineResult::Away;
    }
    co_return standing;
}

asio::awaitable<CodeLease> Leases::Look(std::string code)
{
    const std::string key = EngineKey(code);
    for (int moments = 0; moments < kMoments;) {
        const std::optional<Held> held = Mine(key);
        if (held && !held->going) {
            if (!mMembers->MayDecide()) co_return CodeLease{};
            co_return CodeLease{Whose::Mine, {}, held->head, held->epoch};
        }
        if (!held) {
            const Standing standing = co_await Ask(key);
            if (standing.result == EngineResult::Missing) co_return CodeLease{Whose::Nobodys};
            if (standing.result != EngineResult::Ok) co_return CodeLease{};
            const RelayId keeper{standing.record.keeper(), standing.record.incarnation()};
            const bool kept = !keeper.name.empty() && !IsMine(standing.record);
            const auto lives = kept ? mMembers->Of(keeper) : Membership::Standing::Gone;
            if (lives == Membership::Standing::Lives)
                co_return CodeLease{Whose::Another, keeper, HeadOf(standing.record)};
            if (lives == Membership::Standing::Gone) {
                if (!mMembers->MayDecide() || mMembers->Draining()) co_return CodeLease{};
                const auto epoch = co_await Take(standing.record, standing.sequence);
                if (epoch && kept) mLog.warn("a meeting that relay {} kept is kept here now", keeper.name);
                if (epoch) continue;
            }
        }
        ++moments;
        co_await Pause(kMoment);
    }
    co_return CodeLease{};
}

// Two may write at one moment and both be told that they did: what stands there afterwards counts.
asio::awaitable<std::optional<std::uint64_t>> Leases::Take(words::CodeRecord record, std::uint64_t expected)
{
    const std::string key = EngineKey(record.code());
    record.set_keeper(mMembers->Self().name);
    record.set_incarnation(mMembers->Self().incarnation);
    const auto [result, epoch] =
        co_await PutValue(mEngine, kCodes, key, record.SerializeAsString(), expected);
    if (result != EngineResult::Ok) co_return std::nullopt;
    const Standing standing = co_await Ask(key);
    if (standing.result != EngineResult::Ok || standing.sequence != epoch) co_return std::nullopt;
    const std::lock_guard lock(mMutex);
    const auto known = mKnown.find(key);
    if (known != mKnown.end() && known->second.sequence > epoch) co_return std::nullopt;
    mHeld[key] = {HeadOf(record), epoch};
    co_return epoch;
}

asio::awaitable<std::optional<std::uint64_t>> Leases::Name(MeetingHead head)
{
    const std::string key = EngineKey(head.code);
    const std::optional<Held> held = Mine(key);
    if (!mMembers->MayDecide() || mMembers->Draining() || (held && held->going)) co_return std::nullopt;
    const Standing standing = co_await Ask(key);
    const bool free = !held && standing.result == EngineResult::Missing;
    const bool mine = held && standing.result == EngineResult::Ok && standing.sequence == held->epoch;
    if (!free && !mine) co_return std::nullopt;
    words::MeetingRecord named;
    named.set_code(head.code);
    const auto [result, ignored] =
        co_await PutValue(mEngine, kMeetings, HexOf(head.id), named.SerializeAsString(), 0);
    if (result != EngineResult::Ok) co_return std::nullopt;
    const auto epoch = co_await Take(RecordOf(head), standing.sequence);
    const std::string over = epoch ? (held ? held->head.id : "") : head.id;
    if (!over.empty()) {
        const auto [found, entry] = co_await GetValue(mEngine, kMeetings, HexOf(over));
        if (found == EngineResult::Ok) co_await RemoveValue(mEngine, kMeetings, HexOf(over), entry.sequence);
    }
    co_return epoch;
}

asio::awaitable<SharedMeetings::Named> Leases::CodeOf(std::string meeting)
{
    const auto [result, entry] = co_await GetValue(mEngine, kMeetings, HexOf(meeting));
    if (result == EngineResult::Missing) co_return SharedMeetings::Named{true, {}};
    words::MeetingRecord record;
    const bool known = result == EngineResult::Ok && record.ParseFromString(entry.bytes);
    co_return SharedMeetings::Named{known, record.code()};
}

std::optional<Leases::Held> Leases::Leave(const MeetingHead& head)
{
    const std::lock_guard lock(mMutex);
    const auto at = mHeld.find(EngineKey(head.code));
    if (at == mHeld.end() || at->second.head.id != head.id || at->second.going) return std::nullopt;
    at->second.going = true;
    return at->second;
}

asio::awaitable<void> Leases::RemoveSurely(std::string bucket, std::string key, std::uint64_t expected)
{
    for (;;) {
        const auto [result, ignored] = co_await RemoveValue(mEngine, bucket, key, expected);
        if (result != EngineResult::Away && result != EngineResult::Full) co_return;
        co_await Pause(kMoment);
    }
}

// The code first: whoever looks finds that it means nothing, or that nobody can say yet. Another relay may
// have written there before, or at the same moment, as in Take.
asio::awaitable<bool> Leases::Forget(MeetingHead head)
{
    const std::optional<Held> held = Leave(head);
    if (!held) co_return false;
    const std::string key = EngineKey(head.code), id = HexOf(head.id);
    co_await RemoveSurely(kCodes, key, held->epoch);
    Drop(head, held->epoch);
    Standing standing = co_await Ask(key);
    while (standing.result == EngineResult::Away) {
        co_await Pause(kMoment);
        standing = co_await Ask(key);
    }
    if (standing.result == EngineResult::Ok && standing.record.meeting() == head.id) {
        mLog.warn("a meeting that was to end here goes on: relay {} keeps it", standing.record.keeper());
        co_return false;
    }
    for (;;) {
        const auto [found, entry] = co_await GetValue(mEngine, kMeetings, id);
        if (found == EngineResult::Ok) co_await RemoveSurely(kMeetings, id, entry.sequence);
        if (found != EngineResult::Away) co_return true;
        co_await Pause(kMoment);
    }
}

asio::awaitable<void> Leases::Release(MeetingHead head)
{
    const std::optional<Held> held = Leave(head);
    if (!held) co_return;
    co_await PutValue(mEngine, kCodes, EngineKey(head.code), RecordOf(head).SerializeAsString(), held->epoch);
    Drop(head, held->epoch);
}

void Leases::Drop(const MeetingHead& head, std::uint64_t epoch)
{
    const std::lock_guard lock(mMutex);
    const auto at = mHeld.find(EngineKey(head.code));
    if (at != mHeld.end() && at->second.epoch <= epoch) mHeld.erase(at);
}

void Leases::Seen(const EngineEntry& entry, bool removed)
{
    words::CodeRecord record;
    if (!removed && !record.ParseFromString(entry.bytes)) return;
    const bool mine = !removed && IsMine(record);
    std::optional<Held> lost;
    {
        const std::lock_guard lock(mMutex);
        if (removed)
            mKnown.erase(entry.subject);
        else
            mKnown[entry.subject] = {record, entry.sequence, {}};
        const auto at = mHeld.find(entry.subject);
        if (at != mHeld.end() && !mine && entry.sequence > at->second.epoch) {
            if (!at->second.going) lost = at->second;
            mHeld.erase(at);
        }
    }
    if (!lost) return;
    mLog.warn("another relay has taken over a meeting that was kept here");
    mLost(lost->head, lost->epoch);
}

std::vector<Leases::Lease> Leases::All() const
{
    std::vector<Lease> all;
    const std::lock_guard lock(mMutex);
    for (const auto& [key, known] : mKnown)
        all.push_back({HeadOf(known.record), {known.record.keeper(), known.record.incarnation()}});
    return all;
}

// Each is seen to by one of the relays that live, and by any that somebody asks.
std::vector<std::string> Leases::Orphans()
{
    std::vector<std::string> names{mMembers->Self().name};
    for (const Membership::Member& other : mMembers->Others())
        if (!other.draining) names.push_back(other.id.name);
    std::sort(names.begin(), names.end());
    std::vector<std::string> codes;
    const auto now = Clock::now();
    const std::lock_guard lock(mMutex);
    for (auto& [key, known] : mKnown) {
        const RelayId keeper{known.record.keeper(), known.record.incarnation()};
        if (!keeper.name.empty() && mMembers->Of(keeper) != Membership::Standing::Gone) {
            known.since = {};
            continue;
        }
        if (known.since == Clock::time_point()) known.since = now;
        const std::size_t turn = std::hash<std::string>()(key) % names.size();
        if (now - known.since > mMembers->Times().orphanedAfter && names[turn] == mMembers->Self().name)
            codes.push_back(known.record.code());
    }
    return codes;
}

}  // namespace zephyl
