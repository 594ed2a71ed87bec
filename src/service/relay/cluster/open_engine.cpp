#include "service/relay/cluster/open_engine.h"

#include "service/relay/cluster/nats_place.h"
#include "service/relay/own_module.h"

namespace zephyl {
namespace {

OpenNatsFunction LoadedFunction()
{
    static void* const function =
        OwnModule("nats.so", kOpenNats, "meetings in NATS need the package libnats3.4");
    return reinterpret_cast<OpenNatsFunction>(function);
}

}  // namespace

std::unique_ptr<NatsConnection> OpenNats(const NatsServer& server, NatsConnection::Take take,
                                         NatsConnection::Ended ended)
{
    return std::unique_ptr<NatsConnection>(LoadedFunction()(server, std::move(take), std::move(ended)));
}

std::unique_ptr<Engine> OpenEngine(const ClusterOptions& options, NatsEngine::Say say)
{
    if (options.log.empty()) return nullptr;
    LoadedFunction();
    return std::make_unique<NatsEngine>(LogPlace(options), OpenNats, std::move(say));
}

}  // namespace zephyl
