#include "platform/linux/desktop_portal.h"

#include <fcntl.h>
#include <unistd.h>

#include <utility>

#include "text/qt_line.h"
#include "text/words.h"

using namespace Qt::StringLiterals;

namespace {

constexpr char kPortal[] = "org.freedesktop.portal.Desktop";
constexpr char kPath[] = "/org/freedesktop/portal/desktop";
constexpr char kScreenCast[] = "org.freedesktop.portal.ScreenCast";
constexpr quint32 kPointerHidden = 1;  // as when the screen is copied
constexpr quint32 kUserDeclined = 1;   // a response; 0 is consent

QString NoPortal()
{
    return Ours::tr(
        "On Wayland it is the desktop that hands out its windows, through a portal, and none is running "
        "here. "
        "Its packages are xdg-desktop-portal and the one made for your desktop, such as "
        "xdg-desktop-portal-gnome, -kde or -wlr.");
}

QString NoCast()
{
    return Ours::tr(
        "The desktop's portal cannot share windows here. That takes the part of it made for your desktop, "
        "such as xdg-desktop-portal-gnome, -kde or -wlr.");
}

QString Silent()
{
    return Ours::tr("The desktop's portal does not answer.");
}

/// `reply`: an error of the portal's, or what has not what was asked for.
QString Broken(sd_bus_message* reply)
{
    constexpr qsizetype kLongestReason = 200;
    QString sentence = Ours::tr("The desktop's portal failed before it had anything to share.");
    const sd_bus_error* error = reply ? sd_bus_message_get_error(reply) : nullptr;
    if (!error || !error->message) return sentence;
    return sentence + u" (%1)"_s.arg(OneLine(QString::fromUtf8(error->message).left(kLongestReason)));
}

int Nothing(sd_bus_message*)
{
    return 0;
}

/// Calls `read` for each entry of a dictionary, inside its value; what `read` leaves is skipped.
void ForEach(sd_bus_message* message,
             const std::function<void(const QByteArray& key, const QByteArray& type)>& read)
{
    if (sd_bus_message_enter_container(message, 'a', "{sv}") <= 0) return;
    while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
        const char *key = nullptr, *contents = nullptr;
        char type = 0;
        if (sd_bus_message_read(message, "s", &key) <= 0) return;
        if (sd_bus_message_peek_type(message, &type, &contents) <= 0 || type != 'v') return;
        const QByteArray kind(contents);
        if (sd_bus_message_enter_container(message, 'v', contents) <= 0) return;
        read(key, kind);
        while (sd_bus_message_at_end(message, 0) == 0)
            if (sd_bus_message_skip(message, nullptr) < 0) return;
        for (int inner = 0; inner < 2; ++inner)  // the value, the entry
            if (sd_bus_message_exit_container(message) < 0) return;
    }
    sd_bus_message_exit_container(message);
}

quint32 Number(sd_bus_message* message)
{
    quint32 number = 0;
    sd_bus_message_read(message, "u", &number);
    return number;
}

}  // namespace

DesktopPortal::DesktopPortal(const Patience& patience) : mPatience(patience)
{
    mLimit.setSingleShot(true);
    connect(&mLimit, &QTimer::timeout, this, [this] { Refuse(Silent()); });
}

DesktopPortal::~DesktopPortal()
{
    if (mSocket >= 0) close(mSocket);
}

void DesktopPortal::Look(std::function<void(const CastOffer&)> offered)
{
    mOffered = std::move(offered);
    Open();
}

void DesktopPortal::Ask(CastKind kind, std::function<void(const CastGrant&)> granted,
                        std::function<void()> ended)
{
    mKind = kind;
    mGranted = std::move(granted);
    mEnded = std::move(ended);
    Open();
}

void DesktopPortal::Open()
{
    mBus = SessionBus::Open([this] { Lost(); });
    if (!mBus) return Refuse(NoPortal());
    mLimit.start(mPatience.start);
    mBus->Ask(
        {kPortal, kPath, "org.freedesktop.DBus.Properties", "GetAll"},
        [](sd_bus_message* message) { return sd_bus_message_append(message, "s", kScreenCast); },
        [this](sd_bus_message* reply) { Met(reply); });
}

