// Every dialog, page and menu as a picture: for the guide, and for whoever judges how Quorvia looks.
// usage: pictures DIR [--scale N] [--dark] [--language de] [--times N]
//        --times: letters of N times the usual size
#include <signal.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <cstdio>
#include <stdexcept>

#include "demo/acts.h"

using namespace Qt::StringLiterals;
using namespace stage;

namespace {

struct Look {
    double scale = 1, letters = 1;
    bool dark = false;
    QString language;
};

/// What a desktop with dark windows says to programs.
constexpr char kDarkDesktop[] = R"([Colors:Window]
BackgroundNormal=42,46,50
ForegroundNormal=252,252,252
[Colors:View]
BackgroundNormal=27,30,32
ForegroundNormal=252,252,252
BackgroundAlternate=35,38,41
[Colors:Button]
BackgroundNormal=49,54,59
ForegroundNormal=252,252,252
[Colors:Selection]
BackgroundNormal=61,174,233
ForegroundNormal=252,252,252
[Colors:Tooltip]
BackgroundNormal=49,54,59
ForegroundNormal=252,252,252
)";

void Write(const QString& path, const QByteArray& text)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
        throw std::runtime_error("cannot write " + path.toStdString());
}

class Photographer {
public:
    Photographer(Desk& desk, const QString& folder) : mDesk(desk), mFolder(folder) {}
    void Take(const char* name)
    {
        mDesk.LetManagerCatchUp();
        const QString file = mFolder + u'/' + QLatin1String(name) + u".png"_s;
        mDesk.Screenshot(file);
        mDesk.Run(u"convert"_s, {file, u"-trim"_s, u"+repage"_s, file});
        std::printf("%s\n", name);
        std::fflush(stdout);
    }
    void TakeDialog(const char* name, const char* dialog, const char* leave = "Escape")
    {
        mDesk.Wait("dialog", Is("name", QLatin1String(dialog)));
        Take(name);
        mDesk.Key(QLatin1String(leave));
        mDesk.Wait("dialog_closed", Is("name", QLatin1String(dialog)));
    }
    /// Opened by these keys, left by Escape.
    void TakeMenu(const char* name, const QString& keys)
    {
        mDesk.Key(keys);
        mDesk.Wait("menu");
        Take(name);
        mDesk.Key(u"Escape"_s);
    }
    /// The menu of a tool's arrow.
    void TakeToolMenu(const char* name, const QString& button)
    {
        const QRect at = mDesk.Control(button);
        mDesk.Click({at.right() - at.height() / 8, at.center().y()});
        mDesk.Wait("menu");
        Take(name);
        mDesk.Key(u"Escape"_s);
    }

private:
    Desk& mDesk;
    const QString mFolder;
};

QSize ScreenFor(const Look& look)
{
    return QSize(1100, 760) * look.scale * (look.letters > 1 ? 1.25 : 1);
}

void Furnish(Desk& desk, const Look& look)
{
    desk.Setting(u"Zephyl\\Configs\\(System Default)\\Data"_s, u"Video Device"_s, u"pattern"_s);
    if (look.letters != 1) desk.Environment(u"QT_FONT_DPI"_s, QString::number(int(96 * look.letters)));
    if (!look.language.isEmpty()) {
        desk.Setting(u"Quorvia\\Data"_s, u"Language"_s, look.language);
        desk.Environment(u"LC_ALL"_s, look.language + u'_' + look.language.toUpper() + u".UTF-8"_s);
        desk.Environment(u"LANGUAGE"_s, look.language);
    }
    if (!look.dark) return;
    desk.Environment(u"XDG_CURRENT_DESKTOP"_s, u"KDE"_s);
    desk.Environment(u"KDE_SESSION_VERSION"_s, u"5"_s);
    Write(desk.ConfigHome() + u"/kdeglobals"_s, kDarkDesktop);
}

void BeforeTheMeeting(Desk& ann, Photographer& shots, const Service& service)
{
    ann.StartClient({u"--service"_s, service.Address()});
    ann.Wait("dialog", Is("name", u"frmLogin"_s));
    shots.Take("login");
    ann.ClickControl(u"chkMore"_s);
    ann.Wait("controls", [](const QJsonObject& line) {
        return line[u"controls"_s].toObject().contains(u"txtService"_s);
    });
    shots.Take("login-options");
    ann.Login(u"ann"_s, u"ann's secret"_s, u"Plan2026"_s, false);
    ann.Wait("dialog", Is("name", u"trust"_s));
    shots.Take("trust");
    ann.ClickControl(u"cmdTrust"_s);
    ann.Wait("window_whole");
}

