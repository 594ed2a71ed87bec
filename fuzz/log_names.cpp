// Handles and lines of strangers on their way into a log: one file inside the folder, one line.

#include <cstdint>
#include <cstdlib>

#include "messaging/chat_log.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
    const QByteArray name = LogFileName(text).toUtf8();
    if (name.isEmpty() || name.size() > 200 || name.contains('/') || name.contains('\0') ||
        name.startsWith('.'))
        std::abort();
    const QByteArray entry = LogEntry(QDateTime(QDate(2026, 3, 4), QTime(15, 6)), text);
    if (!entry.endsWith("\r\n") || entry.count('\n') != 1 || entry.count('\r') != 1) std::abort();
    const qint64 limit = qint64(size / 2);
    if (TrimmedLog(entry + entry, limit).size() >= 2 * entry.size()) std::abort();
    return 0;
}
