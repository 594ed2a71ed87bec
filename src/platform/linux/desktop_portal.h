#pragma once
// The desktop's portal, which lets its user choose what a program may see of the screen. One object is one
// question, and what came of it: its end is the end of the question or of the sharing, since the portal
// drops what it granted to a connection that goes. User-interface thread only.

#include <QObject>
#include <QString>
#include <QTimer>
#include <chrono>
#include <functional>
#include <optional>

#include "platform/linux/session_bus.h"

/// What the portal lets its user choose among, as its protocol numbers it.
enum class CastKind : quint32 { Screen = 1, Window = 2 };

/// What can be asked for; `whyNot` is a sentence when nothing can.
struct CastOffer {
    bool screen = false, window = false;
    QString whyNot;
};

/// A stream of pictures behind a socket of PipeWire; the receiver closes the socket. -1: not granted, with a
/// sentence, or with none when it was the user who did not want it.
struct CastGrant {
    int socket = -1;
    quint32 node = 0;
    QString whyNot;
};

class DesktopPortal final : public QObject {
public:
    /// How long the portal may take: until it has been started, for a step, and for its user.
    struct Patience {
        std::chrono::milliseconds start{30'000}, step{10'000}, user{600'000};
    };
    explicit DesktopPortal(const Patience& patience);
    ~DesktopPortal() override;

    /// What there is to choose among. Each of the two is called at most once, later, never inside a call.
    void Look(std::function<void(const CastOffer&)> offered);
    /// Lets the user choose one. `ended`: what was granted is granted no longer.
    void Ask(CastKind kind, std::function<void(const CastGrant&)> granted, std::function<void()> ended);

private:
    void Open();
    void FirstLook();
    void Met(sd_bus_message* reply);
    void ReadOffer(sd_bus_message* reply);
    void CreateSession();
    void SelectSources();
    void Start();
    void OpenRemote();
    using Responded = void (DesktopPortal::*)(sd_bus_message* results);
    void SessionMade(sd_bus_message* results);
    void SourcesSelected(sd_bus_message* results);
    void Started(sd_bus_message* results);
    /// A step of the portal's: the method, its arguments in front of the options, the options themselves.
    void Request(const char* method, const SessionBus::Arguments& front, const SessionBus::Arguments& options,
                 std::chrono::milliseconds patience, Responded then);
    void Response(sd_bus_message* signal);
    void Refuse(const QString& whyNot);
    void Lost();
    QByteArray RequestPath() const;
    SessionBus::Call To(const char* method) const;

    const Patience mPatience;
    std::unique_ptr<SessionBus> mBus;
    QTimer mLimit;
    std::function<void(const CastOffer&)> mOffered;
    std::function<void(const CastGrant&)> mGranted;
    std::function<void()> mEnded;
    std::optional<CastKind> mKind;
    CastOffer mOffer;
    bool mHidesPointer = false;  // can be asked for
    QByteArray mPortal;          // its own name on the bus, that nobody else can bear
    QByteArray mSession;
    int mRequests = 0;
    QByteArray mRequest;  // the one whose answer is waited for
    Responded mThen = nullptr;
    quint32 mNode = 0;
    int mSocket = -1;
    bool mOver = false;  // refused: what still comes is too late
};
