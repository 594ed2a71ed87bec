#pragma once
// What link and relay of the model tell each other, and the connection that carries it.

#include <algorithm>
#include <array>
#include <deque>
#include <optional>

#include "model/operations.h"

namespace model {

using Sequence = std::uint64_t;
using Cursor = std::array<Sequence, 2>;  // by Channel

/// Deliberate faults. A model that stays green with one of them proves nothing.
enum class Fault {
    None,
    NoCounter,
    NoFence,
    LinkTakesTwice,
    AcceptedBeforeSync,
    AcceptedPastSync,
    EnteredBeforeSync,
    SentStaysSent,
    RefusalForgotten,
    TrimTooEarly,
    TrimIgnoresUndo,
    TrimUnsynced,
    TrimTakesListed,
    SenderResolves,
    WhisperWidens,
    FoldJoinsEqual,
    OwnEarlierMissing,
    PresenceReplayed,
    SaidTwice,
    SkippedForgotten,
    ReturnGapUnstated,
    NumbersAnewOnReturn,
    LeftMeetingTalks,
    NoGraceAfterKill,
    SeatEndUnsynced,
    LoginFencesNot,
    OwnHandFirst,
    OwnPlaceNotSentAgain,
    OwnPlaceTwice,
    OwnPlaceOvertakes,
    OwnTrimmedWaits,
    OwnRefusedStays,
    OldBoardStays,
    AnybodyTakesBack,
    StarterForgotten,
    TakeBackTakesWhatWaits,
    TakeBackAsSeen,
    Count
};

struct Item {
    int id = 0;  // the witness's name for it; 0: the relay says it
    int from = -1;
    std::uint64_t stream = 0, number = 0;
    Sequence sequence = 0;
    Kind kind = Kind::Line;
    int whom = -1;    // TakeBack: whose marks go
    unsigned to = 0;  // up: the list; in the log: who had a seat when it was appended
    bool everyone = false;
    bool bad = false;  // the relay refuses it; in the log: the mark that it did
    bool passed =
        false;  // down: only says that what its sender numbered up to here has its place, or is gone
};
inline Channel ChannelOf(Kind kind)
{
    return kind >= Kind::Draw && kind <= Kind::Pointer ? Board : Talk;
}
inline bool Changes(Kind kind)
{
    return kind == Kind::Draw || kind == Kind::Clear || kind == Kind::TakeBack;
}
/// Part of the picture that a newcomer is shown.
inline bool KeptForAll(const Item& item)
{
    return !item.bad && item.everyone && ChannelOf(item.kind) == Board && item.kind != Kind::Pointer;
}

enum class Say {
    Login,
    Enter,
    Resume,
    Post,
    Read,
    Leave,
    LoggedIn,
    Entered,
    Resumed,
    Accepted,
    Refused,
    Item,
    Skipped
};

struct Message {
    Say say;
    int call = 0;
    bool ok = true, create = false;
    std::uint64_t stream = 0, token = 0;
    int meeting = 0, seat = 0;  // Enter: the meeting to return to; 0 when the user enters
    Cursor cursor{};            // Enter, Resume, Read; in a place: where the seat stands
    Cursor numbers{};           // in a place: have; Accepted; Refused
    Sequence enteredAt = 0, upTo = 0;
    unsigned attendees = 0;
    bool starter = false;  // in a place: this handle started the meeting
    Item item{};
};

/// Two queues. After a cut what was on its way arrives in part, and each end notices in its own time.
struct Connection {
    int client = 0;
    std::deque<Message> up, down;
    bool broken = false, linkOpen = true, relayOpen = true;
    // What the relay knows of it.
    std::uint64_t stream = 0;
    bool seated = false;
    std::optional<Message> held;  // Entered, until the seat is safe
    std::size_t heldUntil = 0;

    void Cut(std::size_t keepUp, std::size_t keepDown)
    {
        up.resize(std::min(up.size(), keepUp), Message{Say::Read});
        down.resize(std::min(down.size(), keepDown), Message{Say::Read});
        broken = true;
    }
    void SendUp(const Message& m)
    {
        if (!broken) up.push_back(m);
    }
    void SendDown(const Message& m)
    {
        if (!broken) down.push_back(m);
    }
};

}  // namespace model
