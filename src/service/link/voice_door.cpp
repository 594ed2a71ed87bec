#include "service/link/voice_door.h"

#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <system_error>

#include "service/link/session.h"

namespace zephyl::link {

namespace asio = boost::asio;
using voice_door::Kind;

namespace {

constexpr auto kNoThrow = asio::as_tuple(asio::use_awaitable);
constexpr char kNameBegin[] = "quorvia-voice-";
constexpr int kWaiting = 4;
constexpr std::chrono::milliseconds kAcceptAgain{100};
constexpr std::chrono::seconds kWordWithin{5};
constexpr std::chrono::seconds kPeopleEvery{1};  // also when nothing has changed: the loss goes with it
constexpr std::chrono::milliseconds kHeardFor{300};

std::string RandomHex(std::size_t digits)
{
    std::random_device random;
    std::string text;
    while (text.size() < digits) text += "0123456789abcdef"[random() % 16];
    return text;
}

[[noreturn]] void Fail(const char* what)
{
    throw std::system_error(errno, std::system_category(), what);
}

/// Clients that were killed leave their sockets behind.
void TidyUp(const std::filesystem::path& folder)
{
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
        const std::string name = entry.path().filename();
        if (!name.starts_with(kNameBegin)) continue;
        pid_t process = 0;
        const char* const digits = name.c_str() + std::strlen(kNameBegin);
        if (std::from_chars(digits, name.c_str() + name.size(), process).ec != std::errc()) continue;
        if (process > 0 && ::kill(process, 0) != 0 && errno == ESRCH)
            std::filesystem::remove(entry.path(), ignored);
    }
}

bool OfThisUser(int socket)
{
    ucred peer{};
    socklen_t length = sizeof peer;
    return ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &length) == 0 && peer.uid == ::geteuid();
}

bool Equal(std::string_view a, std::string_view b)
{
    unsigned char different = a.size() != b.size();
    for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i)
        different |= static_cast<unsigned char>(a[i] ^ b[i]);
    return different == 0;
}

int ListenAt(const std::string& path)
{
    sockaddr_un at{};
    at.sun_family = AF_UNIX;
    if (path.size() >= sizeof at.sun_path) throw std::runtime_error("the runtime folder's name is too long");
    std::memcpy(at.sun_path, path.c_str(), path.size());
    const int socket = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (socket < 0) Fail("no local socket");
    // Nobody is served before listen, so nobody gets in while the mode is another one.
    if (::bind(socket, reinterpret_cast<const sockaddr*>(&at), sizeof at) != 0 ||
        ::chmod(path.c_str(), S_IRUSR | S_IWUSR) != 0 || ::listen(socket, kWaiting) != 0) {
        const int why = errno;
        ::close(socket);
        ::unlink(path.c_str());
        errno = why;
        Fail("no door for the voice companion");
    }
    return socket;
}

}  // namespace

VoiceDoor::VoiceDoor(asio::any_io_executor executor) : mExecutor(std::move(executor)) {}

VoiceDoor::~VoiceDoor()
{
    Shut();
}

VoicePlace VoiceDoor::Open()
{
    const std::lock_guard lock(mMutex);
    if (mPath.empty()) {
        const char* const folder = std::getenv("XDG_RUNTIME_DIR");
        if (!folder || *folder != '/') throw std::runtime_error("XDG_RUNTIME_DIR names no folder");
        TidyUp(folder);
        const std::string path =
            std::string(folder) + '/' + kNameBegin + std::to_string(::getpid()) + '-' + RandomHex(8);
        const int socket = ListenAt(path);
        mPath = path;
        mWord = RandomHex(64);
        asio::post(mExecutor, [self = shared_from_this(), socket] {
            self->mListening = std::make_unique<Stream>(self->mExecutor, socket);
            asio::co_spawn(
                self->mExecutor, [self] { return self->Listen(); }, asio::detached);
        });
    }
    return {QString::fromStdString(mPath), QString::fromStdString(mWord)};
}

void VoiceDoor::Shut()
{
    const std::lock_guard lock(mMutex);
    if (!mPath.empty()) ::unlink(mPath.c_str());
    mPath.clear();
}

VoiceNews VoiceDoor::News() const
{
    const std::lock_guard lock(mMutex);
    VoiceNews news;
    news.companion = mConnected;
    news.muted = mStatus.muted;
    news.trouble = mStatus.trouble;
    const Clock::time_point now = Clock::now();
    for (const auto& [handle, sounds] : mLevels)
        if (now - sounds.at < kHeardFor) news.levels[QString::fromStdString(handle)] = int(sounds.level);
    return news;
}

void VoiceDoor::Note(const std::string& handle, std::uint32_t level)
{
    const std::lock_guard lock(mMutex);
    if (mLevels.size() >= voice_door::kMostHandles) mLevels.clear();
    mLevels[handle] = {level, Clock::now()};
}

// --- the companion ---------------------------------------------------------------------------------------

