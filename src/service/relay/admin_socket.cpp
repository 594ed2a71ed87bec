#include "service/relay/admin_socket.h"

#include <spdlog/logger.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/asio/bind_executor.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>

#include "service/relay/backup/stream.h"
#include "service/relay/beside.h"
#include "service/relay/door/handle_rules.h"
#include "service/relay/door/login_desk.h"
#include "service/relay/meeting/directory.h"
#include "service/relay/options.h"
#include "service/relay/private_folder.h"
#include "service/relay/report.h"

namespace zephyl {
namespace asio = boost::asio;
using asio::local::stream_protocol;
namespace {

constexpr std::size_t kLineBytes = 1024;
constexpr int kClientsAtOnce = 16;
constexpr std::chrono::seconds kAsking{5};   // for the line to come
constexpr std::chrono::seconds kTaking{30};  // for the answer to leave

/// The socket's mode says so already; a file that was opened to others would not.
bool MayAsk(stream_protocol::socket& socket)
{
    ucred other{};
    socklen_t bytes = sizeof other;
    return ::getsockopt(socket.native_handle(), SOL_SOCKET, SO_PEERCRED, &other, &bytes) == 0 &&
           (other.uid == 0 || other.uid == ::geteuid());
}

/// "kick CODE<tab>NAME": the command, then its words.
std::vector<std::string> WordsOf(const std::string& line)
{
    std::vector<std::string> words;
    std::size_t at = line.find(' ');
    words.push_back(line.substr(0, at));
    while (at != std::string::npos) {
        const std::size_t end = line.find('\t', at + 1);
        words.push_back(line.substr(at + 1, end == std::string::npos ? end : end - at - 1));
        at = end;
    }
    return words;
}

std::string WordOf(Directory::Done done)
{
    switch (done) {
        case Directory::Done::Yes: return "ok\n";
        case Directory::Done::NoMeeting: return "no meeting\n";
        case Directory::Done::NotKicked: return "not kicked\n";
        case Directory::Done::NoAnswer: break;
    }
    return "no answer\n";
}

}  // namespace

std::filesystem::path AdminSocketPath(const std::filesystem::path& data)
{
    return data / "admin.sock";
}

/// On a strand of its own, so that its end by time does not meet it at work.
struct AdminSocket::Client {
    Client(stream_protocol::socket taken, asio::io_context& io, const HeadCount& all)
        : strand(asio::make_strand(io)), socket(std::move(taken)), limit(io), counted(all.Enter())
    {
    }
    void EndAfter(std::chrono::seconds patience, const std::shared_ptr<Client>& self)
    {
        limit.expires_after(patience);
        limit.async_wait(asio::bind_executor(strand, [self](boost::system::error_code stopped) {
            boost::system::error_code ignored;
            if (!stopped) self->socket.close(ignored);
        }));
    }

