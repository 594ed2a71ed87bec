#include "demo/acts.h"

#include <cmath>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace stage {

std::vector<QPoint> Curve(QPoint from, int width, double height)
{
    std::vector<QPoint> way;
    for (int x = 0; x <= width; x += 6)
        way.push_back(from + QPoint(x, int(height * std::sin(x * 6.28 / width))));
    return way;
}

/// All boards show the same picture after a record of the drawer has been drawn on them.
void ExpectSame(Desk& drawer, Desk& other, Watchers watchers)
{
    const QString from = drawer.Name();
    const QJsonValue board = drawer.Wait("record", Is("from", from)).value(u"board"_s);
    const auto expect = [&](Desk& desk) {
        if (desk.Wait("record", Is("from", from)).value(u"board"_s) != board)
            throw std::runtime_error("the boards differ");
    };
    expect(other);
    for (Desk* desk : watchers) expect(*desk);
}

void Choose(Desk& desk, const QString& button, const QString& colour, const QString& width)
{
    desk.ClickControl(button);
    desk.Wait("tool");
    desk.ClickControl(colour);
    desk.ClickControl(width);
}

void Meet(Desk& ann, Desk& bob, Desk& eve)
{
    const QString data = u"Zephyl\\Configs\\(System Default)\\Data"_s;
    bob.Setting(data, u"Use TCP Port"_s, u"1"_s);
    eve.Setting(data, u"Use HTTP"_s, u"1"_s);
    for (Desk* desk : {&ann, &bob, &eve}) {
        desk->Setting(data, u"Video Device"_s, u"pattern"_s);
        desk->StartClient();
        desk->Wait("dialog", Is("name", u"frmLogin"_s));
    }
    ann.Login(u"ann"_s, u"first secret"_s, u"Plan2026"_s, false);
    ann.Wait("window_whole");
    bob.Login(u"bob"_s, u"second secret"_s, u"plan2026"_s, true);
    bob.Wait("window_whole");
    eve.Login(u"eve"_s, u"third secret"_s, u"PLAN2026"_s, true);
    eve.Wait("window_whole");
    for (const QString& handle : {u"bob"_s, u"eve"_s}) ann.Wait("attendee", Is("handle", handle));
}

void Talk(Desk& ann, Desk& bob, Watchers watchers)
{
    ann.ClickControl(u"txtMessage"_s);
    ann.Type(u"Hello Bob, shall we sketch the plan?"_s);
    ann.Key(u"Return"_s);
    bob.Wait("line", Is("from", u"ann"_s));
    bob.ClickControl(u"txtMessage"_s);
    bob.Type(u"Good idea. I put my camera on the board."_s);
    bob.Key(u"Return"_s);
    ann.Wait("line", Is("from", u"bob"_s));
    for (Desk* desk : watchers) desk->Wait("line", Is("from", u"bob"_s));
}

void Draw(Desk& ann, Desk& bob, Watchers watchers)
{
    Choose(ann, u"tool_Draw"_s, u"picSelColor_15"_s, u"picLineWidth_2"_s);
    ann.Drag(Curve(ann.Board(60, 120), 420, 60));
    ExpectSame(ann, bob, watchers);
    Choose(bob, u"tool_Shape"_s, u"picSelColor_5"_s, u"picLineWidth_1"_s);
    bob.Drag({bob.Board(80, 240), bob.Board(180, 300), bob.Board(300, 380)});
    ExpectSame(bob, ann, watchers);
    Choose(ann, u"tool_Text"_s, u"picSelColor_8"_s, u"picLineWidth_0"_s);
    ann.Click(ann.Board(100, 290));
    ann.Type(u"Ship it on Friday"_s);
    ann.Key(u"Return"_s);
    ExpectSame(ann, bob, watchers);
}

