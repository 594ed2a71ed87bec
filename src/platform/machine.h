#pragma once
// The small ports to the machine that rules and procedures use: clock, waits, event log, folders,
// pointer, prompts, end of the process, trace. One real implementation each (platform/linux, ui),
// fakes in tests/support. User-interface thread only, but for EventLog and Trace.

#include <QDateTime>
#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <chrono>
#include <optional>

class Clock {
public:
    virtual ~Clock() = default;
    virtual QDateTime Now() const = 0;  // local time
};

/// The one helper for every short wait. Meanwhile our windows paint and answer their close request (which
/// ends the process); user input, service events, timers and camera frames are kept in order and served
/// afterwards.
class Waits {
public:
    virtual ~Waits() = default;
    virtual void Pause(std::chrono::milliseconds time) = 0;
    /// "Let pending events run": one pass of the queue, painting included.
    virtual void LetEventsRun() = 0;
    /// The process is about to end: from now on all waits together take at most `all`.
    virtual void Hurry(std::chrono::milliseconds all) = 0;
};

/// Holds service events, our timers and camera frames back while it is closed: until the meeting window is
/// whole, during short waits, between the slices of a long drawing. Closings nest; whatever waited is served
/// in order once the last one has been opened again.
class Gate {
public:
    virtual ~Gate() = default;
    virtual void Close() = 0;
    virtual void Open() = 0;
    virtual bool IsOpen() const = 0;
};

/// Closes the gate for a scope. A null gate is none.
class GateHold {
public:
    explicit GateHold(Gate* gate) : mGate(gate)
    {
        if (mGate) mGate->Close();
    }
    ~GateHold()
    {
        if (mGate) mGate->Open();
    }
    GateHold(const GateHold&) = delete;
    GateHold& operator=(const GateHold&) = delete;

private:
    Gate* mGate;
};

enum class EventType { Error = 1, Warning = 2, Information = 4 };

/// The system's event log. Any thread; never throws.
class EventLog {
public:
    virtual ~EventLog() = default;
    virtual void Write(EventType type, const QString& message) = 0;
};

/// One JSON line per visible effect, for scripts, tests and bug reports. Any thread; never throws.
class Trace {
public:
    virtual ~Trace() = default;
    virtual void Line(const char* event, const QJsonObject& fields) = 0;
};

class Folders {
public:
    virtual ~Folders() = default;
    /// The path of a shell special folder (5: documents), made when it is missing; "" on failure.
    virtual QString Special(int folderId) const = 0;
    /// The folder the program was started from, without an ending slash.
    virtual QString Program() const = 0;
};

/// This computer's name and addresses. Only IPv4 addresses, in dotted-decimal form. Never throws.
class LocalHost {
public:
    virtual ~LocalHost() = default;
    /// None: the system does not tell.
    virtual std::optional<QString> Name() const = 0;
    /// In the resolver's order; none: no such name.
    virtual std::optional<QStringList> Resolve(const QString& name) const = 0;
    /// Of the network interfaces that are up.
    virtual QStringList Interfaces() const = 0;
};

/// The screen's mouse pointer: one value, never a stack.
enum class PointerShape { Default, Busy };
class ScreenPointer {
public:
    virtual ~ScreenPointer() = default;
    virtual void Set(PointerShape shape) = 0;
    virtual PointerShape Get() const = 0;
};

/// Ends the process at once, after the link has flushed its outbox (2 s at most), said goodbye and the
/// clipboard was handed over. Does not return; in tests it throws ProcessEnded.
class EndProcess {
public:
    virtual ~EndProcess() = default;
    [[noreturn]] virtual void Now() = 0;
};
struct ProcessEnded {};  // deliberately no std::exception: traps let it pass

enum class BoxIcon { None, Information, Exclamation, Critical };
/// Whose act a box follows from: the user's own (it blocks its caller) or somebody else's (it does not).
enum class Cause { Local, Remote };

struct FontChoice {
    QString name = QStringLiteral("Arial");
    double size = 10;  // points
    bool bold = false, italic = false, strikethrough = false, underline = false;
};

/// Message boxes and the toolkit's dialogs. Plain text always. Every dialog of the program runs through
/// here.
enum class Modality { Modal, Modeless };
class QDialog;

class Prompts {
public:
    virtual ~Prompts() = default;
    virtual void Beep() = 0;
    virtual void Box(BoxIcon icon, const QString& title, const QString& text) = 0;
    /// At most one is open at a time; what comes meanwhile is counted in it.
    virtual void CriticalBox(const QString& title, const QString& text, Cause cause) = 0;
    /// `announced`: what somebody on the local network says that the fingerprint is, which proves nothing;
    /// "": nobody does.
    virtual bool AskTrust(const QString& service, const QString& fingerprint, const QString& announced) = 0;
    /// Whether to open a web address that somebody wrote. Both are ASCII, escaped.
    virtual bool AskLink(const QString& address, const QString& host) = 0;
    /// "" when cancelled. `patterns`: "*.jpg *.bmp".
    virtual QString OpenFile(const QString& title, const QString& filterName,
                             const QStringList& patterns) = 0;
    virtual QString SaveFile(const QString& title, const QString& filterName, const QStringList& patterns,
                             const QString& defaultExtension) = 0;
    /// "" when cancelled. `now`: where it opens, when there is such a folder.
    virtual QString ChooseFolder(const QString& title, const QString& now) = 0;
    /// Runs a form of ours and returns when it has finished. Modeless: everything else is served meanwhile.
    virtual void RunForm(QDialog& form, Modality modality) = 0;
    virtual FontChoice SelectFont(const QString& title, const FontChoice& current) = 0;
};
