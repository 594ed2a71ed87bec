#include "service/relay/listen_address.h"

#include <charconv>

#include "service/relay/private_folder.h"

namespace zephyl {

void ReadListen(const std::string& text, std::string& host, std::uint16_t& port)
{
    const std::size_t bracket = text.rfind(']');
    const std::size_t colon = text.find(':', bracket == std::string::npos ? 0 : bracket);
    host = text.substr(0, colon);
    if (host.size() > 2 && host.front() == '[') host = host.substr(1, host.size() - 2);
    if (host.empty()) throw StartError("\"" + text + "\" names no host to listen on");
    if (colon == std::string::npos) throw StartError("\"" + text + "\" names no port; HOST:PORT is needed");
    const char* end = text.data() + text.size();
    const auto read = std::from_chars(text.data() + colon + 1, end, port);
    if (read.ec != std::errc() || read.ptr != end)
        throw StartError("\"" + text + "\" has no port from 0 to 65535");
}

}  // namespace zephyl
