#pragma once
// The messaging service in memory: keeps the contract, errors included, and writes every call down in order.

#include <QStringList>
#include <deque>
#include <functional>
#include <map>

#include "contract/messenger_service.h"

class FakeService;

class FakeItem final : public UserItem {
public:
    explicit FakeItem(FakeService& service) : mService(service) {}
    void Init(const QString& handle, bool flag) override;
    void Deliver(const QString& fromHandle, const QString& tag, const QString& message,
                 qint32 flags) override;
    QString Handle() const override { return mHandle; }
    QString Address() const override { return mHandle + QLatin1String(".example"); }
    void SendVideoFrame(const QByteArray& data, const QString& handle, int x, int y, qint32 frameType,
                        qint32 quality) override;

private:
    FakeService& mService;
    QString mHandle;
};

class FakeUsers final : public UsersCollection {
public:
    void Add(std::shared_ptr<UserItem> item, qint32) override { mItems.push_back(std::move(item)); }
    std::shared_ptr<UserItem> Item(const QString& handle) const override;
    void Remove(const QString& handle) override;
    std::vector<std::shared_ptr<UserItem>> Items() const override { return mItems; }
    void Empty() { mItems.clear(); }

private:
    std::vector<std::shared_ptr<UserItem>> mItems;
};

/// Its bytes name the picture: "jpeg WIDTHxHEIGHT QUALITY".
class FakeEncoder final : public FrameEncoder {
public:
    explicit FakeEncoder(QStringList& journal) : mJournal(journal) {}
    void SetQuality(qint16 quality) override;
    qint16 Quality() const override { return mQuality; }
    void PrepareFrameFormat(int width, int height) override { mPrepared = {width, height}; }
    void Clear() override;
    void EncodePicture(const Pixels& picture) override { mImage = {picture.width, picture.height}; }
    QByteArray GetBytes() override;
    qint32 EncodeFrame(const QByteArray& frame, bool isYUV) override;

private:
    struct Size {
        int width = 0, height = 0;
    };
    QStringList& mJournal;
    qint16 mQuality = 65;
    Size mPrepared, mImage;
};

class FakeService final : public MessengerService {
public:
    /// Calls are appended to `calls` as "Name(arguments)"; it must outlive the service and its items.
    explicit FakeService(QStringList& calls) : journal(calls) {}

    // --- what the test arranges
    QString account;                                    // the account's spelling; "": the handle as logged in
    QStringList others;                                 // who is in the meeting that is entered next
    std::map<QString, std::deque<bool>> answers;        // by operation, one per call; then true
    std::map<QString, QString> failures;                // operation -> description: the call throws
    QString address = QStringLiteral("a***@e***.org");  // SendPassword's answer
    QString serverKey = QStringLiteral("00112233445566778899");
    quint64 lines = 0;       // the number of the last one: each copy counts, but not the board's
    bool tight = false;      // much is waiting to be sent
    bool placesOwn = false;  // own posts to the board get their places
    bool started = false;    // the own handle started the meeting
    quint64 posts = 0;       // the number of the last one
    std::optional<std::chrono::milliseconds> age;  // of the events that are raised
    QString refusal;                               // LastRefusal after a Login that was refused
    QString acceptedKey;                           // of every service, for NameKey
    ServiceFace face;
    LettingIn letsIn;  // LetOthersIn's answer to Open

    // --- what happened
    struct Text {
        QString to, tag, message;
    };
    struct Frame {
        QString to, handle;
        int x, y;
        qint32 type, quality;
        QByteArray data;
    };
    std::vector<Text> texts;  // Send (tag "") and Deliver
    std::vector<Frame> frames;
    QStringList kept;
    QStringList& journal;

