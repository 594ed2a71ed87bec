#include "service/relay/server_tls.h"

#include "service/net/tls_context.h"
#include "service/relay/door/identity.h"
#include "service/relay/private_folder.h"

namespace zephyl {

std::shared_ptr<const TlsContext> ServerTls(const RelayOptions& options)
{
    Identity identity{options.key, options.certificate};
    if (options.key.empty()) identity = PrepareIdentity(options.data);
    try {
        return TlsContext::Server(identity.key, identity.certificate);
    } catch (const TlsError& error) {
        throw StartError(error.what());
    }
}

}  // namespace zephyl
