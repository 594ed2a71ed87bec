#pragma once
// A client built on the real link, with the test's own thread as its user-interface thread.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <iosfwd>
#include <map>
#include <mutex>
#include <string>

#include "contract/link_needs.h"
#include "contract/messenger_service.h"

/// Failures show texts as texts.
void PrintTo(const QString& text, std::ostream* stream);

inline const char* Name(Protocol protocol)
{
    return protocol == Protocol::Udp ? "Udp" : protocol == Protocol::Http ? "Http" : "Tcp";
}

class LinkedAttendee final : public MessengerEvents,
                             private UiPost,
                             private AnswerWait,
                             private EventGate,
                             private TrustQuestion,
                             private ServiceSettings {
public:
    /// `pin`: the key to trust; "": none. `devices`: where it keeps its words; "": nowhere.
    explicit LinkedAttendee(QString service, const std::string& pin = {}, const QString& devices = {});
    ~LinkedAttendee() override;

    bool Login(const QString& handle, const QString& password = QStringLiteral("secret"));
    /// To everybody in the collection but oneself, as the board does it.
    void Draw(const QString& record);
    /// To everybody in the collection, oneself too, as the camera does it.
    void Film(const QByteArray& jpeg, int type = 0);
    QStringList Handles() const;

    /// Runs what is posted, and waits for more, until `enough` holds; false after 20 s.
    bool Until(const std::function<bool()>& enough);
    /// The next event: "from:text", "handle=5", "from#WxH", "from-handle" (taken back). "nothing" after 20 s.
    QString Next();
    QStringList Next(int count);
    /// Runs what is posted by now; events that came of it are in `heard`.
    void Turn();

    /// How many lines of the log say this. Any thread.
    qsizetype Logged(const QString& part);
    /// Runs on the thread that turns this attendee. Any thread.
    void Post(std::function<void()> work) override;

    MessengerEvents* watcher = nullptr;  // hears events instead of `heard` and `states`
    std::deque<QString> heard;
    QString leftFrom;  // the address of who left last, as it was asked while they left
    std::vector<LinkState> states;
    QStringList own;  // what became of own posts to the board: "placed 3"
    quint64 linesAccepted = 0;
    std::vector<quint64> linesLost;
    QStringList log;
    QString service;
    Protocol protocol = usual;
    QString proxy = QStringLiteral("direct");      // for HTTP
    static inline Protocol usual = Protocol::Tcp;  // of those that are made from then on
    std::map<QString, QString> pins;
    std::atomic<std::chrono::milliseconds> slept{};  // this computer, so far
    int questions = 0;
    bool answer = false;  // to the trust question
    std::function<void()> whileAsked;
    std::unique_ptr<MessengerService> link;  // the last one: gone first

    void Hold(bool held);  // the gate

private:
    void NewMessage(const QString& fromHandle, const QString& message) override;
    void StatusChanged(const QString& userHandle, qint32 newStatus) override;
    void VideoFrame(const QString& fromHandle, const PicturePtr& frame, int x, int y,
                    qint32 frameType) override;
    void LinkChanged(const LinkState& state) override
    {
        if (watcher) return watcher->LinkChanged(state);
        states.push_back(state);
    }
    void LinesAccepted(quint64 upTo) override { linesAccepted = upTo; }
    void LineLost(quint64 line) override { linesLost.push_back(line); }
    void TakenBack(const QString& fromHandle, const QString& handle) override
    {
        if (watcher) return watcher->TakenBack(fromHandle, handle);
        heard.push_back(QStringLiteral("%1-%2").arg(fromHandle, handle));
    }
    void BoardBegins(quint64 ownUpTo) override { Own(&MessengerEvents::BoardBegins, "begins", ownUpTo); }
    void OwnPlaced(quint64 post) override { Own(&MessengerEvents::OwnPlaced, "placed", post); }
    void OwnPassed(quint64 upTo) override { Own(&MessengerEvents::OwnPassed, "passed", upTo); }
    void OwnLost(quint64 post) override { Own(&MessengerEvents::OwnLost, "lost", post); }
    void OwnPlacesEnd() override
    {
        if (watcher) watcher->OwnPlacesEnd();
    }
    void Own(void (MessengerEvents::*event)(quint64), const char* name, quint64 post)
    {
        if (watcher) (watcher->*event)(post);
        own += QStringLiteral("%1 %2").arg(QLatin1String(name)).arg(post);
    }
    bool Wait(PendingAnswer& pending, std::chrono::milliseconds limit) override;
    bool IsOpen() const override { return !mHeld; }
    void WhenOpen(std::function<void()> drain) override { mDrain = std::move(drain); }
    bool Ask(const QString& name, const QString& fingerprint) override;
    QString DefaultConfig() override { return {}; }
    ServiceChoice Read(const QString&) override
    {
        return {service, protocol, std::chrono::seconds(1), proxy};
    }
    std::optional<QString> PinnedKey(const QString& name) override;
    void PinKey(const QString& name, const QString& fingerprint) override { pins[name] = fingerprint; }

    std::mutex mMutex;
    std::condition_variable mPostedSome;
    std::deque<std::function<void()>> mPosted;
    std::function<void()> mDrain;
    bool mHeld = false;
    std::shared_ptr<UsersCollection> mUsers;
};
