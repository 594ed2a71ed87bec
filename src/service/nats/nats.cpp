// relay/cluster/nats_connection.h by libnats.

#include <nats/nats.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "service/relay/cluster/nats_connection.h"

namespace zephyl {
namespace {

constexpr int kWaitMs = 2000;
constexpr int kPendingMessages = 1'000'000;
constexpr int kPendingBytes = 64 << 20;  // beyond that what is heard is dropped

void Must(natsStatus status)
{
    if (status != NATS_OK) throw NatsAway(natsStatus_GetText(status));
}

/// "(conn.c:2088): No server available": the library's own line says nothing to whoever reads it.
std::string WhyIn(const char* last, natsStatus status)
{
    std::string why = last ? last : "";
    const std::size_t end = why.find("): ");
    if (why.starts_with('(') && end != std::string::npos) why.erase(0, end + 3);
    return why.empty() ? natsStatus_GetText(status) : why;
}

struct Freed {
    void operator()(natsOptions* options) const { natsOptions_Destroy(options); }
    void operator()(natsMsg* message) const { natsMsg_Destroy(message); }
};

struct Ends {
    NatsConnection::Take take;
    NatsConnection::Ended ended;
    std::mutex mutex;  // one call at a time, and none once it is closed
    bool closed = false;
};

/// The library's callbacks may come when their connection has gone: they know it by a number.
class Living {
public:
    static void* Add(const std::shared_ptr<Ends>& ends)
    {
        const std::lock_guard lock(One().mMutex);
        One().mEnds[++One().mLast] = ends;
        return reinterpret_cast<void*>(One().mLast);
    }
    static void Forget(void* number)
    {
        const std::lock_guard lock(One().mMutex);
        One().mEnds.erase(reinterpret_cast<std::uintptr_t>(number));
    }
    static std::shared_ptr<Ends> Find(void* number)
    {
        const std::lock_guard lock(One().mMutex);
        const auto at = One().mEnds.find(reinterpret_cast<std::uintptr_t>(number));
        return at == One().mEnds.end() ? nullptr : at->second;
    }

private:
    static Living& One()
    {
        static Living one;
        return one;
    }
    std::mutex mMutex;
    std::uintptr_t mLast = 0;
    std::map<std::uintptr_t, std::shared_ptr<Ends>> mEnds;
};

class Nats final : public NatsConnection {
public:
    Nats(const NatsServer& server, Take take, Ended ended)
    {
        mEnds->take = std::move(take);
        mEnds->ended = std::move(ended);
        const std::unique_ptr<natsOptions, Freed> options = OptionsFor(server);
        const natsStatus status = natsConnection_Connect(&mConnection, options.get());
        if (status == NATS_OK) return;
        Living::Forget(mNumber);
        throw NatsAway(WhyIn(nats_GetLastError(nullptr), status));
    }
    ~Nats() override
    {
        Living::Forget(mNumber);
        natsConnection_Close(mConnection);
        {
            const std::lock_guard lock(mEnds->mutex);
            mEnds->closed = true;
        }
        for (const auto& [subject, subscription] : mSubscriptions) natsSubscription_Destroy(subscription);
        natsConnection_Destroy(mConnection);
    }
    Nats(const Nats&) = delete;
    Nats& operator=(const Nats&) = delete;

