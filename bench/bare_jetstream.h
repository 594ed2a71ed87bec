#pragma once
// A loop that publishes to JetStream and consumes what comes: the least that a log in NATS can cost.

#include <nats/nats.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "service/relay/cluster/nats_connection.h"

namespace zephyl {

using Microseconds = std::chrono::duration<double, std::micro>;

inline void Must(natsStatus status)
{
    if (status == NATS_OK) return;
    std::fprintf(stderr, "%s\n", natsStatus_GetText(status));
    std::exit(1);
}

/// As the library's examples do it.
class BareJetStream {
public:
    BareJetStream(const NatsServer& server, unsigned replicas)
    {
        natsOptions* options = nullptr;
        Must(natsOptions_Create(&options));
        Must(natsOptions_SetURL(options, ("nats://" + server.host + ":" + server.port).c_str()));
        Must(natsOptions_SetUserInfo(options, server.user.c_str(), server.password.c_str()));
        Must(natsOptions_SetSendAsap(options, true));
        if (server.tls) {
            Must(natsOptions_SetSecure(options, true));
            Must(natsOptions_LoadCATrustedCertificates(options, server.authorities.c_str()));
            Must(natsOptions_SetExpectedHostname(options, server.host.c_str()));
        }
        Must(natsConnection_Connect(&mConnection, options));
        natsOptions_Destroy(options);
        Must(natsConnection_JetStream(&mJetStream, mConnection, nullptr));
        jsStreamConfig stream;
        Must(jsStreamConfig_Init(&stream));
        const char* subjects[] = {"bare.>"};
        stream.Name = "BARE";
        stream.Subjects = subjects;
        stream.SubjectsLen = 1;
        stream.Replicas = replicas;
        Must(js_AddStream(nullptr, mJetStream, &stream, nullptr, nullptr));
        Must(js_SubscribeSync(&mHeard, mJetStream, "bare.a", nullptr, nullptr, nullptr));
    }
    ~BareJetStream()
    {
        natsSubscription_Destroy(mHeard);
        jsCtx_Destroy(mJetStream);
        natsConnection_Destroy(mConnection);
    }
    BareJetStream(const BareJetStream&) = delete;
    BareJetStream& operator=(const BareJetStream&) = delete;
    /// Until what was published has been stored, and has come.
    Microseconds Round(const std::string& bytes)
    {
        const auto begin = std::chrono::steady_clock::now();
        Must(js_Publish(nullptr, mJetStream, "bare.a", bytes.data(), static_cast<int>(bytes.size()), nullptr,
                        nullptr));
        natsMsg* message = nullptr;
        Must(natsSubscription_NextMsg(&message, mHeard, 10'000));
        const auto end = std::chrono::steady_clock::now();
        natsMsg_Ack(message, nullptr);
        natsMsg_Destroy(message);
        return end - begin;
    }

private:
    natsConnection* mConnection = nullptr;
    jsCtx* mJetStream = nullptr;
    natsSubscription* mHeard = nullptr;
};

}  // namespace zephyl
