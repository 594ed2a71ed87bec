// Whole programs on a Wayland desktop: a compositor whose screen is a window of a virtual X display, so that
// a person's keys and mouse reach it.
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <QFile>
#include <cstring>
#include <stdexcept>

#include "scenarios/meeting_fixture.h"

using namespace stage;

namespace {

/// Where a compositor says that it is ready, as services of the system do.
class ReadySocket {
public:
    explicit ReadySocket(const QString& path) : mSocket(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const QByteArray name = QFile::encodeName(path);
        std::memcpy(address.sun_path, name.constData(),
                    std::min(sizeof address.sun_path, size_t(name.size())));
        if (bind(mSocket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            throw std::runtime_error("no socket for the compositor");
    }
    ~ReadySocket() { close(mSocket); }
    void Wait() const
    {
        pollfd ready{mSocket, POLLIN, 0};
        if (poll(&ready, 1, 30'000) != 1) throw std::runtime_error("the compositor does not start");
    }

private:
    int mSocket;
};

class Wayland : public Meeting {
protected:
    /// A desk with a compositor that shows one window over all of its screen, and no other desktop than that.
    std::unique_ptr<Desk> SitOnWayland(const QString& name)
    {
        auto desk = std::make_unique<Desk>(folder, name);
        const ReadySocket ready(folder / "ready");
        desk->Environment(u"NOTIFY_SOCKET"_s, folder / "ready");
        compositor =
            desk->Start(u"weston"_s, {u"--backend=x11-backend.so"_s, u"--use-pixman"_s, u"--width=1100"_s,
                                      u"--height=760"_s, u"--fullscreen"_s, u"--shell=kiosk-shell.so"_s,
                                      u"--modules=systemd-notify.so"_s, u"--no-config"_s, u"--idle-time=0"_s,
                                      u"--socket=quorvia-test"_s});
        ready.Wait();
        desk->Environment(u"WAYLAND_DISPLAY"_s, u"quorvia-test"_s);
        desk->Environment(u"XDG_SESSION_TYPE"_s, u"wayland"_s);
        desk->Environment(u"QT_QPA_PLATFORM"_s, {});  // its own choice
        desk->Environment(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nowhere"_s);
        desk->Setting(u"Zephyl\\Trusted Services"_s, service.Address(), service.Fingerprint());
        return desk;
    }
    static QString Stored(const Desk& desk, const QByteArray& key)
    {
        QFile file(desk.ConfigHome() + u"/quorvia/registry.reg"_s);
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        for (const QByteArray& line : file.readAll().split('\n'))
            if (line.startsWith('"' + key + "\"="))
                return QString::fromUtf8(line.mid(key.size() + 3).trimmed());
        return {};
    }

    std::unique_ptr<Child> compositor;
};

}  // namespace

TEST_F(Wayland, AMeetingRunsThereAndSaysWhatSharingLacks)
{
    Script sam(service, folder, "sam");
    Join(sam, u"sam"_s, u"Wayland1"_s, "create");
    auto ann = SitOnWayland(u"ann"_s);
    ann->Setting(u"Quorvia\\Data"_s, u"XPos"_s, u"1515"_s);
    ann->StartClient({u"--service"_s, service.Address()});
    ann->Wait("dialog", Is("name", u"frmLogin"_s));
    // Where a dialog lies nobody is told here: keys only.
    ann->Type(u"ann"_s);
    ann->Key(u"alt+p"_s);
    ann->Type(kPeople.at(u"ann"_s));
    ann->Key(u"alt+m"_s);
    ann->Type(u"Wayland1"_s);
    ann->Key(u"alt+j"_s);
    ann->Key(u"Return"_s);
    ann->Wait("window_whole");
    EXPECT_EQ(ann->Start(u"xdotool"_s, {u"search"_s, u"--class"_s, u"quorvia"_s})->WaitForEnd(), 1)
        << "it is a window of the X display";

    // The compositor counts the pointer's steps only: across its whole screen both arrive in the same corner.
    ann->Run(u"xdotool"_s, {u"mousemove"_s, u"1099"_s, u"759"_s, u"mousemove"_s, u"0"_s, u"0"_s});
    ann->Drag({ann->Board(20, 20), ann->Board(60, 60)});
    const QString drawn = ann->Wait("record", Is("from", u"ann"_s))[u"tag"_s].toString();
    EXPECT_EQ(drawn, u"PEN"_s);
    sam.Event(Both(Is("event", u"message"_s), Begins("text", u"[[ZUM_WB_PEN]]"_s)));
    Say(*ann, u"from over here"_s);
    sam.Event(Message(u"ann"_s, u"from over here"_s));
    Ok(sam, "deliver", {{u"to"_s, QJsonArray{u"ann"_s}}, {u"text"_s, u"seen"_s}});
    ann->Wait("line", Is("text", u"seen"_s));

    ann->ClickControl(u"tool_App"_s);
    ann->Wait("share_dialog", [](const QJsonObject& line) {
        return line[u"text"_s].toString().contains(u"portal"_s) && !line[u"can_choose"_s].toBool();
    });
    ann->Wait("dialog", Is("name", u"frmShareApp"_s));
    ann->Key(u"Escape"_s);
    ann->Wait("dialog_closed", Is("name", u"frmShareApp"_s));
    ann->ClickControl(u"tool_Exit"_s);
    EXPECT_EQ(ann->WaitForEnd(), 0);
    EXPECT_EQ(Stored(*ann, "XPos"), u"\"1515\""_s);
}
