#include "service/link/device_words.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QCryptographicHash>
#include <QString>
#include <filesystem>

namespace zephyl::link {
namespace {

constexpr std::size_t kWordBytes = 256;  // of what a service may give

struct File {
    explicit File(int descriptor) : fd(descriptor) {}
    ~File()
    {
        if (fd >= 0) ::close(fd);
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    int fd;
};

}  // namespace

// Spellings of a handle that differ in case only are one account.
std::string DeviceWords::PathOf(const std::string& service, const std::string& handle) const
{
    const QByteArray name = QString::fromStdString(handle).trimmed().toCaseFolded().toUtf8();
    const QByteArray whole = QByteArray::fromStdString(service) + '\n' + name;
    const QByteArray hash = QCryptographicHash::hash(whole, QCryptographicHash::Sha256).toHex();
    return mFolder + '/' + hash.toStdString();
}

std::string DeviceWords::Read(const std::string& service, const std::string& handle) const
{
    if (!Keeps()) return {};
    const File file(::open(PathOf(service, handle).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    struct stat info {};
    if (file.fd < 0 || ::fstat(file.fd, &info) != 0 || !S_ISREG(info.st_mode)) return {};
    if (info.st_uid != ::geteuid() || (info.st_mode & 077) != 0) return {};
    std::string word(kWordBytes, '\0');
    const ssize_t got = ::read(file.fd, word.data(), word.size());
    word.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return word;
}

void DeviceWords::Keep(const std::string& service, const std::string& handle, const std::string& word) const
{
    if (!Keeps() || word.empty() || word.size() > kWordBytes) return;
    std::error_code failed;
    std::filesystem::create_directories(std::filesystem::path(mFolder).parent_path(), failed);
    ::mkdir(mFolder.c_str(), 0700);
    const std::string path = PathOf(service, handle);
    const std::string fresh = path + '.' + std::to_string(::getpid());
    ::unlink(fresh.c_str());
    const File file(::open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (file.fd < 0) return;
    const bool written = ::write(file.fd, word.data(), word.size()) == static_cast<ssize_t>(word.size());
    if (!written || ::rename(fresh.c_str(), path.c_str()) != 0) ::unlink(fresh.c_str());
}

}  // namespace zephyl::link
