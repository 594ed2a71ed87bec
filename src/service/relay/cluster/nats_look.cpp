#include "service/relay/cluster/nats_look.h"

namespace zephyl {

NatsLook::Stream NatsLook::LookAt(const std::string& stream)
{
    const jetstream::json::value answer = mAsker.AskJetStream("STREAM.INFO." + stream);
    if (const auto facts = jetstream::StreamIn(answer))
        return {facts->led ? "" : "none of its servers leads it", false, *facts};
    return {FaultIn(answer), IsMissing(answer)};
}

}  // namespace zephyl
