#pragma once
// The truth of a meeting: two ordered channels and its seats. Delivery follows Append's `done`, so that
// a log that answers later can stand behind the same interface.

#include <array>
#include <cstddef>
#include <exception>
#include <functional>
#include <string>
#include <vector>

#include "files/careful_file.h"
#include "service/relay/log/log_item.h"

namespace zephyl {

/// One value per channel.
struct Sequences {
    std::uint64_t talk = 0;
    std::uint64_t board = 0;
    std::uint64_t& operator[](Channel channel) { return channel == CHANNEL_TALK ? talk : board; }
    std::uint64_t operator[](Channel channel) const { return channel == CHANNEL_TALK ? talk : board; }
};

/// How a channel stands. A cursor names the last item that was read: what follows has a higher sequence.
struct ChannelState {
    std::uint64_t begin = 0;  // what is kept for newcomers begins behind it
    std::uint64_t end = 0;    // the last sequence given out
    std::uint64_t lost = 0;   // up to here items went at a bound; who had not read them misses something
};

/// What outlives connections, and a restart.
struct SeatEntry {
    SeatNumber number = 0;
    bool gone = false;
    bool away = false;
    bool barred = false;  // with gone: its handle does not get in any more
    std::string handle;
    std::string address;
    std::uint64_t stream = 0;
    std::int64_t generation = 0;             // of the account's password
    std::array<std::string, 2> tokenHashes;  // the current one, and the one before until it is used up
    Sequences enteredAt;
    Sequences read;
};

/// What is remembered of a sender when its items have gone.
struct NumbersEntry {
    std::string key;  // folded handle
    std::uint64_t stream = 0;
    Sequences have;
    std::vector<std::string> refused;  // frames
};

/// What a log holds beside its items when it is opened.
struct LogContents {
    std::vector<SeatEntry> seats;  // the last entry of each
    std::vector<NumbersEntry> numbers;
    Sequences lost;  // as in ChannelState
};

enum class Damage { None, Found };

/// What an opening did not give back.
struct Replayed {
    Damage damage = Damage::None;  // some could not be read any more, and their file was put aside
    std::size_t skipped = 0;       // items that stand in the files twice, or in no form that is known
    bool headLost = false;         // what names the meeting was read from its second place
};

struct LogChunk {
    std::vector<ItemPtr> items;
    std::uint64_t upTo = 0;  // continue with this cursor
};

/// About.
struct LogBytes {
    std::size_t talk = 0, board = 0;  // that somebody may still want
    std::size_t memory = 0;           // of them, in memory
    bool refused = false;             // the disk takes nothing at the moment
};

/// A file of the log, open, with what stood in it at a moment. It stays readable, whatever becomes of its
/// name.
struct LogPart {
    std::string name;
    files::Descriptor file;
    std::uint64_t bytes = 0;
};

/// All calls and all callbacks on the meeting's strand. A callback may run inside the call.
class MeetingLog {
public:
    using Done = std::function<void()>;
    using ReadDone = std::function<void(LogChunk)>;
    using Safe = std::function<void(const Sequences& upTo)>;

    using AskNumbers = std::function<std::vector<NumbersEntry>()>;
    using Take = std::function<void(const LogItem&)>;
    /// `trouble`: why the log cannot be used, and nothing of the rest counts; null: it can.
    using Opened = std::function<void(std::exception_ptr trouble, LogContents contents)>;
    using ReplayDone = std::function<void(std::exception_ptr trouble, Replayed replayed)>;

    virtual ~MeetingLog() = default;
    /// Once, before anything else. Throws std::exception when the log cannot be used.
    virtual LogContents Open() = 0;
    /// Once, right after Open: every item, in order within each channel. May read much. Throws as Open.
    virtual Replayed Replay(const Take& take) = 0;
    /// The same two for whoever may be called back: a log that is not at hand has no others.
    virtual void OpenLater(Opened opened);
    virtual void ReplayLater(Take take, ReplayDone done);
    /// For good, with everything in it.
    virtual void Remove() = 0;
    /// Nothing more is written: it goes, or is another's now, as whoever shares it finds out.
    virtual void End() {}
    /// Gives out the next sequence of a channel. What gets it must be appended before the strand's turn ends.
    virtual std::uint64_t Next(Channel channel) = 0;
    /// `done`: the items may be delivered.
    virtual void Append(std::vector<ItemPtr> items, Done done) = 0;
    /// Items behind `from`, in order, about `bytes` of them and at least one if there is one.
    virtual void Read(Channel channel, std::uint64_t from, std::size_t bytes, ReadDone done) = 0;
    /// Lets go what is kept in front of `before`, and of what stands up to `readByAll` all that is not kept.
    virtual void Trim(Channel channel, std::uint64_t before, std::uint64_t readByAll) = 0;
    virtual void Seat(const SeatEntry& entry) = 0;
    virtual ChannelState State(Channel channel) const = 0;
    /// Of the board's items kept for newcomers; about.
    virtual std::size_t BoardBytes() const = 0;
    /// What the disk does not take is not delivered, and goes on by itself; else it goes on in memory.
    virtual bool Waits() const { return false; }
    /// More waits to be written than can stand in memory: nothing should be added now.
    virtual bool Full() const { return false; }
    virtual LogBytes Bytes() const = 0;
    /// All of it as it is at this moment, opened or not. Until Release is called as often, what stands in
    /// these files is not written over. Throws std::exception when some of it is in memory only.
    virtual std::vector<LogPart> Hold() = 0;
    virtual void Release() = 0;
    /// Called whenever more has become safe from a crash of the machine. One listener.
    virtual void WhenSafe(Safe safe) = 0;
    /// Runs `done` once what was told to the log before this call is safe.
    virtual void WhenSynced(Done done) = 0;
    /// Asked before items go whose numbers must outlive them. One listener.
    virtual void NumbersFrom(AskNumbers ask) = 0;
};

}  // namespace zephyl