/// An answer without what it was asked about comes from a portal that has no part for this.
void DesktopPortal::Met(sd_bus_message* reply)
{
    if (mOver) return;
    if (!reply) return Refuse(NoPortal());
    if (const sd_bus_error* error = sd_bus_message_get_error(reply)) {
        const bool there = !QByteArray(error->name).endsWith(".ServiceUnknown") &&
                           !QByteArray(error->name).contains(".Spawn.");
        return Refuse(there ? NoCast() : NoPortal());
    }
    mPortal = sd_bus_message_get_sender(reply);
    ReadOffer(reply);
    if (!mOffer.screen && !mOffer.window) return Refuse(NoCast());
    mLimit.stop();
    if (mOffered)
        return QTimer::singleShot(0, this,
                                  [this, offered = std::exchange(mOffered, nullptr)] { offered(mOffer); });
    CreateSession();
}

void DesktopPortal::ReadOffer(sd_bus_message* reply)
{
    ForEach(reply, [&](const QByteArray& key, const QByteArray& type) {
        if (type != "u") return;
        if (key == "AvailableCursorModes") mHidesPointer = Number(reply) & kPointerHidden;
        if (key != "AvailableSourceTypes") return;
        const quint32 kinds = Number(reply);
        mOffer.screen = kinds & quint32(CastKind::Screen);
        mOffer.window = kinds & quint32(CastKind::Window);
    });
}

void DesktopPortal::CreateSession()
{
    mBus->Listen(
        "type='signal',sender='" + mPortal + "',interface='org.freedesktop.portal.Request',member='Response'",
        [this](sd_bus_message* signal) { Response(signal); });
    mBus->Listen(
        "type='signal',sender='" + mPortal + "',interface='org.freedesktop.portal.Session',member='Closed'",
        [this](sd_bus_message* signal) {
            if (sd_bus_message_get_path(signal) == mSession) Lost();
        });
    mBus->Listen(
        "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
        "member='NameOwnerChanged',arg0='" +
            mPortal + "'",
        [this](sd_bus_message*) { Lost(); });
    Request(
        "CreateSession", Nothing,
        [](sd_bus_message* message) {
            return sd_bus_message_append(message, "{sv}", "session_handle_token", "s", "quorvia");
        },
        mPatience.step, &DesktopPortal::SessionMade);
}

void DesktopPortal::SessionMade(sd_bus_message* results)
{
    ForEach(results, [&](const QByteArray& key, const QByteArray& type) {
        const char* path = nullptr;
        if (key == "session_handle" && (type == "s" || type == "o") &&
            sd_bus_message_read(results, type, &path) > 0)
            mSession = path;
    });
    if (!sd_bus_object_path_is_valid(mSession)) return Refuse(Broken(nullptr));
    SelectSources();
}

void DesktopPortal::SelectSources()
{
    Request(
        "SelectSources",
        [this](sd_bus_message* message) { return sd_bus_message_append(message, "o", mSession.constData()); },
        [this](sd_bus_message* message) {
            const int result =
                sd_bus_message_append(message, "{sv}{sv}", "types", "u", quint32(*mKind), "multiple", "b", 0);
            if (result < 0 || !mHidesPointer) return result;
            return sd_bus_message_append(message, "{sv}", "cursor_mode", "u", kPointerHidden);
        },
        mPatience.step, &DesktopPortal::SourcesSelected);
}

void DesktopPortal::SourcesSelected(sd_bus_message*)
{
    Request(
        "Start",
        [this](sd_bus_message* message) {
            return sd_bus_message_append(message, "os", mSession.constData(), "");
        },
        Nothing, mPatience.user, &DesktopPortal::Started);
}

