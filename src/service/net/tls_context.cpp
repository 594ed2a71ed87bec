#include "service/net/tls_context.h"

#include <fcntl.h>
#include <openssl/err.h>
#include <openssl/sha.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <array>
#include <boost/asio/ip/address.hpp>
#include <ctime>

#include "files/careful_file.h"
#include "service/wire/limits.h"

namespace zephyl {
namespace {

constexpr char kHexDigits[] = "0123456789abcdef";

// "\x08zephyl/1": as a client offers it.
std::string AlpnList(std::string_view name)
{
    return static_cast<char>(name.size()) + std::string(name);
}

bool Choose(std::string_view wanted, const unsigned char** out, unsigned char* outBytes,
            const unsigned char* offered, unsigned int offeredBytes)
{
    for (unsigned int at = 0; at < offeredBytes; at += 1u + offered[at]) {
        if (std::string_view(reinterpret_cast<const char*>(offered) + at + 1, offered[at]) != wanted)
            continue;
        *out = offered + at + 1;
        *outBytes = offered[at];
        return true;
    }
    return false;
}

int ChooseProtocol(SSL*, const unsigned char** out, unsigned char* outBytes, const unsigned char* offered,
                   unsigned int offeredBytes, void*)
{
    for (const char* name : {kAlpn, kHttpAlpn})
        if (Choose(name, out, outBytes, offered, offeredBytes)) return SSL_TLSEXT_ERR_OK;
    return SSL_TLSEXT_ERR_ALERT_FATAL;
}

int MemoryRead(BIO* bio, char* to, int bytes)
{
    BIO_clear_retry_flags(bio);
    const int got = static_cast<TlsMemory*>(BIO_get_data(bio))->GiveToTls(to, bytes);
    if (got == 0) BIO_set_retry_read(bio);
    return got == 0 ? -1 : got;
}

int MemoryWrite(BIO* bio, const char* from, int bytes)
{
    static_cast<TlsMemory*>(BIO_get_data(bio))->TakeFromTls(from, bytes);
    return bytes;
}

long MemoryControl(BIO*, int command, long, void*)
{
    return command == BIO_CTRL_FLUSH ? 1 : 0;
}

int MemoryCreate(BIO* bio)
{
    BIO_set_init(bio, 1);
    return 1;
}

void Require(bool good, const char* what)
{
    if (!good) throw LastTlsError(what);
}

files::Descriptor Opened(const std::filesystem::path& path, files::Owner owner)
try {
    return files::OpenRegular(path, O_RDONLY, owner);
} catch (const files::FileProblem& problem) {
    throw TlsError(problem.what());
}

/// What has been checked is what is read, whatever stands at its path by then.
std::string NameOf(const files::Descriptor& file)
{
    return "/proc/self/fd/" + std::to_string(file.Number());
}

void NamePeer(SSL* ssl, const std::string& name)
{
    boost::system::error_code notAnAddress;
    boost::asio::ip::make_address(name, notAnAddress);
    SSL_set_hostflags(ssl, X509_CHECK_FLAG_NEVER_CHECK_SUBJECT | X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    if (notAnAddress) {
        Require(SSL_set_tlsext_host_name(ssl, name.c_str()) == 1 && SSL_set1_host(ssl, name.c_str()) == 1,
                "no name of a service");
    } else if (X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(ssl), name.c_str()) != 1) {
        ERR_clear_error();  // an address with a zone: Vouched finds nothing that was to be checked
    }
}

/// Whether the chain was checked against a name or an address at all.
bool PeerNamed(const SSL* ssl)
{
    X509_VERIFY_PARAM* const checks = SSL_get0_param(const_cast<SSL*>(ssl));
    char* const address = X509_VERIFY_PARAM_get1_ip_asc(checks);
    const bool named = address || X509_VERIFY_PARAM_get0_host(checks, 0);
    OPENSSL_free(address);
    return named;
}

}  // namespace

TlsError LastTlsError(const std::string& what)
{
    const unsigned long code = ERR_get_error();
    ERR_clear_error();
    if (code == 0) return TlsError(what);
    if (const char* const reason = ERR_reason_error_string(code)) return TlsError(what + ": " + reason);
    std::array<char, 256> text{};
    ERR_error_string_n(code, text.data(), text.size());
    return TlsError(what + ": " + text.data());
}

bool Vouched(const SSL* ssl)
{
    return PeerNamed(ssl) && SSL_get_verify_result(ssl) == X509_V_OK;
}

void OfferHttp(SSL* ssl)
{
    const std::string list = AlpnList(kHttpAlpn);
    Require(SSL_set_alpn_protos(ssl, reinterpret_cast<const unsigned char*>(list.data()),
                                static_cast<unsigned int>(list.size())) == 0,
            "no protocol");
}

std::string KeyFingerprint(const X509* certificate)
{
    unsigned char* der = nullptr;
    const int bytes = i2d_X509_PUBKEY(X509_get_X509_PUBKEY(certificate), &der);
    if (bytes <= 0) throw LastTlsError("a certificate without a key");
    std::array<unsigned char, SHA256_DIGEST_LENGTH> digest{};
    SHA256(der, static_cast<std::size_t>(bytes), digest.data());
    OPENSSL_free(der);
    std::string text = "sha256:";
    for (const unsigned char byte : digest) text.append({kHexDigits[byte >> 4], kHexDigits[byte & 15]});
    return text;
}

TlsContext::TlsContext(bool server)
    : mContext(SSL_CTX_new(server ? TLS_server_method() : TLS_client_method())),
      mMemory(BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "stream memory")),
      mServer(server)
{
    if (!mContext || !mMemory) throw LastTlsError("no TLS");
    BIO_meth_set_read(mMemory, MemoryRead);
    BIO_meth_set_write(mMemory, MemoryWrite);
    BIO_meth_set_ctrl(mMemory, MemoryControl);
    BIO_meth_set_create(mMemory, MemoryCreate);
    Require(SSL_CTX_set_min_proto_version(mContext, TLS1_3_VERSION) == 1, "no TLS 1.3");
    SSL_CTX_set_mode(mContext, SSL_MODE_RELEASE_BUFFERS);
    SSL_CTX_set_options(mContext,
                        SSL_OP_CIPHER_SERVER_PREFERENCE | SSL_OP_NO_TICKET | SSL_OP_NO_RENEGOTIATION);
    SSL_CTX_set_session_cache_mode(mContext, SSL_SESS_CACHE_OFF);
    Require(SSL_CTX_set_ciphersuites(
                mContext, "TLS_AES_128_GCM_SHA256:TLS_CHACHA20_POLY1305_SHA256:TLS_AES_256_GCM_SHA384") == 1,
            "no ciphers");
}

