#pragma once
// The relay of the model: one meeting, its seats, its log. Loses everything but the log when it is killed.

#include "model/meeting_log.h"
#include "model/witness.h"

namespace model {

inline constexpr std::size_t kTalkBound = 30;  // items; small, so that the bound is met

class Relay {
public:
    Relay(Witness& witness, Fault fault) : mWitness(witness), mFault(fault) {}

    void Handle(Connection& from, const Message& message);
    void Lost(Connection& connection);
    /// Hands the next item of a channel to the connection's socket. False: there is none.
    bool Write(Connection& connection, Channel channel);
    /// The sync under way ends and what waited for it goes out; the next begins. False: nothing was new.
    bool Sync();
    void GraceOver(int handle);
    void SeatOver(int handle);
    void Notice()
    {
        if (mLog.meeting) Append({0, -1, 0, 0, 0, Kind::Notice});
    }
    void Kill();  // and the restart
    void PowerCut(unsigned a, unsigned b, unsigned c);
    const MeetingLog& Log() const { return mLog; }

private:
    bool Is(Fault fault) const { return mFault == fault; }
    Seat* Find(int handle);
    Seat* SeatOf(Connection& connection);
    void Enter(Connection& from, const Message& message);
    void Resume(Connection& from, const Message& message);
    void TakeOver(Connection& by);
    void Post(Connection& from, Seat& seat, const Message& message);
    void Append(Item item);
    void SayPresence(Kind kind, int handle);
    void Occupy(Seat& seat, Connection& connection, std::uint64_t oldToken);
    Message Place(Say say, int call, Seat& seat);
    void Start(Seat& seat, const Message& place);
    void TellAccepted(Seat& seat);
    void End(Seat& seat);  // the seat is gone
    void Write(const Seat& seat) { mLog.seats.entries.push_back(seat); }
    void NewMeeting(int starter);
    void Open();
    bool Wants(const Seat& seat, const Item& item) const;
    Cursor Numbers(std::uint64_t stream, bool safe) const;
    bool Unread(const Item& item) const;
    void Trim();
    void TrimTalkAtBound();
    Sequence KeptBeginning() const;
    unsigned Attendees() const;

    Witness& mWitness;
    const Fault mFault;
    MeetingLog mLog;
    std::map<int, Seat> mSeats;
    std::map<int, Connection*> mNewest;  // by handle: where it logged in or resumed last
    Cursor mEnd{};                       // last sequence used
    std::map<std::uint64_t, Cursor> mHave;
    int mMeetings = 0, mSeatNumbers = 0;
    std::uint64_t mTokens = 0;
};

}  // namespace model
