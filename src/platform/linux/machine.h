#pragma once
// The small ports over what Linux offers: the system's clock, its log, the user's folders, a trace file.

#include <QElapsedTimer>

#include "platform/machine.h"

class SystemClock final : public Clock {
public:
    QDateTime Now() const override { return QDateTime::currentDateTime(); }
};

/// syslog, which journald reads too; the event type becomes the priority.
class SyslogEventLog final : public EventLog {
public:
    SyslogEventLog();
    void Write(EventType type, const QString& message) override;
};

class XdgFolders final : public Folders {
public:
    QString Special(int folderId) const override;
    QString Program() const override;
};

/// Appends to a file or a named pipe, one write a line, so that several programs may share it.
class FileTrace final : public Trace {
public:
    /// Throws std::runtime_error when the file cannot be opened.
    explicit FileTrace(const QString& path);
    ~FileTrace() override;
    void Line(const char* event, const QJsonObject& fields) override;

private:
    int mFile;
    QElapsedTimer mSinceStart;
};
