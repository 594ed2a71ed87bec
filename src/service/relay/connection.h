#pragma once
// One client's connection: frames in, batches out, and what may be asked before a meeting is
// entered. Lives on one strand at a time, its home: its own at first, a meeting's while it has a seat.

#include <boost/asio/awaitable.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "service/relay/came_by.h"
#include "service/relay/door/connection_gate.h"
#include "service/relay/meeting/answers.h"
#include "service/relay/meeting/client.h"
#include "service/relay/meeting/session.h"
#include "service/relay/meeting/shared_meetings.h"
#include "service/relay/road.h"
#include "service/relay/services.h"
#include "service/wire/framing.h"

namespace zephyl {

inline constexpr char kBanned[] = "The operator of the service has banned you.";

class DatagramEnd;
class Meeting;
class TlsRoad;
class TunnelFront;
class TunnelRoad;
struct LoginVerdict;

class Connection final : public Client, public std::enable_shared_from_this<Connection> {
public:
    using Clock = std::chrono::steady_clock;

    using Ticket = std::unique_ptr<ConnectionGate::Ticket>;

    /// On a socket of its own: begins with the handshake, in which the client may ask for HTTP instead; then
    /// the socket serves exchanges, and this is over.
    Connection(boost::asio::ip::tcp::socket socket, Services& services, std::string address, Ticket ticket,
               CameBy by);
    /// On a road that stands.
    Connection(std::shared_ptr<Road> road, Services& services, std::string address, Ticket ticket, CameBy by);
    ~Connection() override;

    /// Once.
    void Start();
    /// Instead: the client is connected to another relay and wants a seat here. `who`: null, it resumes one.
    void StartFor(std::shared_ptr<TunnelRoad> road, std::shared_ptr<Session> who);

    void Send(const Header& header) override;
    void SendBytes(std::string_view frames) override;
    void Flush(Scratch& scratch) override;
    void FlushRoad(Scratch& scratch) override;
    void End(ByeReason reason, const std::string& text, std::chrono::milliseconds wait = {}) override;
    void Drop(const std::string& why) override;
    void OfferDatagrams(Place& place) override;
    void PullFrom(BatchSource* source) override;
    void Adopt(std::shared_ptr<Session> session) override;
    std::shared_ptr<Session> TheSession() const override { return mSession; }
    bool FromOutside() const override { return mBy.FromOutside(); }  // any thread
    void PostEnd(ByeReason reason, std::string text) override;
    Facts TheFacts() const override;
    void Heard(const Pong& pong) override;

    // --- any thread ---
    const std::string& Address() const { return mAddress; }
    /// Where it comes from is banned: it goes, and the seat that it has.
    void PostBanned();
    /// The service restarts. With a seat the meeting says so, when everything is safe.
    void PostRestart();
    /// Others of the service than it was told are there now.
    void PostRelays();
    /// Other relays serve it better, with a seat or without.
    void PostElsewhere();

private:
    enum class Next { GoOn, Moved };

