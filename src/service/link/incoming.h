#pragma once
// What arrives in a meeting, made into events: duplicates are dropped, presence is compared with what is
// held, the sender's own earlier work comes under a name of its own. Network thread.

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "service/link/event_queue.h"
#include "service/link/number_filter.h"
#include "service/wire/framing.h"

namespace zephyl::link {

/// Who is told of more has no service in front of it: a meeting has far fewer seats.
inline constexpr int kMostAttendees = 1000;

class Incoming {
public:
    explicit Incoming(EventQueue& queue) : mQueue(queue) {}

    /// Who entered. `boardNumber`: the highest number of a board item so far; what comes back with a number
    /// up to it was drawn before this entry.
    struct Self {
        std::string handle;
        std::uint64_t stream = 0, boardNumber = 0;
    };
    /// The user entered. `postsBefore`: the highest post of an earlier entry.
    void Begin(quint64 entry, const Self& self, const Place& place, quint64 postsBefore);
    /// This post to the board goes out under this own number: what becomes of it is told.
    void Await(std::uint64_t number, quint64 post);
    /// It is refused, or there is no meeting any more that would take it.
    void Lose(quint64 post);
    /// The link came back to the same meeting.
    void Return(const Place& place);
    void OnItem(const ItemView& item);
    void OnLive(const ItemView& item);
    /// The same of one that came by a datagram.
    void OnLiveBeside(const ItemView& item);
    /// False: what is gone had been received, so nothing is missing.
    bool OnSkipped(const Skipped& skipped);
    /// The entry is over: everybody still held leaves, as the last events of `entry`.
    void End(quint64 entry);
    /// From now on nothing is raised and everything counts as read.
    void Mute() { mMuted = true; }

    /// Of those inside TLS.
    std::uint64_t LiveBytes() const { return mLiveBytes; }
    void NewConnection() { mLiveBytes = 0; }
    quint64 Entry() const { return mEntry; }
    /// In order of joining, the own handle too.
    const std::vector<std::string>& Present() const { return mPresent; }
    bool Holds(const std::string& handle) const;
    std::uint64_t ReceivedTalk() const { return mTalk; }
    std::uint64_t ReceivedBoard() const { return mBoard; }
    /// The board's end when the user entered.
    std::uint64_t EnteredBoard() const { return mCatchUpTo; }

private:
    void TakeClock(const Place& place);
    std::optional<std::chrono::steady_clock::time_point> DrawnAt(const Item& item) const;
    void Compare(const google::protobuf::RepeatedPtrField<Attendee>& attendees);
    void RaisePresence(const std::string& handle, int status, const std::string& address, LinkEvent event);
    void RaiseContent(const ItemView& item, LinkEvent event);
    void OnOwnPlace(const Item& item, std::size_t bytes);
    void RaiseOwn(LinkEvent::Kind kind, quint64 post);

    EventQueue& mQueue;
    NumberFilter mFilter;
    quint64 mEntry = 0;
    Self mSelf;
    std::vector<std::string> mPresent;    // in order of joining, the own one too
    std::uint64_t mTalk = 0, mBoard = 0;  // highest sequences received
    struct Awaited {
        std::uint64_t number;
        quint64 post;
    };
    bool mPlacesOwn = false;
    std::deque<Awaited> mAwaited;   // own posts without a place; as many as the outbox takes, or had
    std::uint64_t mCatchUpTo = 0;   // of the board: what is there at entry
    std::uint64_t mServiceNow = 0;  // milliseconds since 1970 by the service's clock, and by ours
    std::chrono::steady_clock::time_point mServiceNowAt{};
    std::uint64_t mLiveBytes = 0;  // on this connection
    bool mMuted = false;
};

}  // namespace zephyl::link
