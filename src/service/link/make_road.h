#pragma once
// Which road leads to a service. Network thread.

#include <memory>

#include "service/link/destination.h"
#include "service/link/service_road.h"

namespace zephyl::link {

std::unique_ptr<ServiceRoad> MakeRoad(const ServiceRoad::Executor& executor,
                                      std::shared_ptr<const TlsContext> context, const Destination& to);

}  // namespace zephyl::link
