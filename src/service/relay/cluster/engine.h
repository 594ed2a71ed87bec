#pragma once
// What the relays of one service share: words that go by, logs and values that last. What speaks to a real
// one is a library of its own (service/nats), which is opened when a configuration asks for it.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zephyl {

/// Of one word, one log's entry, one value.
inline constexpr std::size_t kEngineBytes = 1000 * 1024;
/// For Purge: all that stands there when it is asked for.
inline constexpr std::uint64_t kEveryEntry = ~std::uint64_t{0};
/// What the subjects of logs begin with, and those of words do not.
inline constexpr char kEngineLogs[] = "zephyl.log.";

enum class EngineResult {
    Ok,
    Other,    // its last entry is not the expected one: somebody else has written
    Missing,  // there is none; for Ask: nobody is there to answer
    Full,     // no room at the moment; nothing was written
    Away,     // not connected, or no answer in time: it was done, or will be, or not
};

/// An entry of a log, or a value. Sequences are the engine's: they rise over all subjects of all logs, or all
/// keys of a bucket.
struct EngineEntry {
    std::string subject;         // or key
    std::uint64_t sequence = 0;  // 0: there has never been one
    std::string bytes;
};

/// What somebody said. Valid during the call.
struct EngineWord {
    std::string_view subject;
    std::string_view bytes;
    std::string_view answerTo;  // a subject; "": no answer is wanted
};

/// How an engine is, as far as that can be told.
struct EngineFacts {
    bool connected = false;
    std::string server;                    // HOST:PORT to which it is connected; "": none
    std::size_t servers = 0;               // that it may connect to
    std::string problem;                   // why it is of no use; "": it is
    bool answered = false;                 // what follows is known
    std::uint64_t entries = 0, bytes = 0;  // of all logs
    std::uint64_t limitBytes = 0;          // of them; 0: as many as there is room for
    unsigned copies = 0;                   // of each entry
    unsigned copiesBehind = 0;             // that are away, or have not caught up
};

/// Any thread may call; no call waits for anything. Callbacks run on a thread of the engine's, one at a time:
/// they hand over and return. None runs inside the call it belongs to, every one of a single answer is
/// called once, and in the end with Away: the destructor does so, and after it none runs. Calls for one
/// subject or key act in the order in which they were made, and so do answers to them; there is no order
/// between others.
///
/// Subjects are words of letters, digits, "-" and "_" with dots between; those that are listened to may end
/// in ".>", which stands for everything behind. Buckets are one such word, and so are keys.
class Engine {
public:
    using Done = std::function<void(EngineResult)>;
    using Stored = std::function<void(EngineResult, std::uint64_t sequence)>;  // with Ok
    using Got = std::function<void(EngineResult, EngineEntry)>;
    using GotAll = std::function<void(EngineResult, std::vector<EngineEntry>)>;
    using Answered = std::function<void(EngineResult, std::string bytes)>;
    using Heard = std::function<void(const EngineWord&)>;
    using Seen = std::function<void(const EngineEntry&, bool removed)>;
    using Changed = std::function<void(bool connected)>;
    using GotFacts = std::function<void(EngineFacts)>;
    /// Whoever holds it is called. Once it has gone, which waits for a call that runs on another thread, no
    /// more. May go before the engine or after it.
    using Ears = std::shared_ptr<void>;

    virtual ~Engine() = default;

    virtual bool Connected() const = 0;
    /// At each change from now on.
    [[nodiscard]] virtual Ears WhenChanged(Changed changed) = 0;
    /// For an operator; answered within about a second.
    virtual void Look(GotFacts got) = 0;

    // --- words: kept nowhere. From one engine to another they keep their order; while either has no
    // connection they are lost, and only then or when a listener is more than 64 MiB behind ---
    virtual void Publish(std::string subject, std::string bytes) = 0;
    /// It takes a moment until all engines know of it: whoever must be heard asks until somebody is there.
    [[nodiscard]] virtual Ears Listen(std::string subject, Heard heard) = 0;
    /// Ok, Missing or Away, with the first answer that comes: a word published to its `answerTo`.
    virtual void Ask(std::string subject, std::string bytes, std::chrono::milliseconds patience,
                     Answered answered) = 0;

    // --- logs: an entry that was answered Ok stays until it is purged, whatever machine fails. Whoever
    // listens to its subject hears it as a word, when it is on its way and whatever becomes of it ---
    /// Behind `expectedLast`, the sequence of that subject's last entry; 0: the subject has none. Other: its
    /// last one is another, perhaps this very entry, whose answer was lost. Two writers who expect the same
    /// at the same moment may both get Ok: what the one that comes second expected is no more the last one
    /// then, and whatever is appended after the first one's answer stands behind both.
    virtual void Append(std::string subject, std::string bytes, std::uint64_t expectedLast,
                        Stored stored) = 0;
    /// Entries from `from` on, in order, about `bytes` of them and at least one if there is one. What was
    /// answered Ok a moment ago may be missing at the end of it: read until you have seen what you know of.
    virtual void Read(std::string subject, std::uint64_t from, std::size_t bytes, GotAll got) = 0;
    /// As it was written last, of all that were answered Ok; Missing: it has none.
    virtual void Last(std::string subject, Got got) = 0;
    /// Lets go what stands in front of `before`, but never the newest entry, which says what is expected of
    /// the next one; with kEveryEntry that too.
    virtual void Purge(std::string subject, std::uint64_t before, Done done) = 0;

    // --- values, in buckets that are made when they are first named ---
    /// Missing: with the sequence of what removed it, which is what Put expects then.
    virtual void Get(std::string bucket, std::string key, Got got) = 0;
    /// Over what `expected` says stands there; 0: nothing ever did. As Append.
    virtual void Put(std::string bucket, std::string key, std::string bytes, std::uint64_t expected,
                     Stored stored) = 0;
    virtual void Remove(std::string bucket, std::string key, std::uint64_t expected, Stored stored) = 0;
    /// Every key's newest value, and what becomes of each: in order of sequences, of several quick changes
    /// perhaps only the last. Goes on by itself when a connection was lost. `all`: called once, when all
    /// that stood there has been seen.
    [[nodiscard]] virtual Ears Watch(std::string bucket, Seen seen, std::function<void()> all) = 0;
};

}  // namespace zephyl
