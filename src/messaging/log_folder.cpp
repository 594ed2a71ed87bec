#include "messaging/log_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QFile>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "files/careful_file.h"

namespace {

[[noreturn]] void Fail(const QString& what, int error)
{
    throw std::runtime_error((what + QLatin1String(": ")).toStdString() + files::Why(error));
}

class Descriptor {
public:
    explicit Descriptor(int number) : mNumber(number) {}
    ~Descriptor()
    {
        if (mNumber >= 0) ::close(mNumber);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int Number() const { return mNumber; }

private:
    int mNumber;
};

void WriteWhole(int file, const QByteArray& bytes, const QString& what)
{
    for (qsizetype done = 0; done < bytes.size();) {
        const ssize_t written = ::write(file, bytes.constData() + done, size_t(bytes.size() - done));
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) Fail(what, written < 0 ? errno : ENOSPC);
        done += written;
    }
}

}  // namespace

LogFolder::LogFolder(const QString& path) : mPath(path)
{
    while (mPath.size() > 1 && (mPath.endsWith(u'/') || mPath.endsWith(u'\\'))) mPath.chop(1);
    const QByteArray native = QFile::encodeName(mPath);
    if (::mkdir(native.constData(), 0700) != 0 && errno != EEXIST) Fail(mPath, errno);
    mFolder = ::open(native.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (mFolder < 0) Fail(mPath, errno);
}

LogFolder::~LogFolder()
{
    ::close(mFolder);
}

int LogFolder::OpenFile(const QString& name, int flags) const
{
    // O_NONBLOCK: a pipe laid in the way must not hold the window.
    const int file = ::openat(mFolder, QFile::encodeName(name).constData(),
                              flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
    if (file < 0) Fail(mPath + u'/' + name, errno);
    struct stat info = {};
    if (::fstat(file, &info) != 0 || !S_ISREG(info.st_mode)) {
        ::close(file);
        Fail(mPath + u'/' + name, EINVAL);
    }
    return file;
}

qint64 LogFolder::Size(const QString& name) const
{
    struct stat info = {};
    if (::fstatat(mFolder, QFile::encodeName(name).constData(), &info, AT_SYMLINK_NOFOLLOW) == 0)
        return info.st_size;
    if (errno != ENOENT) Fail(mPath + u'/' + name, errno);
    return 0;
}

QByteArray LogFolder::ReadAll(const QString& name) const
{
    const Descriptor file(OpenFile(name, O_RDONLY));
    QFile reader;
    if (!reader.open(file.Number(), QIODevice::ReadOnly, QFileDevice::DontCloseHandle))
        Fail(mPath + u'/' + name, EIO);
    return reader.readAll();
}

void LogFolder::Append(const QString& name, const QByteArray& bytes) const
{
    const Descriptor file(OpenFile(name, O_WRONLY | O_APPEND | O_CREAT));
    WriteWhole(file.Number(), bytes, mPath + u'/' + name);
}

void LogFolder::Replace(const QString& name, const QByteArray& bytes) const
{
    const QString fresh = name + QLatin1String(".new");
    const QByteArray nativeFresh = QFile::encodeName(fresh);
    ::unlinkat(mFolder, nativeFresh.constData(), 0);  // left over from a program that was killed
    {
        const Descriptor file(OpenFile(fresh, O_WRONLY | O_CREAT | O_EXCL));
        WriteWhole(file.Number(), bytes, mPath + u'/' + fresh);
    }
    if (::renameat(mFolder, nativeFresh.constData(), mFolder, QFile::encodeName(name).constData()) != 0)
        Fail(mPath + u'/' + name, errno);
}
