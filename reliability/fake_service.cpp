#include "reliability/fake_service.h"

#include <arpa/inet.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

#include "service/net/tls_context.h"

namespace {

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using Certificate = std::unique_ptr<X509, decltype(&X509_free)>;

constexpr timeval kPatience{10, 0};

void Require(bool good, const char* what)
{
    if (!good) throw std::runtime_error(what);
}

Key NewKey()
{
    return Key(EVP_EC_gen("P-256"), EVP_PKEY_free);
}

void Extend(X509* certificate, int what, const char* text)
{
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, nullptr, what, text);
    Require(extension && X509_add_ext(certificate, extension, -1) == 1, text);
    X509_EXTENSION_free(extension);
}

Certificate Blank(EVP_PKEY* key, const std::string& name, const Wish& wish, long serial)
{
    Certificate made(X509_new(), X509_free);
    X509_set_version(made.get(), X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(made.get()), serial);
    X509_gmtime_adj(X509_getm_notBefore(made.get()), wish.fromDays * 24L * 3600);
    X509_gmtime_adj(X509_getm_notAfter(made.get()), wish.toDays * 24L * 3600);
    X509_set_pubkey(made.get(), key);
    X509_NAME_add_entry_by_txt(X509_get_subject_name(made.get()), "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
    return made;
}

template <class Put>
void WritePem(const std::filesystem::path& path, Put put)
{
    FILE* file = std::fopen(path.c_str(), "w");
    Require(file && put(file) == 1, "no PEM file");
    std::fclose(file);
    std::filesystem::permissions(path,
                                 std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

int Agree(SSL*, const unsigned char** out, unsigned char* outBytes, const unsigned char*, unsigned, void* own)
{
    const char* protocol = static_cast<const char*>(own);
    *out = reinterpret_cast<const unsigned char*>(protocol + 1);
    *outBytes = static_cast<unsigned char>(*protocol);
    return SSL_TLSEXT_ERR_OK;
}

/// For the rest of this thread: who writes to a connection that the other side has ended lives on.
void OutlivePeers()
{
    sigset_t pipe;
    ::sigemptyset(&pipe);
    ::sigaddset(&pipe, SIGPIPE);
    ::pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
}

/// What is read until the other side ends, or has said something.
template <class Read>
std::string FirstWords(Read read)
{
    std::array<char, 4096> bytes;
    const int got = read(bytes.data(), int(bytes.size()));
    return got > 0 ? std::string(bytes.data(), std::size_t(got)) : std::string();
}

std::string HearTls(int socket, const Guise& guise)
{
    const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context(SSL_CTX_new(TLS_server_method()),
                                                                    SSL_CTX_free);
    if (guise.oldTls) SSL_CTX_set_max_proto_version(context.get(), TLS1_2_VERSION);
    SSL_CTX_use_PrivateKey_file(context.get(), guise.papers.key.c_str(), SSL_FILETYPE_PEM);
    SSL_CTX_use_certificate_chain_file(context.get(), guise.papers.certificate.c_str());
    if (*guise.protocol) SSL_CTX_set_alpn_select_cb(context.get(), Agree, const_cast<char*>(guise.protocol));
    const std::unique_ptr<SSL, decltype(&SSL_free)> tls(SSL_new(context.get()), SSL_free);
    SSL_set_fd(tls.get(), socket);
    if (SSL_accept(tls.get()) != 1) return {};
    return FirstWords([&](char* to, int room) { return SSL_read(tls.get(), to, room); });
}

std::string Ask(const std::string& bytes, const std::string& protocol, std::uint16_t port)
{
    const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context(SSL_CTX_new(TLS_client_method()),
                                                                    SSL_CTX_free);
    const std::unique_ptr<BIO, decltype(&BIO_free_all)> road(BIO_new_ssl_connect(context.get()),
                                                             BIO_free_all);
    SSL* tls = nullptr;
    BIO_get_ssl(road.get(), &tls);
    BIO_set_conn_hostname(road.get(), ("127.0.0.1:" + std::to_string(port)).c_str());
    SSL_set_alpn_protos(tls, reinterpret_cast<const unsigned char*>(protocol.data()),
                        unsigned(protocol.size()));
    if (BIO_do_handshake(road.get()) != 1) return {};
    BIO_write(road.get(), bytes.data(), int(bytes.size()));
    return FirstWords([&](char* to, int room) { return BIO_read(road.get(), to, room); });
}

}  // namespace

struct Authority::Signer {
    Key key = NewKey();
    Certificate certificate{nullptr, X509_free};
};

Authority::Authority(std::filesystem::path folder)
    : mFolder(std::move(folder)), mSigner(std::make_unique<Signer>())
{
    mSigner->certificate = Blank(mSigner->key.get(), "An authority of this machine", {}, 1);
    X509* own = mSigner->certificate.get();
    X509_set_issuer_name(own, X509_get_subject_name(own));
    Extend(own, NID_basic_constraints, "critical,CA:TRUE");
    Require(X509_sign(own, mSigner->key.get(), EVP_sha256()) > 0, "no authority");
    WritePem(File(), [&](FILE* file) { return PEM_write_X509(file, own); });
}

Authority::~Authority() = default;

Papers Authority::Make(const Wish& wish)
{
    const std::string name = "service" + std::to_string(++mMade);
    Papers papers{mFolder / (name + ".key"), mFolder / (name + ".pem"), {}};
    const Key key = NewKey();
    const Certificate made = Blank(key.get(), name, wish, 1 + mMade);
    X509_set_issuer_name(made.get(),
                         X509_get_subject_name(wish.vouched ? mSigner->certificate.get() : made.get()));
    Extend(made.get(), NID_subject_alt_name, wish.names);
    Extend(made.get(), NID_ext_key_usage, wish.use);
    Require(X509_sign(made.get(), wish.vouched ? mSigner->key.get() : key.get(), EVP_sha256()) > 0,
            "no certificate");
    WritePem(papers.certificate, [&](FILE* file) { return PEM_write_X509(file, made.get()); });
    WritePem(papers.key, [&](FILE* file) {
        return PEM_write_PKCS8PrivateKey(file, key.get(), nullptr, nullptr, 0, nullptr, nullptr);
    });
    papers.fingerprint = zephyl::KeyFingerprint(made.get());
    return papers;
}

std::string AnswerTo(const std::string& bytes, const std::string& protocol, std::uint16_t port)
{
    std::string answer;
    std::thread([&] {
        OutlivePeers();
        answer = Ask(bytes, protocol, port);
    }).join();
    return answer;
}

PretendedService::PretendedService(const Guise& guise, const char* address)
    : mGuise(guise), mStop(::eventfd(0, EFD_CLOEXEC))
{
    sockaddr_in6 six{};
    sockaddr_in four{};
    six.sin6_family = AF_INET6;
    four.sin_family = AF_INET;
    const bool isFour = ::inet_pton(AF_INET, address, &four.sin_addr) == 1;
    Require(isFour || ::inet_pton(AF_INET6, address, &six.sin6_addr) == 1, address);
    sockaddr* const at = isFour ? reinterpret_cast<sockaddr*>(&four) : reinterpret_cast<sockaddr*>(&six);
    socklen_t bytes = isFour ? sizeof four : sizeof six;
    mListener = ::socket(at->sa_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    Require(::bind(mListener, at, bytes) == 0 && ::listen(mListener, 64) == 0, "cannot listen");
    ::getsockname(mListener, at, &bytes);
    mPort = ntohs(isFour ? four.sin_port : six.sin6_port);
    mThread = std::thread([this] { Serve(); });
}

PretendedService::~PretendedService()
{
    End();
    ::close(mListener);
    ::close(mStop);
}

const std::string& PretendedService::End()
{
    ::eventfd_write(mStop, 1);
    if (mThread.joinable()) mThread.join();
    return mHeard;
}

void PretendedService::Serve()
{
    OutlivePeers();
    for (;;) {
        std::array<pollfd, 2> ready{{{mListener, POLLIN, 0}, {mStop, POLLIN, 0}}};
        ::poll(ready.data(), ready.size(), -1);
        if (ready[0].revents == 0) return;  // asked to end, and nobody waits
        const int socket = ::accept4(mListener, nullptr, nullptr, SOCK_CLOEXEC);
        if (socket < 0) return;
        ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &kPatience, sizeof kPatience);
        ++mConnections;
        mHeard += mGuise.plain ? FirstWords([&](char* to, int room) {
            return int(::recv(socket, to, std::size_t(room), 0));
        })
                               : HearTls(socket, mGuise);
        mSpokenTo = !mHeard.empty();
        ::close(socket);
    }
}
