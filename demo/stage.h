#pragma once
// The programs as a person or a script meets them: a virtual display with a window manager, real key strokes
// and mouse moves, the real service. Everything waits for a trace line, an event or an answer, never for
// time; the limits only end a run that has gone wrong. What a stage started, it ends, by process id.

#include <sys/types.h>

#include <QJsonArray>
#include <QJsonObject>
#include <QRect>
#include <QSize>
#include <QString>
#include <QStringList>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace stage {

/// Programs hold more memory then than they do by themselves.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif

using Match = std::function<bool(const QJsonObject&)>;

/// A child process whose output is read line by line.
class Child {
public:
    /// Throws std::runtime_error when the program cannot be started.
    Child(const QString& program, const QStringList& arguments, const std::map<QString, QString>& environment,
          const QString& logFile);
    ~Child();  // ends it: SIGTERM, then SIGKILL
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    void Write(const QByteArray& line);
    /// The next line of standard output; throws after `seconds` or when the program has ended.
    QByteArray ReadLine(int seconds = 30);
    void CloseInput();
    void Signal(int number);
    /// Exit status (128 + signal when killed); throws when it still runs after `seconds`.
    int WaitForEnd(int seconds = 30);
    bool Running();
    pid_t Pid() const { return mPid; }
    /// The most memory that it has held so far. While it runs; 0 when sanitized.
    qint64 PeakMegabytes() const;

private:
    pid_t mPid = -1;
    int mIn = -1, mOut = -1;
    QByteArray mPending;
    int mStatus = -1;
};

/// A virtual display, with a window manager that handles every window opened from now on.
class Screen {
public:
    /// Throws std::runtime_error when there is no display or the manager does not answer.
    Screen(QSize size, bool managed, const std::map<QString, QString>& environment, const QString& logFile);
    const QString& Display() const { return mDisplay; }
    /// Comes back when the window manager has done all that came before.
    void LetManagerCatchUp();

private:
    void StartManager(std::map<QString, QString> environment, const QString& logFile);
    void AskManager(const QByteArray& desktops);

    QString mDisplay, mLog;
    std::unique_ptr<Child> mServer, mManager;  // the manager ends first
};

/// A folder of its own, gone with the object unless `keep`.
class Folder {
public:
    explicit Folder(QString keep = {});
    ~Folder();
    QString operator/(const char* name) const { return mPath + u'/' + QLatin1String(name); }
    const QString& Path() const { return mPath; }

private:
    QString mPath;
    bool mTemporary;
};

/// zephyld on a free loopback port with the accounts that the scenario needs.
class Service {
public:
    /// `accounts`: handle -> password. `launcher`: what starts it, with it and its options behind.
    Service(const Folder& folder, const std::map<QString, QString>& accounts, QStringList launcher = {},
            QStringList options = {});
    void Start();
    void Stop(int signal);
    /// Lines of its configuration, from the next start on.
    void Configure(const QString& lines);
    QString Address() const { return mAddress; }  // HOST:PORT
    QString Fingerprint() const { return mFingerprint; }
    void Zephyld(const QStringList& arguments);  // a management command; throws when it fails

private:
    QString mData, mLog, mConfig, mAddress, mFingerprint;
    const QStringList mLauncher, mOptions;
    std::unique_ptr<Child> mDaemon;
};

/// The services for one person alone that programs have started with this as XDG_RUNTIME_DIR.
std::vector<pid_t> PersonalServices(const QString& runtime);
/// Ends them; false when one is still there after 20 s. By themselves they stay for ten idle minutes.
bool EndPersonalServices(const QString& runtime);

/// `zephyl run`: a script as an attendee.
class Script {
public:
    Script(const Service& service, const Folder& folder, const char* name, QStringList options = {});
    Script(const QStringList& options, const std::map<QString, QString>& environment, const QString& logFile);
    /// Sends one command and returns its answer; events that came in between are kept.
    QJsonObject Ask(const QJsonObject& command);
    QJsonObject AskLine(const QByteArray& line);
    /// The next event that matches; what does not match is dropped.
    QJsonObject Event(const Match& match, int seconds = 30);
    /// Whether an event that matches has come so far.
    bool Has(const Match& match);
    Child& Process() { return *mChild; }

private:
    QJsonObject NextLine(int seconds);
    std::unique_ptr<Child> mChild;
    std::deque<QJsonObject> mEvents;
};

