// Every dialog, page and menu as a picture: for the guide, and for whoever judges how Quorvia looks.
// usage: pictures DIR [--scale N] [--dark] [--language de] [--times N] [--wayland]
//        --times: letters of N times the usual size
#include <signal.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <cmath>
#include <cstdio>
#include <stdexcept>

#include "demo/acts.h"
#include "demo/cable.h"
#include "demo/photographer.h"
#include "demo/wayland.h"

using namespace Qt::StringLiterals;
using namespace stage;

namespace {

struct Look {
    double scale = 1, letters = 1;
    bool dark = false, wayland = false;
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

const QString kCode = u"Plan2026"_s;
const QString kLongest = u"Wolfeschlegelsteinhausenbergerdo"_s;  // 32 letters
const std::map<QString, QString> kPeople = {
    {u"ann"_s, u"ann's secret"_s}, {u"bob"_s, u"bob's secret"_s}, {kLongest, u"long secret"_s}};

void Write(const QString& path, const QByteArray& text)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
        throw std::runtime_error("cannot write " + path.toStdString());
}

QSize ScreenFor(const Look& look)
{
    return QSize(1100, 760) * look.scale * std::max(1.0, look.letters > 1 ? 1.25 * look.letters / 1.5 : 1.0);
}

/// The letters that open the menus "Meeting", "Tools" and "Help", and the first one's entries.
struct Letters {
    QString meeting, tools, help, invite, letIn, preferences, newMeeting, exporting, replay;
};

Letters LettersOf(const Look& look)
{
    if (look.language == u"de")
        return {u"alt+b"_s, u"alt+w"_s, u"alt+h"_s, u"l"_s, u"a"_s, u"e"_s, u"n"_s, u"x"_s, u"p"_s};
    return {u"alt+m"_s, u"alt+t"_s, u"alt+h"_s, u"i"_s, u"l"_s, u"p"_s, u"n"_s, u"e"_s, u"r"_s};
}

void Furnish(Desk& desk, const Look& look)
{
    desk.Setting(u"Zephyl\\Configs\\(System Default)\\Data"_s, u"Video Device"_s, u"pattern"_s);
    if (look.letters != 1) desk.Environment(u"QT_FONT_DPI"_s, QString::number(int(96 * look.letters)));
    if (!look.language.isEmpty()) {
        const QString country = look.language == u"ar" ? u"EG"_s : look.language.toUpper();
        if (look.language == u"de") desk.Setting(u"Quorvia\\Data"_s, u"Language"_s, look.language);
        desk.Environment(u"LC_ALL"_s, look.language + u'_' + country + u".UTF-8"_s);
        desk.Environment(u"LANGUAGE"_s, look.language);
    }
    if (!look.dark) return;
    desk.Environment(u"XDG_CURRENT_DESKTOP"_s, u"KDE"_s);
    desk.Environment(u"KDE_SESSION_VERSION"_s, u"5"_s);
    Write(desk.ConfigHome() + u"/kdeglobals"_s, kDarkDesktop);
}

void Choose(Desk& desk, const QString& menu, const QString& entry)
{
    desk.Key(menu);
    desk.Wait("menu");
    desk.Key(entry);
}

class Pictures {
public:
    Pictures(const Folder& folder, const Look& look) : mFolder(folder), mLook(look) {}

    void TakeAll()
    {
        if (mLook.wayland) return OnWayland();
        BeforeTheMeeting();
        SeatOthers();
        InTheMeeting();
        Tools();
        Dialogs();
        OutOfTheMeeting();
        Preferences();
        InkAbove();
        Links();
        Voices();
        Lost();
        Invitations();
    }

private:
    /// Where dialogs lie nobody is told there: keys only.
    void OnWayland()
    {
        const auto compositor = SitOnWayland(ann, mFolder, ScreenFor(mLook));
        Furnish(ann, mLook);
        ann.Environment(u"XDG_CURRENT_DESKTOP"_s, mLook.dark ? u"KDE"_s : QString());
        ann.Setting(u"Zephyl\\Trusted Services"_s, service.Address(), service.Fingerprint());
        ann.StartClient(Options());
        ann.Wait("dialog", Is("name", u"frmLogin"_s));
        shots.Take(u"login"_s);
        for (const QString& text : {u"ann"_s, kPeople.at(u"ann"_s), QString(), kCode}) {
            ann.Type(text);  // the third is "Send Password!"
            ann.Key(u"Tab"_s);
        }
        ann.Key(u"Return"_s);
        ann.Wait("window_whole");
        ann.Run(u"xdotool"_s, {u"mousemove"_s, u"9999"_s, u"9999"_s, u"mousemove"_s, u"0"_s, u"0"_s});
        ann.Drag(Curve(ann.Board(60, 120), 420, 60));
        ann.Wait("record");
        shots.Take(u"meeting"_s);
        shots.TakeMenu("menu-meeting", mLetters.meeting);
        shots.TakeMenu("menu-tools", mLetters.tools);
        ann.ClickControl(u"tool_App"_s);
        ann.Wait("share_dialog",
                 [](const QJsonObject& line) { return !line[u"text"_s].toString().isEmpty(); });
        shots.TakeDialog("share", "frmShareApp");
        const QPoint message = ann.Control(u"txtMessage"_s).center();
        ann.Click(message);  // the compositor gives the keys to nobody when a dialog closes
        PreferencePages();
        shots.Leave("frmPreferences");
        ann.Click(message);
        Choose(ann, mLetters.help, u"Down"_s);
        ann.Key(u"Return"_s);
        shots.TakeDialog("about", "frmAbout");
    }

