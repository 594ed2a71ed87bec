#pragma once
// Files in one folder and nowhere else: everything is opened beneath the folder's descriptor, no links are
// followed, new files are the user's alone.

#include <QByteArray>
#include <QString>

/// Every failing call throws std::runtime_error that names the file and the system's reason.
class LogFolder {
public:
    /// Opens the folder; makes it when it does not exist (its parent must). `path` may end in "/" or "\".
    explicit LogFolder(const QString& path);
    ~LogFolder();
    LogFolder(const LogFolder&) = delete;
    LogFolder& operator=(const LogFolder&) = delete;

    /// Bytes; 0 when the file does not exist.
    qint64 Size(const QString& name) const;
    QByteArray ReadAll(const QString& name) const;
    /// One write, so that entries of several programs stay whole.
    void Append(const QString& name, const QByteArray& bytes) const;
    /// Old contents or new, never something between, however the program ends. It does not wait for the disk:
    /// a full log is replaced at every line.
    void Replace(const QString& name, const QByteArray& bytes) const;

private:
    int OpenFile(const QString& name, int flags) const;

    int mFolder = -1;
    QString mPath;
};
