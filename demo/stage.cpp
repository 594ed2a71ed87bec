#include "demo/stage.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <chrono>
#include <stdexcept>

extern char** environ;
using namespace Qt::StringLiterals;

namespace stage {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kLastShown = 12;  // lines of a trace, where one that is waited for does not come

[[noreturn]] void Fail(const QString& what)
{
    throw std::runtime_error(what.toStdString());
}

/// Waits until `fd` can be read; false when `until` passed first.
bool Readable(int fd, Clock::time_point until)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now()).count();
    pollfd entry{fd, POLLIN, 0};
    return poll(&entry, 1, int(std::max<long long>(left, 0))) > 0;
}

QJsonObject Parse(const QByteArray& line)
{
    return QJsonDocument::fromJson(line).object();
}

QByteArray Compact(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

}  // namespace

QString Programs()
{
    static const QString path = QFileInfo(QFile::symLinkTarget(u"/proc/self/exe"_s)).path();
    return path;
}

Match Is(const char* field, const QJsonValue& value)
{
    return
        [name = QLatin1String(field), value](const QJsonObject& line) { return line.value(name) == value; };
}

Match Both(Match a, Match b)
{
    return [a = std::move(a), b = std::move(b)](const QJsonObject& line) { return a(line) && b(line); };
}