/// A virtual display with a window manager and one quorvia in it.
class Desk {
public:
    Desk(const Folder& folder, const QString& name, QSize screen = {1100, 760}, double scale = 1);
    ~Desk();

    /// Settings before the start: one "key"="text" each, below HKEY_CURRENT_USER\Software\Velnor\.
    void Setting(const QString& path, const QString& key, const QString& text);
    /// For the programs started here from now on.
    void Environment(const QString& name, const QString& value) { mEnvironment[name] = value; }
    /// What starts the client from now on, with it and its options behind: to put it into a network of its
    /// own.
    void StartBy(const QStringList& launcher) { mLauncher = launcher; }
    void StartClient(QStringList options = {});
    Child& Client() { return *mClient; }
    /// Its exit status; its trace is read meanwhile, whose pipe would hold it. Throws after `seconds`.
    int WaitForEnd(int seconds = 20);

    /// The next trace line of that event which matches; earlier ones are dropped. Throws after `seconds`.
    /// A dialog counts when it has the keys, too: what was typed before that went nowhere.
    QJsonObject Wait(const char* event, const Match& match = {}, int seconds = 30);
    /// For lines of which either may come first.
    void WaitForAll(const std::vector<std::pair<const char*, Match>>& lines);
    /// Everything traced so far, for questions afterwards.
    const std::vector<QJsonObject>& Lines();

    // the person
    void Type(const QString& text);
    void Key(const QString& key);  // as xdotool names it: "Return", "alt+j"
    void Click(const QPoint& at, int button = 1);
    void DoubleClick(const QPoint& at);
    void Drag(const std::vector<QPoint>& way, int button = 1);
    /// While the mouses of other desks go, too: over when the child has ended.
    std::unique_ptr<Child> BeginDrag(const std::vector<QPoint>& way, int button = 1);
    /// Where a control was when the window or dialog was traced last; throws when it is unknown.
    QRect Control(const QString& name);
    void ClickControl(const QString& name) { Click(Control(name).center()); }
    /// On a radio button's mark: its middle may lie behind its words, where it takes no click.
    void ClickOption(const QString& name);
    /// A board pixel on the screen, of a board that is not scrolled.
    QPoint Board(int x, int y);

    /// Fills in the login dialog, which must be open, and presses Enter.
    void Login(const QString& handle, const QString& password, const QString& code, bool join);
    void Screenshot(const QString& file);
    void Run(const QString& program, const QStringList& arguments);  // on this display; waits for its end
    QString Display() const { return mScreen->Display(); }
    void LetManagerCatchUp() { mScreen->LetManagerCatchUp(); }
    QString Name() const { return mName; }
    QString ConfigHome() const { return mHome; }
    std::unique_ptr<Child> Start(const QString& program, const QStringList& arguments);

private:
    void ReadTrace(int milliseconds);
    bool HadTheKeys(std::size_t dialog) const;
    void Xdotool(const QStringList& arguments);

    QString mName, mHome, mTracePipe, mLogs;
    const double mScale;
    std::map<QString, QString> mEnvironment;
    QString mRegistry;
    QStringList mLauncher;
    std::unique_ptr<Screen> mScreen;
    std::unique_ptr<Child> mClient;
    int mTrace = -1;
    QByteArray mPartial;
    std::vector<QJsonObject> mLines;
    std::size_t mNext = 0;
    std::map<QString, QRect> mControls;
};

/// The folder with quorvia, zephyld and zephyl: that of the running program.
QString Programs();
/// Matches lines whose field has this value.
Match Is(const char* field, const QJsonValue& value);
Match Both(Match a, Match b);

}  // namespace stage
