// quorvia: puts the client together and starts it.

#include <malloc.h>

#include <QIcon>
#include <QLocale>
#include <QTimer>
#include <cstdio>
#include <optional>

#include "app/application.h"
#include "app/display_choice.h"
#include "app/end_program.h"
#include "app/export_file.h"
#include "app/language.h"
#include "app/machine_setup.h"
#include "app/mnemonics.h"
#include "app/options.h"
#include "app/signals.h"
#include "app/startup.h"
#include "base/error_trap.h"
#include "base/report.h"
#include "base/version.h"
#include "service/link/link_messenger.h"
#include "session/login_dialogs.h"
#include "session/meeting_entry.h"
#include "settings/settings.h"
#include "text/qt_line.h"
#include "ui/fonts.h"
#include "ui/frm_meeting.h"
#include "ui/frm_replay.h"
#include "ui/frm_splash.h"
#include "ui/preferences/frm_preferences.h"
#include "widgets/seen_frames.h"

using namespace Qt::StringLiterals;

namespace {

/// By itself the toolkit asks where panels lie with one screen only.
constexpr const char* kAsksForPanels = "QT_RELY_ON_NET_WORKAREA_ATOM";
constexpr const char* kPlatform = "QT_QPA_PLATFORM";

QStringList Arguments(int argc, char** argv)
{
    QStringList words;
    for (int i = 0; i < argc; ++i) words << QString::fromLocal8Bit(argv[i]);
    return words;
}

/// `--config` and `--service` as if they had been chosen in the dialog, where an invitation is shown.
void ApplyOptions(ProcessState& state, const Options& options)
{
    if (!options.config.isEmpty()) {
        state.gConfigName = options.config;
        state.gMessenger->SetConfig(options.config);
    } else if (options.service) {
        state.gConfigName = GetSetting(state, keys::kDefaultConfig);
    }
    if (options.service) SaveSetting(state, keys::kServiceAddress, *options.service);
    state.gInvitation = options.invitation;
}

/// For the toolkit while the program starts; what it starts itself shall choose for itself.
class StartEnvironment {
public:
    explicit StartEnvironment(const QString& platform) : mChosen(!platform.isEmpty())
    {
        qputenv(kAsksForPanels, "1");
        if (mChosen) qputenv(kPlatform, platform.toLatin1());
    }
    ~StartEnvironment()
    {
        qunsetenv(kAsksForPanels);
        if (mChosen) qunsetenv(kPlatform);
    }
    StartEnvironment(const StartEnvironment&) = delete;
    StartEnvironment& operator=(const StartEnvironment&) = delete;

private:
    const bool mChosen;
};

/// Without a meeting; "": the default configuration. Returns the exit code.
int ShowPreferencesAlone(ProcessState& state, const QString& config)
{
    state.gConfigName = config;
    WhenAskedToEnd([] { QApplication::exit(0); });
    QTimer::singleShot(0, qApp, [&state] {
        const bool shown = Trapped(state, "preferences", [&] {
            return ShowPreferences(
                state, false, [](const Stored&) {}, nullptr);
        });
        QApplication::exit(shown ? 0 : 1);
    });
    return QApplication::exec();
}

/// Without a meeting. Returns the exit code.
int ShowReplayAlone(ProcessState& state, const QString& file)
{
    WhenAskedToEnd([] { QApplication::exit(0); });
    try {
        auto* player = new frmReplay(state, file);
        QObject::connect(player, &QObject::destroyed, qApp, [] { QApplication::exit(0); });
        player->show();
    } catch (const std::exception& error) {
        state.ports.prompts->Box(BoxIcon::Exclamation, QLatin1String(kAppTitle),
                                 u"%1: %2"_s.arg(OneLine(file), OneLine(QString::fromUtf8(error.what()))));
        return 1;
    }
    return QApplication::exec();
}

/// Pictures come and go many times a second. By default the allocator gives the memory of each back to the
/// system and gets it cleared again, or, once a large one was freed, keeps all of them. Those that live
/// pictures are decoded into have a pool of their own.
void KeepPictureMemory()
{
    mallopt(M_MMAP_THRESHOLD, 2 * 1024 * 1024);
    mallopt(M_TRIM_THRESHOLD, 8 * 1024 * 1024);
}

}  // namespace