void Cross(Desk& ann, Desk& bob, Watchers watchers)
{
    Choose(bob, u"tool_Draw"_s, u"picSelColor_5"_s, u"picLineWidth_2"_s);
    Choose(ann, u"tool_Draw"_s, u"picSelColor_12"_s, u"picLineWidth_2"_s);
    constexpr int kTimes = 3;
    for (int i = 0; i < kTimes; ++i) {
        const QPoint hers = ann.Board(570 + 45 * i, 40), his = bob.Board(540, 65 + 45 * i);
        const auto one =
            ann.BeginDrag({hers, hers + QPoint(10, 60), hers + QPoint(-10, 120), hers + QPoint(0, 160)});
        const auto other =
            bob.BeginDrag({his, his + QPoint(50, 10), his + QPoint(100, -10), his + QPoint(170, 0)});
        if (one->WaitForEnd() != 0 || other->WaitForEnd() != 0)
            throw std::runtime_error("a mouse cannot be moved");
    }
    for (int i = 0; i < kTimes; ++i) ann.Wait("record", Is("from", bob.Name()));
    Choose(ann, u"tool_Shape"_s, u"picSelColor_8"_s, u"picLineWidth_0"_s);
    ann.Drag({ann.Board(520, 20), ann.Board(620, 120), ann.Board(730, 215)});
    // Whoever has this one has all before it.
    const auto framed = [&](Desk& desk) {
        return desk.Wait("record", Both(Is("tag", u"BOX"_s), Is("from", ann.Name()))).value(u"board"_s);
    };
    const QJsonValue board = framed(ann);
    if (framed(bob) != board) throw std::runtime_error("the boards differ");
    for (Desk* desk : watchers)
        if (framed(*desk) != board) throw std::runtime_error("the boards differ");
}

void ShowVideo(Desk& bob, Watchers watchers)
{
    bob.ClickControl(u"tool_Video"_s);
    bob.Wait("tool");
    bob.Click(bob.Board(420, 230));
    for (Desk* desk : watchers) desk->Wait("frame", Both(Is("from", u"bob"_s), Is("type", 0)));
    bob.ClickControl(u"tool_Video"_s);
}

void ShareWindow(Desk& ann, Watchers watchers)
{
    const auto notes =
        ann.Start(u"xterm"_s, {u"-T"_s, u"Notes"_s, u"-geometry"_s, u"34x9-0-0"_s, u"-e"_s, u"sh"_s, u"-c"_s,
                               u"printf 'Friday\n\n * board: done\n * guide: done\n'; read wait"_s});
    ann.Run(u"xdotool"_s, {u"search"_s, u"--sync"_s, u"--onlyvisible"_s, u"--name"_s, u"^Notes$"_s});
    ann.ClickControl(u"tool_App"_s);
    ann.Wait("dialog", Is("name", u"frmShareApp"_s));
    ann.Key(u"End"_s);
    ann.Key(u"Return"_s);
    ann.Wait("dialog_closed", Is("name", u"frmShareApp"_s));
    ann.Click(ann.Board(60, 420));
    for (Desk* desk : watchers) desk->Wait("frame", Both(Is("from", u"ann"_s), Is("type", 1)));
    ann.ClickControl(u"tool_App"_s);
}

void GiveSound(SoundLab& lab, Desk& desk)
{
    for (const auto& [name, value] : lab.Environment()) desk.Environment(name, value);
    desk.Setting(u"Zephyl\\Data"_s, u"Voktal Microphone"_s, SoundLab::Microphone(desk.Name()));
    desk.Setting(u"Zephyl\\Data"_s, u"Voktal Speakers"_s, SoundLab::Speakers(desk.Name()));
}

std::unique_ptr<Child> Speak(SoundLab& lab, Desk& ann, Watchers others)
{
    constexpr int kSeconds = 120;
    const auto talk = [](Desk& desk) {
        desk.ClickControl(u"chkTalk"_s);
        desk.Wait("talk");
    };
    talk(ann);
    for (Desk* desk : others) talk(*desk);
    auto speaks = lab.Say(ann.Name(), lab.Speech("speech.raw", kSeconds));
    for (Desk* desk : others)
        desk->Wait("speaking", [&](const QJsonObject& line) {
            return line[u"who"_s].toString().split(u'\n').contains(ann.Name());
        });
    return speaks;
}

const QStringList kVisibleCompanion{u"search"_s, u"--sync"_s, u"--onlyvisible"_s, u"--class"_s,
                                    u"VoktalClass"_s};

void OpenCompanion(Desk& desk)
{
    desk.ClickControl(u"cmdVoice"_s);
    desk.Run(u"xdotool"_s, kVisibleCompanion);
}

void HideCompanion(Desk& desk)
{
    desk.Run(u"xdotool"_s, kVisibleCompanion + QStringList{u"windowunmap"_s, u"--sync"_s});
}

}  // namespace stage