TlsContext::~TlsContext()
{
    SSL_CTX_free(mContext);
    BIO_meth_free(mMemory);
}

std::shared_ptr<TlsContext> TlsContext::Server(const std::filesystem::path& key,
                                               const std::filesystem::path& certificate)
{
    std::shared_ptr<TlsContext> made(new TlsContext(true));
    SSL_CTX* context = made->mContext;
    const files::Descriptor chainFile = Opened(certificate, files::Owner::Anybody);
    if (SSL_CTX_use_certificate_chain_file(context, NameOf(chainFile).c_str()) != 1)
        throw LastTlsError("cannot use the certificate " + certificate.string());
    const files::Descriptor keyFile = Opened(key, files::Owner::Private);
    if (SSL_CTX_use_PrivateKey_file(context, NameOf(keyFile).c_str(), SSL_FILETYPE_PEM) != 1)
        throw LastTlsError("cannot use the key " + key.string());
    if (SSL_CTX_check_private_key(context) != 1)
        throw LastTlsError("key and certificate do not belong together");
    SSL_CTX_set_num_tickets(context, 0);
    SSL_CTX_set_alpn_select_cb(context, ChooseProtocol, nullptr);
    made->mFingerprint = KeyFingerprint(SSL_CTX_get0_certificate(context));
    std::tm ends{};
    if (ASN1_TIME_to_tm(X509_get0_notAfter(SSL_CTX_get0_certificate(context)), &ends) == 1)
        made->mEnds = ::timegm(&ends);
    return made;
}

std::shared_ptr<TlsContext> TlsContext::Client()
{
    std::shared_ptr<TlsContext> made(new TlsContext(false));
    const std::string list = AlpnList(kAlpn);
    Require(SSL_CTX_set_alpn_protos(made->mContext, reinterpret_cast<const unsigned char*>(list.data()),
                                    static_cast<unsigned int>(list.size())) == 0,
            "no protocol");
    return made;
}

SSL* TlsContext::NewSsl(const std::string& peer) const
{
    SSL* ssl = SSL_new(mContext);
    if (!ssl) throw LastTlsError("no TLS state");
    if (mServer) {
        SSL_set_accept_state(ssl);
        return ssl;
    }
    SSL_set_connect_state(ssl);
    if (peer.empty()) return ssl;
    // Without them nobody is vouched for.
    std::call_once(mAuthorities, [this] { SSL_CTX_set_default_verify_paths(mContext); });
    try {
        NamePeer(ssl, peer);
    } catch (const TlsError&) {
        SSL_free(ssl);
        throw;
    }
    return ssl;
}

}  // namespace zephyl
