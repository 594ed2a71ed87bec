// Cameras and shared windows, at real windows through a real service.
#include <fcntl.h>

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include "platform/colour_bars.h"
#include "scenarios/meeting_fixture.h"

using namespace stage;

namespace {

class Pictures : public Meeting {
protected:
    std::unique_ptr<Desk> SitWithCamera(const QString& name, const QString& code, bool join)
    {
        auto desk = Sit(name, true,
                        {{u"Video Device"_s, u"pattern"_s},
                         {u"Frame Rate"_s, u"10"_s},
                         {u"Whiteboard\\Selected Color"_s, u"13"_s},
                         {u"Whiteboard\\Selected Width"_s, u"3"_s},
                         {u"AppShare Interval"_s, u"200"_s}});
        Enter(*desk, name, code, join);
        return desk;
    }
    /// In the meeting's own preferences.
    void SwitchInkAbove(Desk& desk, bool on)
    {
        for (const QString& key : {u"alt+m"_s, u"p"_s}) desk.Key(key);
        desk.Wait("dialog", Is("name", u"frmPreferences"_s));
        desk.Type(u"ink above live"_s);
        for (const QString& key : {u"Return"_s, u"space"_s, u"Return"_s}) desk.Key(key);
        desk.Wait("ink_above", Is("on", on));
        desk.Wait("dialog_closed", Is("name", u"frmPreferences"_s));
    }
    /// What the screen shows of these board pixels, two frames of that camera after what was waited for last.
    QStringList Seen(Desk& desk, const std::vector<QPoint>& spots, const QString& camera = u"ann"_s)
    {
        for (int i = 0; i < 2; ++i) desk.Wait("frame", Frame(camera, 0));
        const QString file = folder / "screen.png";
        desk.Screenshot(file);
        const QImage screen(file);
        QStringList colours;
        for (const QPoint& spot : spots) colours += screen.pixelColor(desk.Board(spot.x(), spot.y())).name();
        return colours;
    }
    void PlaceVideo(Desk& desk, int x, int y)
    {
        desk.ClickControl(u"tool_Video"_s);
        desk.Wait("tool", Is("key", u"Video"_s));
        desk.Click(desk.Board(x, y));
    }
    Match Frame(const QString& from, int type, int x = -1)
    {
        return [=](const QJsonObject& line) {
            return line[u"event"_s] == u"frame"_s && line[u"from"_s] == from && line[u"type"_s] == type &&
                   (x < 0 || line[u"x"_s] == x);
        };
    }
    /// What programs that it starts would get beside the three standard files: nothing.
    QStringList LentFiles(Desk& desk)
    {
        const QString process = u"/proc/%1/"_s.arg(desk.Client().Pid());
        static const QRegularExpression line(u"flags:\\s+(\\d+)"_s);
        QStringList lent;
        for (const QString& name : QDir(process + u"fdinfo"_s).entryList(QDir::Files)) {
            QFile info(process + u"fdinfo/"_s + name);
            if (name.toInt() < 3 || !info.open(QIODevice::ReadOnly)) continue;
            if (!(line.match(QString::fromLatin1(info.readAll())).captured(1).toInt(nullptr, 8) & O_CLOEXEC))
                lent += QFile::symLinkTarget(process + u"fd/"_s + name);
        }
        return lent;
    }
};

}  // namespace

TEST_F(Pictures, VideosAndASharedWindowReachEveryBoard)
{
    auto ann = SitWithCamera(u"ann"_s, u"Pictures1"_s, false),
         bob = SitWithCamera(u"bob"_s, u"Pictures1"_s, true);
    Script eve(service, folder, "eve", {u"--save"_s, folder / "saved"});
    Join(eve, u"eve"_s, u"Pictures1"_s);
    ann->Wait("attendee", Is("handle", u"eve"_s));
    EXPECT_EQ(LentFiles(*ann).join(u' '), QString());
    PlaceVideo(*ann, 30, 40);
    PlaceVideo(*bob, 330, 40);
    for (Desk* desk : {ann.get(), bob.get()}) {
        desk->Wait("frame", Frame(u"ann"_s, 0, 30));
        desk->Wait("frame", Frame(u"bob"_s, 0, 330));
    }
    const QJsonObject frame = eve.Event(Frame(u"ann"_s, 0));
    EXPECT_EQ(frame[u"width"_s].toInt(), 240);
    EXPECT_TRUE(ReadFile(frame[u"file"_s].toString()).startsWith("\xFF\xD8\xFF"));

    ann->Click(ann->Board(60, 200));  // the spot moves with the next click
    bob->Wait("frame", Frame(u"ann"_s, 0, 60));

    auto shared = ann->Start(u"xterm"_s, {u"-T"_s, u"shared"_s, u"-geometry"_s, u"30x8+700+500"_s});
    ann->Run(u"xdotool"_s, {u"search"_s, u"--sync"_s, u"--onlyvisible"_s, u"--name"_s, u"^shared$"_s});
    ann->ClickControl(u"tool_App"_s);
    ann->Wait("dialog", Is("name", u"frmShareApp"_s));
    ann->Key(u"End"_s);
    ann->Key(u"Return"_s);
    ann->Wait("dialog_closed", Is("name", u"frmShareApp"_s));
    ann->Click(ann->Board(400, 300));
    const QJsonObject app = bob->Wait("frame", Frame(u"ann"_s, 1, 400));
    EXPECT_LT(app[u"width"_s].toInt(), 400);  // the window, not the screen
    shared.reset();
    eve.Event(Message(u"ann"_s, u"[[ZUM_APP_SHARE_OFF]]"_s));
    ann->Wait("note");
    EXPECT_FALSE(eve.Has(Message(u"ann"_s, u"[[ZUM_APP_SHARE_OFF]]"_s)));
}

