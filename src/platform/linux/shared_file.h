#pragma once
// One small file that several programs read and replace. Writers take turns by a lock on a file beside it;
// the content is swapped whole, so that a reader or a crash never meets half of it.

#include <QByteArray>
#include <QString>
#include <chrono>
#include <functional>

#include "files/careful_file.h"

class SharedFile {
public:
    /// A symbolic link at `path` is followed. Nothing is opened or made yet. `patience`: for whoever holds
    /// the lock; once they have used it up, further writers do not wait until the lock was free again.
    explicit SharedFile(QString path, std::chrono::milliseconds patience = std::chrono::seconds(5));

    /// The content; empty when there is no file. Throws std::runtime_error when it cannot be read, is no
    /// regular file of this user or the system, or holds more than 64 MiB.
    QByteArray Read() const;
    /// Changes with every replacement; empty when there is no file.
    QByteArray Stamp() const;
    /// Makes `change` of the content as it is then, under the lock. On disk, with mode 0600, when it returns;
    /// missing folders are made with mode 0700. Throws std::runtime_error, and then nothing has changed; when
    /// the lock is not free, it says who holds it.
    void Replace(const std::function<QByteArray(const QByteArray&)>& change);

private:
    files::Descriptor Lock(const std::string& path);

    QString mPath;
    std::chrono::milliseconds mFullPatience, mPatience;
};
