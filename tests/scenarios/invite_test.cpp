// Two people who have nothing but their computers and one network between them.
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <iostream>

#include "demo/cable.h"
#include "scenarios/meeting_fixture.h"

using namespace Qt::StringLiterals;
using namespace stage;

namespace {

/// "" while nobody owns it.
QString Clipboard(Desk& desk)
{
    const QString ask =
        u"xclip -o -selection clipboard; echo"_s;  // what is there may end without a line break
    return QString::fromUtf8(desk.Start(u"sh"_s, {u"-c"_s, ask})->ReadLine());
}

/// As somebody puts it there who has read it in a mail. It stays for as long as the result lives.
std::unique_ptr<Child> PutOnClipboard(Desk& desk, const QString& text)
{
    auto owner = desk.Start(u"xclip"_s, {u"-i"_s, u"-selection"_s, u"clipboard"_s, u"-quiet"_s});
    owner->Write(text.toUtf8());
    owner->CloseInput();
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (Clipboard(desk) != text && std::chrono::steady_clock::now() < until) continue;
    return owner;
}

/// The Avahi of one of two computers, on a message bus of that computer's own. /run is that computer's, too.
class OwnAvahi {
public:
    OwnAvahi(const Cable& cable, int at, const Folder& folder)
        : mLauncher(cable.Launcher(at)), mLog(folder / "avahi.log"), mFile(folder / "avahi.conf")
    {
        WriteFile(folder / "bus.conf",
                  "<busconfig><type>session</type><listen>unix:path=" + QFile::encodeName(folder / "bus") +
                      "</listen><policy context='default'><allow send_destination='*' eavesdrop='true'/>"
                      "<allow eavesdrop='true'/><allow own='*'/></policy></busconfig>");
        WriteFile(mFile, "[server]\nhost-name=computer" + QByteArray::number(at + 1) +
                             "\nallow-interfaces=eth0\nuse-ipv6=no\n[publish]\npublish-workstation=no\n");
        mBus = Start({u"dbus-daemon"_s, u"--nofork"_s, u"--print-address=1"_s,
                      u"--config-file="_s + folder / "bus.conf"});
        mAddress = QString::fromLatin1(mBus->ReadLine());
        Come();
    }
    /// What starts a program that speaks to it.
    QStringList Launcher() const
    {
        return mLauncher + QStringList{u"env"_s, u"DBUS_SYSTEM_BUS_ADDRESS="_s + mAddress};
    }
    void Leave()
    {
        mDaemon->Signal(SIGKILL);
        mDaemon->WaitForEnd();
    }
    /// Its folder must belong to a user of its name, and this user may own nothing but what is root's there.
    void Come()
    {
        const QString script =
            u"echo avahi:x:0:0::/:/bin/false > /run/passwd && echo avahi:x:0: > /run/group && "
            "mount --bind /run/passwd /etc/passwd && mount --bind /run/group /etc/group && "
            "rm -rf /run/avahi-daemon && "
            "exec /usr/sbin/avahi-daemon --no-drop-root --no-chroot --no-rlimits --file=\"$0\""_s;
        mDaemon =
            Start(Launcher() + QStringList{u"unshare"_s, u"--mount"_s, u"sh"_s, u"-c"_s, script, mFile});
    }

private:
    std::unique_ptr<Child> Start(QStringList words)
    {
        if (words[0] != mLauncher.value(0)) words = mLauncher + words;
        const QString program = words.takeFirst();
        return std::make_unique<Child>(program, words, std::map<QString, QString>{}, mLog);
    }

    const QStringList mLauncher;
    const QString mLog, mFile;
    QString mAddress;
    std::unique_ptr<Child> mBus, mDaemon;
};

void ChooseInMeetingMenu(Desk& desk, const QString& mnemonic)
{
    desk.Key(u"alt+m"_s);
    desk.Wait("menu");
    desk.Key(mnemonic);
}

}  // namespace

