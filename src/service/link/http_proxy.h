#pragma once
// Which proxy is asked for a way to a service. Pure but for the environment that is passed in.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace zephyl::link {

struct HttpProxy {
    std::string host;
    std::uint16_t port = 0;
    std::string credentials = {};  // "name:password"; "": none

    /// HOST:PORT, for people.
    std::string Name() const;
};

/// The value of a variable; "" where there is none.
using Environment = std::function<std::string(const char* name)>;
/// Of this process.
Environment TheEnvironment();

/// `setting`: [http://][NAME:PASSWORD@]HOST[:PORT] (port 8080 where none is named), "direct" for none, "" for
/// what HTTPS_PROXY or https_proxy say. NO_PROXY (or no_proxy) holds for both: names of hosts with everything
/// beneath them, addresses, ADDRESS/BITS, each with or without a port, or "*" for everything.
/// None: there is no proxy between. Throws std::runtime_error with words for people when it cannot be read.
std::optional<HttpProxy> ProxyFor(const std::string& setting, const std::string& host, std::uint16_t port,
                                  const Environment& environment);

}  // namespace zephyl::link
