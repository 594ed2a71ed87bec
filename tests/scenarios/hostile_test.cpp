// A whole client at a service that floods it: the user is heard, and memory has its bound.
#include <signal.h>

#include "meeting_fixture.h"
#include "reliability/hostile_service.h"
#include "service/relay/door/identity.h"
#include "service/relay/private_folder.h"

namespace stage {
namespace {

/// The rows take turns: the close box, and a signal.
TEST(HostileServiceAtAWindow, LeavesTheUserInCharge)
{
    const Folder folder;
    const std::filesystem::path keys = (folder / "keys").toStdString();
    zephyl::PreparePrivateFolder(keys);
    const zephyl::Identity identity = zephyl::PrepareIdentity(keys);
    const auto context = zephyl::TlsContext::Server(identity.key, identity.certificate);
    int number = 0;
    for (const NamedFlood& flood : Floods()) {
        SCOPED_TRACE(flood.what);
        HostileService service(context, {false, false, flood.flood});
        const QString address = u"127.0.0.1:%1"_s.arg(service.Port());
        Desk ann(folder, u"ann%1"_s.arg(++number));
        ann.Setting(u"Zephyl\\Trusted Services"_s, address, QString::fromStdString(context->Fingerprint()));
        ann.StartClient({u"--service"_s, address});
        ann.Wait("dialog", Is("name", u"frmLogin"_s));
        ann.Login(u"ann"_s, u"secret"_s, u"Standup"_s, true);
        ann.Wait("window_whole");
        service.LetItFlood();
        EXPECT_GT(service.flooded, 0u);
        EXPECT_LE(ann.Client().PeakMegabytes(), 200);
        if (number % 2)
            ann.Key(u"alt+F4"_s);
        else
            ann.Client().Signal(SIGTERM);
        EXPECT_EQ(ann.WaitForEnd(), 0);
    }
}

}  // namespace
}  // namespace stage
