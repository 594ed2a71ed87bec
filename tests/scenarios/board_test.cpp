// Drawing with a real mouse: two boards stay the same, and what leaves is the exact record.
#include <csignal>

#include "scenarios/meeting_fixture.h"

using namespace stage;

namespace {

class Board : public Meeting {
protected:
    void SetUp() override
    {
        Enter(ann, u"ann"_s, u"Board123"_s, false);
        Enter(bob, u"bob"_s, u"Board123"_s, true);
        Join(eve, u"eve"_s, u"Board123"_s);
        for (Desk* desk : {&ann, &bob}) desk->Wait("attendee", Is("handle", u"eve"_s));
    }
    void TearDown() override
    {
        if (!HasFailure() || !qEnvironmentVariableIsSet("QUORVIA_KEEP")) return;
        ann.Screenshot(folder / "ann.png");
        bob.Screenshot(folder / "bob.png");
    }
    /// The n-th entry below a button's arrow.
    void ChooseBelow(Desk& desk, const char* button, int entry)
    {
        const QRect whole = desk.Control(u"tool_"_s + QLatin1String(button));
        desk.Click({whole.right() - 5, whole.center().y()});
        for (int i = 0; i < entry; ++i) desk.Key(u"Down"_s);
        desk.Key(u"Return"_s);
        desk.Wait("tool", Is("key", QLatin1String(button)));
    }
    /// What `drawer` has just drawn: the same board at the other, and this record on the wire.
    void ExpectSame(Desk& drawer, Desk& other, const QString& from, const QString& record)
    {
        const QJsonValue board = drawer.Wait("record", Is("from", from)).value(u"board"_s);
        EXPECT_EQ(other.Wait("record", Is("from", from)).value(u"board"_s), board) << record.toStdString();
        const auto fromThem = [&](const QJsonObject& line) {
            return line[u"event"_s] == u"message"_s && line[u"from"_s] == from;
        };
        EXPECT_EQ(eve.Event(fromThem).value(u"text"_s).toString().toStdString(), record.toStdString());
    }

    std::unique_ptr<Desk> annsDesk = Sit(u"ann"_s), bobsDesk = Sit(u"bob"_s);
    Desk &ann = *annsDesk, &bob = *bobsDesk;
    Script eve{service, folder, "eve"};
};

}  // namespace

TEST_F(Board, ToolsDrawTheSameEverywhere)
{
    Choose(ann, "Draw");
    // A window that is busy meanwhile has every point of the stroke all the same.
    const auto to = [&](int x, int y) {
        const QPoint at = ann.Board(x, y);
        return QStringList{u"mousemove"_s, QString::number(at.x()), QString::number(at.y())};
    };
    ann.Client().Signal(SIGSTOP);
    ann.Run(u"xdotool"_s, to(50, 60) + QStringList{u"mousedown"_s, u"1"_s});
    ann.LetManagerCatchUp();  // it holds the press back, and the display joins moves until then
    ann.Run(u"xdotool"_s, to(60, 62) + to(70, 66) + to(80, 60));
    ann.Client().Signal(SIGCONT);
    ann.Run(u"xdotool"_s, {u"mouseup"_s, u"1"_s});
    ExpectSame(ann, bob, u"ann"_s,
               u"[[ZUM_WB_PEN]]1|¥|50|¥|60|¥|50|¥|60|¥|0|¥|50|¥|60|¥|60|¥|62|¥|0|¥|60|¥|62|¥|70|¥|66|¥|0"
               u"|¥|70|¥|66|¥|80|¥|60|¥|0|¥|80|¥|60|¥|80|¥|60|¥|0"_s);

    ChooseBelow(ann, "Draw", 2);  // Line
    ann.ClickControl(u"picSelColor_5"_s);
    ann.ClickControl(u"picLineWidth_3"_s);
    ann.Drag({ann.Board(60, 60), ann.Board(300, 90), ann.Board(200, 160)});
    ExpectSame(ann, bob, u"ann"_s, u"[[ZUM_WB_PEN]]8|¥|60|¥|60|¥|200|¥|160|¥|255"_s);

    Choose(bob, "Shape");
    bob.Drag({bob.Board(100, 200), bob.Board(140, 220), bob.Board(180, 260)});
    ExpectSame(bob, ann, u"bob"_s, u"[[ZUM_WB_BOX]]1|¥|100|¥|200|¥|180|¥|260|¥|0"_s);
}

TEST_F(Board, OwnDialogsKeepTheToolAndAnotherProgramTakesTheStoredOne)
{
    Choose(ann, "Erase");
    ann.ClickControl(u"tool_Paste"_s);
    EXPECT_EQ(ann.Wait("box").value(u"text"_s).toString(), u"There is no image on the clipboard."_s);
    Answer(ann, u"box"_s, u"Return"_s);
    ann.ClickControl(u"tool_File"_s);
    Answer(ann, u"openFile"_s, u"Escape"_s);
    // Still Erase: what the next stroke says.
    ann.Click(ann.Board(300, 300));
    ExpectSame(ann, bob, u"ann"_s,
               u"[[ZUM_WB_PEN]]32|¥|300|¥|300|¥|300|¥|300|¥|16777215|¥|300|¥|300|¥|300|¥|300|¥|16777215"_s);
    const auto activations = [this] {
        const auto& lines = ann.Lines();
        return std::count_if(lines.begin(), lines.end(), Is("event", u"activate"_s));
    };
    EXPECT_EQ(activations(), 1);

    const auto other = ann.Start(u"xterm"_s, {u"-geometry"_s, u"40x10-0-0"_s});
    ann.Run(u"xdotool"_s, {u"search"_s, u"--sync"_s, u"--onlyvisible"_s, u"--class"_s, u"xterm"_s,
                           u"windowactivate"_s, u"--sync"_s});
    // The press that brings the window back draws already, with the stored tool and from where it was.
    ann.Drag({ann.Board(100, 100), ann.Board(150, 120), ann.Board(200, 140)});
    ann.Wait("activate");
    ann.Wait("tool", Is("key", u"Draw"_s));
    ExpectSame(
        ann, bob, u"ann"_s,
        u"[[ZUM_WB_PEN]]1|¥|100|¥|100|¥|100|¥|100|¥|0|¥|100|¥|100|¥|150|¥|120|¥|0|¥|150|¥|120|¥|200|¥|140"
        u"|¥|0|¥|200|¥|140|¥|200|¥|140|¥|0"_s);
}
