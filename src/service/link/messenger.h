#pragma once
// MessengerService on the user-interface thread: checks, folds and hands over; waits where the contract
// waits.

#include <QHash>
#include <atomic>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <chrono>
#include <map>
#include <thread>

#include "service/link/answer.h"
#include "service/link/event_queue.h"
#include "service/link/link_messenger.h"
#include "service/link/post_folder.h"
#include "service/link/session.h"
#include "service/link/user_items.h"
#include "service/link/voice_door.h"

namespace zephyl::link {

class LinkMessenger final : public MessengerService, private Outlet {
public:
    explicit LinkMessenger(LinkNeeds needs);
    ~LinkMessenger() override;

    bool HasMeetingPermission() override;
    QString ServerKey() const override { return mAccount.serverKey; }
    QString SendTag() const override { return mAccount.sendTag; }
    bool LoggedIn() const override;
    QString Handle() const override { return mAccount.handle; }
    void Send(const QString& to, const QString& message, qint32 flags) override;
    void Logout() override;
    bool Login(const QString& handle, const QString& password, const QString& hostname) override;
    void LoadConfig() override;
    void Close() override;
    std::shared_ptr<UsersCollection> Users() override { return mUsers; }
    bool JoinMeeting(const QString& meetingCode) override;
    void LeaveMeeting() override;
    bool CreateMeeting(const QString& meetingCode, const QString& second) override;
    QString SendPassword(const QString& handle) override;
    void SetConfig(const QString& configName) override;

    std::shared_ptr<UserItem> MakeUserItem() override;
    std::unique_ptr<FrameEncoder> MakeFrameEncoder() override;
    void SetEvents(MessengerEvents* sink) override;
    void UseServiceAddress(const QString* typed) override;
    QString NameKey(const QString& service, const QString& fingerprint) override;
    ServiceFace Face() const override;
    LettingIn LetOthersIn(LetInWish wish) override;
    void Keep(const QString& record) override;
    void KeepPicture(const QByteArray& data, int x, int y, qint32 quality) override;
    void TakeBack(const QString& handle) override;
    bool StartedMeeting() const override { return mStarted && PlacesOwn(); }
    bool SendingIsTight() const override;
    quint64 LastLine() override;
    quint64 LastBoardPost() override;
    bool PlacesOwn() const override { return mPlacesOwn && mInMeeting && LoggedIn(); }
    quint64 EventSequence() const override { return mDelivered; }
    QString LastRefusal() const override { return mRefusal; }
    std::optional<std::chrono::milliseconds> EventAge() const override;
    VoicePlace OpenVoice() override;
    VoiceNews Voice() const override { return mVoice->News(); }
    void LetVoicePass(bool passes) override { mVoice->LetPass(passes); }
    void ShowVoice() override;

    LinkStats Stats();
    /// Connects, sends nothing, and lets go again. Throws as Login refuses.
    ServiceFace LookAt();
    /// Throws when the service does not take it.
    void ChangePassword(const QString& handle, const QString& password, const QString& wish);

private:
    struct Account {
        QString handle, serverKey, sendTag;
    };
    using Limit = std::chrono::milliseconds;

    void DeliverTo(const QString& handle, const QString& fromHandle, const QString& message) override;
    void SendFrameTo(const QString& handle, const QByteArray& data, const QString& fromHandle, int x, int y,
                     qint32 frameType, qint32 quality) override;
    QString AddressOf(const QString& handle) const override;

    // sending
    void AddCopy(const Copy& copy);
    void OpenPost(const Copy& copy);
    void CloseFold();
    void HandOver(Outgoing what);
    void Lose(const Copy& copy);
    void RaiseOwn(const Copy& copy);
    void PostEveryone(const Copy& copy);
    PictureShape ShapeOf(const QString& fromHandle, int x, int y, qint32 frameType, qint32 quality) const;
    void RequireOwnHandle(const QString& fromHandle) const;
    void RequireMeeting() const;
    std::shared_ptr<const void> TakeRoom(std::size_t bytes);
    QStringList Others() const;

    // calls
    void RunNetwork();
    template <class Result, class Make>
    std::optional<Result> Ask(const std::shared_ptr<Session>& session, const Make& make, Limit limit);
    std::shared_ptr<Session> NewSession();
    void Release(std::shared_ptr<Session> session);
    Target ReadTarget() const;
    Target TargetOf(const QString& service) const;
    std::shared_ptr<Session> ConnectTrusted(Deadline& deadline);
    ConnectOutcome Reach(const std::shared_ptr<Session>& session, const Target& target, Deadline deadline);
    [[noreturn]] static void FailUnreached(const Target& target, const QString& problem, bool met);
    std::optional<std::string> AcceptedKey(const Target& target);
    std::optional<std::string> PinOf(const Target& target);
    [[noreturn]] void FailOfOtherKey(const Target& target, const QString& key);
    bool SettleTrust(const Target& target, const ConnectOutcome& outcome, Deadline& deadline);
    QString PasswordOf(const QString& stored) const;
    bool Enter(const QString& code, bool create);
    void FillUsers(const std::vector<Attendee>& attendees);
    void EndSession(Limit limit);
    void ForgetMeeting();
    void Note(const QString& text);

    // events
    void Wake();
    void Drain();
    bool DeliverOne();
    void TellLines(const LineNews& news);
    void Deliver(const ReadyEvent& ready);

    LinkNeeds mNeeds;
    std::shared_ptr<Outlet> mAlive;  // gives out weak pointers to this; owns nothing
    std::atomic<bool> mDrainPosted{false};
    std::chrono::milliseconds mSlice{0};  // of serving events; grows while more wait
    bool mEarlier = false;                // the latest event is of before the user entered
    std::shared_ptr<std::atomic<std::size_t>> mRoomTaken = std::make_shared<std::atomic<std::size_t>>(0);

    boost::asio::io_context mIo;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> mWork{mIo.get_executor()};
    std::shared_ptr<const TlsContext> mContext;
    EventQueue mQueue;
    const std::shared_ptr<VoiceDoor> mVoice = std::make_shared<VoiceDoor>(mIo.get_executor());
    std::shared_ptr<Session> mSession;  // null: none; touched here, run on the network thread
    std::thread mNetwork;

    QString mConfig;
    std::optional<QString> mTypedAddress;
    std::map<QString, std::string>
        mAccepted;                          // keys, by the service's name, also when they could not be stored
    std::map<QString, std::string> mNamed;  // by invitations; what was accepted counts more
    QString mRefusal;
    ServiceFace mFace;                                            // of the service that was reached last
    std::optional<std::chrono::steady_clock::time_point> mDrawn;  // of the event that is being delivered
    Account mAccount;
    bool mInMeeting = false;
    bool mPlacesOwn = false, mStarted = false;
    quint64 mLastLine = 0, mLastBoardPost = 0;
    quint64 mDelivered = 0;  // the sequence of the board's event that is being delivered
    quint64 mLastEntry = 0;
    quint64 mEntry = 0;  // whose events are delivered
    std::shared_ptr<LinkUsers> mUsers = std::make_shared<LinkUsers>();
    QHash<QString, QString> mAddresses;
    PostFolder mFolder;
    MessengerEvents* mSink = nullptr;
};

}  // namespace zephyl::link
