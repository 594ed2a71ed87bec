#pragma once
// Leases of codes: which meeting a code means and which relay keeps it, in the engine. Whoever takes one
// writes over what stands there, so of two that want it one has it; the sequence of what was written is its
// epoch. Any thread; coroutines go on where they were.

#include <boost/asio/awaitable.hpp>
#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "service/relay/keepers/membership.h"
#include "service/relay/keepers/words.pb.h"

namespace zephyl {

class Leases {
public:
    using Clock = std::chrono::steady_clock;
    using Whose = CodeLease::Whose;

    Leases(boost::asio::io_context& io, Engine& engine, std::shared_ptr<Membership> members,
           spdlog::logger& log);
    /// `lost`: another relay has the lease that this one had. On a thread of the engine's.
    void Start(std::function<void(const MeetingHead& head, std::uint64_t epoch)> lost);
    void Stop() { mWatch.reset(); }

    boost::asio::awaitable<CodeLease> Look(std::string code);
    boost::asio::awaitable<std::optional<std::uint64_t>> Name(MeetingHead head);
    boost::asio::awaitable<SharedMeetings::Named> CodeOf(std::string meeting);
    /// The code means this meeting no more. False: another relay keeps it.
    boost::asio::awaitable<bool> Forget(MeetingHead head);
    /// It means the same, and anybody may keep it.
    boost::asio::awaitable<void> Release(MeetingHead head);
    /// Not this relay's any more; nothing is written.
    void Drop(const MeetingHead& head, std::uint64_t epoch);
    /// This relay keeps some.
    bool Any() const
    {
        const std::lock_guard lock(mMutex);
        return !mHeld.empty();
    }
    struct Lease {
        MeetingHead head;
        RelayId keeper;  // name "": nobody at the moment
    };
    /// Of all relays, as far as this one has heard.
    std::vector<Lease> All() const;
    /// Codes that nobody keeps for some time, as far as this relay is the one to see to them.
    std::vector<std::string> Orphans();

private:
    struct Held {
        MeetingHead head;
        std::uint64_t epoch = 0;
        bool going = false;  // it is being given back
    };
    struct Known {
        words::CodeRecord record;
        std::uint64_t sequence = 0;
        Clock::time_point since{};  // nobody keeps it
    };
    struct Standing {
        EngineResult result;
        std::uint64_t sequence;
        words::CodeRecord record;
    };
    boost::asio::awaitable<Standing> Ask(std::string key);
    /// Writes it with this relay as keeper, and reads whether it stands there.
    boost::asio::awaitable<std::optional<std::uint64_t>> Take(words::CodeRecord record,
                                                              std::uint64_t expected);
    /// For as long as the engine does not say whether it is done.
    boost::asio::awaitable<void> RemoveSurely(std::string bucket, std::string key, std::uint64_t expected);
    boost::asio::awaitable<void> Pause(std::chrono::milliseconds time);
    std::optional<Held> Mine(const std::string& key) const;
    /// From now on it is being given back. None: it is not this meeting's, or not this relay's.
    std::optional<Held> Leave(const MeetingHead& head);
    void Seen(const EngineEntry& entry, bool removed);
    bool IsMine(const words::CodeRecord& record) const;

    boost::asio::io_context& mIo;
    Engine& mEngine;
    const std::shared_ptr<Membership> mMembers;
    spdlog::logger& mLog;
    std::function<void(const MeetingHead&, std::uint64_t)> mLost;
    Engine::Ears mWatch;
    mutable std::mutex mMutex;
    std::unordered_map<std::string, Held> mHeld;  // by key
    std::map<std::string, Known> mKnown;          // of all relays
};

/// A word that stands for bytes in subjects and keys of the engine.
std::string EngineKey(const std::string& bytes);
/// In hexadecimal.
std::string HexOf(const std::string& bytes);

}  // namespace zephyl
