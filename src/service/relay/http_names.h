#pragma once
// Connections made of exchanges, by the names that their clients were given. Any thread.

#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include "service/relay/came_by.h"
#include "service/relay/door/connection_gate.h"
#include "service/relay/services.h"

namespace zephyl {

class HttpRoad;

class HttpNames {
public:
    explicit HttpNames(Services& services) : mServices(services) {}

    struct Opened {
        int status = 200;  // else: banned, or too many have not logged in
        std::string name = {};
    };
    /// A new connection.
    Opened Open(const std::string& address, const CameBy& by, ConnectionGate& gate);
    /// Null: nobody has that name, or not who came in this way.
    std::shared_ptr<HttpRoad> Find(const std::string& name, const CameBy& by);
    /// When no thread runs any more.
    void Drop();

private:
    struct Named {
        std::weak_ptr<HttpRoad> road;
        std::uint64_t opening = 0;
    };
    void Forget(const std::string& key);

    Services& mServices;
    std::mutex mMutex;
    // By a digest of the name: how long a look-up takes tells nothing of the names there are.
    std::unordered_map<std::string, Named> mNames;
};

}  // namespace zephyl
