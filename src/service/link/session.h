#pragma once
// One login at the service, on the network thread: greeting, calls, the meeting, and the way back after a
// cut. Calls are coroutines of that thread; they end at their deadline at the latest. What they could not do
// is in their result; they do not throw.

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <deque>
#include <map>
#include <optional>
#include <random>

#include "contract/voice_door.h"

#include "service/link/connection.h"
#include "service/link/datagrams.h"
#include "service/link/destination.h"
#include "service/link/device_words.h"
#include "service/link/incoming.h"
#include "service/link/lanes.h"
#include "service/link/link_stats.h"
#include "service/link/outbox.h"
#include "service/link/relay_round.h"
#include "service/link/remarks.h"
#include "service/link/resolver.h"
#include "service/link/sleep_watch.h"
#include "service/link/voice_sink.h"
#include "service/link/way_back.h"

namespace zephyl::link {

inline constexpr std::chrono::milliseconds kFirstPause{250};

struct Target {
    std::string name = {};  // as the user knows it; "" for the personal service
    Destination to = {};
    bool personal = false;                // behind the door file of this computer
    bool datagrams = false;               // live pictures may go by UDP
    std::string proxy = {};               // HTTP: as ProxyFor takes it, for other hosts of the service
    std::optional<std::string> pin = {};  // the only key to trust; none: nobody has named one
};

/// `problem` "": the connection stands and nothing of ours has been sent.
struct ConnectOutcome {
    std::string problem;
    bool met = true;  // somebody took a connection, or was not asked for one
    TlsPeer peer;
    bool known = false;  // personal, and the key is the one in the door file
};

struct LoginWords {
    std::string handle, password, hostName;
};
struct LoginOutcome {
    std::string refusal;  // "", and no problem: logged in
    std::string problem;  // the connection's
    std::string handle;   // the account's spelling
    std::string serverKey, sendTag;
};

struct EnterOutcome {
    enum class Kind { Entered, Refused, Failed } kind = Kind::Failed;
    std::string reason;
    std::vector<Attendee> attendees;  // in order of joining, the own one too
    bool placesOwn = false;           // own posts to the board get their places
    bool started = false;             // the own handle started the meeting
};

struct PasswordOutcome {
    std::string problem;  // "": asked
    std::string address;  // "": no such handle
};

struct ChangeOutcome {
    std::string problem;  // "": it is the new one now
};

struct PermissionOutcome {
    std::string problem;  // "": answered
    bool permitted = false;
};

struct LetInOutcome {
    std::string problem;  // "": answered
    Result result = RESULT_UNSPECIFIED;
    std::vector<std::string> addresses;
};

struct SessionNeeds {
    std::string program;  // for Hello
    std::string zephyldPath;
    std::function<void(QString)> log;
    std::string deviceFolder = {};  // as DeviceWords has it
    SleepWatch::Slept slept = SleptSoFar;
    std::weak_ptr<VoiceSink> voice = {};  // who hears
};

class Session final : public ConnectionOwner,
                      private DatagramsOwner,
                      public std::enable_shared_from_this<Session> {
public:
    Session(boost::asio::io_context& io, std::shared_ptr<const TlsContext> context, EventQueue& queue,
            SessionNeeds needs);

    template <class T>
    using Task = boost::asio::awaitable<T>;

    Task<ConnectOutcome> Connect(Target target);
    /// Sends the first bytes: only after whoever answered is trusted.
    Task<LoginOutcome> Login(LoginWords words, Deadline deadline);
    Task<PasswordOutcome> SendPassword(std::string handle, Deadline deadline);
    Task<ChangeOutcome> ChangePassword(LoginWords words, std::string wish, Deadline deadline);
    /// Asked each time: an operator may change it while the session lives.
    Task<PermissionOutcome> AskPermission(Deadline deadline);
    Task<LetInOutcome> LetIn(zephyl::LetIn::Wish wish, Deadline deadline);
    /// `entry` names the events of this meeting; `postsBefore` as in Incoming.
    Task<EnterOutcome> Enter(std::string code, bool create, quint64 entry, quint64 postsBefore,
                             Deadline deadline);
    /// Waits for what is under way to be safe, then leaves. Everybody held is raised as gone under `entry`.
    /// The result names what was not delivered.
    Task<QString> Leave(quint64 entry, Deadline deadline);
    /// Leaves, says goodbye and closes.
    Task<QString> Logout(Deadline deadline);
    /// Closes without a word.
    void Drop();

    void Post(Outgoing what);
    void SetLive(Outgoing picture);
    /// With whom from now on, also after a return; nobody: nothing is said or heard.
    void TalkWith(const std::vector<std::string>& handles);
    /// Lost where there is nobody to talk with, or no way.
    void SendVoice(std::uint64_t frame, std::uint32_t level, std::string_view body);
    voice_door::People VoicePeople() const;
    /// Tells the relay how far the user-interface thread is.
    void ReportRead();

    LinkStats Stats() const;
    /// Any thread: why there is no session any more; "" while there is one.
    QString EndReason() const;

    void OnFrame(const FrameView& frame) override;
    std::chrono::steady_clock::time_point Fill(std::string& batch) override;
    bool MayRead() override;
    void OnLost(const std::string& reason) override;

private:
    struct Seat {
        std::string code, meeting, token;
        std::uint32_t number = 0;
    };
    enum class Phase { Idle, LoggedIn, Seated };

    Task<std::shared_ptr<Connection>> OpenAt(ServiceAddress relay);
    Destination Towards(const ServiceAddress& relay) const;
    Task<std::shared_ptr<Connection>> OpenPersonal();
    Task<std::shared_ptr<Connection>> TryDoor(std::chrono::milliseconds limit);
    Task<std::shared_ptr<Connection>> Knock(std::uint16_t port);
    void Greet();
    Header HelloHeader() const;
    Header LoginHeader(bool again);
    void NewConnection();
    /// `atOnce` runs when the answer arrives, in front of the frames behind it.
    Task<Header> Call(Header header, std::uint32_t call, Deadline deadline,
                      std::function<void(const Header& answer)> atOnce = {});
    Task<Header> Question(std::function<Header(std::uint32_t call)> make, Deadline deadline);
    std::string ServiceName() const;
    bool KeepsWords() const;
    void KeepWord(const LoggedIn& answer) const;
    Task<void> WaitReady(Deadline deadline);
    Task<bool> Waited(Result result, std::uint32_t milliseconds, Deadline deadline);
    Task<void> Changed(Deadline until);
    void NotifyChanged();
    void AppendRead(std::string& batch);

    void OnLiveFrame(std::string_view frame) override;
    void OnRoadNews() override { FillRoad(); }
    void OnVoice(const Voice& voice, std::string_view body);
    void SayTalkWith();
    void TellVoicePeople();
    void OnPresence(const Presence& presence);
    void OpenDatagrams(const Place& place);
    void CloseDatagrams();
    void FillRoad();

    void TakePlace(const Place& place);
    void BackAt(const Place& place);
    void TakeWelcome(const Welcome& welcome);
    void LearnRelays(std::vector<std::string> named);
    void OnMeetingFrame(const FrameView& frame);
    void OnAccepted(const zephyl::Accepted& accepted);
    void OnRefused(const Refused& refused);
    void OnBye(const Bye& bye);
    void OnItem(const FrameView& frame);
    void CloseConnection(const std::string& reason);

    bool MayGo() const;
    void GoToKeeper(const std::string& named);
    Task<void> Follow(std::shared_ptr<WayBack> way, std::string meeting);
    Task<void> Greeted(WayBack& way);
    Task<void> Return();
    void HurryBack();
    std::chrono::milliseconds Jittered(std::chrono::milliseconds pause);
    std::chrono::milliseconds NextPause();
    Deadline NextWay(Deadline company) const;
    void BeginWay();
    Task<void> Travel(std::shared_ptr<WayBack> way);
    void Arrived(const std::shared_ptr<WayBack>& way);
    void SayCut(const std::string& reason);
    void BeginAnew();
    void GreetOn(WayBack& way);
    void RequireSameService(const TlsPeer& peer, const ServiceAddress& relay);
    Task<void> WaitToAsk(std::shared_ptr<WayBack> way);
    Task<void> AskBack(WayBack& way);
    Task<Result> TryResume(WayBack& way);
    Task<bool> LoginAgain(WayBack& way);
    Task<void> EnterAgain(WayBack& way);
    bool Adopt(WayBack& way);
    void TellBack(LinkState::Back how, const char* text);
    Cursor TakenCursor() const;
    void End(const QString& reason);

    Task<void> Tick();
    Task<void> WatchSleep();
    void OnWoken(std::chrono::milliseconds slept);
    void State(LinkState::Phase phase, const QString& text, LinkState::Back back = LinkState::Back::No);
    QString Details() const;
    QString Standing();
    void ShowStanding();
    QString TakeUndelivered();
    void Say(const QString& text);
    void Tell(const QString& full);
    void SayRefused();

    boost::asio::io_context& mIo;
    const std::shared_ptr<const TlsContext> mContext;
    EventQueue& mQueue;
    const SessionNeeds mNeeds;

    Resolver mResolver, mOtherNames;
    Target mTarget;
    RelayRound mRound;
    std::string mDoor;                        // of the personal service; goes into Hello
    std::string mExpectedKey;                 // personal: the key in the door file
    TlsPeer mTrusted;                         // who answered when the user logged in
    std::shared_ptr<Connection> mConnection;  // null: none stands
    ItemReader mReader;
    std::uint32_t mLastCall = 0;
    Calls mCalls;
    boost::asio::steady_timer mChanged, mTick, mPause;

    std::optional<SleepWatch> mSleep;

    // the way back
    bool mReturning = false;
    bool mHurried = false;                                 // since something was carried
    Deadline mNextTry{}, mNoEarlier{};                     // the latter: somebody asked for it
    std::chrono::milliseconds mAskedWait{0};               // it did so while the connection stood
    RelayRound::First mFirst = RelayRound::First::Here;    // of the relays, when it is lost
    std::chrono::milliseconds mPauseLength = kFirstPause;  // goes on where a return came to nothing
    Deadline mHurryUntil{};                                // of one that talks
    std::deque<std::shared_ptr<WayBack>> mWays;            // by number
    std::uint64_t mLastWay = 0, mAdopted = 0;
    Deadline mBackAt{};
    bool mProgress = false;  // something was carried since then
    int mVainReturns = 0;    // in a row, without that
    bool mUntold = false;    // it left its connection for a better one, and nobody is to notice
    Deadline mGoNext{};      // when it may do so again

    LoginWords mWords;
    const DeviceWords mDeviceWords;
    std::string mHandle;
    std::uint64_t mStream = 0;
    Phase mPhase = Phase::Idle;
    bool mLeaving = false;  // Leave or Logout is under way
    bool mReady = false;    // the connection stands, logged in, and seated if there is a seat
    std::optional<Seat> mSeat;

    Outbox mOutbox;
    Lanes mLanes{mOutbox};
    std::shared_ptr<Datagrams> mDatagrams;  // null: everything goes inside TLS
    std::uint16_t mDatagramPort = 0;        // of this connection's service; 0: it takes none
    boost::asio::steady_timer mRoadFree;
    Incoming mIncoming;
    std::vector<std::string> mTalkWith;
    bool mReadDue = false;  // however often it is asked for, one report waits
    ReadMarks mReported;
    std::uint64_t mReportedLive = 0;
    std::uint64_t mReconnects = 0;
    std::uint64_t mBoardToCome = 0;  // bytes of the board that were there before we entered
    QString mSaid;                   // the last remark, and when
    Deadline mSaidAt{}, mRefusedAt{};
    bool mRefusedUnsaid = false;
    std::string mRefusedWhy;
    Remarks mRemarks;
    std::vector<OutboxEntryPtr> mRefused;  // not long ago
    Traffic mEarlier;                      // of the connections before
    std::mt19937_64 mRandom{std::random_device{}()};

    mutable std::mutex mEndMutex;
    QString mEndReason;
};

}  // namespace zephyl::link
