// A scripted meeting of two real clients on virtual displays: what a newcomer sees without a desktop.
// usage: demo DIR     leaves screenshots, both boards and the traces in DIR
#include <QDir>
#include <QFile>
#include <cmath>
#include <cstdio>

#include "demo/stage.h"

using namespace Qt::StringLiterals;
using namespace stage;

namespace {

void Say(const char* text)
{
    std::printf("%s\n", text);
    std::fflush(stdout);
}

std::vector<QPoint> Curve(const Desk& desk, QPoint from, int width, double height)
{
    Q_UNUSED(desk);
    std::vector<QPoint> way;
    for (int x = 0; x <= width; x += 6)
        way.push_back(from + QPoint(x, int(height * std::sin(x * 6.28 / width))));
    return way;
}

/// Both boards show the same picture after `record` of `from` has been drawn on them.
void ExpectSame(Desk& drawer, Desk& other, const QString& from)
{
    const QJsonValue board = drawer.Wait("record", Is("from", from)).value(u"board"_s);
    if (other.Wait("record", Is("from", from)).value(u"board"_s) != board)
        throw std::runtime_error("the boards differ");
}

void Choose(Desk& desk, const QString& button, const QString& colour, const QString& width)
{
    desk.ClickControl(button);
    desk.Wait("tool");
    desk.ClickControl(colour);
    desk.ClickControl(width);
}

void Meet(Desk& ann, Desk& bob)
{
    for (Desk* desk : {&ann, &bob}) {
        desk->Setting(u"Zephyl\\Configs\\(System Default)\\Data"_s, u"Video Device"_s, u"pattern"_s);
        desk->StartClient();
        desk->Wait("dialog", Is("name", u"frmLogin"_s));
    }
    ann.Login(u"ann"_s, u"first secret"_s, u"Plan2026"_s, false);
    ann.Wait("window_whole");
    bob.Login(u"bob"_s, u"second secret"_s, u"plan2026"_s, true);
    bob.Wait("window_whole");
    ann.Wait("attendee", Is("handle", u"bob"_s));
}

void Talk(Desk& ann, Desk& bob)
{
    ann.ClickControl(u"txtMessage"_s);
    ann.Type(u"Hello Bob, shall we sketch the plan?"_s);
    ann.Key(u"Return"_s);
    bob.Wait("line", Is("from", u"ann"_s));
    bob.ClickControl(u"txtMessage"_s);
    bob.Type(u"Good idea. I put my camera on the board."_s);
    bob.Key(u"Return"_s);
    ann.Wait("line", Is("from", u"bob"_s));
}

void Draw(Desk& ann, Desk& bob)
{
    Choose(ann, u"tool_Draw"_s, u"picSelColor_15"_s, u"picLineWidth_2"_s);
    ann.Drag(Curve(ann, ann.Board(60, 120), 420, 60));
    ExpectSame(ann, bob, u"ann"_s);
    Choose(bob, u"tool_Shape"_s, u"picSelColor_5"_s, u"picLineWidth_1"_s);
    bob.Drag({bob.Board(80, 240), bob.Board(180, 300), bob.Board(300, 380)});
    ExpectSame(bob, ann, u"bob"_s);
    Choose(ann, u"tool_Text"_s, u"picSelColor_8"_s, u"picLineWidth_0"_s);
    ann.Click(ann.Board(100, 290));
    ann.Type(u"Ship it on Friday"_s);
    ann.Key(u"Return"_s);
    ExpectSame(ann, bob, u"ann"_s);
}

void ShowVideo(Desk& ann, Desk& bob)
{
    bob.ClickControl(u"tool_Video"_s);
    bob.Wait("tool");
    bob.Click(bob.Board(420, 230));
    ann.Wait("frame", Is("from", u"bob"_s));
    bob.ClickControl(u"tool_Video"_s);
}

}  // namespace

int main(int argc, char** argv)
try {
    if (argc < 2) {
        std::fprintf(stderr, "usage: demo DIR\n");
        return 2;
    }
    const Folder folder(QString::fromLocal8Bit(argv[1]));
    for (const char* old : {"ann", "bob", "run", "data"}) QDir(folder / old).removeRecursively();
    Say("Two people start Quorvia and meet; no service is named, so the first starts one.");
    Desk ann(folder, u"ann"_s), bob(folder, u"bob"_s);
    Meet(ann, bob);
    Say("They talk.");
    Talk(ann, bob);
    Say("They draw.");
    Draw(ann, bob);
    Say("Bob's camera shows on both boards.");
    ShowVideo(ann, bob);
    ann.Screenshot(folder / "ann.png");
    bob.Screenshot(folder / "bob.png");
    Say("They leave.");
    ann.ClickControl(u"tool_Exit"_s);
    bob.Wait("attendee", Is("handle", u"ann"_s));
    bob.ClickControl(u"tool_Exit"_s);
    if (ann.Client().WaitForEnd() != 0 || bob.Client().WaitForEnd() != 0)
        throw std::runtime_error("a client did not end in order");
    std::printf("Screenshots and boards are in %s\n", qPrintable(folder.Path()));
} catch (const std::exception& error) {
    std::fprintf(stderr, "demo: %s\n", error.what());
    return 1;
}
