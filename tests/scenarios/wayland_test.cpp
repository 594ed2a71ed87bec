// Whole programs on a Wayland desktop.
#include "demo/wayland.h"

#include <chrono>

#include "scenarios/meeting_fixture.h"

using namespace stage;

namespace {

class Wayland : public Meeting {
protected:
    std::unique_ptr<Desk> Sit(const QString& name)
    {
        auto desk = std::make_unique<Desk>(folder, name);
        compositor = SitOnWayland(*desk, folder);
        desk->Setting(u"Zephyl\\Trusted Services"_s, service.Address(), service.Fingerprint());
        return desk;
    }
    /// What `ask` of the desktop's clipboard tells, as soon as `wanted` is in it.
    static QString Clipboard(Desk& desk, const QString& ask, const QString& wanted)
    {
        const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        QString told;
        do told = QString::fromUtf8(desk.Start(u"sh"_s, {u"-c"_s, ask})->ReadLine());
        while (!told.contains(wanted) && std::chrono::steady_clock::now() < until);
        return told;
    }

    std::unique_ptr<Child> compositor;
};

}  // namespace

TEST_F(Wayland, AMeetingRunsThereCopiesAndSaysWhatSharingLacks)
{
    Script sam(service, folder, "sam");
    Join(sam, u"sam"_s, u"Wayland1"_s, "create");
    auto ann = Sit(u"ann"_s);
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
    ann->Wait("record", Both(Is("from", u"ann"_s), Is("tag", u"PEN"_s)));
    sam.Event(Both(Is("event", u"message"_s), Begins("text", u"[[ZUM_WB_PEN]]"_s)));
    Say(*ann, u"from over here"_s);
    sam.Event(Message(u"ann"_s, u"from over here"_s));

    // What is copied other programs get.
    ann->Key(u"alt+m"_s);
    ann->Key(u"i"_s);
    const QString invitation = ann->Wait("invitation")[u"text"_s].toString();
    EXPECT_EQ(Clipboard(*ann, u"wl-paste -n; echo"_s, invitation), invitation);
    ann->Key(u"alt+t"_s);
    ann->Key(u"c"_s);
    EXPECT_TRUE(
        Clipboard(*ann, u"wl-paste -l | tr '\n' ' '; echo"_s, u"image/png"_s).contains(u"image/png"_s));

    ann->ClickControl(u"tool_App"_s);
    // Which comes first depends on how soon the bus answers.
    const Match saysWhatLacks = [](const QJsonObject& line) {
        return line[u"text"_s].toString().contains(u"portal"_s) && !line[u"can_choose"_s].toBool();
    };
    ann->WaitForAll({{"share_dialog", saysWhatLacks}, {"dialog", Is("name", u"frmShareApp"_s)}});
    ann->Key(u"Escape"_s);
    ann->Wait("dialog_closed", Is("name", u"frmShareApp"_s));
    ann->ClickControl(u"tool_Exit"_s);
    EXPECT_EQ(ann->WaitForEnd(), 0);
    const QByteArray stored = ReadFile(ann->ConfigHome() + u"/quorvia/registry.reg"_s);
    EXPECT_TRUE(stored.contains("\"XPos\"=\"1515\"\n")) << stored.toStdString();
}