TEST(OneNetwork, TwoFreshUsersMeetByAnInvitationAndNobodyElsesService)
{
    const Folder here, there;
    const Cable cable(here / "cable.log");
    std::cout << (cable.Apart() ? "two networks joined by a cable" : "one network: no others may be made")
              << std::endl;
    Desk ann(here, u"ann"_s), bob(there, u"bob"_s);
    ann.StartBy(cable.Launcher(0));
    bob.StartBy(cable.Launcher(1));
    ann.StartClient();
    bob.StartClient();
    for (Desk* desk : {&ann, &bob}) desk->Wait("dialog", Is("name", u"frmLogin"_s));
    ann.Login(u"ann"_s, u"ann's secret"_s, u"Picnic01"_s, false);
    ann.Wait("window_whole");

    // Nobody is let in yet, and that is said.
    ChooseInMeetingMenu(ann, u"i"_s);
    EXPECT_TRUE(ann.Wait("box")[u"text"_s].toString().contains(u"Let Others In"_s));
    ann.Wait("dialog", Is("name", u"box"_s));
    ann.Key(u"Return"_s);
    ann.Wait("dialog_closed", Is("name", u"box"_s));
    ann.Wait("active", Is("name", u"frmMeeting"_s));  // it has the keys again

    ChooseInMeetingMenu(ann, u"l"_s);
    ann.Wait("dialog", Is("name", u"frmLetIn"_s));
    ann.ClickControl(u"cmdOpen"_s);
    ann.Wait("letting_in", Is("open", true));
    ann.Wait("controls", Is("name", u"frmLetIn"_s));
    ann.ClickControl(u"cmdCopy"_s);
    const QString invitation = ann.Wait("invitation")[u"text"_s].toString();
    EXPECT_EQ(Clipboard(ann), invitation);
    const QString host = cable.Apart() ? u"zephyl://"_s + Cable::Address(0) : u"zephyl://"_s;
    EXPECT_TRUE(invitation.contains(host)) << invitation.toStdString();
    ann.ClickControl(u"cmdDone"_s);

    const auto owner = PutOnClipboard(bob, invitation);
    bob.ClickControl(u"cmbMeetingCode"_s);
    bob.Key(u"ctrl+v"_s);
    EXPECT_FALSE(bob.Wait("notice")[u"warns"_s].toBool());
    bob.ClickControl(u"txtHandle"_s);
    bob.Type(u"bob"_s);
    bob.ClickControl(u"txtPassword"_s);
    bob.Type(u"bob's own"_s);
    bob.Key(u"Return"_s);
    bob.Wait("window_whole");  // without a question about the key: the invitation names it
    ann.Wait("attendee", Is("handle", u"bob"_s));
    for (const QJsonObject& line : bob.Lines()) EXPECT_NE(line[u"event"_s].toString(), u"trust"_s);

    bob.ClickControl(u"txtMessage"_s);
    bob.Type(u"Hello ann"_s);
    bob.Key(u"Return"_s);
    EXPECT_EQ(ann.Wait("line", Is("from", u"bob"_s))[u"text"_s].toString(), u"Hello ann"_s);

    // With the meeting everybody from outside is gone, and nobody listens any more.
    ann.ClickControl(u"tool_Exit"_s);
    EXPECT_EQ(ann.WaitForEnd(), 0);
    bob.Wait("panel", [](const QJsonObject& line) {
        return line[u"panel"_s] == u"Link"_s && line[u"text"_s].toString().contains(u"not open to others"_s);
    });
    const QStringList parts = invitation.split(u"zephyl://"_s).value(1).split(u'/').value(0).split(u':');
    const QString knock = u"exec 3<>/dev/tcp/%1/%2"_s.arg(parts.value(0), parts.value(1, u"7420"_s));
    EXPECT_NE(cable.In(1, {u"bash"_s, u"-c"_s, knock}), 0);
    EXPECT_TRUE(EndPersonalServices(here / "run"));
}

TEST(OneNetwork, OffersAServiceThatAnnouncesItself)
{
    const Folder here, there;
    const Cable cable(here / "cable.log");
    if (!cable.Apart()) GTEST_SKIP() << "no networks of their own may be made here, by root or by user";
    const OwnAvahi announcing(cable, 0, here);
    OwnAvahi looking(cable, 1, there);
    const QString config = here / "zephyld.toml";
    WriteFile(config, "announce = true\n");
    Service service(here, {{u"bob"_s, u"bob's secret"_s}}, announcing.Launcher(),
                    {u"--listen"_s, u"0.0.0.0:7420"_s, u"--config"_s, config});

    Desk bob(there, u"bob"_s);
    bob.StartBy(looking.Launcher());
    bob.StartClient();
    bob.Wait("dialog", Is("name", u"frmLogin"_s));
    bob.ClickControl(u"chkMore"_s);
    bob.Wait("neighbours", Is("count", 1));
    looking.Leave();
    bob.Wait("neighbours", Is("count", 0));
    looking.Come();
    bob.Wait("neighbours", Is("count", 1));
    bob.ClickControl(u"txtService"_s);
    for (const QString& key : {u"alt+Down"_s, u"Down"_s, u"Return"_s}) bob.Key(key);
    bob.Login(u"bob"_s, u"bob's secret"_s, u"Picnic02"_s, false);
    const QJsonObject question = bob.Wait("trust");
    EXPECT_EQ(question[u"service"_s].toString(), Cable::Address(0) + u":7420"_s);
    EXPECT_EQ(question[u"fingerprint"_s].toString(), service.Fingerprint());
    EXPECT_EQ(question[u"announced"_s].toString(), service.Fingerprint());
    bob.Wait("dialog", Is("name", u"trust"_s));
    bob.ClickControl(u"cmdTrust"_s);
    bob.Wait("window_whole");
}