    void BeforeTheMeeting()
    {
        Furnish(ann, mLook);
        GiveSound(lab, ann);
        for (const auto& [code, where] :
             {std::pair(u"Garden05"_s, u""_s), std::pair(u"Monday9"_s, u"meet.example.org"_s),
              std::pair(u"Accounts2026"_s, u"10.20.30.40:7421"_s)}) {
            ann.Setting(u"Quorvia\\Meeting Codes"_s, code, u"3/4/2026 9:15:00 AM"_s);
            ann.Setting(u"Quorvia\\Meeting Services"_s, code, where);
        }
        ann.StartClient(Options());
        ann.Wait("dialog", Is("name", u"frmLogin"_s));
        shots.Take(u"login"_s);
        ann.ClickControl(u"cmbMeetingCode"_s);
        ann.Key(u"alt+Down"_s);
        shots.Take(u"login-recent"_s);
        ann.Key(u"Escape"_s);
        ann.LetManagerCatchUp();
        ann.Login(u"ann"_s, u"no secret"_s, u"no code"_s, false);
        shots.TakeDialog("login-wrong-code", "box", "Return");
        ann.ClickControl(u"chkMore"_s);
        ann.Wait("controls", [](const QJsonObject& line) {
            return line[u"controls"_s].toObject().contains(u"txtService"_s);
        });
        shots.Take(u"login-options"_s);
        ann.Login(u"ann"_s, u"no secret"_s, kCode, false);
        ann.Wait("dialog", Is("name", u"trust"_s));
        shots.Take(u"trust"_s);
        ann.ClickControl(u"cmdTrust"_s);
        ann.Wait("dialog", Is("name", u"frmLogin"_s));
        shots.Take(u"login-refused"_s);
        ann.Login(u"ann"_s, kPeople.at(u"ann"_s), kCode, false);
        ann.Wait("window_whole");
    }

    void SeatOthers()
    {
        Furnish(bob, mLook);
        GiveSound(lab, bob);
        bob.Setting(u"Zephyl\\Trusted Services"_s, service.Address(), service.Fingerprint());
        bob.StartClient(Options());
        bob.Wait("dialog", Is("name", u"frmLogin"_s));
        bob.Login(u"bob"_s, kPeople.at(u"bob"_s), kCode, true);
        bob.Wait("window_whole");
        ann.Wait("attendee", Is("handle", u"bob"_s));
        const auto ask = [this](QJsonObject command) {
            if (!sam.Ask(command)[u"ok"_s].toBool()) throw std::runtime_error("the script cannot");
        };
        ask({{u"do"_s, u"login"_s}, {u"handle"_s, kLongest}, {u"password"_s, kPeople.at(kLongest)}});
        sam.Ask({{u"do"_s, u"permission"_s}});
        ask({{u"do"_s, u"join"_s}, {u"code"_s, kCode}});
        ann.Wait("attendee", Is("handle", kLongest));
    }
    /// The toolkit mirrors its windows by itself only for a language that it has translations of.
    QStringList Mirrored() const
    {
        return mLook.language == u"ar" ? QStringList{u"-reverse"_s} : QStringList();
    }
    QStringList Options() const { return Mirrored() + QStringList{u"--service"_s, service.Address()}; }
    /// The third says or draws something.
    void Sam(const QString& text) { sam.Ask({{u"do"_s, u"send"_s}, {u"to"_s, u"ann"_s}, {u"text"_s, text}}); }

