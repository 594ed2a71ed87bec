#include "app/display_choice.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QLibraryInfo>
#include <algorithm>
#include <cstring>

using namespace Qt::StringLiterals;

namespace {

/// A name left behind by a session that has ended would make the toolkit give up.
bool SomebodyListens(const QString& display)
{
    const QByteArray path = QFile::encodeName(
        display.startsWith(u'/') ? display : qEnvironmentVariable("XDG_RUNTIME_DIR") + u'/' + display);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= qsizetype(sizeof address.sun_path)) return false;
    std::memcpy(address.sun_path, path.constData(), std::size_t(path.size()));
    const int one = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (one < 0) return false;
    const bool listens = connect(one, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(one);
    return listens;
}

bool HasWaylandPlugin()
{
    return !QDir(QLibraryInfo::path(QLibraryInfo::PluginsPath) + u"/platforms"_s)
                .entryList({u"libqwayland-*.so"_s})
                .isEmpty();
}

}  // namespace

DisplayChoice ChooseDisplay(const Displays& there)
{
    if (there.chosen) return {};
    if (there.waylandAnswers && there.waylandPlugin) return {there.x11 ? u"wayland;xcb"_s : u"wayland"_s, {}};
    if (there.x11) return {u"xcb"_s, {}};
    if (there.waylandAnswers)
        return {{},
                u"the display is one of Wayland, and Qt's part for it is not installed (package "
                "qt6-wayland)."_s};
    if (there.wayland) return {{}, u"nobody answers at the Wayland display."_s};
    return {{}, u"there is no display to open a window on."_s};
}

Displays DisplaysThere(int argc, char** argv)
{
    const auto isPlatform = [](const char* word) {
        return std::strcmp(word, "-platform") == 0 || std::strcmp(word, "--platform") == 0;
    };
    Displays there;
    there.chosen =
        !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") || std::any_of(argv, argv + argc, isPlatform);
    if (there.chosen) return there;
    const QString display = qEnvironmentVariable("WAYLAND_DISPLAY");
    const bool handedOver = !qEnvironmentVariableIsEmpty("WAYLAND_SOCKET");
    there.wayland = !display.isEmpty() || handedOver;
    there.x11 = !qEnvironmentVariableIsEmpty("DISPLAY");
    there.waylandAnswers = handedOver || (!display.isEmpty() && SomebodyListens(display));
    there.waylandPlugin = there.waylandAnswers && HasWaylandPlugin();
    return there;
}
