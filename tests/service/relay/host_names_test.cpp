// Names that clients announce, where the machine's resolver says nothing.

#include "service/relay/door/host_names.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/null_sink.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/strand.hpp>
#include <chrono>
#include <cstring>
#include <semaphore>

namespace {
std::binary_semaphore answered(0);
constexpr char kSilent[] = "silent.example";
}  // namespace

/// The resolver of the whole program: it knows one more name, and keeps it to itself.
extern "C" int getaddrinfo(const char* node, const char* service, const addrinfo* hints, addrinfo** found)
{
    if (node && std::strcmp(node, kSilent) == 0) {
        answered.acquire();
        return EAI_NONAME;
    }
    static const auto real = reinterpret_cast<decltype(&getaddrinfo)>(::dlsym(RTLD_NEXT, "getaddrinfo"));
    return real(node, service, hints, found);
}

namespace zephyl {
namespace {

TEST(HostNames, ASilentResolverHoldsNobodyUp)
{
    boost::asio::io_context io;
    spdlog::logger log("test", std::make_shared<spdlog::sinks::null_sink_mt>());
    std::string accepted;
    boost::asio::co_spawn(boost::asio::make_strand(io), AcceptedHostName(log, kSilent, "10.1.2.3"),
                          [&](std::exception_ptr, std::string name) { accepted = std::move(name); });
    while (accepted.empty() && io.run_one_for(std::chrono::seconds(10)) > 0) {
    }
    EXPECT_EQ(accepted, "10.1.2.3");
    answered.release();
}

}  // namespace
}  // namespace zephyl