    void InTheMeeting()
    {
        Talk(ann, bob);
        Draw(ann, bob);
        ShowVideo(bob, {&ann});
        ShareWindow(ann, {&bob});
        shots.Take(u"meeting"_s);
        Sam(u"I come from a long line of people with long names."_s);
        ann.Wait("line", Is("from", kLongest));
        Sam(u"[[ZUM_WB_PEN]]5|¥|60|¥|470|¥|300|¥|480|¥|16711680"_s);
        ann.Wait("record", Is("from", kLongest));
        ann.ClickControl(u"lstUsers"_s);
        ann.Key(u"End"_s);
        ann.ClickControl(u"txtMessage"_s);
        ann.Type(u"Only for you"_s);
        shots.Take(u"long-handle"_s);
        ann.Key(u"ctrl+a"_s);
        ann.Key(u"BackSpace"_s);
    }

    void Zoom(QPoint at, const QString& button, int notches)
    {
        ann.Run(u"xdotool"_s,
                {u"mousemove"_s, QString::number(at.x()), QString::number(at.y()), u"keydown"_s, u"ctrl"_s,
                 u"click"_s, u"--repeat"_s, QString::number(notches), button, u"keyup"_s, u"ctrl"_s});
    }

    void Tools()
    {
        shots.TakeToolMenu("menu-pen", u"tool_Draw"_s);
        shots.TakeToolMenu("menu-shape", u"tool_Shape"_s);
        shots.TakeToolMenu("menu-text", u"tool_Text"_s);
        ann.ClickControl(u"tool_Text"_s);
        ann.Click(ann.Board(360, 40));
        ann.Type(u"Not sent yet"_s);
        shots.Take(u"text-being-typed"_s);
        ann.Key(u"Escape"_s);
        ann.Key(u"F7"_s);
        ann.Key(u"shift+Right"_s);
        shots.Take(u"drawing-by-keys"_s);
        ann.Key(u"Escape"_s);
        const QPoint ink = ann.Board(180, 300), paper = ann.Board(600, 40);
        Zoom(ink, u"5"_s, 2);
        shots.Take(u"zoom-50"_s);
        Zoom(ink, u"4"_s, 5);
        shots.Take(u"zoom-200"_s);
        Zoom(ink, u"5"_s, 3);
        ann.Click(paper, 3);
        ann.Wait("menu");
        shots.Take(u"menu-of-the-board"_s);
        ann.Key(u"Escape"_s);
        ann.Click(ann.Control(u"txtChat"_s).center(), 3);
        shots.Take(u"menu-of-the-chat"_s);
        ann.Key(u"Escape"_s);
    }

    void Dialogs()
    {
        shots.TakeMenu("menu-meeting", mLetters.meeting);
        shots.TakeMenu("menu-tools", mLetters.tools);
        shots.TakeMenu("menu-help", mLetters.help);
        ann.ClickControl(u"tool_App"_s);
        shots.TakeDialog("share", "frmShareApp");
        ann.ClickControl(u"cmdFormat"_s);
        shots.TakeDialog("video-size", "frmFormat");
        ann.ClickControl(u"tool_File"_s);
        shots.TakeDialog("picture-file", "openFile");
        Choose(ann, mLetters.help, u"Down"_s);
        ann.Key(u"Return"_s);
        shots.TakeDialog("about", "frmAbout");
        const QRect arrow = ann.Control(u"tool_Text"_s);
        ann.Click({arrow.right() - arrow.height() / 8, arrow.center().y()});
        ann.Wait("menu");
        ann.Key(u"Up"_s);
        ann.Key(u"Return"_s);
        shots.TakeDialog("font", "selectFont");
        Choose(ann, mLetters.tools, u"Up"_s);
        ann.Key(u"Up"_s);
        ann.Key(u"Return"_s);
        shots.TakeDialog("save-picture", "saveFile");
        ann.ClickControl(u"tool_Paste"_s);  // nothing is on the clipboard
        shots.TakeDialog("nothing-to-paste", "box", "Return");
        Choose(ann, mLetters.meeting, mLetters.newMeeting);
        shots.TakeDialog("login-again", "frmLogin");
        Choose(ann, mLetters.meeting, mLetters.letIn);
        shots.TakeDialog("let-in-elsewhere", "box");
        Choose(ann, mLetters.meeting, mLetters.invite);
        ann.Wait("invitation");
        shots.Take(u"invitation-copied"_s);
    }