int main(int argc, char** argv)
{
    KeepPictureMemory();
    QCoreApplication::setApplicationName(u"quorvia"_s);
    QCoreApplication::setApplicationVersion(VersionText());
    // The toolkit takes its own options out of argc and argv, so ours are read behind it; but help needs no
    // display.
    const Options early = ReadOptions(Arguments(argc, argv));
    if (!early.helpText.isEmpty()) {
        std::fputs(qPrintable(early.helpText), stdout);
        return 0;
    }
    if (!early.exportTo.isEmpty() && early.error.isEmpty()) return ExportMeetingFile(early, argc, argv);
    if (early.settings && early.error.isEmpty()) return PrintSettings(early.config);
    const DisplayChoice display = ChooseDisplay(DisplaysThere(argc, argv));
    if (!display.whyNot.isEmpty()) {  // the toolkit would abort
        std::fprintf(stderr, "quorvia: %s\n",
                     qPrintable(OneLine(early.error.isEmpty() ? display.whyNot : early.error)));
        return 2;
    }
    HoldEndSignals();
    ProcessState state;
    std::optional<StartEnvironment> starting(display.platform);
    Application application(state, argc, argv);
    starting.reset();
    // Every mouse move is a point of the stroke: the toolkit would drop some of a fast hand's. Not before it
    // has met its platform, which turns this on.
    QCoreApplication::setAttribute(Qt::AA_CompressHighFrequencyEvents, false);
    QCoreApplication::setAttribute(Qt::AA_CompressTabletEvents, false);
    QApplication::setQuitOnLastWindowClosed(false);
    Q_INIT_RESOURCE(logo);  // the library it lies in is linked statically
    QApplication::setWindowIcon(QIcon(u":/logo.svg"_s));
    SeenFrames::PutOn();
    const Options options = ReadOptions(QCoreApplication::arguments());
    if (!options.error.isEmpty()) {
        std::fprintf(stderr, "quorvia: %s\nTry quorvia --help.\n", qPrintable(OneLine(options.error)));
        return 2;
    }
    const Language language(StoredLanguage(), QLocale::system().uiLanguages());
    SubstituteFonts();
    MnemonicsAtOnce mnemonics;
    application.installEventFilter(&mnemonics);

    std::unique_ptr<Machine> machine;
    try {
        machine = std::make_unique<Machine>(state, options.trace);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "quorvia: %s\n", OneLine(error.what()).c_str());
        return 2;
    }
    if (!language.Understood())
        LogEvent(state, EventType::Warning,
                 u"\"Language\" names none that Quorvia has; the desktop's is used"_s);
    if (options.preferences) return ShowPreferencesAlone(state, options.config);
    if (!options.meetingFile.isEmpty()) return ShowReplayAlone(state, options.meetingFile);
    std::unique_ptr<frmSplash> splash;
    std::unique_ptr<frmMeeting> meeting;
    LoginDialogs dialogs(state);

    MainParts parts;
    parts.makeMessenger = [&] { return MakeLinkMessenger(machine->NeedsOfLink()); };
    parts.showSplash = [&] {
        ApplyOptions(state, options);
        splash = std::make_unique<frmSplash>();
        splash->ShowPainted();
    };
    parts.unloadSplash = [&] { splash->Unload(); };
    parts.loginUser = [&] { return LoginUser(state, dialogs, false, QString(), QString()); };
    parts.endProgram = [&] { EndProgram(state); };
    parts.startFailed = [&] { machine->Ending().SetCode(1); };
    parts.makeMeeting = [&] {
        meeting =
            std::make_unique<frmMeeting>(state, parts.endProgram, [&] { mnuLogin_Click(state, dialogs); });
        return meeting.get();
    };
    WhenAskedToEnd([&] {
        if (meeting) meeting->close();
        state.ports.endProcess->Now();
    });
    QTimer::singleShot(0, &application, [&] { Main(state, parts); });
    return QApplication::exec();
}
