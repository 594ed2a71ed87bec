#pragma once
// One meeting: its log and its seats. Everything but the calls marked so runs on its strand.

#include <atomic>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/steady_timer.hpp>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "service/relay/door/handle_rules.h"
#include "service/relay/log/board_history.h"
#include "service/relay/log/file_log.h"
#include "service/relay/meeting/meeting_facts.h"
#include "service/relay/meeting/meeting_services.h"
#include "service/relay/meeting/seat.h"
#include "service/relay/meeting/shared_meetings.h"

namespace zephyl {

class Meeting final : public std::enable_shared_from_this<Meeting>, private SeatSurroundings {
public:
    using Clock = std::chrono::steady_clock;
    enum class After { GoOn, SeatGone };

    Meeting(const MeetingServices& services, MeetingKeeper& keeper, MeetingHead head, Strand home,
            std::unique_ptr<MeetingLog> log);
    ~Meeting() override;
    /// Once, right after it was made.
    void Start();

    // --- any thread ---
    const MeetingHead& Head() const { return mHead; }
    const std::string& Id() const { return mHead.id; }
    const std::string& Code() const { return mHead.code; }
    const Strand& Home() const { return mHome; }
    bool MadeBy(const Session& session) const
    {
        return session.key == mHead.creatorKey && session.stream == mHead.creatorStream;
    }
    bool Occupied() const { return mOccupied.load() > 0; }
    void Occupy(int change) { mOccupied += change; }
    /// Milliseconds since 1970: what clients are told of when, and nothing is decided by.
    static std::uint64_t WallClockMs();
    void PostEndSeat(std::shared_ptr<Session> session, ByeReason reason, std::string text);
    /// `yielded`: it is nobody's now, and another relay may open its log; told on the strand. None: it stays.
    void PostStop(std::function<void()> yielded = {});
    /// Another relay keeps it: its clients are to come back, and nothing is written any more.
    void PostYield();
    /// For good. `goodbye`: to those who are in it; "": nobody is.
    enum class Rest { Goes, Stays };  // the log: it stays until who shares it removes it
    void PostClose(std::string goodbye = {}, Rest rest = Rest::Goes);
    /// Lets go of seats and clients, whose strands run no more.
    void Abandon();

    // --- on the strand ---
    /// Opens the log when it has not been; everything else of a meeting waits for this. False: it cannot be
    /// used.
    boost::asio::awaitable<bool> Ready();
    /// Ends its seat, and lets that handle in no more for as long as there is this meeting. Returns when that
    /// is safe; NoAnswer: it was not in time, or another relay keeps the meeting now.
    boost::asio::awaitable<SharedMeetings::Done> Bar(HandleForms whom);
    /// Takes that back.
    boost::asio::awaitable<SharedMeetings::Done> Unbar(HandleForms whom);
    MeetingFacts Facts() const;
    /// For whoever copies its log; Release, then, as often.
    boost::asio::awaitable<std::vector<LogPart>> HoldLog();
    void ReleaseLog() { mLog->Release(); }
    /// The log's volume has refused to write, or takes again.
    void OnTrouble(bool refused);

    // --- on the strand, called by a client whose home this is ---
    /// Takes a seat and sends Entered. False: it was refused, and said so.
    bool Enter(const std::shared_ptr<Client>& client, std::shared_ptr<MeetingHold> hold,
               const zephyl::Enter& enter);
    bool Resume(const std::shared_ptr<Client>& client, const zephyl::Resume& resume);
    /// One frame of a seated client. Throws WireError. SeatGone: it may ask for another meeting.
    After Handle(Client& client, const FrameView& frame);
    /// A live frame that came beside the connection. Anything else, and whoever has no seat, is dropped.
    void HandleLive(const Client& client, std::string_view frame);
    /// What the frames of one turn brought is appended, then delivered.
    void EndOfTurn();
    void ClientLost(Client& client);

private:
    using SeatPtr = std::shared_ptr<Seat>;
    using Handles = google::protobuf::RepeatedPtrField<std::string>;

    // seats
    SeatPtr OfClient(const Client& client) const;
    SeatPtr OfKey(const std::string& key) const;
    SeatPtr OfHandle(const std::string& handle) const;
    SeatPtr NewSeat(const std::shared_ptr<Session>& session, std::shared_ptr<MeetingHold> hold);
    /// Its handle made this meeting, by whatever login.
    bool Started(const Seat& seat) const { return seat.session->key == mHead.creatorKey; }
    std::shared_ptr<StreamMemory> NumbersOf(const std::string& key, std::uint64_t stream);
    void EndAll();
    void Yield();