void DesktopPortal::Started(sd_bus_message* results)
{
    bool streams = false;
    ForEach(results, [&](const QByteArray& key, const QByteArray& type) {
        if (key != "streams" || type != "a(ua{sv})") return;
        if (sd_bus_message_enter_container(results, 'a', "(ua{sv})") <= 0) return;
        if (sd_bus_message_enter_container(results, 'r', "ua{sv}") > 0) {
            streams = sd_bus_message_read(results, "u", &mNode) > 0;
            sd_bus_message_skip(results, "a{sv}");
            sd_bus_message_exit_container(results);
        }
        while (sd_bus_message_at_end(results, 0) == 0)
            if (sd_bus_message_skip(results, nullptr) < 0) break;
        sd_bus_message_exit_container(results);
    });
    if (!streams) return Refuse(Broken(nullptr));
    OpenRemote();
}

void DesktopPortal::OpenRemote()
{
    mLimit.start(mPatience.step);
    mBus->Ask(
        To("OpenPipeWireRemote"),
        [this](sd_bus_message* message) {
            return sd_bus_message_append(message, "oa{sv}", mSession.constData(), 0);
        },
        [this](sd_bus_message* reply) {
            int socket = -1;
            if (mOver) return;
            if (!reply || sd_bus_message_get_error(reply) || sd_bus_message_read(reply, "h", &socket) <= 0)
                return Refuse(Broken(reply));
            mLimit.stop();
            mSocket = fcntl(socket, F_DUPFD_CLOEXEC, 0);
            QTimer::singleShot(0, this, [this] {
                if (const auto granted = std::exchange(mGranted, nullptr))
                    granted({std::exchange(mSocket, -1), mNode, {}});
            });
        });
}

SessionBus::Call DesktopPortal::To(const char* method) const
{
    return {mPortal, kPath, kScreenCast, method};
}

/// The portal makes it of the caller's name and the token, so that the answer can be waited for before it is
/// asked.
QByteArray DesktopPortal::RequestPath() const
{
    const QByteArray name = mBus->OwnName().mid(1).replace('.', '_');
    return QByteArray(kPath) + "/request/" + name + "/quorvia" + QByteArray::number(mRequests);
}

void DesktopPortal::Request(const char* method, const SessionBus::Arguments& front,
                            const SessionBus::Arguments& options, std::chrono::milliseconds patience,
                            Responded then)
{
    ++mRequests;
    mRequest = RequestPath();
    mThen = then;
    mLimit.start(patience);
    const QByteArray token = "quorvia" + QByteArray::number(mRequests);
    const auto arguments = [&](sd_bus_message* message) {
        int result = front(message);
        if (result >= 0) result = sd_bus_message_open_container(message, 'a', "{sv}");
        if (result >= 0)
            result = sd_bus_message_append(message, "{sv}", "handle_token", "s", token.constData());
        if (result >= 0) result = options(message);
        return result >= 0 ? sd_bus_message_close_container(message) : result;
    };
    mBus->Ask(To(method), arguments, [this, request = mRequests](sd_bus_message* reply) {
        if (request != mRequests || !mThen) return;  // the answer was faster
        if (!reply || sd_bus_message_get_error(reply)) return Refuse(Broken(reply));
        const char* path = nullptr;
        if (sd_bus_message_read(reply, "o", &path) > 0) mRequest = path;  // an old portal chooses another
    });
}

void DesktopPortal::Response(sd_bus_message* signal)
{
    quint32 code = 0;
    if (!mThen || sd_bus_message_get_path(signal) != mRequest) return;
    if (sd_bus_message_read(signal, "u", &code) <= 0) return;
    mLimit.stop();
    const Responded then = std::exchange(mThen, nullptr);
    if (code == 0) return (this->*then)(signal);
    Refuse(code == kUserDeclined ? QString() : Ours::tr("The desktop did not allow it."));
}

void DesktopPortal::Refuse(const QString& whyNot)
{
    mLimit.stop();
    mThen = nullptr;
    mOver = true;
    QTimer::singleShot(0, this, [this, whyNot] {
        if (const auto offered = std::exchange(mOffered, nullptr)) return offered({false, false, whyNot});
        if (const auto granted = std::exchange(mGranted, nullptr)) granted({-1, 0, whyNot});
    });
}

void DesktopPortal::Lost()
{
    if (mOffered || mGranted) return Refuse(Ours::tr("The desktop's portal has gone."));
    QTimer::singleShot(0, this, [this] {
        if (const auto ended = std::exchange(mEnded, nullptr)) ended();
    });
}
