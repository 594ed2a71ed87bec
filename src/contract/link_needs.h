#pragma once
// What the link needs of the program around it: settings, a gate for events, a way to wait, and the
// answer to a trust question. `quorvia` and `zephyl` each bring their own. User-interface thread only
// unless a line says otherwise.

#include <QString>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

enum class Protocol { Udp, Tcp, Http };

/// How to reach the service, as a configuration holds it.
struct ServiceChoice {
    QString service;  // HOST[:PORT]; "" = the personal service on this computer
    Protocol protocol = Protocol::Udp;
    std::chrono::seconds pollingInterval{1};  // HTTP: how long an empty answer is waited for
    QString proxy = {};                       // HTTP: as the user wrote it; "": what the environment says
};

class ServiceSettings {
public:
    virtual ~ServiceSettings() = default;
    /// The configuration chosen as default; read once, when the link is made.
    virtual QString DefaultConfig() = 0;
    /// Read afresh at each Login and SendPassword.
    virtual ServiceChoice Read(const QString& configName) = 0;
    /// Pinned key of `service` ("sha256:" and 64 hex digits), "" the personal one; none: never asked. Throws
    /// std::runtime_error when that cannot be told.
    virtual std::optional<QString> PinnedKey(const QString& service) = 0;
    virtual void PinKey(const QString& service, const QString& fingerprint) = 0;
};

/// Says when events may be delivered. Closed until the meeting window is whole, during short waits and
/// between the slices of a long drawing.
class EventGate {
public:
    virtual ~EventGate() = default;
    virtual bool IsOpen() const = 0;
    /// `drain` runs on the user-interface thread each time the gate opens. One listener; null takes it away.
    virtual void WhenOpen(std::function<void()> drain) = 0;
};

/// An answer that another thread gives. Done and Finish are safe on any thread.
class PendingAnswer {
public:
    virtual ~PendingAnswer() = default;
    virtual bool Done() const = 0;
    /// Runs `wake` once, on any thread, when Done has become true (at once if it already is).
    virtual void WhenDone(std::function<void()> wake) = 0;
};

/// The short wait for an answer of the service. `quorvia` paints and answers close requests meanwhile,
/// `zephyl` just blocks. Returns false when the limit passed first.
class AnswerWait {
public:
    virtual ~AnswerWait() = default;
    virtual bool Wait(PendingAnswer& answer, std::chrono::milliseconds limit) = 0;
};

/// Asked once for a certificate that no authority vouches for and that is not pinned.
class TrustQuestion {
public:
    virtual ~TrustQuestion() = default;
    /// True: trust this key from now on. Every event is served while the user reads.
    virtual bool Ask(const QString& service, const QString& fingerprint) = 0;
};

/// Runs a function on the user-interface thread, soon and in the order of the calls. Any thread.
class UiPost {
public:
    virtual ~UiPost() = default;
    virtual void Post(std::function<void()> work) = 0;
};

struct LinkNeeds {
    ServiceSettings& settings;
    EventGate& gate;
    AnswerWait& wait;
    TrustQuestion& trust;
    UiPost& post;
    std::function<void(const QString& line)> log;  // any thread; one line for the event log
    QString program;                               // "quorvia 1.0.0"
    QString zephyldPath;                           // the daemon to start where no service is named
    QString deviceFolder = {};                     // for what services gave this device; "": nothing is kept
    /// How long this computer has slept so far; empty: as its clocks tell. Any thread.
    std::function<std::chrono::milliseconds()> slept = {};
};
