#pragma once
// The link of the model: one client's end of the message path, with its outbox and the events that wait for
// the user interface.

#include <functional>
#include <memory>

#include "model/witness.h"

namespace model {

class Link {
public:
    using Connect = std::function<Connection*(int handle)>;
    Link(int handle, Witness& witness, Connect connect, Fault fault)
        : mHandle(handle), mWitness(witness), mConnect(std::move(connect)), mFault(fault)
    {
    }

    // The user.
    void Join(bool newLogin, bool create, std::uint64_t freshStream);
    void Leave();
    void Kill();
    /// Copies to each recipient, as the user interface makes them.
    void Post(const Item& item, unsigned list);
    void EndTurn();  // of the event loop: closes the fold
    bool Take(unsigned most);
    // The network.
    bool Run();  // connects, sends what waits
    void Receive(const Message& message);
    void Lost();
    const Connection* At() const { return mConnection; }

    bool Wants() const { return bool(mEntry); }
    bool Empty() const { return mOutbox.empty() && mEvents.empty(); }
    unsigned Held() const { return mEntry ? mEntry->held : 0; }
    /// Whether the meeting was started by this handle.
    bool Starts() const { return mEntry && mEntry->starter; }
    /// What the board shows: as the log has it, and above that what has no place in it yet.
    History Drawn() const;
    bool AllPlaced() const { return mOwn.empty(); }

private:
    enum class Phase { Idle, LoggingIn, Entering, Resuming, Seated };
    enum class State { Open, Waiting, Sent };
    struct Pending {
        Item item;
        unsigned text;
        bool deliver;
        State state;
    };
    enum class What { Nothing, Shown, Placed, Passed, Lost };  // Nothing: only moves the cursor
    struct Event {
        Item item;
        What what = What::Nothing;
    };
    struct Entry {
        int meeting = 0, seat = 0;  // 0: the user's own Enter is still on its way
        bool create = false, starter = false;
        std::uint64_t token = 0;
        Cursor cursor{}, received{};              // taken by the user interface; by the link
        std::map<std::uint64_t, Cursor> highest;  // own numbers, by stream
        Sequence placed = 0;     // board number of the own stream up to which places have come
        Sequence ownBefore = 0;  // board number the own stream had reached when the user entered
        unsigned held = 0;       // attendees
    };
    bool Is(Fault fault) const { return mFault == fault; }
    void Send(Message message);
    void SendEnter();
    void SendLogin();
    void OnPlace(const Message& place);
    void OnItem(const Item& item);
    bool IsNew(const Item& item);
    void Hold(unsigned attendees);
    void EndEntry();
    void Disconnect();

    const int mHandle;
    Witness& mWitness;
    const Connect mConnect;
    const Fault mFault;
    Connection* mConnection = nullptr;
    Phase mPhase = Phase::Idle;
    std::uint64_t mStream = 0;
    Cursor mNumbers{};  // last own numbers used, by channel; never restart
    int mCall = 0;
    std::optional<Entry> mEntry;
    std::deque<Pending> mOutbox;
    std::deque<Event> mEvents;
    void OnOwn(const Item& item);
    void Apply(const Event& event);
    void PlaceFirst();
    History mBoard;  // as the log has it
    struct Own {
        Item item;      // number 0: not yet numbered
        History after;  // as it was seen when it was done
    };
    std::vector<Own> mOwn;  // drawn here, without a place yet
};

}  // namespace model
