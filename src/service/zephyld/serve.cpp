#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>
#include <sys/resource.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <csignal>
#include <iostream>
#include <optional>

#include "service/relay/config.h"
#include "service/relay/door/passwords.h"
#include "service/relay/listen_address.h"
#include "service/relay/private_folder.h"
#include "service/relay/process_memory.h"
#include "service/relay/relay.h"
#include "service/relay/this_computer.h"
#include "service/wire/door_file.h"
#include "service/zephyld/announcer.h"
#include "service/zephyld/await_accounts.h"
#include "service/zephyld/commands.h"
#include "service/zephyld/supervisor.h"
#include "text/one_line.h"

namespace zephyl {
namespace {

constexpr std::size_t kDoorBytes = 32;

RelayOptions Options(const ServeRequest& request)
{
    RelayOptions options;
    if (!request.config.empty()) ReadConfig(request.config, options);
    if (!request.listen.empty()) ReadListen(request.listen, options);
    if (!request.data.empty()) options.data = request.data;
    if (options.data.empty()) options.data = PersonalDataPath();
    options.version = request.version;
    if (request.personal) {
        if (!NamesThisComputer(options.host))
            throw StartError("a personal service listens on this computer only, not on \"" + options.host +
                             "\": its door would stand open");
        options.personal = true;
        options.host = "127.0.0.1";
        options.port = 0;
        options.door = RandomHex(kDoorBytes);
    }
    return options;
}

/// The door file of a personal service: locked while the service lives, taken away at its end.
class OpenDoor {
public:
    OpenDoor() : mPath(DoorFilePath())
    {
        PreparePrivateFolder(mPath.parent_path());
        mLock = TakeLock(DoorLockPath(mPath));
        if (Ours()) ::unlink(mPath.c_str());  // a dead one's, at whose port anybody may be by now
    }
    ~OpenDoor()
    {
        if (mLock < 0) return;
        ::unlink(mPath.c_str());
        ::close(mLock);
    }
    OpenDoor(const OpenDoor&) = delete;
    OpenDoor& operator=(const OpenDoor&) = delete;
    bool Ours() const { return mLock >= 0; }
    void Write(const Door& door) { WriteDoorFile(mPath, door); }

private:
    const std::filesystem::path mPath;
    int mLock = -1;
};

/// In the place of the payload: a text between quotes.
class QuotedEntry final : public spdlog::custom_flag_formatter {
public:
    void format(const spdlog::details::log_msg& message, const std::tm&, spdlog::memory_buf_t& line) override
    {
        line.push_back('"');
        for (const char c : OneLine({message.payload.data(), message.payload.size()})) {
            if (c == '"' || c == '\\') line.push_back('\\');
            line.push_back(c);
        }
        line.push_back('"');
    }
    std::unique_ptr<custom_flag_formatter> clone() const override { return std::make_unique<QuotedEntry>(); }
};

/// Whatever an entry tells of what somebody wrote, it stays one line that drives no terminal.
class PlainEntry final : public spdlog::custom_flag_formatter {
public:
    void format(const spdlog::details::log_msg& message, const std::tm&, spdlog::memory_buf_t& line) override
    {
        const std::string text = OneLine({message.payload.data(), message.payload.size()});
        line.append(text.data(), text.data() + text.size());
    }
    std::unique_ptr<custom_flag_formatter> clone() const override { return std::make_unique<PlainEntry>(); }
};

constexpr std::pair<const char*, const char*> kLogForms[] = {
    {"text", "[%Y-%m-%d %H:%M:%S.%e] [%n] [%l] %*"},
    {"logfmt", "time=%Y-%m-%dT%H:%M:%S.%e%z level=%l msg=%Q"},
    {"json", "{\"time\":\"%Y-%m-%dT%H:%M:%S.%e%z\",\"level\":\"%l\",\"message\":%Q}"},
};

std::shared_ptr<spdlog::logger> StandardErrorLog(const std::string& level, const std::string& format)
{
    auto log = std::make_shared<spdlog::logger>("zephyld", std::make_shared<spdlog::sinks::stderr_sink_mt>());
    auto lines = std::make_unique<spdlog::pattern_formatter>();
    lines->add_flag<PlainEntry>('*').add_flag<QuotedEntry>('Q');
    for (const auto& [name, pattern] : kLogForms)
        if (format == name) lines->set_pattern(pattern);
    log->set_formatter(std::move(lines));
    log->set_level(spdlog::level::from_str(level));
    return log;
}

/// Each connection is a descriptor, each meeting in use three.
void AllowAllDescriptors()
{
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

/// At each SIGHUP the configuration is read again.
void ReloadAtHangUp(boost::asio::signal_set& hangUp, Relay& relay, const std::shared_ptr<spdlog::logger>& log)
{
    hangUp.async_wait([&hangUp, &relay, log](const boost::system::error_code& ended, int) {
        if (ended) return;
        try {
            relay.Reload();
        } catch (const std::exception& error) {
            log->error("not read again, all stays as it was: {}", error.what());
        }
        ReloadAtHangUp(hangUp, relay, log);
    });
}

/// As often as the service manager wants to hear it; it ends a service that has stopped working.
void TellAlive(const Supervisor& supervisor, Relay& relay, boost::asio::steady_timer& timer)
{
    if (supervisor.AliveEvery().count() == 0) return;
    relay.WhenAlive([supervisor] { supervisor.Alive(); });
    timer.expires_after(supervisor.AliveEvery());
    timer.async_wait([supervisor, &relay, &timer](const boost::system::error_code& ended) {
        if (!ended) TellAlive(supervisor, relay, timer);
    });
}

constexpr std::chrono::seconds kInTouchWithin{10};
constexpr std::chrono::milliseconds kInTouchLook{50};

void RunUntilAsked(Relay& relay, const RelayOptions& options, const std::shared_ptr<spdlog::logger>& log)
{
    boost::asio::io_context main;
    boost::asio::signal_set hangUp(main);
    if (!options.personal) hangUp.add(SIGHUP);
    if (!options.personal) ReloadAtHangUp(hangUp, relay, log);
    boost::asio::signal_set signals(main, SIGTERM, SIGINT);
    signals.async_wait([&](const boost::system::error_code&, int) { main.stop(); });
    relay.Start([&main] { main.stop(); });
    const Supervisor supervisor;
    boost::asio::steady_timer alive(main);
    TellAlive(supervisor, relay, alive);
    // Among several it is ready once the others know it; without them it says so all the same.
    const auto until = std::chrono::steady_clock::now() + kInTouchWithin;
    while (!relay.TakesClients() && !main.stopped() && std::chrono::steady_clock::now() < until)
        main.run_for(kInTouchLook);
    std::cout << "zephyld ready " << relay.Address() << " " << relay.Fingerprint() << std::endl;
    std::optional<Announcer> announcer;
    if (options.announce)
        announcer.emplace(relay.Port(), relay.Fingerprint(),
                          [log](const std::string& line) { log->info(line); });
    ForgetStart();
    supervisor.Ready("Serves at " + relay.Address());
    main.run();
    supervisor.Stopping();
    announcer.reset();
    relay.Stop();
}

void ServeOne(const RelayOptions& options, const std::shared_ptr<spdlog::logger>& log)
{
    OpenDoor door;
    if (!door.Ours()) return;  // another one serves already
    Relay relay(options, log);
    door.Write({relay.Port(), relay.Fingerprint(), options.door});
    RunUntilAsked(relay, options, log);
}

}  // namespace

int Serve(const ServeRequest& request)
{
    PrepareMemory();
    RelayOptions options = Options(request);
    if (!options.personal) options.socket = Supervisor::TakeSocket();
    AllowAllDescriptors();
    const auto log = StandardErrorLog(options.logLevel, options.logFormat);
    if (!options.personal) {
        AwaitAccounts(options.cluster, *log);
        Relay relay(options, log);
        relay.ReadsAgain([&request] { return Options(request); },
                         [](bool begins) { begins ? Supervisor().Reloading() : Supervisor().Reloaded(); });
        RunUntilAsked(relay, options, log);
        return 0;
    }
    try {
        ServeOne(options, log);
    } catch (const std::exception& error) {
        std::cout << kCannotServe << OneLine(error.what())
                  << std::endl;  // whoever started it reads only this
        throw;
    }
    return 0;
}

}  // namespace zephyl
