#include "platform/portal_stand_in.h"

#include <QFile>
#include <map>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace {

constexpr char kPath[] = "/org/freedesktop/portal/desktop";

const std::map<QByteArray, PortalStep> kSteps = {{"GetAll", PortalStep::GetAll},
                                                 {"CreateSession", PortalStep::CreateSession},
                                                 {"SelectSources", PortalStep::SelectSources},
                                                 {"Start", PortalStep::Start},
                                                 {"OpenPipeWireRemote", PortalStep::OpenPipeWireRemote}};

sd_bus* Connected()
{
    sd_bus* bus = nullptr;
    const char* name = nullptr;
    if (sd_bus_open_user(&bus) < 0 || sd_bus_get_unique_name(bus, &name) < 0)
        throw std::runtime_error("no bus for the portal");
    return bus;
}

}  // namespace

PrivateBus::PrivateBus()
{
    QFile file(mFolder / "bus.conf");
    if (!file.open(QIODevice::WriteOnly)) throw std::runtime_error("no bus.conf");
    file.write("<busconfig><type>session</type><listen>unix:dir=" + QFile::encodeName(mFolder.Path()) +
               "</listen><policy context='default'><allow send_destination='*' eavesdrop='true'/>"
               "<allow eavesdrop='true'/><allow own='*'/></policy></busconfig>");
    file.close();
    mDaemon = std::make_unique<stage::Child>(
        u"dbus-daemon"_s,
        QStringList{u"--nofork"_s, u"--print-address=1"_s, u"--config-file="_s + file.fileName()},
        std::map<QString, QString>{}, mFolder / "bus.log");
    qputenv("DBUS_SESSION_BUS_ADDRESS", mDaemon->ReadLine());
}

PortalStandIn::PortalStandIn() : mImpostor(Connected())
{
    Come();
}

void PortalStandIn::Come()
{
    mBus = Connected();
    sd_bus_request_name(mBus, "org.freedesktop.portal.Desktop", 0);
    sd_bus_add_filter(mBus, nullptr, &PortalStandIn::Called, this);
    mCalls = std::make_unique<QSocketNotifier>(sd_bus_get_fd(mBus), QSocketNotifier::Read);
    QObject::connect(mCalls.get(), &QSocketNotifier::activated, mCalls.get(), [this] { Serve(); });
}

PortalStandIn::~PortalStandIn()
{
    Leave();
    sd_bus_close_unref(mImpostor);
}

void PortalStandIn::Leave()
{
    mCalls.reset();
    if (mBus) sd_bus_flush_close_unref(mBus);
    mBus = nullptr;
}

void PortalStandIn::Serve()
{
    while (mBus && sd_bus_process(mBus, nullptr) > 0) continue;
    if (mBus) sd_bus_flush(mBus);
}

void PortalStandIn::EndSession()
{
    // First somebody who has no say in it.
    for (sd_bus* from : {mImpostor, mBus}) {
        sd_bus_message* signal = nullptr;
        sd_bus_message_new_signal(from, &signal, mSession, "org.freedesktop.portal.Session", "Closed");
        sd_bus_message_append(signal, "a{sv}", 0);
        sd_bus_message_set_destination(signal, mClient);
        sd_bus_send(from, signal, nullptr);
        sd_bus_message_unref(signal);
        sd_bus_flush(from);
    }
}

int PortalStandIn::Called(sd_bus_message* call, void* self, sd_bus_error*)
{
    if (!sd_bus_message_is_method_call(call, nullptr, nullptr)) return 0;
    return static_cast<PortalStandIn*>(self)->Answer(call);
}

int PortalStandIn::Answer(sd_bus_message* call)
{
    const auto found = kSteps.find(sd_bus_message_get_member(call));
    if (found == kSteps.end()) return 0;
    const PortalStep step = found->second;
    mClient = sd_bus_message_get_sender(call);
    const PortalFault now = step == at ? fault : PortalFault::None;
    if (now == PortalFault::Silent) return 1;
    if (now == PortalFault::Error)
        return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_FAILED, "not \n today");
    if (now == PortalFault::Goes) {
        QMetaObject::invokeMethod(
            mCalls.get(), [this] { Leave(); }, Qt::QueuedConnection);
        return 1;
    }
    return Reply(call, step);
}

