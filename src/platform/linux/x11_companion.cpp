#include "platform/linux/x11_companion.h"

#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>

using namespace Qt::StringLiterals;

X11Companion::X11Companion(const QString& folder, const QByteArray& display)
    : mFolder(folder), mDisplay(display)
{
}

X11Companion::~X11Companion()
{
    Forget();
}

bool X11Companion::Ready()
{
    if (!mConnection || !mConnection->Alive()) mConnection = X11Connection::Open(mDisplay);
    if (mConnection) mConnection->Begin();
    return mConnection != nullptr;
}

bool X11Companion::Running()
{
    const bool found = Ready() && Find() != 0;
    if (found) Forget();  // it has arrived; when its window goes, so does it
    return found;
}

/// A hidden companion is in no list of the window manager, so the tree itself is searched.
xcb_window_t X11Companion::Find()
{
    if (mWindow != 0 && IsCompanion(mWindow)) return mWindow;
    const auto outermost = mConnection->Children(mConnection->Screen().root);
    return mWindow =
               mConnection->FindIn(outermost, [this](xcb_window_t window) { return IsCompanion(window); });
}

bool X11Companion::IsCompanion(xcb_window_t window)
{
    const QList<QByteArray> names = mConnection->Bytes(window, "WM_CLASS").split('\0');
    if (!names.contains("VoktalClass")) return false;
    const std::vector<quint32> client = mConnection->Numbers(window, "VOKTAL_CLIENT");
    if (!client.empty() && client.front() != quint32(getpid())) return false;
    return mConnection->Bytes(window, "_NET_WM_NAME") == "Voktal" ||
           mConnection->Bytes(window, "WM_NAME") == "Voktal";
}

void X11Companion::Forget()
{
    if (mStarted >= 0) close(mStarted);
    mStarted = -1;
}

/// Its number would not do: that stays in use until somebody has asked how the process ended, and can then
/// become another's.
bool X11Companion::OnItsWay() const
{
    pollfd ended{mStarted, POLLIN, 0};
    return mStarted >= 0 && poll(&ended, 1, 0) == 0;
}

void X11Companion::Start(CompanionShow show)
{
    if (OnItsWay()) return;  // its window will come
    Forget();
    const QString program = mFolder + u"/Voktal"_s;
    if (!QFileInfo(program).isExecutable()) return;  // asked for each attendee, and a process takes 4 ms
    QProcess companion;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"VOKTAL_SHOW"_s, show == CompanionShow::Hidden ? u"0"_s : u"5"_s);
    if (!mDoor.path.isEmpty()) {
        environment.insert(u"VOKTAL_DOOR"_s, mDoor.path);
        environment.insert(u"VOKTAL_WORD"_s, mDoor.word);
    }
    environment.insert(u"VOKTAL_CLIENT"_s, QString::number(getpid()));
    companion.setProcessEnvironment(environment);
    companion.setProgram(program);
    companion.setStandardInputFile(QProcess::nullDevice());
    companion.setStandardOutputFile(QProcess::nullDevice());  // ours ends when we do
    qint64 process = 0;
    if (companion.startDetached(&process)) mStarted = int(syscall(SYS_pidfd_open, pid_t(process), 0));
}

bool X11Companion::Send(int number, const QByteArray& text)
{
    if (text.size() > kVoktalLongestText || !Ready()) return false;
    const xcb_window_t window = Find();
    if (window == 0) return false;
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = mConnection->Atom("VOKTAL_MESSAGE");
    event.data.data32[0] = quint32(number);
    event.data.data32[2] = text.isEmpty() ? quint32(XCB_ATOM_NONE) : mConnection->Atom(text);
    xcb_send_event(mConnection->Raw(), 0, window, XCB_EVENT_MASK_NO_EVENT,
                   reinterpret_cast<const char*>(&event));
    return mConnection->Settle();
}