asio::awaitable<void> VoiceDoor::Listen()
{
    const auto self = shared_from_this();
    asio::steady_timer later(mExecutor);
    for (;;) {
        const auto [failed] = co_await mListening->async_wait(Stream::wait_read, kNoThrow);
        if (failed) co_return;
        const int socket =
            ::accept4(mListening->native_handle(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (socket < 0) {  // no descriptor left: whoever knocks goes on knocking
            later.expires_after(kAcceptAgain);
            co_await later.async_wait(kNoThrow);
            continue;
        }
        const auto companion = std::make_shared<Stream>(mExecutor, socket);
        if (OfThisUser(socket))
            asio::co_spawn(
                mExecutor, [self, companion] { return self->Serve(companion); }, asio::detached);
    }
}

asio::awaitable<void> VoiceDoor::Serve(std::shared_ptr<Stream> companion)
{
    const auto self = shared_from_this();
    asio::steady_timer late(mExecutor, kWordWithin);
    late.async_wait([companion](boost::system::error_code stopped) {
        if (!stopped) companion->cancel();
    });
    std::string message(voice_door::kLongest, '\0');
    for (;;) {
        const auto [failed] = co_await companion->async_wait(Stream::wait_read, kNoThrow);
        if (failed) break;
        const ssize_t got =
            ::recv(companion->native_handle(), message.data(), message.size(), MSG_DONTWAIT | MSG_TRUNC);
        if (got < 0 && (errno == EAGAIN || errno == EINTR)) continue;
        if (got <= 0) break;  // it has ended
        if (std::size_t(got) > message.size()) continue;
        const std::string_view said(message.data(), std::size_t(got));
        if (mCompanion == companion) {
            Take(said);
            continue;
        }
        std::string word;
        {
            const std::lock_guard lock(mMutex);
            word = mWord;
        }
        if (voice_door::KindOf(said) != Kind::Word || !Equal(voice_door::ReadWord(said), word)) break;
        late.cancel();
        if (mCompanion) mCompanion->cancel();  // the newest one is the one that was started last
        Gone();
        mCompanion = companion;
        {
            const std::lock_guard lock(mMutex);
            mConnected = true;
        }
        asio::co_spawn(
            mExecutor, [self, companion] { return self->TellPeople(companion); }, asio::detached);
    }
    if (mCompanion == companion) Gone();
}

/// Whoever is gone says nothing more.
void VoiceDoor::Gone()
{
    mCompanion.reset();
    mWith.clear();
    if (const auto session = mSession.lock()) session->TalkWith({});
    const std::lock_guard lock(mMutex);
    mConnected = false;
    mStatus = {};
    mLevels.clear();
}

asio::awaitable<void> VoiceDoor::TellPeople(std::shared_ptr<Stream> companion)
{
    const auto self = shared_from_this();
    asio::steady_timer next(mExecutor);
    while (mCompanion == companion) {
        SayPeople();
        next.expires_after(kPeopleEvery);
        co_await next.async_wait(kNoThrow);
    }
}

bool VoiceDoor::SayPeople()
{
    const auto session = mSession.lock();
    return Send(voice_door::WritePeople(session ? session->VoicePeople() : voice_door::People{}));
}

/// False: it takes nothing now. A packet of voice is not worth waiting, and who is there is said again.
bool VoiceDoor::Send(const std::string& message)
{
    return mCompanion && ::send(mCompanion->native_handle(), message.data(), message.size(),
                                MSG_DONTWAIT | MSG_NOSIGNAL) == ssize_t(message.size());
}

void VoiceDoor::Take(std::string_view message)
{
    const auto session = mSession.lock();
    switch (voice_door::KindOf(message).value_or(Kind::Word)) {
        case Kind::With:
            if (auto with = voice_door::ReadWith(message)) {
                mWith = std::move(*with);
                if (session) session->TalkWith(mWith);
            }
            break;
        case Kind::Voice:
            if (const auto packet = voice_door::ReadPacket(message); packet && mPasses && !mWith.empty()) {
                if (session) session->SendVoice(packet->frame, packet->level, packet->body);
                Note({}, packet->level);
            }
            break;
        case Kind::Status:
            if (const auto status = voice_door::ReadStatus(message)) {
                const std::lock_guard lock(mMutex);
                mStatus = *status;
            }
            break;
        default: break;  // newer ones may say more
    }
}

void VoiceDoor::ShowCompanion()
{
    Send(voice_door::WriteOpen());
}

// --- the session -----------------------------------------------------------------------------------------

void VoiceDoor::LeadTo(const std::shared_ptr<Session>& session)
{
    mSession = session;
    if (session) session->TalkWith(mWith);
    SayPeople();
}

void VoiceDoor::OnVoice(std::string_view from, std::uint64_t frame, std::uint32_t level,
                        std::string_view body)
{
    if (!mPasses || std::find(mWith.begin(), mWith.end(), from) == mWith.end()) return;
    voice_door::Packet packet;
    packet.frame = frame;
    packet.level = std::uint8_t(std::min<std::uint32_t>(level, voice_door::kSilence));
    packet.from = from;
    packet.body = body;
    Send(voice_door::WritePacket(packet));
    Note(std::string(from), packet.level);
}

void VoiceDoor::OnVoicePeople()
{
    SayPeople();
}

}  // namespace zephyl::link
