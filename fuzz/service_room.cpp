#include "service_room.h"

#include <netdb.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/null_sink.h>

#include <boost/asio/co_spawn.hpp>
#include <chrono>
#include <cstdlib>

#include "service/relay/door/passwords.h"

// Names come from strangers here; none of them leaves the machine.
extern "C" int getaddrinfo(const char* node, const char*, const addrinfo* hints, addrinfo** found)
{
    static sockaddr_in loopback{};
    static addrinfo here{};
    if (!node || std::string(node) != "127.0.0.1") return EAI_NONAME;
    loopback.sin_family = AF_INET;
    loopback.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    here.ai_family = AF_INET;
    here.ai_socktype = hints ? hints->ai_socktype : SOCK_STREAM;
    here.ai_addrlen = sizeof loopback;
    here.ai_addr = reinterpret_cast<sockaddr*>(&loopback);
    *found = &here;
    return 0;
}
extern "C" void freeaddrinfo(addrinfo*) {}

namespace zephyl {
namespace asio = boost::asio;
using asio::ip::tcp;
namespace {

constexpr HashCost kCheap{1, 8192};
constexpr std::chrono::seconds kPatience{
    5};  // far more than one input needs; the fuzzer's own limit is shorter

std::filesystem::path NewFolder()
{
    std::string name = (std::filesystem::temp_directory_path() / "dialogue-XXXXXX").string();
    if (!::mkdtemp(name.data())) std::abort();
    return name;
}

/// The fuzzer's clock rings in the middle of it; Linux goes on with a connect that is asked for again.
void Join(tcp::socket& socket, std::uint16_t port)
{
    boost::system::error_code failed;
    do socket.connect({asio::ip::address_v4::loopback(), port}, failed);
    while (failed == asio::error::interrupted);
    if (failed) std::abort();
}

RelayOptions At(RelayOptions options, const std::filesystem::path& folder)
{
    options.data = folder;
    options.port = 0;
    options.threads = 1;
    options.logsInMemory = true;
    options.udp = false;  // it has a thread of its own; see datagrams.cpp
    return options;
}

}  // namespace

ServiceHome::ServiceHome() : folder(NewFolder())
{
    StartSodium();
}

ServiceHome::~ServiceHome()
{
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

ServiceRoom::ServiceRoom(ServiceHome& home, RelayOptions options)
    : mHome(home),
      mRelay(At(std::move(options), home.folder),
             std::make_shared<spdlog::logger>("fuzz", std::make_shared<spdlog::sinks::null_sink_mt>()),
             kCheap),
      mIo(mRelay.StartHere())
{
    for (const char* name : {"ann", "bob"})
        if (!mRelay.TheAccounts().Find(name))
            mRelay.TheAccounts().Add(name, HashPassword(ServiceHome::PasswordOf(name), kCheap), "");
}

std::unique_ptr<TlsStream> ServiceRoom::Connect(const std::string& from)
{
    tcp::socket socket(mIo, tcp::endpoint(asio::ip::make_address(from), 0));
    socket.set_option(
        asio::socket_base::linger(true, 0));  // thousands a minute: no port is to wait for its end
    Join(socket, mRelay.Port());
    auto stream = std::make_unique<TlsStream>(std::move(socket), mHome.clientTls);
    bool over = false;
    asio::co_spawn(mIo, stream->Handshake(), [&over](std::exception_ptr) { over = true; });
    RunUntil([&over] { return over; });
    return stream;
}

tcp::socket ServiceRoom::ConnectPlain()
{
    tcp::socket socket(mIo, tcp::endpoint(asio::ip::address_v4::loopback(), 0));
    socket.set_option(asio::socket_base::linger(true, 0));
    Join(socket, mRelay.HttpPort());
    socket.non_blocking(true);
    return socket;
}

void ServiceRoom::Run()
{
    mIo.restart();
    mIo.poll();
}

void ServiceRoom::RunUntil(const std::function<bool()>& done)
{
    const auto until = std::chrono::steady_clock::now() + kPatience;
    while (!done()) {
        if (std::chrono::steady_clock::now() > until) std::abort();  // an answer that never comes
        mIo.restart();
        if (mIo.poll() == 0 && !done()) mIo.run_one_for(std::chrono::milliseconds(20));
    }
}

}  // namespace zephyl