    /// What leaves the meeting, and what plays it again.
    void OutOfTheMeeting()
    {
        const QString file = mFolder / "Plan2026.zmeeting";
        QFile::remove(file);  // nobody is asked whether to replace it
        const auto name = [&](const char* dialog) {
            ann.Wait("dialog", Is("name", QLatin1String(dialog)));
            ann.Type(file);
            ann.LetManagerCatchUp();  // names are offered below meanwhile
            ann.Key(u"Return"_s);
        };
        Choose(ann, mLetters.meeting, mLetters.exporting);
        ann.Wait("dialog", Is("name", u"frmExport"_s));
        shots.Take(u"export"_s);
        ann.ClickOption(u"optMeeting"_s);
        shots.Take(u"export-meeting"_s);
        ann.ClickControl(u"cmdExport"_s);
        name("saveFile");
        ann.Wait("dialog_closed", Is("name", u"frmExport"_s));
        ann.Wait("active");
        shots.Take(u"exported"_s);
        Choose(ann, mLetters.meeting, mLetters.replay);
        name("openFile");
        ann.Wait("replay");
        ann.Key(u"End"_s);
        ann.Wait("replayed");
        shots.Take(u"replay"_s);
        ann.Key(u"Escape"_s);
        ann.Wait("active");
    }

    void PreferencePages()
    {
        Choose(ann, mLetters.meeting, mLetters.preferences);
        ann.Wait("dialog", Is("name", u"frmPreferences"_s));
        for (const char* page : {"chat", "drawing", "pictures", "voice", "meeting", "configurations"}) {
            shots.Take(u"preferences-"_s + QLatin1String(page));
            if (qstrcmp(page, "configurations") != 0) ann.Key(u"ctrl+Next"_s);
        }
    }

    void Preferences()
    {
        PreferencePages();
        ann.ClickControl(u"cmdNewConfig"_s);
        ann.Wait("dialog", Is("name", u"configName"_s));
        ann.Type(u"a/b"_s);
        shots.Take(u"configuration-name"_s);
        shots.Leave("configName");
        ann.Key(u"ctrl+f"_s);
        ann.Type(u"log"_s);
        shots.Take(u"preferences-found"_s);
        ann.Key(u"ctrl+a"_s);
        ann.Type(u"nothing like that"_s);
        shots.Take(u"preferences-not-found"_s);
        ann.Key(u"Escape"_s);
        shots.Leave("frmPreferences");
    }

    void InkAbove()
    {
        Choose(ann, mLetters.meeting, mLetters.preferences);
        ann.Wait("dialog", Is("name", u"frmPreferences"_s));
        ann.Type(u"ink above live"_s);  // its name in the file, whatever the language
        for (const QString& key : {u"Return"_s, u"space"_s, u"Return"_s}) ann.Key(key);
        ann.Wait("ink_above", Is("on", true));
        ann.ClickControl(u"tool_Clear"_s);
        const QPoint board = ann.Control(u"picDraw"_s).topLeft() + QPoint(300, 300);
        ann.Run(u"xdotool"_s,  // zoomed in and out, it is scrolled
                {u"mousemove"_s, QString::number(board.x()), QString::number(board.y()), u"click"_s,
                 u"--repeat"_s, u"16"_s, u"4"_s, u"keydown"_s, u"shift"_s, u"click"_s, u"--repeat"_s, u"16"_s,
                 u"4"_s, u"keyup"_s, u"shift"_s});
        bob.ClickControl(u"tool_Video"_s);
        bob.Wait("tool");
        bob.Click(bob.Board(220, 130));
        ann.Wait("frame", Is("from", u"bob"_s));
        for (const QString& control : {u"tool_Draw"_s, u"picSelColor_5"_s, u"picLineWidth_2"_s})
            ann.ClickControl(control);
        std::vector<QPoint> round;
        for (int i = 0; i <= 40; ++i)
            round.push_back(
                ann.Board(340 + int(84 * std::cos(i * M_PI / 20)), 220 + int(34 * std::sin(i * M_PI / 20))));
        ann.Drag(round);
        ann.Drag({ann.Board(424, 220), ann.Board(500, 170), ann.Board(545, 170)});
        for (int i = 0; i < 2; ++i) ann.Wait("frame", Is("from", u"bob"_s));
        shots.Take(u"ink-above"_s);
        bob.ClickControl(u"tool_Video"_s);
    }

    void Links()
    {
        for (const QString& link :
             {u"https://example.org/minutes/2026-03?page=2"_s, u"zephyl://meet.example.org/Garden05"_s}) {
            Sam(link);
            ann.Wait("line", Is("text", link));
            ann.ClickControl(u"txtChat"_s);
            for (const QString& key : {u"ctrl+End"_s, u"Left"_s}) ann.Key(key);
            const QString name = link.section(u':', 0, 0);
            shots.Take(u"chat-link-"_s + name);
            ann.Key(u"Return"_s);
            shots.TakeDialog(qPrintable(u"open-"_s + name), "link");
        }
    }

