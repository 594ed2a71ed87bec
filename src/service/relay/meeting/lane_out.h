#pragma once
// One channel towards one receiver: cursors into the log, a window, at most one batch of items in hand.
// On the meeting's strand.

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "service/relay/log/meeting_log.h"

namespace zephyl {

/// Whose lane it is: decides which items concern it. Others may have taken the same stream: everybody draws
/// their own, and is told those of others.
struct Receiver {
    SeatNumber number = 0;
    std::uint64_t stream = 0;
    std::string key = {};  // the folded handle
};

class LaneOut {
public:
    /// `wake`: there may be something to send where there was nothing.
    LaneOut(Channel channel, MeetingLog& log, Receiver receiver, std::size_t window,
            std::function<void()> wake);

    /// Begins anew behind `cursor`. Up to `enteredAt` only what is kept for newcomers is sent, the receiver's
    /// own part of it too. Presence up to now is left out: the receiver gets a list of who is there.
    void Begin(std::uint64_t cursor, std::uint64_t enteredAt);
    /// From here on the receiver's own items come as their places; and once all that stands in the channel
    /// now has gone out, a word that its own up to `number` have theirs, if they are still there.
    void PlaceOwn(std::uint64_t number);
    /// Appends whole frames while the batch is below `limit` and the window allows it.
    void Fill(std::string& batch, std::size_t limit);
    /// The receiver has taken everything up to this sequence.
    void OnRead(std::uint64_t sequence);

    /// Where the receiver stands for certain: what concerns it up to here has been read.
    std::uint64_t ReadUpTo() const;
    /// Set when items that concern it may have gone before they were sent; taken by the caller.
    std::uint64_t TakeSkipped() { return std::exchange(mSkipped, 0); }
    bool Concerns(const LogItem& item) const;
    /// Sent and not read, or in hand.
    std::size_t LagBytes() const;
    /// Items of others that were sent since the last call, but for receipts: nobody answers those.
    int TakeSentLines() { return std::exchange(mSentLines, 0); }

private:
    struct Mark {
        std::uint64_t sequence;
        std::size_t bytes;
    };
    bool Pull();
    bool ReadMore();
    void Sent(const LogItem& item);
    bool IsOwn(const LogItem& item) const
    {
        return item.stream != 0 && item.stream == mReceiver.stream && item.sender == mReceiver.key;
    }
    bool TakePassed(std::uint64_t next);
    ItemPtr PlaceOf(std::uint64_t sequence, std::uint64_t number, bool passed) const;

    const Channel mChannel;
    MeetingLog& mLog;
    const Receiver mReceiver;
    const std::size_t mWindow;
    const std::function<void()> mWake;
    std::uint64_t mEnteredAt = 0;
    std::uint64_t mListedAt = 0;  // presence up to here is known to the receiver
    std::uint64_t mPulled = 0;    // read from the log up to here
    std::uint64_t mSent = 0;      // last item that was sent whole
    std::uint64_t mRead = 0;
    std::uint64_t mSkipped = 0;
    bool mPlacesOwn = false;
    std::uint64_t mOwnAt = 0, mOwnUpTo = 0;  // the channel's end and the own number there; 0: it was said
    int mSentLines = 0;
    std::deque<ItemPtr> mReady;  // read, not yet sent
    ItemPtr mItem;               // half sent
    std::size_t mAt = 0;
    std::deque<Mark> mMarks;  // sent, not yet read
    std::size_t mOutstanding = 0;
    std::shared_ptr<bool>
        mReading;  // a read under way (true: inside the call); gone: its answer is not wanted
};

}  // namespace zephyl
