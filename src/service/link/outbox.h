#pragma once
// What was sent and is not yet safe in the meeting's log, and what is still to be sent. Numbers count per
// channel and never restart. Pure: no socket, no clock. Network thread.

#include <array>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <vector>

#include "service/link/outgoing.h"
#include "service/wire/zephyl.pb.h"

namespace zephyl::link {

struct OutboxEntry {
    Channel channel = CHANNEL_UNSPECIFIED;
    std::uint64_t number = 0;
    Outgoing what;
};
using OutboxEntryPtr = std::shared_ptr<const OutboxEntry>;

/// The channel that this must take; none for a live picture.
Channel ChannelOf(const Outgoing& what);
/// The same body for parts of the list that each fit a header. Everyone, or a short list: itself.
std::vector<Outgoing> SplitAudience(Outgoing what);
/// The header of its first frame.
Header PostHeader(const OutboxEntry& entry);

class Outbox {
public:
    /// Numbers it and lines it up; a list that is too long becomes several entries. Not for live pictures.
    void Add(Outgoing what);
    /// The next one of this channel in front of which nothing waits; null: none. It counts as sent from now
    /// on.
    OutboxEntryPtr Next(Channel channel);
    /// The log has everything up to these numbers safely: gone. Gives the last line that is gone whole; 0:
    /// none is.
    std::uint64_t Accepted(std::uint64_t talk, std::uint64_t board);
    /// This one is not taken. Null when it is not here.
    OutboxEntryPtr Refused(Channel channel, std::uint64_t number);
    /// A new connection stands: what is above the log's highest numbers waits again.
    void Resume(std::uint64_t haveTalk, std::uint64_t haveBoard);
    /// Takes everything out, oldest first, talk before board. Numbers go on from where they are.
    std::vector<OutboxEntryPtr> TakeAll();
    /// A new stream: empty, numbers from 1.
    void Restart();

    bool Empty() const { return mTalk.entries.empty() && mBoard.entries.empty(); }
    std::size_t Count() const { return mTalk.entries.size() + mBoard.entries.size(); }
    bool Waiting() const;
    /// Bytes of the largest one.
    std::size_t Largest() const;
    std::uint64_t Highest(Channel channel) const { return Of(channel).lastNumber; }
    std::uint64_t AcceptedUpTo(Channel channel) const { return Of(channel).accepted; }

private:
    struct Line {
        std::deque<OutboxEntryPtr> entries;  // by number
        std::uint64_t lastNumber = 0;
        std::uint64_t sentUpTo = 0;
        std::uint64_t accepted = 0;
    };
    Line& Of(Channel channel) { return channel == CHANNEL_BOARD ? mBoard : mTalk; }
    const Line& Of(Channel channel) const { return channel == CHANNEL_BOARD ? mBoard : mTalk; }
    /// The newest that is gone; null: none is.
    static OutboxEntryPtr Drop(Line& line, std::uint64_t upTo);

    Line mTalk, mBoard;
};

}  // namespace zephyl::link