    boost::asio::awaitable<void> Open();
    boost::asio::awaitable<bool> ShakeHands(TlsRoad& road);
    boost::asio::awaitable<void> Unseated();
    boost::asio::awaitable<Next> UnseatedTurns();
    boost::asio::awaitable<void> Seated(std::shared_ptr<Meeting> meeting, std::function<bool()> begin);
    boost::asio::awaitable<void> WaitForBudget();
    boost::asio::awaitable<void> Linger();
    boost::asio::awaitable<void> Receive();
    boost::asio::awaitable<Next> Handle(const FrameView& frame);
    RelayBudgets Budgets() const;
    void Greet(const Hello& hello);
    /// Those that clients of this one may go to.
    std::vector<std::string> OtherRelaysNow() const;
    bool MayGreet(const Hello& hello) const;
    boost::asio::awaitable<void> LogIn(Login login);
    boost::asio::awaitable<void> LoggedInAs(const Login& login, LoggedIn& answer,
                                            const LoginVerdict& verdict);
    void Banned();
    /// Asked at any time after the greeting; the answer comes when there is one.
    void MailPassword(const SendPassword& asked);
    boost::asio::awaitable<void> TakeNewPassword(ChangePassword asked);
    boost::asio::awaitable<Next> EnterMeeting(Enter enter);
    boost::asio::awaitable<Next> ResumeSeat(zephyl::Resume resume);
    // A meeting that another relay keeps, or a client of another relay: tunnelled.cpp.
    boost::asio::awaitable<void> Arrive(std::shared_ptr<Session> who);
    /// Takes the seat there. None: the meeting has another keeper by now.
    boost::asio::awaitable<std::optional<Next>> SeatThere(RelayId keeper, const Header& asked);
    /// Everything the client sends goes there, until it has no seat any more.
    boost::asio::awaitable<void> ForwardAll();
    bool ForwardReady();
    boost::asio::awaitable<void> WaitForRoom();
    void JoinedThere();
    void EndedThere();
    /// Tells the client, now and then, that it may go there.
    void NameKeeper(Clock::time_point now);
    /// The client is its own relay's again.
    void GiveBack();
    void SendElsewhere();
    void Depart();

    /// Goes to the meeting's strand; there `begin` takes a seat, or answers that there is none.
    void MoveTo(const std::shared_ptr<Meeting>& meeting, std::function<bool()> begin);
    void MoveBack();
    void GotIn();
    void Closed(const std::string& why);

    Strand Home() const;
    void SetHome(const Strand& home);
    /// Runs on whatever strand is home when its turn comes.
    void PostHome(std::function<void()> work);
    /// Inside the call if that strand is at rest.
    void DispatchHome(std::function<void()> work);
    std::function<void()> AtHome(const Strand& home, std::function<void()> work);
    void ArmTick();
    /// Once a tick: pings, and finds that the other side is gone or takes nothing.
    void OnTick(Clock::time_point now);
    void WaitWritable();
    void OnWritable();
    void FlushSelf();
    bool TakesDatagrams() const { return mServices.datagrams && !FromOutside() && !mGuest; }
    void TakeFrame(const std::shared_ptr<DatagramEnd>& from, std::string_view frame);
    void TakeBeside(std::string_view frame);

    Services& mServices;
    const std::shared_ptr<Road> mRoad;
    TlsRoad* mUntried = nullptr;  // the same, before its handshake
    const std::string mAddress;
    const CameBy mBy;
    Ticket mTicket;  // until login
    mutable std::mutex mHomeMutex;
    Strand mHome;
    boost::asio::steady_timer mTimer;
    FrameReader mReader{Way::Up};
    std::string mControl;
    BatchSource* mSource = nullptr;
    std::weak_ptr<Meeting> mMeeting;          // where it has its seat
    std::shared_ptr<TunnelFront> mThere;      // it has, or asks for, one at another relay
    std::shared_ptr<TunnelRoad> mGuest;       // the road, when the client is connected to another relay
    std::shared_ptr<DatagramEnd> mDatagrams;  // null: none were offered
    boost::asio::steady_timer mRoadFree;
    std::shared_ptr<Session> mSession;
    Standing mStanding = Standing::New;
    bool mWaitingToWrite = false;
    bool mUnread = false;  // over its budget
    // A password is mailed, or checked: that is not the client's time.
    bool mAsking = false, mAtDesk = false;
    bool mEnding = false;
    bool mClosed = false;
    std::size_t mBeforeLogin = 0;
    Clock::time_point mSince;  // of this state
    Clock::time_point mHeard;
    Clock::time_point mPinged;
    std::optional<std::chrono::microseconds> mDelay;
    Clock::time_point mBusySince;   // the socket has taken nothing
    Clock::time_point mKeeperNext;  // may be named
};

}  // namespace zephyl
