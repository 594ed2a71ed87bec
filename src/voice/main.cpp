// Voktal: the voice companion. Quorvia starts it and tells it with whom to talk (docs/companion.md).

#include <xcb/xcb.h>

#include <QAbstractNativeEventFilter>
#include <QApplication>
#include <QCommandLineParser>
#include <QGuiApplication>
#include <QIcon>
#include <QLocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>

#include "app/language.h"
#include "base/version.h"
#include "contract/voice_door.h"
#include "platform/linux/machine.h"
#include "settings/file_registry.h"
#include "settings/settings.h"
#include "text/qt_line.h"
#include "voice/window.h"
#include "voice/worker.h"
#include "widgets/seen_frames.h"

using namespace Qt::StringLiterals;

namespace {

constexpr char kClass[] = "VoktalClass";
constexpr std::chrono::seconds kServerTime{2};

/// The client's requests: client messages to the window, whose text is an atom's name.
class Requests final : public QAbstractNativeEventFilter {
public:
    Requests(xcb_connection_t* x, voice::Window& window)
        : mX(x), mWindow(window), mType(Atom("VOKTAL_MESSAGE"))
    {
    }
    bool nativeEventFilter(const QByteArray& type, void* message, qintptr*) override
    {
        if (type != "xcb_generic_event_t") return false;
        const auto* const event = static_cast<const xcb_generic_event_t*>(message);
        if ((event->response_type & 0x7f) != XCB_CLIENT_MESSAGE) return false;
        const auto& request = *reinterpret_cast<const xcb_client_message_event_t*>(event);
        if (request.type != mType || request.format != 32 || request.window != mWindow.winId()) return false;
        mWindow.Request(int(request.data.data32[0]), NameOf(request.data.data32[2]));
        return true;
    }
    xcb_atom_t Atom(const char* name)
    {
        const auto asked = xcb_intern_atom(mX, 0, std::uint16_t(std::strlen(name)), name);
        const std::unique_ptr<xcb_intern_atom_reply_t, void (*)(void*)> reply(
            xcb_intern_atom_reply(mX, asked, nullptr), std::free);
        return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
    }

private:
    QByteArray NameOf(xcb_atom_t atom)
    {
        if (atom == XCB_ATOM_NONE) return {};
        const std::unique_ptr<xcb_get_atom_name_reply_t, void (*)(void*)> reply(
            xcb_get_atom_name_reply(mX, xcb_get_atom_name(mX, atom), nullptr), std::free);
        return reply ? QByteArray(xcb_get_atom_name_name(reply.get()),
                                  xcb_get_atom_name_name_length(reply.get()))
                     : QByteArray();
    }

    xcb_connection_t* const mX;
    voice::Window& mWindow;
    const xcb_atom_t mType;
};

/// Whose companion it is.
void NameClient(xcb_connection_t* x, Requests& requests, voice::Window& window)
{
    const std::uint32_t client = qEnvironmentVariable(voice_door::kClientVariable).toUInt();
    if (client == 0) return;
    const auto named = xcb_change_property_checked(x, XCB_PROP_MODE_REPLACE, xcb_window_t(window.winId()),
                                                   requests.Atom(voice_door::kClientProperty),
                                                   XCB_ATOM_CARDINAL, 32, 1, &client);
    std::free(xcb_request_check(x, named));  // the display has it, and the window
}

/// The toolkit would end the program without a word of ours.
bool HasDisplay()
{
    xcb_connection_t* const x = xcb_connect(nullptr, nullptr);
    const bool has = xcb_connection_has_error(x) == 0;
    xcb_disconnect(x);
    return has;
}

int ListDevices()
{
    const voice::Devices devices = voice::AskDevices(kServerTime);
    if (!devices.server) {
        std::fprintf(stderr, "Voktal: no sound server answers\n");
        return 1;
    }
    const auto print = [](const char* what, const std::vector<voice::Device>& list) {
        for (const voice::Device& device : list)
            std::printf("%s\t%s\t%s\n", what, OneLine(device.name).c_str(), OneLine(device.label).c_str());
    };
    print("microphone", devices.inputs);
    print("speakers", devices.outputs);
    return std::fflush(stdout) == 0 ? 0 : 1;
}

/// The status to end with; none: the window is wanted.
std::optional<int> ReadCommandLine(const QStringList& words)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"Carries the voices of a Quorvia meeting.\n\n"
        "Quorvia starts it and tells it with whom to talk. Started by hand it shows its window and lets you "
        "hear "
        "yourself."_s);
    const QCommandLineOption list(
        u"list-devices"_s, u"Print microphones and speakers, one a line: what it is, its name, its label."_s);
    const QCommandLineOption help({u"h"_s, u"help"_s}, u"Show this help."_s);
    const QCommandLineOption version({u"v"_s, u"version"_s}, u"Show the version."_s);
    parser.addOptions({list, help, version});
    if (!parser.parse(words) || !parser.positionalArguments().isEmpty()) {
        const QString problem =
            parser.positionalArguments().isEmpty()
                ? parser.errorText()
                : u"\"%1\" is no option."_s.arg(parser.positionalArguments().constFirst());
        std::fprintf(stderr, "Voktal: %s\n", problem.toUtf8().constData());
        return 2;
    }
    if (parser.isSet(help)) {
        std::fputs(parser.helpText().replace(u"<executable_name>"_s, u"Voktal"_s).toUtf8().constData(),
                   stdout);
        return 0;
    }
    if (parser.isSet(version)) {
        std::printf("Voktal %s\n", VersionText().toUtf8().constData());
        return 0;
    }
    if (parser.isSet(list)) return ListDevices();
    return std::nullopt;
}

}  // namespace

int main(int argc, char** argv)
try {
    QStringList words;
    for (int i = 0; i < argc; ++i) words << QString::fromLocal8Bit(argv[i]);
    if (const auto status = ReadCommandLine(words)) return *status;

    if (!HasDisplay()) throw std::runtime_error("there is no X11 display");
    const QByteArray path = qgetenv(voice_door::kPathVariable), word = qgetenv(voice_door::kWordVariable);
    qunsetenv(voice_door::kWordVariable);
    const bool hidden = qgetenv("VOKTAL_SHOW") == "0" && !path.isEmpty();
    qputenv("QT_QPA_PLATFORM", "xcb");  // the client's requests come by X11
    QCoreApplication::setApplicationName(QLatin1String(kClass));
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    Q_INIT_RESOURCE(logo);  // the library it lies in is linked statically
    QApplication::setWindowIcon(QIcon(u":/logo.svg"_s));
    SeenFrames::PutOn();

    FileRegistry registry(UserRegistryFile(), MachineRegistryFile());
    SyslogEventLog eventLog;
    ProcessState state;
    state.ports.registry = &registry;
    state.ports.eventLog = &eventLog;
    const Language language(GetSetting(state, keys::kLanguage), QLocale().uiLanguages());

    voice::Worker worker;
    voice::Window window(state, worker);
    window.onEnd = [] { QCoreApplication::quit(); };
    const auto* const x11 = application.nativeInterface<QNativeInterface::QX11Application>();
    if (!x11) throw std::runtime_error("there is no X11 display");
    window.winId();  // there, and not shown
    Requests requests(x11->connection(), window);
    application.installNativeEventFilter(&requests);
    NameClient(x11->connection(), requests, window);
    // The client sends its requests as soon as somebody is at the door: they need the window.
    worker.Begin(path.toStdString(), word.toStdString());
    if (!hidden) window.show();
    return QApplication::exec();
} catch (const std::exception& error) {
    std::fprintf(stderr, "Voktal: %s\n", error.what());
    return 1;
}
