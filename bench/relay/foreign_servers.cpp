#include "relay/foreign_servers.h"

#include <fcntl.h>
#include <pwd.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <chrono>
#include <fstream>
#include <thread>

#include "service/relay/door/identity.h"
#include "service/relay/private_folder.h"

namespace asio = boost::asio;
namespace fs = std::filesystem;

namespace {

constexpr std::chrono::seconds kStart{20};
constexpr std::chrono::milliseconds kLook{10};

std::uint16_t FreePort()
{
    asio::io_context io;
    return asio::ip::tcp::acceptor(io, {asio::ip::address_v4::loopback(), 0}).local_endpoint().port();
}

void WriteFile(const fs::path& path, const std::string& text)
{
    std::ofstream(path) << text;
}

// As root they change to a user who could not read the folder.
std::string Self()
{
    return ::getpwuid(::getuid())->pw_name;
}

// QoS 0 stores nothing; no bound, as it would drop what a receiver has not taken.
std::string MosquittoConfiguration(const std::string& port, const zephyl::Identity& identity)
{
    return "listener " + port + " 127.0.0.1\ncertfile " + identity.certificate.string() + "\nkeyfile " +
           identity.key.string() +
           "\ntls_version tlsv1.3\nciphers_tls1.3 TLS_AES_128_GCM_SHA256\nallow_anonymous true\n"
           "persistence false\nmax_queued_messages 0\nset_tcp_nodelay true\nlog_type error\nuser " +
           Self() + "\n";
}

std::string NatsConfiguration(const std::string& port, const zephyl::Identity& identity)
{
    return "listen: 127.0.0.1:" + port + "\ntls { cert_file: \"" + identity.certificate.string() +
           "\", key_file: \"" + identity.key.string() + "\", timeout: 10 }\n";
}

// It makes its own key. Its limit of one message a second for each sender is lifted.
std::string MumbleConfiguration(const std::string& port, const fs::path& data)
{
    return "database=" + (data / "mumble.sqlite").string() + "\nlogfile=\nhost=127.0.0.1\nport=" + port +
           "\nusers=5000\nmessageburst=1000000\nmessagelimit=1000000\ntextmessagelength=0\n"
           "imagemessagelength=0\nallowhtml=true\nautobanAttempts=0\nbonjour=false\nwelcometext=\nuname=" +
           Self() + "\n";
}

// Its library chooses AES-256 else.
constexpr char kSameCipher[] =
    "openssl_conf = a\n[a]\nssl_conf = b\n[b]\nsystem_default = c\n[c]\nMinProtocol = TLSv1.3\n"
    "Ciphersuites = TLS_AES_128_GCM_SHA256\n";

}  // namespace

std::string ForeignProgram(Kind kind)
{
    const char* name = kind == Kind::Mosquitto ? "mosquitto" : kind == Kind::Nats ? "nats-server" : "murmurd";
    for (const char* folder : {"/usr/sbin/", "/usr/bin/", "/usr/local/bin/"})
        if (const std::string path = std::string(folder) + name; ::access(path.c_str(), X_OK) == 0)
            return path;
    return "";
}

ForeignCommand PrepareForeign(Kind kind, const fs::path& data)
{
    zephyl::PreparePrivateFolder(data);
    const zephyl::Identity identity = zephyl::PrepareIdentity(data);
    const fs::path settings = data / "settings";
    ForeignCommand command{{ForeignProgram(kind)}, {}, data / "said", FreePort()};
    const std::string port = std::to_string(command.port);
    if (kind == Kind::Mosquitto) {
        WriteFile(settings, MosquittoConfiguration(port, identity));
        command.arguments.insert(command.arguments.end(), {"-c", settings});
    } else if (kind == Kind::Nats) {
        WriteFile(settings, NatsConfiguration(port, identity));
        command.arguments.insert(command.arguments.end(), {"-c", settings});
    } else {
        WriteFile(settings, MumbleConfiguration(port, data));
        WriteFile(data / "openssl", kSameCipher);
        command.arguments.insert(command.arguments.end(), {"-fg", "-ini", settings});
        command.environment = {"OPENSSL_CONF=" + (data / "openssl").string()};
    }
    return command;
}

void RunForeign(const ForeignCommand& command)
{
    const int log = ::open(command.log.c_str(), O_WRONLY | O_CREAT, 0600);
    ::dup2(log, STDOUT_FILENO);
    ::dup2(log, STDERR_FILENO);
    for (const std::string& variable : command.environment) ::putenv(const_cast<char*>(variable.c_str()));
    std::vector<char*> arguments;
    for (const std::string& argument : command.arguments)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    ::execv(arguments[0], arguments.data());
    ::_exit(127);
}

bool Listening(std::uint16_t port, pid_t pid)
{
    asio::io_context io;
    const auto until = std::chrono::steady_clock::now() + kStart;
    while (std::chrono::steady_clock::now() < until && ::waitpid(pid, nullptr, WNOHANG) == 0) {
        boost::system::error_code error;
        asio::ip::tcp::socket(io).connect({asio::ip::address_v4::loopback(), port}, error);
        if (!error) return true;
        std::this_thread::sleep_for(kLook);
    }
    return false;
}
