#include "platform/linux/shared_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <cerrno>
#include <cstring>
#include <stdexcept>

using namespace std::chrono_literals;

namespace {

constexpr std::size_t kLimit = 64 << 20;

[[noreturn]] void Fail(const QByteArray& path, int error)
{
    throw std::runtime_error(path.toStdString() + ": " + files::Why(error));
}

void Sync(const files::Descriptor& file, const QByteArray& path)
{
    if (::fsync(file.Number()) != 0) Fail(path, errno);
}

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

SharedFile::SharedFile(QString path, std::chrono::milliseconds patience)
    : mPath(std::move(path)), mFullPatience(patience), mPatience(patience)
{
}

QByteArray SharedFile::Read() const
try {
    const std::string path = QFile::encodeName(mPath).toStdString();
    const files::Descriptor file = files::OpenRegular(path, O_RDONLY, files::Owner::Us);
    return QByteArray::fromStdString(files::ReadWhole(file, kLimit, path));
} catch (const files::FileProblem& problem) {
    if (problem.error == ENOENT || problem.error == ENOTDIR) return {};
    throw;
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
    const files::Descriptor lock = Lock(name.toStdString() + ".lock");
    const QByteArray before = Read();
    const QByteArray after = change(before);
    if (after == before && QFile::exists(target)) return;
    ::unlink(next.constData());  // left over from a program that was killed
    {
        const auto file =
            files::OpenRegular(next.toStdString(), O_WRONLY | O_CREAT | O_EXCL, files::Owner::Us);
        files::WriteWhole(file, after.toStdString(), next.toStdString());
        Sync(file, next);
    }
    if (::rename(next.constData(), name.constData()) != 0) Fail(name, errno);
    const files::Descriptor place(
        ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    Sync(place, QFile::encodeName(folder));
}

/// Once somebody has kept it for so long, nobody waits for them again.
files::Descriptor SharedFile::Lock(const std::string& path)
{
    const auto patience = std::exchange(mPatience, 0ms);
    files::Descriptor lock = files::LockFile(path, patience);
    mPatience = mFullPatience;
    return lock;
}