TEST_F(Pictures, InkStaysAboveACameraForWhoeverWantsItSo)
{
    const QString ink = u"#ff00ff"_s, paper = u"#ffffff"_s;
    auto ann = SitWithCamera(u"ann"_s, u"Pictures4"_s, false),
         bob = SitWithCamera(u"bob"_s, u"Pictures4"_s, true);
    PlaceVideo(*ann, 30, 40);
    ann->ClickControl(u"tool_Draw"_s);
    SwitchInkAbove(*ann, true);
    ann->Drag({ann->Board(12, 210), ann->Board(150, 205), ann->Board(300, 210)});  // across both borders
    ann->Wait("record", Is("from", u"ann"_s));
    bob->Wait("record", Is("from", u"ann"_s));
    const std::vector<QPoint> spots{{150, 205}, {14, 210}, {60, 60}};  // on the video, beside it, bare
    QStringList seen = Seen(*ann, spots);
    EXPECT_EQ(seen.first(2), QStringList({ink, ink}));
    EXPECT_NE(seen[2], paper);
    seen = Seen(*bob, spots);
    EXPECT_NE(seen[0], ink);
    EXPECT_EQ(seen[1], ink);

    SwitchInkAbove(*ann, false);
    EXPECT_NE(Seen(*ann, spots)[0], ink);
    SwitchInkAbove(*ann, true);
    EXPECT_EQ(Seen(*ann, spots)[0], ink);
    bob->ClickControl(u"tool_Video"_s);  // his board is his own, the history everybody's
    bob->Click(bob->Board(200, 120));    // partly beneath hers, so beneath her ink
    ann->Wait("frame", Frame(u"bob"_s, 0, 200));
    seen = Seen(*ann, {{240, 207}, {350, 250}});
    EXPECT_EQ(seen[0], ink);
    EXPECT_NE(seen[1], paper);
    ann->ClickControl(u"tool_Video"_s);  // stops hers
    ann->Wait("live_stopped", Is("from", u"ann"_s));
    EXPECT_EQ(Seen(*ann, {{60, 60}, {150, 205}}, u"bob"_s), QStringList({paper, ink}));
    EXPECT_NE(Seen(*bob, {{60, 60}}, u"bob"_s)[0], paper);  // where the definition leaves it
}

TEST_F(Pictures, ACamerasColoursAreThoseThatOthersSee)
{
    Script sam(service, folder, "sam", {u"--save"_s, folder / "saved"});
    Join(sam, u"sam"_s, u"Colours"_s, "create");
    WriteFile(folder / "film", bars::Y4m("C420jpeg", {}));
    auto ann = Sit(u"ann"_s, true, {{u"Video Device"_s, u"file:"_s + folder / "film"}});
    Enter(*ann, u"ann"_s, u"Colours"_s, true);
    PlaceVideo(*ann, 20, 20);
    const QJsonObject frame = sam.Event(Frame(u"ann"_s, 0));
    const QSize size(frame[u"width"_s].toInt(), frame[u"height"_s].toInt());
    EXPECT_LE(bars::Off(QImage(frame[u"file"_s].toString())), 3);
    ann->Wait("frame", Frame(u"ann"_s, 0));
    ann->Screenshot(folder / "screen.png");
    const QImage screen(folder / "screen.png");
    EXPECT_LE(bars::Off(screen.copy({ann->Board(20, 20), size})), 3);
    EXPECT_LE(bars::Off(screen.copy(ann->Control(u"picVideo"_s))), 3);
}
