// The other side of the operator's socket.

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include "files/careful_file.h"
#include "service/relay/admin_socket.h"

namespace zephyl {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kWordBytes = 64;
constexpr time_t kSilence = 60;                   // seconds
constexpr std::size_t kAnswerBytes = 256u << 20;  // more than a full service tells

files::Descriptor Connected(const std::filesystem::path& data)
{
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    const std::string path = AdminSocketPath(data).string();
    files::Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (socket.Number() < 0 || path.size() >= sizeof name.sun_path) return files::Descriptor();
    path.copy(name.sun_path, sizeof name.sun_path - 1);
    const bool there = ::connect(socket.Number(), reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0;
    return there ? std::move(socket) : files::Descriptor();
}

/// Until the end; none: it did not come in time.
std::optional<std::string> ReadToEnd(int socket, std::chrono::seconds patience)
{
    std::string all;
    for (auto until = Clock::now() + patience;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
        pollfd ready{socket, POLLIN, 0};
        if (left <= 0 || ::poll(&ready, 1, static_cast<int>(left)) <= 0) return std::nullopt;
        char some[16 * 1024];
        const ssize_t got = ::recv(socket, some, sizeof some, 0);
        if (got < 0 || all.size() > kAnswerBytes) return std::nullopt;
        if (got == 0) return all;
        all.append(some, static_cast<std::size_t>(got));
        until = Clock::now() + patience;
    }
}

}  // namespace

std::optional<DaemonAnswer> AskDaemon(const std::filesystem::path& data, const std::string& line,
                                      std::chrono::seconds patience)
{
    const files::Descriptor socket = Connected(data);
    const std::string text = line + "\n";
    if (socket.Number() < 0 ||
        ::send(socket.Number(), text.data(), text.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(text.size()))
        return std::nullopt;
    const auto all = ReadToEnd(socket.Number(), patience);
    const std::size_t end = all ? all->find('\n') : std::string::npos;
    if (end == std::string::npos) return std::nullopt;
    return DaemonAnswer{all->substr(0, end), all->substr(end + 1)};
}

std::optional<std::pair<std::string, files::Descriptor>> OpenDaemon(const std::filesystem::path& data,
                                                                    const std::string& line)
{
    files::Descriptor socket = Connected(data);
    const std::string text = line + "\n";
    if (socket.Number() < 0 ||
        ::send(socket.Number(), text.data(), text.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(text.size()))
        return std::nullopt;
    const timeval patience{kSilence, 0};  // then reading ends
    ::setsockopt(socket.Number(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    std::string word;
    for (char c = 0; word.size() < kWordBytes && ::recv(socket.Number(), &c, 1, 0) == 1 && c != '\n';)
        word += c;
    return std::pair{std::move(word), std::move(socket)};
}

std::optional<std::string> TellDaemon(const std::filesystem::path& data, const std::string& line)
{
    auto answer = AskDaemon(data, line);
    if (!answer) return std::nullopt;
    return std::move(answer->word);
}

}  // namespace zephyl