int PortalStandIn::ReplyProperties(sd_bus_message* call)
{
    if (kinds == 0) return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_INVALID_ARGS, "No such interface");
    if (at == PortalStep::GetAll && fault == PortalFault::Garbage)
        return sd_bus_reply_method_return(call, "a{sv}", 1, "AvailableSourceTypes", "s", "both");
    return sd_bus_reply_method_return(call, "a{sv}", 2, "AvailableSourceTypes", "u", kinds,
                                      "AvailableCursorModes", "u", pointers);
}

int PortalStandIn::Reply(sd_bus_message* call, PortalStep step)
{
    if (step == PortalStep::GetAll) return ReplyProperties(call);
    const bool garbage = at == step && fault == PortalFault::Garbage;
    if (step == PortalStep::OpenPipeWireRemote)
        return garbage ? sd_bus_reply_method_return(call, "s", "7")
                       : sd_bus_reply_method_return(call, "h", socket);
    const QByteArray request = ReadCall(call, step);
    sd_bus_reply_method_return(call, "o", request.constData());
    if (impostorFirst) Respond(mImpostor, request, step, 666);
    if (!(at == step && fault == PortalFault::HalfAnswer)) Respond(mBus, request, step, node);
    return 1;
}

/// Reads what was asked for. Returns the path of the request.
QByteArray PortalStandIn::ReadCall(sd_bus_message* call, PortalStep step)
{
    const char* text = nullptr;
    if (step != PortalStep::CreateSession) sd_bus_message_read(call, "o", &text);
    if (step == PortalStep::Start) sd_bus_message_read(call, "s", &text);
    QByteArray token;
    sd_bus_message_enter_container(call, 'a', "{sv}");
    while (sd_bus_message_enter_container(call, 'e', "sv") > 0) {
        const char *key = nullptr, *contents = nullptr;
        sd_bus_message_read(call, "s", &key);
        sd_bus_message_peek_type(call, nullptr, &contents);
        sd_bus_message_enter_container(call, 'v', contents);
        quint32 number = 0;
        int truth = 0;
        if (*contents == 's') sd_bus_message_read(call, "s", &text);
        if (*contents == 'u') sd_bus_message_read(call, "u", &number);
        if (*contents == 'b') sd_bus_message_read(call, "b", &truth);
        if (QByteArrayView(key) == "handle_token") token = text;
        if (QByteArrayView(key) == "types") askedKinds = number;
        if (QByteArrayView(key) == "cursor_mode") askedPointer = number;
        sd_bus_message_exit_container(call);
        sd_bus_message_exit_container(call);
    }
    const QByteArray client = mClient.mid(1).replace('.', '_');
    mSession = QByteArray(kPath) + "/session/" + client + "/one";
    return QByteArray(kPath) + "/request/" + client + '/' + token;
}

void PortalStandIn::Respond(sd_bus* from, const QByteArray& request, PortalStep step, quint32 stream)
{
    const PortalFault now = at == step ? fault : PortalFault::None;
    const quint32 code = now == PortalFault::Declined ? 1 : now == PortalFault::Failed ? 2 : 0;
    sd_bus_message* signal = nullptr;
    sd_bus_message_new_signal(from, &signal, request, "org.freedesktop.portal.Request", "Response");
    sd_bus_message_set_destination(signal, mClient);
    if (code != 0)
        sd_bus_message_append(signal, "ua{sv}", code, 0);
    else if (now == PortalFault::Garbage)
        sd_bus_message_append(signal, "ua{sv}", 0, 2, "session_handle", "s", "no path", "streams", "au", 1,
                              7);
    else if (step == PortalStep::Start)
        sd_bus_message_append(signal, "ua{sv}", 0, 2, "other", "(sd)", "x", 1.5, "streams", "a(ua{sv})", 2,
                              stream, 1, "size", "(ii)", 40, 30, stream + 1, 0);
    else
        sd_bus_message_append(signal, "ua{sv}", 0, 1, "session_handle", "s", mSession.constData());
    sd_bus_send(from, signal, nullptr);
    sd_bus_message_unref(signal);
    sd_bus_flush(from);
}
