// A scripted meeting of real clients on virtual displays: what a newcomer sees without a desktop.
// usage: demo DIR [--cut|--cluster]     leaves screenshots, the boards and the traces in DIR
#include <signal.h>

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <cstdio>

#include "demo/acts.h"
#include "demo/cluster.h"

using namespace Qt::StringLiterals;
using namespace stage;

namespace {

void Say(const char* text)
{
    std::printf("%s\n", text);
    std::fflush(stdout);
}

/// "Save to File..." as a person uses it.
void SaveBoard(Desk& desk, const QString& file)
{
    QFile::remove(file);
    desk.Key(u"alt+t"_s);
    for (const char* key : {"s", "s", "Return"})
        desk.Key(QLatin1String(key));  // "Shape Tool" has the same letter
    desk.Wait("dialog", Is("name", u"saveFile"_s));
    desk.Key(u"ctrl+a"_s);
    desk.Type(file);
    desk.Key(u"Return"_s);
    desk.Wait("saved");
}

void Leave(std::initializer_list<Desk*> desks)
{
    for (Desk* desk : desks) {
        desk->ClickControl(u"tool_Exit"_s);
        if (desk->Client().WaitForEnd() != 0) throw std::runtime_error("a client did not end in order");
    }
}

/// What the programs of a desk have started for themselves goes with them.
struct PersonalServicesEnd {
    ~PersonalServicesEnd() { stage::EndPersonalServices(runtime); }
    const QString runtime;
};

void PlayMeeting(const Folder& folder)
{
    const PersonalServicesEnd end{folder / "run"};
    Say("Three people start Quorvia and meet, by UDP, TCP and HTTP; no service is named, so the first starts "
        "one.");
    SoundLab lab(folder, {u"ann"_s, u"bob"_s, u"eve"_s});
    Desk ann(folder, u"ann"_s), bob(folder, u"bob"_s), eve(folder, u"eve"_s);
    for (Desk* desk : {&ann, &bob, &eve}) GiveSound(lab, *desk);
    Meet(ann, bob, eve);
    Say("They talk.");
    Talk(ann, bob, {&eve});
    Say("They draw.");
    Draw(ann, bob, {&eve});
    Say("Ann and Bob draw across each other at the same moment; all boards are the same afterwards.");
    Cross(ann, bob, {&eve});
    bob.Screenshot(folder / "bob-crossing.png");
    Say("Bob's camera shows on all boards, and a window of Ann's.");
    ShowVideo(bob, {&ann, &eve});
    ShareWindow(ann, {&bob, &eve});
    Say("Ann says a word; a green dot says so.");
    {
        const auto speaks = Speak(lab, ann, {&bob, &eve});
        for (Desk* desk : {&ann, &bob, &eve})
            desk->Screenshot(folder.Path() + u'/' + desk->Name() + u".png"_s);
        OpenCompanion(eve);
        eve.LetManagerCatchUp();
        eve.Screenshot(folder / "eve-voice.png");
        HideCompanion(eve);
    }
    SaveBoard(ann, folder / "ann-board.bmp");
    SaveBoard(bob, folder / "bob-board.bmp");
    Say("They leave.");
    Leave({&ann, &bob, &eve});
}

struct At {
    QString address, fingerprint;
};

void Sit(Desk& desk, const At& service, const QString& name, bool join)
{
    desk.Setting(u"Zephyl\\Trusted Services"_s, service.address, service.fingerprint);
    desk.StartClient({u"--service"_s, service.address});
    desk.Wait("dialog", Is("name", u"frmLogin"_s));
    desk.Login(name, name + u"'s secret"_s, u"Storm2026"_s, join);
    desk.Wait("window_whole");
}

/// Of the connection.
bool SaysSomething(const QJsonObject& panel)
{
    return panel[u"panel"_s] == u"Link"_s && !panel[u"text"_s].toString().isEmpty();
}

/// Strokes that the others cannot see yet: returned are only those of this hand.
void DrawAlone(Desk& desk, const QString& name, QPoint corner)
{
    for (int i = 0; i < 3; ++i) {
        desk.Drag(Curve(desk.Board(corner.x(), corner.y() + 50 * i), 180, 20));
        desk.Wait("record", Is("from", name));
    }
}

void WaitForStrokes(Desk& desk, const QString& from, int count)
{
    for (int i = 0; i < count; ++i) desk.Wait("record", Is("from", from), 60);
}

QString SavedBoard(Desk& desk, const QString& file)
{
    SaveBoard(desk, file);
    QFile saved(file);
    if (!saved.open(QIODevice::ReadOnly)) throw std::runtime_error("a board was not saved");
    return QString::fromLatin1(QCryptographicHash::hash(saved.readAll(), QCryptographicHash::Sha256).toHex());
}

void PlayStorm(const Folder& folder)
{
    Service service(
        folder,
        {{u"ann"_s, u"ann's secret"_s}, {u"bob"_s, u"bob's secret"_s}, {u"eve"_s, u"eve's secret"_s}});
    const At at{service.Address(), service.Fingerprint()};
    Say("Two people meet at a service.");
    Desk ann(folder, u"ann"_s), bob(folder, u"bob"_s);
    Sit(ann, at, u"ann"_s, false);
    Sit(bob, at, u"bob"_s, true);
    ann.Wait("attendee", Is("handle", u"bob"_s));
    Say("The service is killed; both go on drawing, each in a corner.");
    service.Stop(SIGKILL);
    ann.Wait("panel", SaysSomething);
    bob.Wait("panel", SaysSomething);
    DrawAlone(ann, u"ann"_s, {40, 80});
    DrawAlone(bob, u"bob"_s, {420, 80});
    ann.Screenshot(folder / "ann-cut.png");
    Say("The service is started again; what was drawn arrives.");
    service.Start();
    WaitForStrokes(ann, u"bob"_s, 3);
    WaitForStrokes(bob, u"ann"_s, 3);
    Say("A third person joins and finds the board as it is.");
    Desk eve(folder, u"eve"_s);
    Sit(eve, at, u"eve"_s, true);
    WaitForStrokes(eve, u"bob"_s, 3);
    ann.Drag(Curve(ann.Board(200, 320), 300, 30));
    ann.Wait("record", Is("from", u"ann"_s));
    for (Desk* desk : {&bob, &eve}) desk->Wait("record", Is("from", u"ann"_s));
    for (Desk* desk : {&ann, &bob, &eve}) desk->Screenshot(folder.Path() + u'/' + desk->Name() + u".png"_s);
    const QString board = SavedBoard(ann, folder / "ann-board.bmp");
    if (SavedBoard(bob, folder / "bob-board.bmp") != board ||
        SavedBoard(eve, folder / "eve-board.bmp") != board)
        throw std::runtime_error("the boards differ");
    Say("All three boards are the same, byte for byte. They leave.");
    Leave({&ann, &bob, &eve});
}

/// Ann's relay dies while she and Bob draw.
void PlayCluster(const Folder& folder)
{
    Say("Three relays, three nats-servers and a database are brought up.");
    Cluster cluster(folder / "cluster", {{u"ann"_s, u"ann's secret"_s}, {u"bob"_s, u"bob's secret"_s}});
    const auto& relays = cluster.Relays();
    Say("Ann comes to the first relay, Bob to the second; they meet and draw.");
    Desk ann(folder, u"ann"_s), bob(folder, u"bob"_s);
    Sit(ann, {relays[0].address, relays[0].fingerprint}, u"ann"_s, false);
    Sit(bob, {relays[1].address, relays[1].fingerprint}, u"bob"_s, true);
    ann.Wait("attendee", Is("handle", u"bob"_s));
    DrawAlone(ann, u"ann"_s, {40, 80});
    WaitForStrokes(bob, u"ann"_s, 3);
    DrawAlone(bob, u"bob"_s, {420, 80});
    WaitForStrokes(ann, u"bob"_s, 3);
    for (Desk* desk : {&ann, &bob}) desk->Screenshot(folder.Path() + u'/' + desk->Name() + u"-before.png"_s);
    Say("The first relay is killed; both go on drawing, each in a corner.");
    cluster.Kill("relay-1");
    ann.Wait("panel", SaysSomething);
    DrawAlone(ann, u"ann"_s, {40, 260});
    DrawAlone(bob, u"bob"_s, {420, 260});
    WaitForStrokes(ann, u"bob"_s, 3);
    WaitForStrokes(bob, u"ann"_s, 3);
    Say("Ann is at another relay, and nobody has left.");
    for (Desk* desk : {&ann, &bob}) desk->Screenshot(folder.Path() + u'/' + desk->Name() + u"-after.png"_s);
    if (SavedBoard(ann, folder / "ann-board.bmp") != SavedBoard(bob, folder / "bob-board.bmp"))
        throw std::runtime_error("the boards differ");
    Say("Both boards are the same, byte for byte. They leave.");
    Leave({&ann, &bob});
}

}  // namespace

int main(int argc, char** argv)
try {
    if (argc < 2) {
        std::fprintf(stderr, "usage: demo DIR [--cut|--cluster]\n");
        return 2;
    }
    const Folder folder(QString::fromLocal8Bit(argv[1]));
    Cluster::End(folder / "cluster");
    for (const char* old : {"ann", "bob", "eve", "run", "data", "service", "sound", "cluster"})
        QDir(folder / old).removeRecursively();
    const QByteArray what = argc > 2 ? argv[2] : "";
    if (what == "--cut")
        PlayStorm(folder);
    else if (what == "--cluster")
        PlayCluster(folder);
    else
        PlayMeeting(folder);
    std::printf("Screenshots and boards are in %s\n", qPrintable(folder.Path()));
} catch (const std::exception& error) {
    std::fprintf(stderr, "demo: %s\n", error.what());
    return 1;
}