    // restoring
    void OpenLog();
    void LogIsReplayed(std::exception_ptr trouble, const std::vector<SeatEntry>& seats,
                       const Replayed& replayed);
    void LogIsOpen(std::exception_ptr trouble);
    void TakeRestored(const std::vector<SeatEntry>& seats, const Replayed& replayed);
    void Restore(const LogItem& item);
    void RestoreSeat(const SeatEntry& entry);
    bool StillTheirs(const SeatEntry& entry) const;
    std::vector<NumbersEntry> AllNumbers() const;
    std::string LogName() const;
    boost::asio::awaitable<SharedMeetings::Done> Synced();
    /// Whoever waits for Synced longer than from then waits no more.
    void GiveUpSyncing(Clock::time_point since);
    void Attach(Seat& seat, const std::shared_ptr<Client>& client);
    void Detach(Seat& seat);
    void Gone(const SeatPtr& seat);
    void EndByTime(const SeatPtr& seat);
    Header LetIn(Seat& seat, const Client& client, const zephyl::LetIn& asked);
    /// `shown`: the token that it came with.
    void SendPlace(Seat& seat, Header& header, Place& place, const std::string& shown);
    void Announce(const Seat& seat, int status);

    // items
    void TakeItem(Seat& seat, const ItemView& item);
    const char* FaultOfTakeBack(const Seat& seat, const Post& post, std::string_view body) const;
    void TakePost(Seat& seat, const Post& post, std::string_view body, bool tooLarge);
    void TakeLive(Seat& seat, const zephyl::Live& live, std::string_view body, bool tooLarge);
    void TakeVoiceTo(Seat& seat, const zephyl::VoiceTo& to);
    static bool Talk(const Seat& one, const Seat& other);
    void TakeVoice(Seat& seat, const zephyl::Voice& voice, std::string_view body);
    std::vector<SeatNumber> SeatsOf(const Handles& handles, SeatNumber sender) const;
    void RefusePost(Seat& seat, const Post& post, const char* fault);
    void Put(std::shared_ptr<LogItem> item, Header& header, std::string_view body, BoardEffect effect);
    /// Says it to everybody, in the log.
    void Notify(std::string text);
    void OnSafe(const Sequences& upTo);
    void Settle(StreamMemory& numbers, const Sequences& upTo);

    // delivery
    MeetingLog& Log() override { return *mLog; }
    void AddAttendees(google::protobuf::RepeatedPtrField<Attendee>& to) const override;
    void Wake(SeatNumber seat) override;
    void FlushSoon();
    void FlushDirty();
    void FlushVoiceSoon();

    // time
    void ArmTick();
    void OnTick(Clock::time_point now);
    void TrimLog();
    void SaveMemory();

    const MeetingServices mServices;
    MeetingKeeper& mKeeper;
    const MeetingHead mHead;
    const Strand mHome;
    std::unique_ptr<MeetingLog> mLog;
    std::atomic<int> mOccupied{0};
    std::vector<SeatPtr> mSeats;  // in order of joining
    SeatNumber mLastSeat = 0;
    std::map<std::string, std::vector<SeatNumber>>
        mBarred;  // by folded handle; under which entries of the log
    std::map<std::string, std::deque<std::shared_ptr<StreamMemory>>> mNumbers;  // by folded handle
    std::vector<std::shared_ptr<StreamMemory>> mLeaving;  // their seats went before all was safe
    struct Kept {
        std::uint64_t sequence;
        BoardEffect effect;
    };
    std::deque<Kept> mUnsafeKept;
    BoardHistory mHistory;          // of what is safe: the rest may come again in another order
    std::uint64_t mBoardBegin = 0;  // the CLEAR that newcomers begin with
    std::vector<ItemPtr> mPending;  // of this turn
    Client::Scratch mScratch;
    bool mFlushPosted = false;
    bool mAcceptedArmed = false;
    bool mVoiceArmed = false;
    bool mOpen = false;
    std::vector<std::function<void()>> mWaitForLog;
    struct Syncing {
        Clock::time_point since;
        std::function<void()> wake;
        bool safe = false;
    };
    std::vector<std::shared_ptr<Syncing>> mSyncing;
    bool mStopping = false;
    bool mClosed = false;
    Clock::time_point mEmptySince;
    boost::asio::steady_timer mTick, mAccepted, mVoice;
};

}  // namespace zephyl