    Strand strand;
    stream_protocol::socket socket;
    asio::steady_timer limit;
    const HeadCount::One counted;
};

AdminSocket::AdminSocket(Services& services, AdminActions actions)
    : mServices(services),
      mActions(std::move(actions)),
      mPath(AdminSocketPath(services.options.data)),
      mAcceptor(services.io)
{
    ::unlink(mPath.c_str());  // the folder's lock is ours, so it is a dead one's
    try {
        mAcceptor.open(stream_protocol());
        mAcceptor.bind(stream_protocol::endpoint(mPath.string()));
        if (::chmod(mPath.c_str(), 0600) != 0) throw std::runtime_error("cannot set its mode");
        mAcceptor.listen();
    } catch (const std::exception& error) {
        throw StartError("cannot listen on " + mPath.string() + ": " + error.what());
    }
}

AdminSocket::~AdminSocket()
{
    ::unlink(mPath.c_str());
}

void AdminSocket::Start()
{
    asio::co_spawn(mServices.io, Accept(), asio::detached);
}

asio::awaitable<void> AdminSocket::Accept()
{
    asio::steady_timer pause(mServices.io);
    for (;;) {
        boost::system::error_code error;
        stream_protocol::socket socket =
            co_await mAcceptor.async_accept(asio::redirect_error(asio::use_awaitable, error));
        if (error == asio::error::operation_aborted || error == asio::error::bad_descriptor) co_return;
        if (!error) {
            if (mClients.Now() >= kClientsAtOnce || !MayAsk(socket)) continue;
            auto client = std::make_shared<Client>(std::move(socket), mServices.io, mClients);
            asio::co_spawn(client->strand, Serve(client), asio::detached);
            continue;
        }
        pause.expires_after(kAcceptPause);
        co_await pause.async_wait(asio::use_awaitable);
    }
}

asio::awaitable<void> AdminSocket::Serve(std::shared_ptr<Client> client)
{
    try {
        client->EndAfter(kAsking, client);
        std::string line;
        co_await asio::async_read_until(client->socket, asio::dynamic_buffer(line, kLineBytes), '\n',
                                        asio::use_awaitable);
        client->limit.cancel();
        line.resize(line.find('\n'));
        if (line == "backup") co_return co_await Backup(client);
        const std::string answer = co_await Answer(line);
        client->EndAfter(kTaking, client);
        co_await asio::async_write(client->socket, asio::buffer(answer), asio::use_awaitable);
    } catch (const std::exception&) {
        // half a request, or nobody takes the answer: theirs to notice
    }
    client->limit.cancel();
}

asio::awaitable<void> AdminSocket::Backup(std::shared_ptr<Client> client)
{
    const bool busy = mBackingUp.exchange(true);
    const auto write = [client](std::string_view bytes) -> asio::awaitable<void> {
        client->EndAfter(kTaking, client);
        co_await asio::async_write(client->socket, asio::buffer(bytes), asio::use_awaitable);
        client->limit.cancel();
    };
    if (busy) co_return co_await write("busy\n");
    try {
        co_await write("ok\n");
        co_await StreamBackup(mServices, write);
        mServices.log.info("a backup was taken");
    } catch (const std::exception& error) {
        mServices.log.error("a backup could not be finished: {}", error.what());
    }
    mBackingUp = false;
}

asio::awaitable<std::string> AdminSocket::Answer(std::string line)
{
    using Command = asio::awaitable<std::string> (AdminSocket::*)(Words);
    static constexpr struct {
        const char* name;
        std::size_t words;
        Command answer;
    } commands[] = {
        {"account", 1, &AdminSocket::AccountChanged},
        {"bans", 0, &AdminSocket::BansChanged},
        {"close", 1, &AdminSocket::Close},
        {"kick", 2, &AdminSocket::Kick},
        {"reload", 0, &AdminSocket::Reload},
        {"status", 0, &AdminSocket::Status},
        {"unkick", 2, &AdminSocket::Unkick},
    };
    Words words = WordsOf(line);
    std::string failed;
    try {
        for (const auto& command : commands)
            if (words.front() == command.name && words.size() == command.words + 1)
                co_return co_await (this->*command.answer)(std::move(words));
    } catch (const std::exception& error) {
        failed = error.what();
    }
    co_return failed.empty() ? "unknown\n" : "failed\n" + failed + "\n";
}

asio::awaitable<std::optional<Account>> AdminSocket::Find(std::string handle)
{
    std::optional<Account> account;
    co_await Beside([this](std::function<void()> work) { mServices.desk.Run(std::move(work)); },
                    [&] { account = mServices.accounts.Find(handle); });
    co_return account;
}

asio::awaitable<std::string> AdminSocket::AccountChanged(Words words)
{
    const std::uint64_t looked = mServices.directory.LookNow();
    const std::optional<Account> account = co_await Find(words[1]);
    co_await mServices.directory.AccountChanged(words[1], account, Directory::kRemoved, BYE_KICKED, looked);
    co_return "ok\n";
}

asio::awaitable<std::string> AdminSocket::BansChanged(Words)
{
    co_await mActions.bansChanged();
    co_return "ok\n";
}

asio::awaitable<std::string> AdminSocket::Close(Words words)
{
    co_return WordOf(co_await mServices.directory.Close(words[1]));
}

asio::awaitable<std::string> AdminSocket::Kick(Words words)
{
    const std::optional<Account> account = co_await Find(words[2]);
    const std::optional<HandleForms> whom = ReadHandle(account ? account->handle : "");
    if (!whom) co_return "no account\n";
    co_return WordOf(co_await mServices.directory.Kick(words[1], *whom));
}

// Also of an account that is gone: its handle may be given out anew.
asio::awaitable<std::string> AdminSocket::Unkick(Words words)
{
    const std::optional<HandleForms> whom = ReadHandle(words[2]);
    if (!whom) co_return "not kicked\n";
    co_return WordOf(co_await mServices.directory.Unkick(words[1], *whom));
}

asio::awaitable<std::string> AdminSocket::Status(Words)
{
    const ServiceFacts facts = co_await mActions.facts();
    co_return "ok\n" + StatusJson(facts);
}

asio::awaitable<std::string> AdminSocket::Reload(Words)
{
    std::string answer = "ok\n";
    // Files may be slow to read, and one may be a pipe.
    co_await Beside([this](std::function<void()> work) { mServices.desk.Run(std::move(work)); },
                    [this, &answer] {
                        for (const std::string& note : mActions.reload()) answer += note + "\n";
                    });
    co_return answer;
}

}  // namespace zephyl
