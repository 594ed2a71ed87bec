#include "service/relay/door/identity.h"

#include <fcntl.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "files/careful_file.h"
#include "service/relay/private_folder.h"

namespace zephyl {
namespace fs = std::filesystem;
namespace {

constexpr long kYears = 20;  // clients pin the key; the dates of our own certificate say nothing to them
constexpr std::size_t kKeyBytes = 64 * 1024;
constexpr char kKey[] = "key.pem";

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using Certificate = std::unique_ptr<X509, decltype(&X509_free)>;

/// Creates the file 0600 and lets `write` fill it; a half-written one never stands under its name.
template <class Write>
void MakePrivateFile(const fs::path& path, Write&& write)
{
    const std::string temporary = path.string() + ".new";
    ::unlink(temporary.c_str());
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    FILE* file = fd < 0 ? nullptr : ::fdopen(fd, "w");
    if (!file) RefuseStart("cannot write " + temporary);
    const bool written = write(file) == 1 && std::fflush(file) == 0 && ::fsync(fd) == 0;
    std::fclose(file);
    if (!written || ::rename(temporary.c_str(), path.c_str()) != 0)
        RefuseStart("cannot write " + path.string());
    const files::Descriptor folder(::open(path.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ::fsync(folder.Number());  // what is made next must not outlive it
}

Certificate SelfSigned(EVP_PKEY* key)
{
    Certificate made(X509_new(), X509_free);
    X509* certificate = made.get();
    X509_set_version(certificate, X509_VERSION_3);
    std::uint64_t serial = 0;
    RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof serial);
    ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate), serial >> 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate), -3600);
    X509_gmtime_adj(X509_getm_notAfter(certificate), kYears * 365 * 24 * 3600);
    X509_set_pubkey(certificate, key);
    X509_NAME* name = X509_get_subject_name(certificate);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8, reinterpret_cast<const unsigned char*>("zephyld"),
                               -1, -1, 0);
    X509_set_issuer_name(certificate, name);
    X509_EXTENSION* names =
        X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1,IP:::1");
    if (names) X509_add_ext(certificate, names, -1);
    X509_EXTENSION_free(names);
    if (X509_sign(certificate, key, EVP_sha256()) == 0) throw StartError("cannot sign the certificate");
    return made;
}

void MakeKey(const fs::path& path)
{
    const Key key(EVP_EC_gen("P-256"), EVP_PKEY_free);
    if (!key) RefuseStart("cannot draw a key");
    MakePrivateFile(path, [&](FILE* file) {
        return PEM_write_PKCS8PrivateKey(file, key.get(), nullptr, nullptr, 0, nullptr, nullptr);
    });
}

/// One with a passphrase is read as none: nobody is there to type it.
Key KeyIn(const std::string& pem)
{
    const std::unique_ptr<BIO, decltype(&BIO_free)> text(
        BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())), BIO_free);
    const auto noPassphrase = [](char*, int, int, void*) { return -1; };
    Key key(PEM_read_bio_PrivateKey(text.get(), nullptr, noPassphrase, nullptr), EVP_PKEY_free);
    ERR_clear_error();
    return key;
}

void Certify(const Identity& identity)
{
    const Key key = KeyIn(files::ReadWhole(files::OpenRegular(identity.key, O_RDONLY, files::Owner::Us),
                                           kKeyBytes, identity.key));
    if (!key)
        throw StartError("no certificate can be made for " + identity.key.string() +
                         ": no key can be read from it");
    const Certificate certificate = SelfSigned(key.get());
    MakePrivateFile(identity.certificate,
                    [&](FILE* file) { return PEM_write_X509(file, certificate.get()); });
}

}  // namespace

// The key comes first: a start that is interrupted leaves no certificate that looks like one whose key is
// lost.
Identity PrepareIdentity(const fs::path& data)
try {
    Identity identity{data / kKey, data / "certificate.pem"};
    struct stat info {};
    const bool keyed = ::stat(identity.key.c_str(), &info) == 0;
    const bool certified = fs::exists(identity.certificate);
    if (!keyed && certified)
        throw StartError("the key " + identity.key.string() +
                         " is missing beside its certificate: " + kPutKeyBack);
    if (keyed && (info.st_mode & 077))
        throw StartError("the key " + identity.key.string() +
                         " can be read by others; if nobody did: chmod 600 " + identity.key.string());
    if (!keyed) MakeKey(identity.key);
    if (!certified) Certify(identity);
    identity.certified = keyed && !certified;
    return identity;
} catch (const files::FileProblem& problem) {
    throw StartError(problem.what());
}

bool HasIdentity(const fs::path& data)
{
    return fs::exists(data / kKey);
}

}  // namespace zephyl
