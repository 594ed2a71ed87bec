#pragma once
// One TLS connection over TCP, thin: what is ready leaves in one send, a silent connection holds no
// buffers. OpenSSL reads and writes this object's memory, so a batch of any size is one TLS write and one
// system call. Not thread-safe: all calls from one strand, or from one thread.

#include <boost/asio/awaitable.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "service/net/byte_stream.h"
#include "service/net/tls_context.h"

namespace zephyl {

/// No delay, and little unsent data in the kernel, so that what is urgent does not queue behind it.
/// Programs that are started do not inherit it: they would hold the connection open after our end.
/// A socket that refuses (already closed) is left as it is.
void PrepareSocket(boost::asio::ip::tcp::socket& socket);

/// Who answered, known after Handshake.
struct TlsPeer {
    std::string fingerprint;  // "" when the peer showed no certificate
    bool vouched = false;     // an authority of this machine vouches for it under the name that was asked for
};

/// What the other side must have agreed to before anything is said. Either: a server that tells the two apart
/// by Agreed. Other things: for a benchmark of others.
enum class Speaks { Zephyl, Http, Either, OtherThings };

class TlsStream final : public ByteStream, private TlsMemory {
public:
    using Socket = boost::asio::ip::tcp::socket;

    /// Takes a connected socket and makes it non-blocking. `serverName`: the name or address that a client
    /// asked for; "" at a server.
    TlsStream(Socket socket, std::shared_ptr<const TlsContext> context, const std::string& serverName = {});
    ~TlsStream() override;
    TlsStream(const TlsStream&) = delete;
    TlsStream& operator=(const TlsStream&) = delete;

    /// Both ends agree to the one protocol here. Throws TlsError, or boost::system::system_error when the
    /// connection is lost.
    boost::asio::awaitable<void> Handshake(Speaks speaks = Speaks::Zephyl);
    TlsPeer Peer() const;
    /// What both ends agreed to in the handshake; "": nothing.
    std::string_view Agreed() const;

    /// Throws system_error (eof at an end of any kind) or TlsError. Nothing is held while waiting.
    boost::asio::awaitable<void> Read(std::string& into) override;
    boost::asio::awaitable<void> Write(std::string_view bytes) override;

    // The same without waiting, for a caller with its own turns.

    /// The handshake brought bytes beyond it: do not wait for the socket before TakeReady.
    bool InputKept() const { return !mKeptIn.empty(); }
    /// Appends what has arrived, if anything. Throws as Read.
    bool TakeReady(std::string& into);
    /// Encrypts `bytes` and sends what the socket takes; the rest is kept.
    /// Returns true when everything has left. Throws as Read.
    bool Put(std::string_view bytes);
    /// The same in memory that a caller keeps for one stream after another; it comes back empty-handed when
    /// something is left.
    bool Put(std::string_view bytes, std::string& sealed);
    /// Sends on what was kept.
    bool Flush();
    std::size_t Backlog() const { return mOut.size() - mOutAt; }

    /// True when the other side has closed behind what it has sent.
    bool PeerClosed() const;
    /// Says goodbye if the socket takes it at once, and closes. Waiting calls end with operation_aborted.
    void Close() noexcept override;

    Socket& Tcp() { return mSocket; }

private:
    int GiveToTls(char* to, int bytes) override;
    void TakeFromTls(const char* from, int bytes) override
    {
        mOut.append(from, static_cast<std::size_t>(bytes));
    }
    bool Receive(std::string& into);
    bool Decrypt(std::string& into);
    void KeepInput();
    bool SendOut();
    boost::asio::awaitable<void> Drain();

    Socket mSocket;
    std::shared_ptr<const TlsContext> mContext;
    SSL* mSsl;
    std::string_view mIn;  // bytes from the socket that TLS has not taken; inside one call only
    std::string mKeptIn;   // what is left of them between calls: hardly ever anything
    std::string mOut;      // encrypted, waiting for the socket
    std::size_t mOutAt = 0;
};

}  // namespace zephyl
