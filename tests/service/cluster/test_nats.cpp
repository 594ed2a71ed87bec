#include "service/cluster/test_nats.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <sstream>

#include "support/server_output.h"

namespace zephyl {
namespace fs = std::filesystem;
namespace {

constexpr char kProgram[] = "/usr/sbin/nats-server";

}  // namespace

bool TestNats::Installed()
{
    return fs::exists(kProgram);
}

TestNats::TestNats(std::size_t servers, Tls tls) : mTls(tls), mServers(servers)
{
    if (tls == Tls::Yes) {
        const std::string make =
            "cd '" + mFolder.path.string() +
            "' && openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2 -subj /CN=x "
            "-addext subjectAltName=DNS:localhost -keyout key.pem -out certificate.pem 2>log";
        if (std::system(make.c_str()) != 0) throw std::runtime_error("no certificate could be made");
    }
    for (std::size_t i = 0; i < servers; ++i) Start(i);
}

TestNats::~TestNats()
{
    for (std::size_t i = 0; i < mServers.size(); ++i) Kill(i);
}

std::string TestNats::ConfigOf(std::size_t server) const
{
    const Server& one = mServers[server];
    std::ostringstream out;
    out << "listen: 127.0.0.1:" << one.port.number << "\nserver_name: n" << server
        << "\njetstream {store_dir: \"" << (mFolder.path / ("n" + std::to_string(server))).string()
        << "\"}\nauthorization {user: " << kUser << ", password: \"" << kPassword << "\"}\n"
        << "http: 127.0.0.1:" << one.monitor.number << "\n";
    if (mTls == Tls::Yes)
        out << "tls {cert_file: \"" << (mFolder.path / "certificate.pem").string() << "\", key_file: \""
            << (mFolder.path / "key.pem").string() << "\"}\n";
    if (mServers.size() == 1) return out.str();
    out << "cluster {name: tests, listen: 127.0.0.1:" << one.forOthers.number
        << ", no_advertise: true, routes: [";
    for (const Server& other : mServers)
        out << (&other == &mServers.front() ? "" : ", ") << "\"nats://127.0.0.1:" << other.forOthers.number
            << "\"";
    out << "]}\n";
    return out.str();
}

void TestNats::Start(std::size_t server)
{
    Server& one = mServers[server];
    if (one.process >= 0) return;
    const std::string config = mFolder.path / ("n" + std::to_string(server) + ".conf");
    std::ofstream(config) << ConfigOf(server);
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    one.process = ::fork();
    if (one.process == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // nothing stays of a test that was killed
        ::dup2(ends[1], STDOUT_FILENO);
        ::dup2(ends[1], STDERR_FILENO);
        ::execl(kProgram, kProgram, "-c", config.c_str(), nullptr);
        ::_exit(127);
    }
    ::close(ends[1]);
    one.reader = ReaderOnceItHasSaid(ends[0], "Server is ready");
}

void TestNats::Kill(std::size_t server)
{
    Server& one = mServers[server];
    if (one.process < 0) return;
    ::kill(one.process, SIGKILL);
    int status = 0;
    ::waitpid(one.process, &status, 0);
    one.process = -1;
    one.reader.join();
}

void TestNats::Freeze(std::size_t server)
{
    ::kill(mServers[server].process, SIGSTOP);
    // Its threads go on until they meet the signal.
    int status = 0;
    ::waitpid(mServers[server].process, &status, WUNTRACED);
}

void TestNats::Thaw(std::size_t server)
{
    ::kill(mServers[server].process, SIGCONT);
}

NatsSite TestNats::Site() const
{
    NatsSite site;
    const bool tls = mTls == Tls::Yes;
    for (const Server& one : mServers)
        site.servers.push_back({tls ? "localhost" : "127.0.0.1", std::to_string(one.port.number), kUser,
                                kPassword, tls, mFolder.path / "certificate.pem"});
    site.replicas = mServers.size() >= 3 ? 3 : 1;
    return site;
}

ClusterOptions TestNats::Options() const
{
    ClusterOptions options = Named(mFolder.path);
    options.log = std::string("nats://") + kUser + "@";
    for (const Server& one : mServers)
        options.log += (&one == &mServers.front() ? "" : ",") + std::string("127.0.0.1:") +
                       std::to_string(one.port.number);
    return options;
}

ClusterOptions TestNats::Named(const fs::path& folder)
{
    ClusterOptions options;
    options.logPasswordFile = folder / "password";
    std::ofstream(options.logPasswordFile) << kPassword << "\n";
    fs::permissions(options.logPasswordFile, fs::perms::owner_read | fs::perms::owner_write);
    return options;
}

}  // namespace zephyl
