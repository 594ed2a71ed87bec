#pragma once
// A desktop's portal as a test wants it, on a message bus of the test's own. It goes wrong at one step, in
// one way.

#include <systemd/sd-bus.h>

#include <QSocketNotifier>
#include <memory>
#include <optional>

#include "demo/stage.h"

/// A message bus that nobody else is on; what this program opens from now on is on it.
class PrivateBus {
public:
    PrivateBus();

private:
    stage::Folder mFolder;
    std::unique_ptr<stage::Child> mDaemon;
};

enum class PortalStep { Nothing, GetAll, CreateSession, SelectSources, Start, OpenPipeWireRemote };
enum class PortalFault { None, Silent, HalfAnswer, Error, Declined, Failed, Garbage, Goes };

class PortalStandIn {
public:
    PortalStep at = PortalStep::Nothing;
    PortalFault fault = PortalFault::None;
    quint32 kinds = 3, pointers = 7;  // offered; no kinds: no part for sharing at all
    quint32 node = 7;
    int socket = -1;             // handed out; not owned
    bool impostorFirst = false;  // somebody else answers before the portal does
    std::optional<quint32> askedKinds, askedPointer;

    PortalStandIn();
    ~PortalStandIn();
    /// The desktop's user ends the sharing.
    void EndSession();
    void Leave();
    /// Comes back.
    void Come();

private:
    static int Called(sd_bus_message* call, void* self, sd_bus_error*);
    int Answer(sd_bus_message* call);
    int Reply(sd_bus_message* call, PortalStep step);
    int ReplyProperties(sd_bus_message* call);
    void Respond(sd_bus* from, const QByteArray& request, PortalStep step, quint32 node);
    QByteArray ReadCall(sd_bus_message* call, PortalStep step);
    void Serve();

    sd_bus* mBus = nullptr;
    sd_bus* mImpostor = nullptr;
    std::unique_ptr<QSocketNotifier> mCalls;
    QByteArray mClient, mSession;
};
