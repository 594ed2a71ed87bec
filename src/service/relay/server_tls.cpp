#include "service/relay/server_tls.h"

#include <spdlog/logger.h>

#include "service/net/tls_context.h"
#include "service/relay/door/identity.h"
#include "service/relay/private_folder.h"

namespace zephyl {

std::shared_ptr<const TlsContext> ServerTls(const RelayOptions& options, spdlog::logger& log)
{
    Identity identity{options.key, options.certificate};
    if (options.key.empty()) identity = PrepareIdentity(options.data);
    if (identity.certified)
        log.warn("{} was missing and is made anew; the key, by which clients know the service, is the same",
                 identity.certificate.string());
    try {
        return TlsContext::Server(identity.key, identity.certificate);
    } catch (const TlsError& error) {
        throw StartError(error.what());
    }
}

}  // namespace zephyl