    void Send(const std::string& subject, const std::string& answerTo, const NatsHeaders& headers,
              std::string_view bytes) override
    {
        const char* const answer = answerTo.empty() ? nullptr : answerTo.c_str();
        const auto size = static_cast<int>(bytes.size());
        if (headers.empty()) {
            Sent(Publish(subject.c_str(), answer, bytes.data(), size));
            return;
        }
        natsMsg* made = nullptr;
        if (natsMsg_Create(&made, subject.c_str(), answer, bytes.data(), size) != NATS_OK) return;
        const std::unique_ptr<natsMsg, Freed> message(made);
        for (const auto& [name, value] : headers) natsMsgHeader_Set(made, name, value.c_str());
        Sent(natsConnection_PublishMsg(mConnection, made));
    }
    void Listen(const std::string& subject) override
    {
        natsSubscription* subscription = nullptr;
        if (natsConnection_Subscribe(&subscription, mConnection, subject.c_str(), OnMessage, mNumber) !=
            NATS_OK)
            return mEnds->ended();
        natsSubscription_SetPendingLimits(subscription, kPendingMessages, kPendingBytes);
        const std::lock_guard lock(mMutex);
        mSubscriptions.emplace(subject, subscription);
    }
    void Ignore(const std::string& subject) override
    {
        natsSubscription* subscription = nullptr;
        {
            const std::lock_guard lock(mMutex);
            const auto at = mSubscriptions.find(subject);
            if (at == mSubscriptions.end()) return;
            subscription = at->second;
            mSubscriptions.erase(at);
        }
        natsSubscription_Unsubscribe(subscription);
        natsSubscription_Destroy(subscription);
    }
    std::size_t MostBytes() const override
    {
        return static_cast<std::size_t>(natsConnection_GetMaxPayload(mConnection));
    }

private:
    natsStatus Publish(const char* subject, const char* answer, const char* bytes, int size)
    {
        return answer ? natsConnection_PublishRequest(mConnection, subject, answer, bytes, size)
                      : natsConnection_Publish(mConnection, subject, bytes, size);
    }
    void Sent(natsStatus status)
    {
        if (status != NATS_OK) mEnds->ended();
    }
    // Whoever calls here connects anew by itself: what was begun on one connection must not go on in another.
    std::unique_ptr<natsOptions, Freed> OptionsFor(const NatsServer& server)
    {
        natsOptions* made = nullptr;
        Must(natsOptions_Create(&made));
        std::unique_ptr<natsOptions, Freed> options(made);
        const bool v6 = server.host.find(':') != std::string::npos;
        const std::string url = "nats://" + (v6 ? "[" + server.host + "]" : server.host) + ":" + server.port;
        Must(natsOptions_SetURL(made, url.c_str()));
        Must(natsOptions_SetUserInfo(made, server.user.c_str(), server.password.c_str()));
        Must(natsOptions_SetName(made, "zephyld"));
        Must(natsOptions_SetTimeout(made, kWaitMs));
        Must(natsOptions_SetWriteDeadline(made, kWaitMs));
        Must(natsOptions_SetAllowReconnect(made, false));
        Must(natsOptions_SetIgnoreDiscoveredServers(made, true));
        Must(natsOptions_SetSendAsap(made, true));
        // One thread for all that is listened to, which keeps it in the order in which it came.
        Must(natsOptions_UseGlobalMessageDelivery(made, true));
        Must(natsOptions_SetDisconnectedCB(made, OnEnd, mNumber));
        Must(natsOptions_SetClosedCB(made, OnEnd, mNumber));
        Must(natsOptions_SetErrorHandler(made, OnError, mNumber));
        if (server.tls) {
            Must(natsOptions_SetSecure(made, true));
            Must(natsOptions_LoadCATrustedCertificates(made, server.authorities.c_str()));
            Must(natsOptions_SetExpectedHostname(made, server.host.c_str()));
        }
        return options;
    }
    static void OnMessage(natsConnection*, natsSubscription* subscription, natsMsg* raw, void* closure)
    {
        const std::unique_ptr<natsMsg, Freed> message(raw);
        const std::shared_ptr<Ends> ends = Living::Find(closure);
        if (!ends) return;
        const auto text = [](const char* from) { return from ? std::string_view(from) : std::string_view(); };
        const auto header = [&](const char* name) {
            const char* value = nullptr;
            return natsMsgHeader_Get(raw, name, &value) == NATS_OK ? text(value) : std::string_view();
        };
        const NatsMessage heard{text(natsSubscription_GetSubject(subscription)),
                                text(natsMsg_GetSubject(raw)),
                                text(natsMsg_GetReply(raw)),
                                header("Status"),
                                header("KV-Operation"),
                                {natsMsg_GetData(raw), static_cast<std::size_t>(natsMsg_GetDataLength(raw))}};
        const std::lock_guard lock(ends->mutex);
        if (!ends->closed) ends->take(heard);
    }
    static void OnEnd(natsConnection*, void* closure)
    {
        if (const auto ends = Living::Find(closure)) ends->ended();
    }
    // Of a listener that is behind, or refused: what was dropped would be missed in silence.
    static void OnError(natsConnection* connection, natsSubscription*, natsStatus, void* closure)
    {
        OnEnd(connection, closure);
    }

    const std::shared_ptr<Ends> mEnds = std::make_shared<Ends>();
    void* const mNumber = Living::Add(mEnds);
    natsConnection* mConnection = nullptr;
    std::mutex mMutex;
    std::map<std::string, natsSubscription*> mSubscriptions;
};

}  // namespace
}  // namespace zephyl

extern "C" __attribute__((visibility("default"))) zephyl::NatsConnection* ZephylOpenNats(
    const zephyl::NatsServer& server, zephyl::NatsConnection::Take take, zephyl::NatsConnection::Ended ended)
{
    return new zephyl::Nats(server, std::move(take), std::move(ended));
}
