// Two people who have nothing but their computers and one network between them.
#include <gtest/gtest.h>

#include <chrono>
#include <iostream>

#include "scenarios/meeting_fixture.h"

using namespace Qt::StringLiterals;
using namespace stage;

namespace {

/// Two computers joined by a cable, as far as their networks go. Where that is not allowed (it takes root),
/// both are on this computer's own network.
class Networks {
public:
    explicit Networks(const QString& log) : mLog(log)
    {
        for (auto& computer : mComputers) {
            computer = std::make_unique<Child>(
                u"unshare"_s,
                QStringList{u"--net"_s, u"sh"_s, u"-c"_s, u"ip link set lo up && echo up; read end"_s},
                std::map<QString, QString>{}, mLog);
            try {
                mApart = computer->ReadLine() == "up";
            } catch (const std::exception&) {
                mApart = false;
            }
            if (!mApart) return;
        }
        const QString other = QString::number(mComputers[1]->Pid());
        mApart = In(0, {u"ip"_s, u"link"_s, u"add"_s, u"eth0"_s, u"type"_s, u"veth"_s, u"peer"_s, u"name"_s,
                        u"eth0"_s, u"netns"_s, other}) == 0;
        for (const int at : {0, 1}) {
            const QString address = u"10.77.0.%1/24"_s.arg(at + 1);
            mApart = mApart && In(at, {u"ip"_s, u"address"_s, u"add"_s, address, u"dev"_s, u"eth0"_s}) == 0 &&
                     In(at, {u"ip"_s, u"link"_s, u"set"_s, u"eth0"_s, u"up"_s}) == 0;
        }
    }
    bool Apart() const { return mApart; }
    /// What starts a program on one of the two.
    QStringList Launcher(int at) const
    {
        if (!mApart) return {};
        return {u"nsenter"_s, u"--net=/proc/%1/ns/net"_s.arg(mComputers[at]->Pid())};
    }
    /// The exit status of a command there.
    int In(int at, const QStringList& words) const
    {
        QStringList all = Launcher(at) + words;
        const QString program = all.takeFirst();
        return Child(program, all, {}, mLog).WaitForEnd();
    }

private:
    const QString mLog;
    std::unique_ptr<Child> mComputers[2];  // each keeps its network for as long as it reads
    bool mApart = false;
};

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

void ChooseInMeetingMenu(Desk& desk, const QString& mnemonic)
{
    desk.Key(u"alt+m"_s);
    desk.Key(mnemonic);
}

void Look(Desk& desk, const Folder& folder, const char* name)
{
    if (qEnvironmentVariableIsSet("QUORVIA_KEEP")) desk.Screenshot(folder / name);
}

}  // namespace

TEST(OneNetwork, TwoFreshUsersMeetByAnInvitationAndNobodyElsesService)
{
    const Folder here, there;
    const Networks networks(here / "networks.log");
    std::cout << (networks.Apart() ? "two networks joined by a cable" : "one network: no others may be made")
              << std::endl;
    Desk ann(here, u"ann"_s), bob(there, u"bob"_s);
    ann.StartBy(networks.Launcher(0));
    bob.StartBy(networks.Launcher(1));
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

    const auto begun = std::chrono::steady_clock::now();
    ChooseInMeetingMenu(ann, u"l"_s);
    ann.Wait("dialog", Is("name", u"frmLetIn"_s));
    Look(ann, here, "1-asked.png");
    ann.ClickControl(u"cmdOpen"_s);
    ann.Wait("letting_in", Is("open", true));
    ann.Wait("controls", Is("name", u"frmLetIn"_s));
    Look(ann, here, "2-open.png");
    ann.ClickControl(u"cmdCopy"_s);
    const QString invitation = ann.Wait("invitation")[u"text"_s].toString();
    EXPECT_EQ(Clipboard(ann), invitation);
    const QString host = networks.Apart() ? u"zephyl://10.77.0.1"_s : u"zephyl://"_s;
    EXPECT_TRUE(invitation.contains(host)) << invitation.toStdString();
    ann.ClickControl(u"cmdDone"_s);

    const auto owner = PutOnClipboard(bob, invitation);
    bob.ClickControl(u"cmbMeetingCode"_s);
    bob.Key(u"ctrl+v"_s);
    EXPECT_FALSE(bob.Wait("notice")[u"warns"_s].toBool());
    Look(bob, here, "3-pasted.png");
    bob.ClickControl(u"txtHandle"_s);
    bob.Type(u"bob"_s);
    bob.ClickControl(u"txtPassword"_s);
    bob.Type(u"bob's own"_s);
    bob.Key(u"Return"_s);
    bob.Wait("window_whole");  // without a question about the key: the invitation names it
    ann.Wait("attendee", Is("handle", u"bob"_s));
    const auto took = std::chrono::steady_clock::now() - begun;
    std::cout << "met after " << std::chrono::duration<double>(took).count() << " s" << std::endl;
    for (const QJsonObject& line : bob.Lines()) EXPECT_NE(line[u"event"_s].toString(), u"trust"_s);

    bob.ClickControl(u"txtMessage"_s);
    bob.Type(u"Hello ann"_s);
    bob.Key(u"Return"_s);
    EXPECT_EQ(ann.Wait("line", Is("from", u"bob"_s))[u"text"_s].toString(), u"Hello ann"_s);
    Look(ann, here, "4-met.png");

    // With the meeting everybody from outside is gone, and nobody listens any more.
    ann.ClickControl(u"tool_Exit"_s);
    EXPECT_EQ(ann.WaitForEnd(), 0);
    bob.Wait("panel", [](const QJsonObject& line) {
        return line[u"panel"_s] == u"Link"_s && line[u"text"_s].toString().contains(u"not open to others"_s);
    });
    Look(bob, here, "5-closed.png");
    const QStringList parts = invitation.split(u"zephyl://"_s).value(1).split(u'/').value(0).split(u':');
    const QString knock = u"exec 3<>/dev/tcp/%1/%2"_s.arg(parts.value(0), parts.value(1, u"7420"_s));
    EXPECT_NE(networks.In(1, {u"bash"_s, u"-c"_s, knock}), 0);
    EXPECT_TRUE(EndPersonalServices(here / "run"));
}
