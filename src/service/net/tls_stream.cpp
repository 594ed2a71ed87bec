#include "service/net/tls_stream.h"

#include <fcntl.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <boost/asio/error.hpp>
#include <boost/asio/ip/address.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/system/system_error.hpp>
#include <cerrno>
#include <cstring>

#include "service/wire/limits.h"

namespace zephyl {
namespace asio = boost::asio;
namespace {

constexpr int kClearBytes = 16 * 1024;              // one TLS record
constexpr std::size_t kRecordExtraBytes = 22;       // header, type and tag
constexpr std::size_t kHandshakeBytes = 4 * 1024;   // a ClientHello; more comes in the next turn
constexpr std::size_t kAnswersBytes = 1024 * 1024;  // of TLS itself, behind a batch that is on its way
constexpr int kUnsentBytes = 16 * 1024;             // in the kernel, before a socket counts as busy

[[noreturn]] void Lost(int error)
{
    throw boost::system::system_error(boost::system::error_code(error, boost::system::system_category()));
}

[[noreturn]] void Ended()
{
    throw boost::system::system_error(asio::error::eof);
}

/// Who agreed to nothing may be anybody: a service of another kind, or a road between that listens in. Of
/// HTTP there are many that end TLS for a service and agree to nothing.
void RequireProtocol(std::string_view agreed, Speaks speaks)
{
    const bool http = agreed == kHttpAlpn || (agreed.empty() && speaks == Speaks::Http);
    if (speaks != Speaks::Http && agreed == kAlpn) return;
    if (speaks != Speaks::Zephyl && http) return;
    throw TlsError(std::string("the other side does not speak ") +
                   (speaks == Speaks::Http ? kHttpAlpn : kAlpn));
}

}  // namespace

void PrepareSocket(asio::ip::tcp::socket& socket)
{
    const int on = 1;
    ::fcntl(socket.native_handle(), F_SETFD, FD_CLOEXEC);
    ::setsockopt(socket.native_handle(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    ::setsockopt(socket.native_handle(), IPPROTO_TCP, TCP_NOTSENT_LOWAT, &kUnsentBytes, sizeof kUnsentBytes);
}

TlsStream::TlsStream(Socket socket, std::shared_ptr<const TlsContext> context, const std::string& serverName)
    : mSocket(std::move(socket)), mContext(std::move(context)), mSsl(mContext->NewSsl(serverName))
{
    boost::system::error_code ignored;
    mSocket.non_blocking(true, ignored);
    PrepareSocket(mSocket);
    BIO* memory = BIO_new(mContext->Memory());
    if (!memory) {
        SSL_free(mSsl);
        throw LastTlsError("no TLS memory");
    }
    BIO_set_data(memory, static_cast<TlsMemory*>(this));
    SSL_set_bio(mSsl, memory, memory);
}

TlsStream::~TlsStream()
{
    SSL_free(mSsl);
}

int TlsStream::GiveToTls(char* to, int bytes)
{
    const std::size_t count = std::min(mIn.size(), static_cast<std::size_t>(bytes));
    if (count > 0) std::memcpy(to, mIn.data(), count);
    mIn.remove_prefix(count);
    return static_cast<int>(count);
}

void TlsStream::KeepInput()
{
    mKeptIn = std::string(mIn);
    mIn = {};
}

asio::awaitable<void> TlsStream::Handshake(Speaks speaks)
{
    if (speaks == Speaks::Http) OfferHttp(mSsl);
    for (;;) {
        ERR_clear_error();
        mIn = mKeptIn;
        const int result = SSL_do_handshake(mSsl);
        const int reason = SSL_get_error(mSsl, result);
        KeepInput();
        Flush();
        if (result != 1 && reason != SSL_ERROR_WANT_READ) throw LastTlsError("TLS handshake");
        co_await Drain();
        if (result == 1) {
            if (speaks != Speaks::OtherThings) RequireProtocol(Agreed(), speaks);
            co_return;
        }
        co_await mSocket.async_wait(Socket::wait_read, asio::use_awaitable);
        char raw[kHandshakeBytes];
        const ssize_t got = ::recv(mSocket.native_handle(), raw, sizeof raw, 0);
        if (got == 0) Ended();
        if (got < 0 && errno != EAGAIN) Lost(errno);
        if (got > 0) mKeptIn.append(raw, static_cast<std::size_t>(got));
    }
}

std::string_view TlsStream::Agreed() const
{
    const unsigned char* agreed = nullptr;
    unsigned int bytes = 0;
    SSL_get0_alpn_selected(mSsl, &agreed, &bytes);
    return {reinterpret_cast<const char*>(agreed), bytes};
}

TlsPeer TlsStream::Peer() const
{
    X509* certificate = SSL_get0_peer_certificate(mSsl);
    if (!certificate) return {};
    return {KeyFingerprint(certificate), Vouched(mSsl)};
}

bool TlsStream::Decrypt(std::string& into)
{
    const std::size_t before = into.size();
    char clear[kClearBytes];
    for (;;) {
        ERR_clear_error();
        const int got = SSL_read(mSsl, clear, kClearBytes);
        if (got > 0) {
            into.append(clear, static_cast<std::size_t>(got));
            continue;
        }
        const int reason = SSL_get_error(mSsl, got);
        if (reason == SSL_ERROR_WANT_READ) return into.size() > before;
        if (into.size() > before) return true;  // what came before the end counts; the end is met again
        if (reason == SSL_ERROR_ZERO_RETURN) Ended();
        throw LastTlsError("TLS");
    }
}

bool TlsStream::Receive(std::string& into)
{
    char raw[kReceiveBytes];
    const ssize_t got = ::recv(mSocket.native_handle(), raw, sizeof raw, 0);
    if (got == 0) Ended();
    if (got < 0 && (errno == EAGAIN || errno == EINTR)) return false;
    if (got < 0) Lost(errno);
    mIn = std::string_view(raw, static_cast<std::size_t>(got));
    const bool any = Decrypt(into);
    KeepInput();
    return any;
}

bool TlsStream::TakeReady(std::string& into)
{
    if (!mKeptIn.empty()) {
        const std::string kept = std::move(mKeptIn);
        mIn = kept;
        const bool any = Decrypt(into);
        KeepInput();
        if (any) return true;
    }
    const bool any = Receive(into);
    if (Backlog() > 0) Flush();  // TLS may answer for itself
    if (Backlog() > kAnswersBytes) throw TlsError("the peer asks TLS for answers that it does not take");
    return any;
}

asio::awaitable<void> TlsStream::Read(std::string& into)
{
    while (!TakeReady(into)) co_await mSocket.async_wait(Socket::wait_read, asio::use_awaitable);
}

bool TlsStream::Put(std::string_view bytes)
{
    std::string sealed;
    return Put(bytes, sealed);
}

bool TlsStream::Put(std::string_view bytes, std::string& sealed)
{
    if (Backlog() == 0) {  // TLS may have answered for itself what the socket has not taken yet
        sealed.clear();
        mOut.swap(sealed);
    }
    if (!bytes.empty()) {
        ERR_clear_error();
        const int count = static_cast<int>(bytes.size());
        mOut.reserve(mOut.size() + bytes.size() + (bytes.size() / kClearBytes + 1) * kRecordExtraBytes);
        if (SSL_write(mSsl, bytes.data(), count) != count) throw LastTlsError("TLS");
    }
    if (!SendOut()) return false;
    mOut.swap(sealed);
    return true;
}

bool TlsStream::Flush()
{
    if (!SendOut()) return false;
    mOut = std::string();
    return true;
}

// True: everything has left, and mOut may be used for something else.
bool TlsStream::SendOut()
{
    while (mOutAt < mOut.size()) {
        const ssize_t sent =
            ::send(mSocket.native_handle(), mOut.data() + mOutAt, mOut.size() - mOutAt, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) continue;
        if (sent < 0 && errno == EAGAIN) return false;
        if (sent < 0) Lost(errno);
        mOutAt += static_cast<std::size_t>(sent);
    }
    mOutAt = 0;
    return true;
}

asio::awaitable<void> TlsStream::Drain()
{
    while (!Flush()) co_await mSocket.async_wait(Socket::wait_write, asio::use_awaitable);
}

asio::awaitable<void> TlsStream::Write(std::string_view bytes)
{
    Put(bytes);
    co_await Drain();
}

bool TlsStream::PeerClosed() const
{
    pollfd state{const_cast<Socket&>(mSocket).native_handle(), POLLRDHUP, 0};
    return ::poll(&state, 1, 0) > 0;
}

void TlsStream::Close() noexcept
{
    try {
        if (SSL_is_init_finished(mSsl) && Backlog() == 0) {
            SSL_shutdown(mSsl);
            Flush();
        }
    } catch (const std::exception&) {
        // the connection is gone already, which is what was wanted
    }
    ERR_clear_error();
    boost::system::error_code ignored;
    mSocket.shutdown(Socket::shutdown_both, ignored);
    mSocket.close(ignored);
}

}  // namespace zephyl
