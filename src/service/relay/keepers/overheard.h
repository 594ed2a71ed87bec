#pragma once
// What a meeting's keeper writes to its log reaches the servers of the log anyway. Another relay that listens
// there hears it, and the keeper's words only name it: so a large frame goes to the servers once, however
// many relays have clients who get it.

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "service/relay/cluster/chain_message.h"
#include "service/relay/keepers/words.pb.h"

namespace zephyl {

/// Smaller frames, and entries, are not worth a name.
inline constexpr std::size_t kOverheardBytes = 1024;
/// The keeper names the newest entries of all its logs. The other relay has more than those: it hears each
/// before the word that names it, and perhaps some that the keeper has written since.
inline constexpr std::size_t kWrittenBytes = 1024 * 1024;
inline constexpr std::size_t kHeardBytes = 4 * kWrittenBytes;
/// So much of one subject makes a relay worth asking to listen there.
inline constexpr std::uint64_t kWorthListening = 64 * 1024;

/// Of what a frame begins with: others may have the same.
std::uint64_t FrameKey(std::string_view frame);

/// Where a frame stands that was written.
struct WrittenPlace {
    ChainName entry;
    std::uint64_t at = 0;      // in its batch
    std::uint64_t serial = 0;  // of the entry, among all that this relay has written
};

/// The entries that this relay wrote last. Any thread.
class WrittenEntries {
public:
    /// `batch`: of items.
    void Add(const ChainName& name, std::shared_ptr<const std::string> batch);
    std::optional<WrittenPlace> Find(std::string_view frame) const;
    /// What is written from now on has this serial, or a later one.
    std::uint64_t Next() const;

private:
    struct Entry {
        ChainName name;
        std::shared_ptr<const std::string> batch;
        std::vector<std::uint64_t> keys;  // of its frames
    };
    struct Frame {
        std::uint64_t serial, at;
    };
    mutable std::mutex mMutex;
    std::deque<Entry> mEntries;
    std::uint64_t mFirst = 1;  // the serial of the first one
    std::size_t mBytes = 0;
    std::unordered_map<std::uint64_t, Frame> mFrames;  // by FrameKey, the newest
};

/// What the other end of a line hears of them, as its keeper knows. Not for several threads at a time.
class OverheardOut {
public:
    /// Where the other end has this frame from, if it has heard it written; else it counts as what it might
    /// have heard.
    std::optional<WrittenPlace> Find(const WrittenEntries& written, std::string_view frame);
    /// It has heard the first entry since it was asked: it hears all that are written from now on.
    void Hears(const words::Listening& word, std::uint64_t next);
    /// Twice a second: where nothing large comes any more nobody need listen.
    void Fade();
    /// It hears nothing.
    void Forget() { mSubjects.clear(); }
    /// To be said, in front of whatever names what was found.
    std::optional<words::Word> TakeWord();

private:
    struct Subject {
        std::uint64_t bytes = 0;  // lately
        std::uint64_t asked = 0;  // which question; 0: it was not
        std::uint64_t from = 0;   // it hears entries from this serial on; 0: not yet
    };
    void Say(const std::string& subject, std::uint64_t ask);

    std::map<std::string, Subject> mSubjects;
    std::uint64_t mAsked = 0;
    std::deque<words::Word> mWords;
};

/// What was heard. Not for several threads at a time.
class HeardEntries {
public:
    void Add(ChainName name, std::string_view batch);
    /// Null: it was not heard, or a while ago.
    const std::string* Find(const ChainName& name) const;

private:
    std::map<ChainName, std::string> mEntries;
    std::deque<ChainName> mOrder;
    std::size_t mBytes = 0;
};

}  // namespace zephyl
