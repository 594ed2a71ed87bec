#pragma once
// How the operator's commands reach the running daemon: a socket in the data folder that only its owner can
// open. One line in (a command, its words apart by tabs), and back a line with one word ("ok", "no account",
// "no meeting", "unknown", ...) and whatever belongs to it, until the end.

#include <atomic>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "files/careful_file.h"
#include "service/relay/door/accounts.h"
#include "service/relay/head_count.h"
#include "service/relay/services.h"

namespace zephyl {

struct ServiceFacts;

/// What the whole service does when it is asked. Any thread.
struct AdminActions {
    std::function<boost::asio::awaitable<ServiceFacts>()> facts;
    /// The store of bans has changed.
    std::function<boost::asio::awaitable<void>()> bansChanged;
    /// Reads the configuration again; returns what it could not take while it runs. Throws std::exception
    /// when it is refused, and then nothing has changed.
    std::function<std::vector<std::string>()> reload;
};

class AdminSocket {
public:
    AdminSocket(Services& services, AdminActions actions);
    ~AdminSocket();
    void Start();

private:
    using Words = std::vector<std::string>;
    struct Client;
    boost::asio::awaitable<void> Accept();
    boost::asio::awaitable<void> Serve(std::shared_ptr<Client> client);
    boost::asio::awaitable<void> Backup(std::shared_ptr<Client> client);
    boost::asio::awaitable<std::string> Answer(std::string line);
    boost::asio::awaitable<std::optional<Account>> Find(std::string handle);
    boost::asio::awaitable<std::string> AccountChanged(Words words);
    boost::asio::awaitable<std::string> Kick(Words words);
    boost::asio::awaitable<std::string> Unkick(Words words);
    boost::asio::awaitable<std::string> Close(Words words);
    boost::asio::awaitable<std::string> BansChanged(Words words);
    boost::asio::awaitable<std::string> Status(Words words);
    boost::asio::awaitable<std::string> Reload(Words words);

    Services& mServices;
    const AdminActions mActions;
    const std::filesystem::path mPath;
    boost::asio::local::stream_protocol::acceptor mAcceptor;
    HeadCount mClients;
    std::atomic<bool> mBackingUp{false};
};

/// Where it is.
std::filesystem::path AdminSocketPath(const std::filesystem::path& data);

/// What came back.
struct DaemonAnswer {
    std::string word;  // the first line
    std::string body;  // what follows it
};
/// From the other side. None: no daemon serves this folder, so there is nobody to tell, or it does not answer
/// within `patience`.
std::optional<DaemonAnswer> AskDaemon(const std::filesystem::path& data, const std::string& line,
                                      std::chrono::seconds patience = std::chrono::seconds(5));
/// The same, but what follows the word comes as it is made: from the descriptor that is returned.
std::optional<std::pair<std::string, files::Descriptor>> OpenDaemon(const std::filesystem::path& data,
                                                                    const std::string& line);
/// Its word only.
std::optional<std::string> TellDaemon(const std::filesystem::path& data, const std::string& line);

}  // namespace zephyl
