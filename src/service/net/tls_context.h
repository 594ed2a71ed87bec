#pragma once
// TLS 1.3 settings of one end, and keys as fingerprints. OpenSSL types stay out of this header but for
// forward declarations. Any thread.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>

using SSL_CTX = struct ssl_ctx_st;
using SSL = struct ssl_st;
using BIO_METHOD = struct bio_method_st;
using X509 = struct x509_st;

namespace zephyl {

/// TLS itself failed: no agreement, a damaged record, a key that cannot be read.
struct TlsError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// `what` and the oldest error of OpenSSL's queue of this thread, which is emptied.
TlsError LastTlsError(const std::string& what);

/// Whether an authority of this machine vouches for the certificate that answered, under the name or address
/// that NewSsl was told. What could not be checked is not vouched for.
bool Vouched(const SSL* ssl);

/// A client's connection speaks HTTP instead. Before its handshake.
void OfferHttp(SSL* ssl);

/// "sha256:" and the SHA-256 of the certificate's SubjectPublicKeyInfo in lower-case hex.
std::string KeyFingerprint(const X509* certificate);

/// What OpenSSL reads and writes in the place of a socket.
class TlsMemory {
public:
    /// How many bytes it gave; 0: it has none now.
    virtual int GiveToTls(char* to, int bytes) = 0;
    virtual void TakeFromTls(const char* from, int bytes) = 0;

protected:
    ~TlsMemory() = default;
};

class TlsContext {
public:
    /// Key and certificate as PEM files. Throws TlsError, also when others can read the key.
    static std::shared_ptr<TlsContext> Server(const std::filesystem::path& key,
                                              const std::filesystem::path& certificate);
    /// For connecting. The chain is checked against the machine's authorities, but a failed check does
    /// not end the handshake: the caller looks at TlsStream::Peer before it sends anything.
    static std::shared_ptr<TlsContext> Client();
    ~TlsContext();
    TlsContext(const TlsContext&) = delete;
    TlsContext& operator=(const TlsContext&) = delete;

    /// A new connection's TLS state. `peer`: the name or address that a client asked for, which the machine's
    /// authorities have to vouch for; "": nobody asks. Throws TlsError. Nobody can vouch for an address with
    /// a zone (fe80::1%eth0): every network has its own.
    SSL* NewSsl(const std::string& peer) const;
    /// How a stream's bytes reach OpenSSL. Its data is a TlsMemory.
    const BIO_METHOD* Memory() const { return mMemory; }
    /// Of the own certificate; "" for a client.
    const std::string& Fingerprint() const { return mFingerprint; }
    /// Of the own certificate, seconds since 1970.
    std::int64_t CertificateEnds() const { return mEnds; }

private:
    explicit TlsContext(bool server);
    SSL_CTX* mContext;
    BIO_METHOD* mMemory;
    bool mServer;
    std::string mFingerprint;
    std::int64_t mEnds = 0;
    mutable std::once_flag mAuthorities;  // reading them takes 20 ms, so not before somebody needs them
};

}  // namespace zephyl