    // --- events; they wait while nobody listens
    void Say(const QString& from, const QString& message)
    {
        Own([=](MessengerEvents& sink) { sink.NewMessage(from, message); });
    }
    void Status(const QString& handle, qint32 status)
    {
        Own([=](MessengerEvents& sink) { sink.StatusChanged(handle, status); });
    }
    void Show(const QString& from, const PicturePtr& picture, int x, int y, qint32 type)
    {
        Own([=](MessengerEvents& sink) { sink.VideoFrame(from, picture, x, y, type); });
    }
    void Link(const LinkState& state)
    {
        Own([=](MessengerEvents& sink) { sink.LinkChanged(state); });
    }
    void Accept(quint64 upTo)
    {
        Own([=](MessengerEvents& sink) { sink.LinesAccepted(upTo); });
    }
    void Lose(quint64 line)
    {
        Own([=](MessengerEvents& sink) { sink.LineLost(line); });
    }
    void Own(std::function<void(MessengerEvents&)> event);

    bool HasMeetingPermission() override { return Answer("HasMeetingPermission", {}); }
    QString ServerKey() const override { return serverKey; }
    std::optional<std::chrono::milliseconds> EventAge() const override { return age; }
    bool SendingIsTight() const override { return tight; }
    bool PlacesOwn() const override { return placesOwn; }
    quint64 LastBoardPost() override { return posts; }
    QString SendTag() const override { return QStringLiteral("tag"); }
    bool LoggedIn() const override { return mLoggedIn; }
    QString Handle() const override { return mHandle; }
    void Send(const QString& to, const QString& message, qint32 flags) override;
    void Logout() override;
    bool Login(const QString& handle, const QString& password, const QString& hostname) override;
    void LoadConfig() override { Call("LoadConfig", {}); }
    void Close() override { Call("Close", {}); }
    std::shared_ptr<UsersCollection> Users() override;
    bool JoinMeeting(const QString& meetingCode) override { return Enter("JoinMeeting", {meetingCode}); }
    void LeaveMeeting() override { Call("LeaveMeeting", {}); }
    bool CreateMeeting(const QString& code, const QString& second) override
    {
        return Enter("CreateMeeting", {code, second});
    }
    QString SendPassword(const QString& handle) override;
    void SetConfig(const QString& configName) override { Call("SetConfig", {configName}); }
    std::shared_ptr<UserItem> MakeUserItem() override { return std::make_shared<FakeItem>(*this); }
    std::unique_ptr<FrameEncoder> MakeFrameEncoder() override;
    void SetEvents(MessengerEvents* sink) override;
    void UseServiceAddress(const QString* typed) override;
    QString NameKey(const QString& service, const QString& fingerprint) override
    {
        Call("NameKey", {service, fingerprint});
        return acceptedKey == fingerprint ? QString() : acceptedKey;
    }
    ServiceFace Face() const override
    {
        NeedSession();
        return face;
    }
    LettingIn LetOthersIn(LetInWish wish) override
    {
        Call("LetOthersIn", {QString::number(int(wish))});
        if (wish != LetInWish::Ask) mLetsIn = wish == LetInWish::Open ? letsIn : LettingIn();
        return mLetsIn;
    }
    void Keep(const QString& record) override { kept += record, ++posts; }
    bool StartedMeeting() const override { return started; }
    void TakeBack(const QString& handle) override
    {
        Call("TakeBack", {handle});
        ++posts;
    }
    void KeepPicture(const QByteArray& data, int x, int y, qint32 quality) override;
    quint64 LastLine() override { return lines; }
    QString LastRefusal() const override { return mRefusal; }

    /// Writes the call down and throws what was arranged for it.
    void Call(const char* name, const QStringList& arguments);
    void NeedSession() const;
    void CountLine(const QString& to, const QString& message);

private:
    bool Answer(const char* name, const QStringList& arguments);
    bool Enter(const char* name, const QStringList& arguments);

    bool mLoggedIn = false;
    QString mHandle, mRefusal;
    LettingIn mLetsIn;
    std::shared_ptr<FakeUsers> mUsers = std::make_shared<FakeUsers>();
    MessengerEvents* mSink = nullptr;
    std::deque<std::function<void(MessengerEvents&)>> mWaiting;
};