Child::Child(const QString& program, const QStringList& arguments,
             const std::map<QString, QString>& environment, const QString& logFile)
{
    int in[2], out[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) Fail(u"no pipe for "_s + program);
    std::vector<QByteArray> words{QFile::encodeName(program)};
    for (const QString& argument : arguments) words.push_back(argument.toUtf8());
    std::vector<char*> argv;
    for (QByteArray& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);

    std::map<QByteArray, QByteArray> merged;
    for (char** entry = environ; *entry; ++entry) {
        const QByteArray text(*entry);
        merged[text.left(text.indexOf('='))] = text;
    }
    for (const auto& [name, value] : environment) merged[name.toUtf8()] = (name + u'=' + value).toUtf8();
    std::vector<char*> envp;
    for (auto& [name, text] : merged) envp.push_back(text.data());
    envp.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_addopen(&actions, 2, QFile::encodeName(logFile).constData(),
                                     O_WRONLY | O_CREAT | O_APPEND, 0600);
    // Sockets of ours would stay open in the child when we close them.
    posix_spawn_file_actions_addclosefrom_np(&actions, 3);
    const int result = posix_spawnp(&mPid, argv[0], &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    close(in[0]);
    close(out[1]);
    mIn = in[1];
    mOut = out[0];
    if (result != 0) {
        mPid = -1;
        Fail(program + u" cannot be started"_s);
    }
}

void Child::CloseInput()
{
    if (mIn >= 0) close(mIn);
    mIn = -1;
}

Child::~Child()
{
    CloseInput();
    if (Running()) {
        kill(mPid, SIGTERM);
        const auto until = Clock::now() + std::chrono::seconds(5);
        // The closed output tells the end without polling for time.
        char rest[4096];
        while (Readable(mOut, until) && read(mOut, rest, sizeof rest) > 0) continue;
        if (Running()) kill(mPid, SIGKILL);
        if (mStatus < 0) waitpid(mPid, nullptr, 0);
    }
    close(mOut);
}

void Child::Write(const QByteArray& line)
{
    const QByteArray whole = line + '\n';
    if (write(mIn, whole.constData(), std::size_t(whole.size())) != whole.size())
        Fail(u"a program does not read"_s);
}

QByteArray Child::ReadLine(int seconds)
{
    const auto until = Clock::now() + std::chrono::seconds(seconds);
    for (;;) {
        const qsizetype end = mPending.indexOf('\n');
        if (end >= 0) {
            const QByteArray line = mPending.left(end);
            mPending.remove(0, end + 1);
            return line;
        }
        if (!Readable(mOut, until)) Fail(u"no line within %1 s"_s.arg(seconds));
        char bytes[65536];
        const ssize_t count = read(mOut, bytes, sizeof bytes);
        if (count <= 0) Fail(u"the program has ended"_s);
        mPending.append(bytes, count);
    }
}

void Child::Signal(int number)
{
    kill(mPid, number);
}

bool Child::Running()
{
    if (mPid < 0 || mStatus >= 0) return false;
    int status = 0;
    if (waitpid(mPid, &status, WNOHANG) != mPid) return true;
    mStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return false;
}

int Child::WaitForEnd(int seconds)
{
    const auto until = Clock::now() + std::chrono::seconds(seconds);
    char rest[4096];
    while (Running()) {
        if (!Readable(mOut, until)) Fail(u"the program does not end"_s);
        if (read(mOut, rest, sizeof rest) <= 0 && mStatus < 0) {
            int status = 0;
            waitpid(mPid, &status, 0);
            mStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
    }
    return mStatus;
}

qint64 Child::PeakMegabytes() const
{
    if (kSanitized) return 0;
    QFile file(u"/proc/%1/status"_s.arg(mPid));
    if (!file.open(QIODevice::ReadOnly)) Fail(u"the program has ended"_s);
    const auto peak = QRegularExpression(u"VmHWM:\\s+(\\d+)"_s).match(QString::fromLatin1(file.readAll()));
    return peak.captured(1).toLongLong() / 1024;
}

Folder::Folder(QString keep) : mPath(std::move(keep)), mTemporary(mPath.isEmpty())
{
    // For a look at logs and traces afterwards.
    if (mTemporary && qEnvironmentVariableIsSet("QUORVIA_KEEP")) {
        QDir().mkpath(qEnvironmentVariable("QUORVIA_KEEP"));
        QTemporaryDir made(qEnvironmentVariable("QUORVIA_KEEP") + u"/run"_s);
        made.setAutoRemove(false);
        mPath = made.path();
        mTemporary = false;
    }
    if (mTemporary) {
        QTemporaryDir made;
        made.setAutoRemove(false);
        mPath = made.path();
    }
    QDir().mkpath(mPath);
    mPath = QDir(mPath).absolutePath();
}

Folder::~Folder()
{
    if (mTemporary) QDir(mPath).removeRecursively();
}

Service::Service(const Folder& folder, const std::map<QString, QString>& accounts, QStringList launcher,
                 QStringList options)
    : mData(folder / "service"),
      mLog(folder / "zephyld.log"),
      mLauncher(std::move(launcher)),
      mOptions(std::move(options))
{
    for (const auto& [handle, password] : accounts) {
        QFile file(folder / "password");
        if (!file.open(QIODevice::WriteOnly)) Fail(u"no password file"_s);
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
        file.write(password.toUtf8() + '\n');
        file.close();
        Zephyld({u"user"_s, u"add"_s, handle, u"--password-file"_s, file.fileName(), u"--data"_s, mData});
        file.remove();
    }
    Start();
}

void Service::Zephyld(const QStringList& arguments)
{
    Child command(Programs() + u"/zephyld"_s, arguments, {}, mLog);
    if (command.WaitForEnd() != 0) Fail(u"zephyld "_s + arguments.join(u' ') + u" failed"_s);
}

void Service::Start()
{
    const QString listen = mAddress.isEmpty() ? u"127.0.0.1:0"_s : mAddress;  // again on the same port
    QStringList words = mLauncher;
    words << Programs() + u"/zephyld"_s << u"serve"_s << u"--data"_s << mData << mOptions;
    if (!mOptions.contains(u"--listen"_s)) words << u"--listen"_s << listen;
    if (!mConfig.isEmpty()) words << u"--config"_s << mConfig;
    const QString program = words.takeFirst();
    mDaemon = std::make_unique<Child>(program, words, std::map<QString, QString>{}, mLog);
    const QList<QByteArray> ready = mDaemon->ReadLine().split(' ');
    if (ready.size() != 4 || ready[1] != "ready") Fail(u"zephyld did not get ready"_s);
    mAddress = QString::fromLatin1(ready[2]);
    mFingerprint = QString::fromLatin1(ready[3]);
}

void Service::Configure(const QString& lines)
{
    mConfig = mData + u"/zephyld.toml"_s;
    QFile file(mConfig);
    if (!file.open(QIODevice::WriteOnly)) Fail(u"no configuration file"_s);
    file.write(lines.toUtf8());
}

void Service::Stop(int signal)
{
    mDaemon->Signal(signal);
    mDaemon->WaitForEnd();
}

Script::Script(const Service& service, const Folder& folder, const char* name, QStringList options)
    : Script(QStringList{u"--service"_s, service.Address(), u"--trust"_s, service.Fingerprint()} + options,
             {{u"XDG_CONFIG_HOME"_s, folder / name}}, folder / name + u".log"_s)
{
}

Script::Script(const QStringList& options, const std::map<QString, QString>& environment,
               const QString& logFile)
    : mChild(std::make_unique<Child>(Programs() + u"/zephyl"_s, QStringList{u"run"_s} + options, environment,
                                     logFile))
{
}

QJsonObject Script::NextLine(int seconds)
{
    return Parse(mChild->ReadLine(seconds));
}

QJsonObject Script::Ask(const QJsonObject& command)
{
    return AskLine(Compact(command));
}

QJsonObject Script::AskLine(const QByteArray& text)
{
    mChild->Write(text);
    for (;;) {
        const QJsonObject line = NextLine(30);
        if (!line.contains(u"event"_s)) return line;
        mEvents.push_back(line);
    }
}

QJsonObject Script::Event(const Match& match, int seconds)
{
    for (;;) {
        while (!mEvents.empty()) {
            const QJsonObject line = mEvents.front();
            mEvents.pop_front();
            if (match(line)) return line;
        }
        mEvents.push_back(NextLine(seconds));
    }
}

bool Script::Has(const Match& match)
{
    return std::any_of(mEvents.begin(), mEvents.end(), match);
}

Screen::Screen(QSize size, bool managed, const std::map<QString, QString>& environment,
               const QString& logFile)
    : mLog(logFile)
{
    const QString pixels = u"%1x%2x24"_s.arg(size.width()).arg(size.height());
    const QStringList options{u"-displayfd"_s, u"1"_s,         u"-screen"_s, u"0"_s,
                              pixels,          u"-nolisten"_s, u"tcp"_s};
    mServer = std::make_unique<Child>(u"Xvfb"_s, options, std::map<QString, QString>{}, logFile);
    mDisplay = u":"_s + QString::fromLatin1(mServer->ReadLine().trimmed());
    if (managed) StartManager(environment, logFile);
}

void Screen::StartManager(std::map<QString, QString> environment, const QString& logFile)
{
    environment[u"DISPLAY"_s] = mDisplay;
    // openbox runs this when it is nearly there ...
    mManager = std::make_unique<Child>(u"openbox"_s, QStringList{u"--startup"_s, u"echo managed"_s},
                                       environment, logFile);
    mManager->ReadLine();
    // ... but a request that comes while it sets itself up stays in its own queue, and it sleeps until the
    // next one wakes it.
    AskManager("1");
}

/// For what it does only from its event loop, again and again.
void Screen::AskManager(const QByteArray& desktops)
{
    const auto until = Clock::now() + std::chrono::seconds(30);
    const auto ask = [&](const QStringList& words) {
        return std::make_unique<Child>(u"xdotool"_s, words,
                                       std::map<QString, QString>{{u"DISPLAY"_s, mDisplay}}, mLog);
    };
    for (QByteArray there; there != desktops;) {
        if (Clock::now() > until) Fail(u"the window manager does not answer"_s);
        ask({u"set_num_desktops"_s, QString::fromLatin1(desktops)})->WaitForEnd();
        const auto answer = ask({u"get_num_desktops"_s});
        there = answer->ReadLine();
        answer->WaitForEnd();
    }
}

void Screen::LetManagerCatchUp()
{
    AskManager("2");
    AskManager("1");
}

std::vector<pid_t> PersonalServices(const QString& runtime)
{
    std::vector<pid_t> found;
    const QByteArray runsThere = "XDG_RUNTIME_DIR=" + QFile::encodeName(runtime) + '\0';
    for (const QString& pid : QDir(u"/proc"_s).entryList(QDir::Dirs)) {
        QFile environment(u"/proc/"_s + pid + u"/environ"_s);
        if (QFile::symLinkTarget(u"/proc/"_s + pid + u"/exe"_s) == Programs() + u"/zephyld"_s &&
            environment.open(QIODevice::ReadOnly) && environment.readAll().contains(runsThere))
            found.push_back(pid.toInt());
    }
    return found;
}

bool EndPersonalServices(const QString& runtime)
{
    const auto until = Clock::now() + std::chrono::seconds(20);
    for (const pid_t pid : PersonalServices(runtime)) kill(pid, SIGTERM);
    while (!PersonalServices(runtime).empty() && Clock::now() < until) poll(nullptr, 0, 20);
    return PersonalServices(runtime).empty();
}

Desk::Desk(const Folder& folder, const QString& name, QSize screen, double scale)
    : mName(name), mHome(folder.Path() + u'/' + name), mLogs(mHome + u".log"_s), mScale(scale)
{
    QDir().mkpath(mHome + u"/quorvia"_s);
    // One computer, one user: the personal service is shared, the settings are not.
    const QString run = folder / "run";
    QDir().mkpath(run);
    QFile::setPermissions(run, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    mEnvironment = {{u"WAYLAND_DISPLAY"_s, u""_s},    {u"XDG_SESSION_TYPE"_s, u"x11"_s},
                    {u"XDG_CONFIG_HOME"_s, mHome},    {u"XDG_DATA_HOME"_s, folder / "data"},
                    {u"XDG_RUNTIME_DIR"_s, run},      {u"HOME"_s, mHome},
                    {u"QT_QPA_PLATFORM"_s, u"xcb"_s}, {u"QT_SCALE_FACTOR"_s, QString::number(scale)},
                    {u"LC_ALL"_s, u"C.UTF-8"_s}};
    mScreen = std::make_unique<Screen>(screen, true, mEnvironment, mLogs);
    mEnvironment[u"DISPLAY"_s] = mScreen->Display();
    mTracePipe = mHome + u"/trace"_s;
    mkfifo(QFile::encodeName(mTracePipe).constData(), 0600);
    mTrace = open(QFile::encodeName(mTracePipe).constData(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
}

Desk::~Desk()
{
    mClient.reset();
    mScreen.reset();
    close(mTrace);
}

void Desk::Setting(const QString& path, const QString& key, const QString& text)
{
    const auto quoted = [](QString value) {
        return u'"' + value.replace(u'\\', u"\\\\"_s).replace(u'"', u"\\\""_s) + u'"';
    };
    mRegistry += u"\n[HKEY_CURRENT_USER\\Software\\Velnor\\"_s + path + u"]\n"_s + quoted(key) + u'=' +
                 quoted(text) + u'\n';
}

void Desk::StartClient(QStringList options)
{
    if (!mRegistry.isEmpty()) {
        QFile file(mHome + u"/quorvia/registry.reg"_s);
        if (!file.open(QIODevice::WriteOnly)) Fail(u"no settings file"_s);
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
        file.write("Windows Registry Editor Version 5.00\n" + mRegistry.toUtf8());
        mRegistry.clear();
    }
    QStringList words = mLauncher;
    words << Programs() + u"/quorvia"_s << options << u"--trace"_s << mTracePipe;
    const QString program = words.takeFirst();
    mClient = std::make_unique<Child>(program, words, mEnvironment, mLogs);
}

int Desk::WaitForEnd(int seconds)
{
    const auto until = Clock::now() + std::chrono::seconds(seconds);
    while (mClient->Running()) {
        if (Clock::now() >= until) Fail(mName + u": the client does not end"_s);
        ReadTrace(20);
    }
    return mClient->WaitForEnd();
}

void Desk::ReadTrace(int milliseconds)
{
    if (!Readable(mTrace, Clock::now() + std::chrono::milliseconds(milliseconds))) return;
    char bytes[65536];
    const ssize_t count = read(mTrace, bytes, sizeof bytes);
    if (count > 0) mPartial.append(bytes, count);
    for (qsizetype end = mPartial.indexOf('\n'); end >= 0; end = mPartial.indexOf('\n')) {
        const QByteArray text = mPartial.left(end);
        mPartial.remove(0, end + 1);
        QFile log(mLogs);
        if (log.open(QIODevice::Append)) log.write(text + '\n');
        const QJsonObject line = Parse(text);
        const QJsonObject controls = line.value(u"controls"_s).toObject();
        for (auto control = controls.begin(); control != controls.end(); ++control) {
            const QJsonArray box = control.value().toArray();
            mControls[control.key()] = QRect(box[0].toInt(), box[1].toInt(), box[2].toInt(), box[3].toInt());
        }
        mLines.push_back(line);
    }
}

/// Whether the window of that line has become active, before its first painting or after it, or has closed.
bool Desk::HadTheKeys(std::size_t dialog) const
{
    const QJsonValue name = mLines[dialog][u"name"_s];
    for (std::size_t i = dialog + 1; i < mLines.size(); ++i)
        if (mLines[i][u"name"_s] == name && mLines[i][u"event"_s] != u"controls"_s) return true;
    for (std::size_t i = dialog; i-- > 0;)
        if (mLines[i][u"name"_s] == name && mLines[i][u"event"_s] != u"controls"_s)
            return mLines[i][u"event"_s] == u"active"_s;
    return false;
}

const std::vector<QJsonObject>& Desk::Lines()
{
    ReadTrace(0);
    return mLines;
}

QJsonObject Desk::Wait(const char* event, const Match& match, int seconds)
{
    const auto until = Clock::now() + std::chrono::seconds(seconds);
    for (;;) {
        for (; mNext < mLines.size(); ++mNext) {
            const QJsonObject& line = mLines[mNext];
            if (line.value(u"event"_s) != QLatin1String(event) || (match && !match(line))) continue;
            if (line[u"activates"_s].toBool() && !HadTheKeys(mNext)) break;
            ++mNext;
            return line;
        }
        if (Clock::now() >= until) {
            QString last;  // what a box says stands a few before it becomes active
            for (std::size_t i = std::max(mLines.size(), kLastShown) - kLastShown; i < mLines.size(); ++i)
                last += u'\n' + QString::fromUtf8(Compact(mLines[i]));
            Fail(mName + u": no trace line \""_s + QLatin1String(event) +
                 u"\" within %1 s; the last ones: "_s.arg(seconds) + last);
        }
        ReadTrace(200);
    }
}

void Desk::WaitForAll(const std::vector<std::pair<const char*, Match>>& lines)
{
    const std::size_t from = mNext;
    std::size_t behindAll = from;
    for (const auto& [event, match] : lines) {
        mNext = from;
        Wait(event, match);
        behindAll = std::max(behindAll, mNext);
    }
    mNext = behindAll;
}

void Desk::Run(const QString& program, const QStringList& arguments)
{
    if (Start(program, arguments)->WaitForEnd() != 0)
        Fail(program + u' ' + arguments.join(u' ') + u" failed"_s);
}

std::unique_ptr<Child> Desk::Start(const QString& program, const QStringList& arguments)
{
    return std::make_unique<Child>(program, arguments, mEnvironment, mLogs);
}

void Desk::Xdotool(const QStringList& arguments)
{
    Run(u"xdotool"_s, arguments);
}

void Desk::Type(const QString& text)
{
    Xdotool({u"type"_s, u"--delay"_s, u"6"_s, u"--"_s, text});
}

void Desk::Key(const QString& key)
{
    Xdotool({u"key"_s, u"--"_s, key});
}

void Desk::Click(const QPoint& at, int button)
{
    Xdotool({u"mousemove"_s, QString::number(at.x()), QString::number(at.y()), u"click"_s,
             QString::number(button)});
}

void Desk::DoubleClick(const QPoint& at)
{
    Xdotool({u"mousemove"_s, QString::number(at.x()), QString::number(at.y()), u"click"_s, u"--repeat"_s,
             u"2"_s, u"--delay"_s, u"40"_s, u"1"_s});
}

void Desk::Drag(const std::vector<QPoint>& way, int button)
{
    if (BeginDrag(way, button)->WaitForEnd() != 0) Fail(mName + u": the mouse cannot be moved"_s);
}

std::unique_ptr<Child> Desk::BeginDrag(const std::vector<QPoint>& way, int button)
{
    QStringList words;
    for (std::size_t i = 0; i < way.size(); ++i) {
        words << u"mousemove"_s << u"--sync"_s << QString::number(way[i].x()) << QString::number(way[i].y());
        if (i == 0) words << u"mousedown"_s << QString::number(button);
    }
    words << u"mouseup"_s << QString::number(button);
    return Start(u"xdotool"_s, words);
}

QRect Desk::Control(const QString& name)
{
    ReadTrace(0);
    const auto found = mControls.find(name);
    if (found == mControls.end()) Fail(mName + u": where is "_s + name + u"?"_s);
    return found->second;
}

QPoint Desk::Board(int x, int y)
{
    return Control(u"picDraw"_s).topLeft() + QPoint(int(x * mScale), int(y * mScale));
}

void Desk::ClickOption(const QString& name)
{
    const QRect option = Control(name);
    Click({option.left() + option.height() / 2, option.center().y()});
}

void Desk::Login(const QString& handle, const QString& password, const QString& code, bool join)
{
    for (const auto& [field, text] :
         {std::pair(u"txtHandle"_s, handle), std::pair(u"txtPassword"_s, password),
          std::pair(u"cmbMeetingCode"_s, code)}) {
        ClickControl(field);
        Key(u"ctrl+a"_s);
        Type(text);
    }
    ClickOption(join ? u"optJoinMeeting"_s : u"optNewMeeting"_s);
    ClickControl(u"cmdOK"_s);
}

void Desk::Screenshot(const QString& file)
{
    Run(u"import"_s, {u"-window"_s, u"root"_s, file});
}

}  // namespace stage
