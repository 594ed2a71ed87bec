#pragma once

#include <memory>

#include "service/relay/options.h"

namespace spdlog {
class logger;
}

namespace zephyl {

class TlsContext;

/// Of the key and certificate that the options name, else of the data folder's own, made there when there is
/// none. Throws StartError.
std::shared_ptr<const TlsContext> ServerTls(const RelayOptions& options, spdlog::logger& log);

}  // namespace zephyl
