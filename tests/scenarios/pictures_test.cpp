// Cameras and shared windows, at real windows through a real service.
#include <fcntl.h>

#include <QDir>
#include <QFile>
#include <QRegularExpression>

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
                         {u"AppShare Interval"_s, u"200"_s}});
        Enter(*desk, name, code, join);
        return desk;
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