/// The letters that open the menus "Meeting", "Tools" and "Help", and the first one's "Preferences...".
QString MenuLetters(const Look& look)
{
    return look.language == u"de" ? u"bwhe"_s : u"mthp"_s;
}

void Preferences(Desk& ann, Photographer& shots, const QString& menus)
{
    ann.Key(u"alt+"_s + menus[0]);
    ann.Wait("menu");
    ann.Key(menus.last(1));
    ann.Wait("dialog", Is("name", u"frmPreferences"_s));
    for (const char* page : {"chat", "drawing", "pictures", "voice", "meeting", "configurations"}) {
        shots.Take(("preferences-"_ba + page).constData());
        ann.Key(u"ctrl+Next"_s);
    }
    ann.Key(u"Escape"_s);
    ann.Wait("dialog_closed", Is("name", u"frmPreferences"_s));
}

void Dialogs(Desk& ann, Photographer& shots, const QString& menus)
{
    shots.TakeMenu("menu-meeting", u"alt+"_s + menus[0]);
    shots.TakeMenu("menu-tools", u"alt+"_s + menus[1]);
    shots.TakeMenu("menu-help", u"alt+"_s + menus[2]);
    shots.TakeToolMenu("menu-pen", u"tool_Draw"_s);
    shots.TakeToolMenu("menu-shape", u"tool_Shape"_s);
    shots.TakeToolMenu("menu-text", u"tool_Text"_s);
    ann.ClickControl(u"tool_App"_s);
    shots.TakeDialog("share", "frmShareApp");
    ann.ClickControl(u"cmdFormat"_s);
    shots.TakeDialog("video-size", "frmFormat");
    ann.ClickControl(u"tool_File"_s);
    shots.TakeDialog("picture-file", "openFile");
    Preferences(ann, shots, menus);
    ann.Key(u"alt+"_s + menus[2]);
    ann.Wait("menu");
    for (const char* key : {"Down", "Return"}) ann.Key(QLatin1String(key));
    shots.TakeDialog("about", "frmAbout");
}

void Play(const Folder& folder, const Look& look)
{
    Service service(folder, {{u"ann"_s, u"ann's secret"_s}, {u"bob"_s, u"bob's secret"_s}});
    Desk ann(folder, u"ann"_s, ScreenFor(look), look.scale);
    Desk bob(folder, u"bob"_s, ScreenFor(look), look.scale);
    Furnish(ann, look);
    Furnish(bob, look);
    Photographer shots(ann, folder.Path());
    BeforeTheMeeting(ann, shots, service);
    bob.Setting(u"Zephyl\\Trusted Services"_s, service.Address(), service.Fingerprint());
    bob.StartClient({u"--service"_s, service.Address()});
    bob.Wait("dialog", Is("name", u"frmLogin"_s));
    bob.Login(u"bob"_s, u"bob's secret"_s, u"Plan2026"_s, true);
    bob.Wait("window_whole");
    ann.Wait("attendee", Is("handle", u"bob"_s));
    Talk(ann, bob);
    Draw(ann, bob);
    ShowVideo(ann, bob);
    ShareWindow(ann, bob);
    shots.Take("meeting");
    Dialogs(ann, shots, MenuLetters(look));
    service.Stop(SIGKILL);
    ann.Wait("panel", [](const QJsonObject& line) {
        return line[u"panel"_s] == u"Link"_s && !line[u"text"_s].toString().isEmpty();
    });
    ann.ClickControl(u"txtMessage"_s);
    ann.Type(u"Are you there?"_s);
    ann.Key(u"Return"_s);
    shots.Take("connection-lost");
}

}  // namespace

int main(int argc, char** argv)
try {
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption scale(u"scale"_s, u"Device pixels to a pixel."_s, u"N"_s, u"1"_s);
    const QCommandLineOption times(u"times"_s, u"Letters of that many times the usual size."_s, u"N"_s,
                                   u"1"_s);
    const QCommandLineOption dark(u"dark"_s, u"On a dark desktop."_s);
    const QCommandLineOption language(u"language"_s, u"Of the desktop."_s, u"CODE"_s);
    parser.addOptions({scale, times, dark, language});
    parser.addPositionalArgument(u"DIR"_s, u"Where the pictures go."_s);
    parser.addHelpOption();
    parser.process(application);
    if (parser.positionalArguments().size() != 1) parser.showHelp(2);
    const Folder folder(parser.positionalArguments().front());
    for (const char* old : {"ann", "bob", "run", "data", "service"}) QDir(folder / old).removeRecursively();
    Play(folder, {parser.value(scale).toDouble(), parser.value(times).toDouble(), parser.isSet(dark),
                  parser.value(language)});
} catch (const std::exception& error) {
    std::fprintf(stderr, "pictures: %s\n", error.what());
    return 1;
}
