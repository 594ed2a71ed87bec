#pragma once
// One server of those that keep the meetings, looked at by an operator's command. Nothing is changed there.

#include <string>

#include "service/relay/cluster/nats_asker.h"

namespace zephyl {

class NatsLook {
public:
    /// As NatsAsker's.
    explicit NatsLook(const NatsServer& server) : mAsker(server) {}

    std::size_t MostBytes() const { return mAsker.MostBytes(); }
    /// Why JetStream is of no use; "": it is.
    std::string JetStreamFault() { return FaultIn(mAsker.AskJetStream("INFO")); }
    struct Stream {
        std::string fault;  // "": what follows is known
        bool missing = false;
        jetstream::StreamFacts facts = {};
    };
    Stream LookAt(const std::string& stream);

private:
    NatsAsker mAsker;
};

}  // namespace zephyl
