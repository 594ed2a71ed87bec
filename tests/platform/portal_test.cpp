// The dialogue with the desktop's portal, against one that goes wrong at every step.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QEventLoop>
#include <QFile>

#include "platform/linux/desktop_portal.h"
#include "platform/mute_bus.h"
#include "platform/portal_stand_in.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr DesktopPortal::Patience kPatient{60s, 60s, 60s}, kImpatient{100ms, 100ms, 100ms};

struct Portal : testing::Test {
    PrivateBus bus;
    PortalStandIn portal;
    int mEnds[2] = {-1, -1};

    Portal()
    {
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, mEnds), 0);
        portal.socket = mEnds[0];
    }
    ~Portal() override { close(mEnds[0]), close(mEnds[1]); }
};

CastOffer Look(DesktopPortal& portal)
{
    QEventLoop until;
    CastOffer got;
    portal.Look([&](const CastOffer& offer) { got = offer, until.quit(); });
    until.exec();
    return got;
}

CastGrant Ask(DesktopPortal& portal, CastKind kind)
{
    QEventLoop until;
    CastGrant got;
    portal.Ask(
        kind, [&](const CastGrant& grant) { got = grant, until.quit(); }, [] {});
    until.exec();
    return got;
}

}  // namespace

TEST_F(Portal, OffersWhatItsDesktopCanShare)
{
    const struct {
        quint32 kinds;
        bool screen, window;
        const char* whyNot;
    } rows[] = {{3, true, true, ""},
                {1, true, false, ""},
                {6, false, true, ""},
                {4, false, false, "part of it"},
                {0, false, false, "part of it"}};
    for (const auto& row : rows) {
        portal.kinds = row.kinds;
        DesktopPortal asking(kPatient);
        const CastOffer offer = Look(asking);
        EXPECT_EQ(std::tie(offer.screen, offer.window), std::tie(row.screen, row.window));
        EXPECT_TRUE(*row.whyNot ? offer.whyNot.contains(QLatin1String(row.whyNot)) : offer.whyNot.isEmpty());
    }
}

TEST_F(Portal, GrantsAStreamWithoutThePointer)
{
    const struct {
        CastKind kind;
        quint32 pointers;
        std::optional<quint32> asked;
        bool impostor;
    } rows[] = {{CastKind::Window, 7, 1, false},
                {CastKind::Screen, 6, std::nullopt, false},  // cannot leave it out: not asked to
                {CastKind::Screen, 1, 1, true}};
    for (const auto& row : rows) {
        portal.pointers = row.pointers, portal.impostorFirst = row.impostor, portal.askedPointer.reset();
        DesktopPortal asking(kPatient);
        const CastGrant grant = Ask(asking, row.kind);
        EXPECT_EQ(grant.node, 7u) << grant.whyNot.toStdString();
        EXPECT_EQ(portal.askedKinds, quint32(row.kind));
        EXPECT_EQ(portal.askedPointer, row.asked);
        EXPECT_EQ(write(grant.socket, "x", 1), 1);
        char got = 0;
        EXPECT_EQ(read(mEnds[1], &got, 1), 1);
        close(grant.socket);
    }
}

TEST_F(Portal, SaysWhatWentWrongAtWhicheverStep)
{
    const char *silent = "does not answer", *failed = "failed before", *gone = "The desktop's portal",
               *user = "";
    using enum PortalStep;
    using enum PortalFault;
    const struct {
        PortalStep at;
        PortalFault fault;
        const char* whyNot;
    } rows[] = {
        {GetAll, Silent, silent},
        {GetAll, Error, "part of it"},
        {GetAll, Garbage, "part of it"},
        {GetAll, Goes, "part of it"},
        {CreateSession, Silent, silent},
        {CreateSession, HalfAnswer, silent},
        {CreateSession, Error, "failed before it had anything to share. (not \\n today)"},
        {CreateSession, Failed, "did not allow"},
        {CreateSession, Garbage, failed},
        {CreateSession, Goes, gone},
        {SelectSources, Error, failed},  // what all of them ask and wait by is one
        {Start, Silent, silent},
        {Start, Declined, user},
        {Start, Garbage, failed},
        {OpenPipeWireRemote, Silent, silent},
        {OpenPipeWireRemote, Error, failed},
        {OpenPipeWireRemote, Garbage, failed},
        {OpenPipeWireRemote, Goes, gone},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << int(row.at) << " " << int(row.fault));
        portal.at = row.at, portal.fault = row.fault;
        DesktopPortal asking(row.whyNot == silent ? kImpatient : kPatient);
        const CastGrant grant = Ask(asking, CastKind::Window);
        EXPECT_EQ(grant.socket, -1);
        EXPECT_TRUE(*row.whyNot ? grant.whyNot.contains(QLatin1String(row.whyNot)) : grant.whyNot.isEmpty())
            << grant.whyNot.toStdString();
        if (row.fault == Goes) portal.Come();
    }
}

TEST(PortalNowhere, IsSaidAlsoOfABusThatIsSilent)
{
    stage::Folder folder;
    const QByteArray path = QFile::encodeName(folder / "silent");
    const MuteBus silent(folder / "silent");
    PrivateBus empty;
    const QByteArray nobody = qgetenv("DBUS_SESSION_BUS_ADDRESS");
    const struct {
        QByteArray address;
        const char* whyNot;
    } rows[] = {{"unix:path=" + path, "does not answer"},
                {"unix:path=/nowhere/at/all", "none is running"},
                {nobody, "none is running"},
                {"nonsense", "none is running"}};
    for (const auto& row : rows) {
        qputenv("DBUS_SESSION_BUS_ADDRESS", row.address);
        DesktopPortal asking(row.address == "unix:path=" + path ? kImpatient : kPatient);
        const QString whyNot = Look(asking).whyNot;
        EXPECT_TRUE(whyNot.contains(QLatin1String(row.whyNot))) << whyNot.toStdString();
    }
}
