#include "platform/linux/shared_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace {

constexpr qint64 kLimit = 64LL << 20;

[[noreturn]] void Fail(const QByteArray& path, int error)
{
    throw std::runtime_error(path.toStdString() + ": " + std::strerror(error));
}

class Descriptor {
public:
    Descriptor(QByteArray path, int flags) : mPath(std::move(path))
    {
        mNumber = ::open(mPath.constData(), flags | O_CLOEXEC, 0600);
        if (mNumber < 0) Fail(mPath, errno);
    }
    ~Descriptor() { ::close(mNumber); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    void Write(const QByteArray& bytes) const
    {
        for (qsizetype done = 0; done < bytes.size();) {
            const ssize_t wrote =
                ::write(mNumber, bytes.constData() + done, std::size_t(bytes.size() - done));
            if (wrote < 0 && errno != EINTR) Fail(mPath, errno);
            if (wrote > 0) done += wrote;
        }
        Sync();
    }
    void Sync() const
    {
        if (::fsync(mNumber) != 0) Fail(mPath, errno);
    }
    void Lock() const
    {
        while (::flock(mNumber, LOCK_EX) != 0)
            if (errno != EINTR) Fail(mPath, errno);
    }

private:
    QByteArray mPath;
    int mNumber;
};

void MakeFolder(const QString& folder)
{
    if (QFileInfo(folder).isDir()) return;
    MakeFolder(QFileInfo(folder).path());
    const QByteArray path = QFile::encodeName(folder);
    if (::mkdir(path.constData(), 0700) != 0 && errno != EEXIST) Fail(path, errno);
}

QString Resolved(const QString& path)
{
    const QString real = QFileInfo(path).canonicalFilePath();
    return real.isEmpty() ? QFileInfo(path).absoluteFilePath() : real;
}

}  // namespace

SharedFile::SharedFile(QString path) : mPath(std::move(path)) {}

QByteArray SharedFile::Read() const
{
    const std::string name = QFile::encodeName(mPath).toStdString();
    QFile file(mPath);
    if (!file.exists()) return {};
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error(name + ": " + file.errorString().toStdString());
    const QByteArray content = file.read(kLimit + 1);
    if (file.error() != QFile::NoError)
        throw std::runtime_error(name + ": " + file.errorString().toStdString());
    if (content.size() > kLimit) throw std::runtime_error(name + " holds more than 64 MiB");
    return content;
}

QByteArray SharedFile::Stamp() const
{
    struct stat facts {};
    if (::stat(QFile::encodeName(mPath).constData(), &facts) != 0) return {};
    QByteArray stamp;
    for (const qint64 part : {qint64(facts.st_ino), qint64(facts.st_size), qint64(facts.st_mtim.tv_sec),
                              qint64(facts.st_mtim.tv_nsec), qint64(facts.st_ctim.tv_nsec)})
        stamp += QByteArray::number(part) + ' ';
    return stamp;
}

void SharedFile::Replace(const std::function<QByteArray(const QByteArray&)>& change)
{
    const QString target = Resolved(mPath);
    const QString folder = QFileInfo(target).path();
    MakeFolder(folder);
    const QByteArray name = QFile::encodeName(target), next = name + ".new";
    const Descriptor lock(name + ".lock", O_RDWR | O_CREAT);
    lock.Lock();
    const QByteArray before = Read();
    const QByteArray after = change(before);
    if (after == before && QFile::exists(target)) return;
    Descriptor(next, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW).Write(after);
    if (::rename(next.constData(), name.constData()) != 0) Fail(name, errno);
    Descriptor(QFile::encodeName(folder), O_RDONLY | O_DIRECTORY).Sync();
}