    void Voices()
    {
        const auto speaks = Speak(lab, bob, {&ann});
        shots.Take(u"speaking"_s);
        OpenCompanion(ann);
        shots.Take(u"companion"_s);
        ann.Run(u"xdotool"_s, {u"key"_s, u"alt+m"_s});
        shots.Take(u"companion-muted"_s);
        ann.Run(u"xdotool"_s, {u"key"_s, u"alt+m"_s});
        HideCompanion(ann);
        for (Desk* desk : {&ann, &bob}) desk->ClickControl(u"chkTalk"_s);
    }

    void Lost()
    {
        service.Stop(SIGKILL);
        ann.Wait("panel", [](const QJsonObject& line) {
            return line[u"panel"_s] == u"Link"_s && !line[u"text"_s].toString().isEmpty();
        });
        ann.ClickControl(u"txtMessage"_s);
        ann.Type(u"Are you there?"_s);
        ann.Key(u"Return"_s);
        shots.Take(u"connection-lost"_s);
    }

    /// At a service of her own, on a network where there is nobody else.
    void Invitations()
    {
        const Cable cable(mFolder / "cable.log");
        if (!cable.Apart()) return std::puts("no networks of their own here: nobody is let in"), void();
        Desk cara(mFolder, u"cara"_s, ScreenFor(mLook), mLook.scale);
        Photographer her(cara, mFolder.Path());
        Furnish(cara, mLook);
        cara.StartBy(cable.Launcher(0));
        cara.StartClient(Mirrored());
        cara.Wait("dialog", Is("name", u"frmLogin"_s));
        cara.ClickControl(u"cmbMeetingCode"_s);
        cara.Type(u"zephyl://meet.example.org/Garden05#sha256:"_s + QString(64, u'5'));
        cara.Key(u"Return"_s);
        cara.Wait("notice");
        her.Take(u"login-by-invitation"_s);
        cara.ClickControl(u"txtService"_s);
        cara.Key(u"ctrl+a"_s);
        cara.Key(u"BackSpace"_s);
        cara.Login(u"cara"_s, u"cara's secret"_s, u"Garden05"_s, false);
        cara.Wait("window_whole");
        Choose(cara, mLetters.meeting, mLetters.invite);
        her.TakeDialog("invitation-not-yet", "box");
        Choose(cara, mLetters.meeting, mLetters.letIn);
        cara.Wait("dialog", Is("name", u"frmLetIn"_s));
        her.Take(u"let-in"_s);
        cara.ClickControl(u"cmdOpen"_s);
        cara.Wait("letting_in", Is("open", true));
        cara.Wait("controls", Is("name", u"frmLetIn"_s));
        her.Take(u"let-in-open"_s);
        cara.ClickControl(u"cmdCopy"_s);
        cara.ClickControl(u"cmdDone"_s);
        cara.Wait("dialog_closed", Is("name", u"frmLetIn"_s));
        her.Take(u"let-in-copied"_s);
        cara.ClickControl(u"tool_Exit"_s);
        cara.WaitForEnd();
        EndPersonalServices(mFolder / "run");
    }

    const Folder& mFolder;
    const Look mLook;
    const Letters mLetters = LettersOf(mLook);
    Service service{mFolder, kPeople};
    SoundLab lab{mFolder, {u"ann"_s, u"bob"_s}};
    Desk ann{mFolder, u"ann"_s, ScreenFor(mLook), mLook.scale};
    Desk bob{mFolder, u"bob"_s, ScreenFor(mLook), mLook.scale};
    Script sam{service, mFolder, "sam"};
    Photographer shots{ann, mFolder.Path(), !mLook.wayland};
};

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
    const QCommandLineOption wayland(u"wayland"_s, u"On a Wayland desktop; fewer of them."_s);
    parser.addOptions({scale, times, dark, language, wayland});
    parser.addPositionalArgument(u"DIR"_s, u"Where the pictures go."_s);
    parser.addHelpOption();
    parser.process(application);
    if (parser.positionalArguments().size() != 1) parser.showHelp(2);
    const Folder folder(parser.positionalArguments().front());
    for (const char* old : {"ann", "bob", "cara", "sam", "run", "data", "service", "sound"})
        QDir(folder / old).removeRecursively();
    Pictures(folder, {parser.value(scale).toDouble(), parser.value(times).toDouble(), parser.isSet(dark),
                      parser.isSet(wayland), parser.value(language)})
        .TakeAll();
} catch (const std::exception& error) {
    std::fprintf(stderr, "pictures: %s\n", error.what());
    return 1;
}
