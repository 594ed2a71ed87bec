#include "voice/door_client.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "contract/voice_door.h"

namespace voice {

bool DoorClient::Open(const std::string& path, const std::string& word)
{
    Close();
    sockaddr_un at{};
    at.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof at.sun_path) return false;
    std::memcpy(at.sun_path, path.c_str(), path.size());
    mSocket = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (mSocket < 0) return false;
    mMemory.resize(voice_door::kLongest);
    if (::connect(mSocket, reinterpret_cast<const sockaddr*>(&at), sizeof at) != 0 ||
        !Send(voice_door::WriteWord(word)))
        Close();
    return IsOpen();
}

bool DoorClient::Send(std::string_view message)
{
    return IsOpen() && ::send(mSocket, message.data(), message.size(), MSG_DONTWAIT | MSG_NOSIGNAL) ==
                           ssize_t(message.size());
}

void DoorClient::Receive(const std::function<void(std::string_view)>& take)
{
    while (IsOpen()) {
        const ssize_t got = ::recv(mSocket, mMemory.data(), mMemory.size(), MSG_DONTWAIT | MSG_TRUNC);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0 && errno == EAGAIN) return;
        if (got <= 0) return Close();
        if (std::size_t(got) <= mMemory.size()) take({mMemory.data(), std::size_t(got)});
    }
}

void DoorClient::Close()
{
    if (mSocket >= 0) ::close(mSocket);
    mSocket = -1;
}

}  // namespace voice
