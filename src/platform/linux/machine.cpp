#include "platform/linux/machine.h"

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QStandardPaths>
#include <cstring>
#include <stdexcept>

#include "files/careful_file.h"
#include "text/qt_line.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int kDocuments = 5;

int Priority(EventType type)
{
    switch (type) {
        case EventType::Error: return LOG_ERR;
        case EventType::Warning: return LOG_WARNING;
        case EventType::Information: break;
    }
    return LOG_INFO;
}

}  // namespace

SyslogEventLog::SyslogEventLog()
{
    openlog("quorvia", LOG_PID, LOG_USER);
}

void SyslogEventLog::Write(EventType type, const QString& message)
{
    syslog(Priority(type), "%s", OneLine(message).toUtf8().constData());
}

QString XdgFolders::Special(int folderId) const
{
    if (folderId != kDocuments) return QString();
    const QString path = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    return !path.isEmpty() && QDir().mkpath(path) ? path : QString();
}

QString XdgFolders::Program() const
{
    return QCoreApplication::applicationDirPath();
}

FileTrace::FileTrace(const QString& path)
    : mFile(open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK | O_CLOEXEC,
                 0600))
{
    if (mFile < 0) throw std::runtime_error("the trace file cannot be opened: " + files::Why(errno));
    fcntl(mFile, F_SETFL, O_APPEND);  // a pipe without a reader is refused; one with a reader gets every line
    mSinceStart.start();
}

FileTrace::~FileTrace()
{
    close(mFile);
}

void FileTrace::Line(const char* event, const QJsonObject& fields)
{
    QJsonObject line = fields;
    line[u"event"_s] = QLatin1String(event);
    line[u"t"_s] = mSinceStart.elapsed();
    const std::string text =
        JsonWithEscapes(QJsonDocument(line).toJson(QJsonDocument::Compact).toStdString()) + '\n';
    if (write(mFile, text.data(), text.size()) < 0) return;  // a trace never disturbs
}
