#include "relay/servers.h"

#include <sched.h>
#include <signal.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/null_sink.h>
#include <sys/epoll.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <fstream>
#include <map>
#include <memory>
#include <string>

#include "service/net/tls_stream.h"
#include "service/relay/identity.h"
#include "service/relay/relay.h"
#include "service/wire/framing.h"

namespace asio = boost::asio;
using namespace zephyl;

namespace {

struct BareConnection {
    std::unique_ptr<TlsStream> stream;
    std::string in;       // decrypted, not yet forwarded
    std::string waiting;  // for the socket
};

/// Every complete frame goes to everybody else, either each in a send of its own or all of one read together.
class BareLoop {
public:
    BareLoop(asio::io_context& io, asio::ip::tcp::acceptor& acceptor, std::shared_ptr<const TlsContext> tls,
             bool batch)
        : mIo(io), mAcceptor(acceptor), mTls(std::move(tls)), mBatch(batch), mEpoll(::epoll_create1(0))
    {
        Watch(acceptor.native_handle(), EPOLLIN, EPOLL_CTL_ADD);
    }

    void Run()
    {
        epoll_event events[64];
        for (;;) {
            const int count = ::epoll_wait(mEpoll, events, 64, -1);
            for (int i = 0; i < count; ++i) {
                if (events[i].data.fd == mAcceptor.native_handle())
                    Accept();
                else
                    Serve(events[i].data.fd, events[i].events);
            }
        }
    }

private:
    void Watch(int fd, std::uint32_t what, int operation) const
    {
        epoll_event event{};
        event.events = what;
        event.data.fd = fd;
        ::epoll_ctl(mEpoll, operation, fd, &event);
    }

    void Accept()
    {
        asio::ip::tcp::socket socket = mAcceptor.accept();
        const int fd = socket.native_handle();
        auto stream = std::make_unique<TlsStream>(std::move(socket), mTls);
        asio::co_spawn(mIo, stream->Handshake(), [](std::exception_ptr) {});
        mIo.restart();
        mIo.run();
        mHandshaken[fd].stream = std::move(stream);
        Watch(fd, EPOLLIN, EPOLL_CTL_ADD);
    }

    void Serve(int fd, std::uint32_t events)
    {
        BareConnection& from = mHandshaken[fd];
        try {
            if (events & EPOLLOUT) Writable(fd, from);
            if (events & EPOLLIN) Forward(fd, from);
        } catch (const std::exception&) {
            mHandshaken.erase(fd);
        }
    }

    void Forward(int fd, BareConnection& from)
    {
        if (!from.stream->TakeReady(from.in)) return;
        std::size_t whole = 0;
        while (from.in.size() - whole >= kFramePrefixBytes) {
            const std::size_t frame = FrameBytes(std::string_view(from.in).substr(whole));
            if (from.in.size() - whole < frame) break;
            if (!mBatch) Send(fd, std::string_view(from.in).substr(whole, frame));
            whole += frame;
        }
        if (mBatch && whole > 0) Send(fd, std::string_view(from.in).substr(0, whole));
        from.in.erase(0, whole);
    }

    void Send(int from, std::string_view bytes)
    {
        for (auto& [fd, to] : mHandshaken) {
            if (fd == from) continue;
            if (to.stream->Backlog() > 0)
                to.waiting.append(bytes);
            else if (!to.stream->Put(bytes))
                Watch(fd, EPOLLIN | EPOLLOUT, EPOLL_CTL_MOD);
        }
    }

    void Writable(int fd, BareConnection& to)
    {
        if (!to.stream->Flush()) return;
        const std::string waiting = std::move(to.waiting);
        to.waiting.clear();
        if (to.stream->Put(waiting)) Watch(fd, EPOLLIN, EPOLL_CTL_MOD);
    }

    asio::io_context& mIo;
    asio::ip::tcp::acceptor& mAcceptor;
    std::shared_ptr<const TlsContext> mTls;
    const bool mBatch;
    const int mEpoll;
    std::map<int, BareConnection> mHandshaken;
};

[[noreturn]] void RunBare(Kind kind, const std::filesystem::path& data, int report)
{
    PreparePrivateFolder(data);
    const Identity identity = PrepareIdentity(data);
    asio::io_context io;
    asio::ip::tcp::acceptor acceptor(io, {asio::ip::address_v4::loopback(), 0});
    const std::uint16_t port = acceptor.local_endpoint().port();
    if (::write(report, &port, sizeof port) != sizeof port) ::_exit(1);
    BareLoop(io, acceptor, TlsContext::Server(identity.key, identity.certificate), kind == Kind::BareBatch)
        .Run();
    ::_exit(0);
}

[[noreturn]] void RunRelay(Kind kind, const std::filesystem::path& data, int accounts, int report)
{
    RelayOptions options;
    options.data = data;
    options.port = 0;
    options.threads = 1;
    options.logsInMemory = kind == Kind::Relay;
    options.bounds.connectionsPerAddress = 100'000;
    options.bounds.connectionsBeforeLogin = 100'000;
    const HashCost cheap{1, 8192};
    Relay relay(options,
                std::make_shared<spdlog::logger>("bench", std::make_shared<spdlog::sinks::null_sink_mt>()),
                cheap);
    const std::string hash = HashPassword("secret", cheap);
    for (int i = 0; i < accounts; ++i) relay.TheAccounts().Add("user" + std::to_string(i), hash, "");
    relay.Start();
    const std::uint16_t port = relay.Port();
    if (::write(report, &port, sizeof port) != sizeof port) ::_exit(1);
    for (;;) ::pause();
}

}  // namespace

void PinTo(int core)
{
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(core, &set);
    ::sched_setaffinity(0, sizeof set, &set);
}

ServerProcess::ServerProcess(Kind kind, const std::filesystem::path& data, int accounts)
{
    int report[2];
    if (::pipe(report) != 0) throw std::runtime_error("no pipe");
    mPid = ::fork();
    if (mPid == 0) {
        PinTo(kServerCore);
        if (kind == Kind::Relay || kind == Kind::RelayFiles) RunRelay(kind, data, accounts, report[1]);
        RunBare(kind, data, report[1]);
    }
    ::close(report[1]);
    const bool told = ::read(report[0], &mPort, sizeof mPort) == sizeof mPort;
    ::close(report[0]);
    if (!told) throw std::runtime_error("the server did not start");
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
