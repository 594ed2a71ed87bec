#include "relay/servers.h"

#include <openssl/ssl.h>
#include <sched.h>
#include <signal.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/null_sink.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read_until.hpp>
#include <fstream>
#include <memory>

#include "relay/bare_loop.h"
#include "relay/foreign_servers.h"
#include "service/relay/door/identity.h"
#include "service/relay/private_folder.h"
#include "service/relay/process_memory.h"
#include "service/relay/relay.h"

namespace asio = boost::asio;
using namespace zephyl;

namespace {

// On its core, and not longer than the benchmark.
void BeginServer()
{
    PinTo(kServerCore);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
}

[[noreturn]] void RunBare(Kind kind, const std::filesystem::path& data, int report)
{
    PrepareMemory();
    PreparePrivateFolder(data);
    const Identity identity = PrepareIdentity(data);
    asio::io_context io;
    asio::ip::tcp::acceptor acceptor(io, {asio::ip::address_v4::loopback(), 0});
    Tell(report, acceptor.local_endpoint().port());
    BareLoop(io, acceptor, TlsContext::Server(identity.key, identity.certificate), kind == Kind::BareBatch)
        .Run();
}

[[noreturn]] void RunRelay(Kind kind, const std::filesystem::path& data, int accounts, int report)
{
    PrepareMemory();
    RelayOptions options = BareRelayOptions(data);
    options.logsInMemory = kind == Kind::RelayMemory;
    Relay relay(options,
                std::make_shared<spdlog::logger>("bench", std::make_shared<spdlog::sinks::null_sink_mt>()),
                kCheapHash);
    StartFor(relay, accounts);
    Tell(report, relay.Port());
    ForgetStart();
    for (;;) ::pause();
}

}  // namespace

void Tell(int report, std::uint16_t port)
{
    if (::write(report, &port, sizeof port) != sizeof port) ::_exit(1);
}

RelayOptions BareRelayOptions(const std::filesystem::path& data)
{
    RelayOptions options;
    options.data = data;
    options.port = 0;
    options.threads = 1;
    options.bounds.connectionsPerAddress = 100'000;
    options.bounds.connectionsBeforeLogin = 100'000;
    options.budgets.items = options.budgets.bytes = options.budgets.liveFrames = options.budgets.liveBytes =
        0;
    options.bounds.memory = 0;
    return options;
}

void StartFor(Relay& relay, int accounts)
{
    const std::string hash = HashPassword("secret", kCheapHash);
    for (int i = 0; i < accounts; ++i) relay.TheAccounts().Add("user" + std::to_string(i), hash, "");
    relay.Start();
}

void PinTo(int core)
{
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(core, &set);
    ::sched_setaffinity(0, sizeof set, &set);
}

bool Installed(Kind kind)
{
    return kind < Kind::Mosquitto || !ForeignProgram(kind).empty();
}

ServerProcess::ServerProcess(Kind kind, const std::filesystem::path& data, int accounts) : mKind(kind)
{
    if (Foreign())
        StartForeign(data);
    else
        StartOwn([&](int report) {
            if (kind == Kind::Relay || kind == Kind::RelayMemory) RunRelay(kind, data, accounts, report);
            RunBare(kind, data, report);
        });
}

ServerProcess::ServerProcess(Kind kind, const std::function<void(int report)>& run) : mKind(kind)
{
    StartOwn(run);
}

void ServerProcess::StartOwn(const std::function<void(int report)>& run)
{
    int report[2];
    if (::pipe(report) != 0) throw std::runtime_error("no pipe");
    mPid = ::fork();
    if (mPid == 0) {
        BeginServer();
        run(report[1]);
        ::_exit(1);
    }
    ::close(report[1]);
    const bool told = ::read(report[0], &mPort, sizeof mPort) == sizeof mPort;
    ::close(report[0]);
    if (!told) throw std::runtime_error("the server did not start");
}

void ServerProcess::StartForeign(const std::filesystem::path& data)
{
    const ForeignCommand command = PrepareForeign(mKind, data);
    mPort = command.port;
    mPid = ::fork();
    if (mPid == 0) {
        BeginServer();
        RunForeign(command);
    }
    if (!Listening(mPort, mPid)) {
        std::ifstream said(command.log);
        throw std::runtime_error(command.arguments.front() +
                                 " does not start: " + std::string(std::istreambuf_iterator<char>(said), {}));
    }
}

ServerProcess::~ServerProcess()
{
    ::kill(mPid, SIGKILL);
    ::waitpid(mPid, nullptr, 0);
}

std::chrono::nanoseconds ServerProcess::Cpu() const
{
    clockid_t clock;
    timespec used{};
    ::clock_getcpuclockid(mPid, &clock);
    ::clock_gettime(clock, &used);
    return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

std::size_t ServerProcess::Resident() const
{
    std::ifstream statm("/proc/" + std::to_string(mPid) + "/statm");
    std::size_t total = 0, resident = 0;
    statm >> total >> resident;
    return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

std::string ServerProcess::Tls() const
{
    asio::io_context io;
    asio::ip::tcp::socket socket(io);
    socket.connect({asio::ip::address_v4::loopback(), mPort});
    std::string info;
    if (mKind == Kind::Nats) asio::read_until(socket, asio::dynamic_buffer(info), "\r\n");
    const std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> context(SSL_CTX_new(TLS_client_method()),
                                                               SSL_CTX_free);
    const std::unique_ptr<SSL, void (*)(SSL*)> ssl(SSL_new(context.get()), SSL_free);
    SSL_set_fd(ssl.get(), socket.native_handle());
    if (SSL_connect(ssl.get()) != 1) return "no TLS";
    return std::string(SSL_get_version(ssl.get())) + " " + SSL_get_cipher_name(ssl.get());
}
