#include "messaging/chat_log.h"

#include <QCryptographicHash>
#include <QLocale>
#include <algorithm>
#include <limits>
#include <stdexcept>

#include "base/error_trap.h"
#include "cipher/code_page.h"
#include "messaging/log_folder.h"
#include "settings/settings.h"
#include "text/one_line.h"
#include "text/text_rules.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int kDocumentsFolder = 5;
constexpr qsizetype kLongestStem = 120;  // bytes; ".log.new" and the hash still fit into 255

bool IsPlainAt(const QString& handle, qsizetype i)
{
    const QChar c = handle[i];
    const bool atEnd = i == 0 || i + 1 == handle.size();
    if (c == u'.' || c == u' ') return !atEnd;
    return c.isLetterOrNumber() || c == u'_' || c == u'-';
}

bool IsPlain(const QString& handle)
{
    if (handle.isEmpty() || handle.toUtf8().size() > kLongestStem) return false;
    for (qsizetype i = 0; i < handle.size(); ++i)
        if (!IsPlainAt(handle, i)) return false;
    return true;
}

/// Over the text's own units: two handles that UTF-8 cannot tell apart still differ here.
QByteArray ShortHash(const QString& text)
{
    const QByteArrayView units(reinterpret_cast<const char*>(text.utf16()),
                               text.size() * qsizetype(sizeof(char16_t)));
    return QCryptographicHash::hash(units, QCryptographicHash::Sha256).toHex().left(16);
}

QByteArray AnsiText(const QString& text)
{
    QByteArray bytes;
    for (const uint c : text.toUcs4()) {
        const std::optional<uchar> byte =
            IsUnseen(c) || c > 0xFFFF ? std::nullopt : ToCodePage(QChar(char16_t(c)));
        if (byte)
            bytes += char(*byte);
        else
            bytes += QByteArray::fromStdString(Escape(c));
    }
    return bytes;
}

QString LogFolderPath(ProcessState& state)
{
    QString chosen = GetSetting(state, keys::kLogFileLocation);
    if (!chosen.isEmpty()) return chosen;
    const QString documents = GetSpecialFolderPath(state, kDocumentsFolder);
    if (documents.isEmpty()) throw std::runtime_error("there is no documents folder for the chat logs");
    return documents + u"/Zephyl Logs/"_s;
}

qint64 SizeLimit(ProcessState& state)
{
    const QString text = GetSetting(state, keys::kMaximumLogSize);
    const std::optional<double> value = WholeNumber(text);
    if (value && std::abs(*value) <= std::numeric_limits<qint32>::max()) return qint64(RoundHalfEven(*value));
    LogEvent(state, EventType::Warning,
             u"Maximum Log Size \"%1\" is no 32-bit number, %2 is used"_s.arg(
                 text, QLatin1String(keys::kMaximumLogSize.fallback)));
    return QLatin1String(keys::kMaximumLogSize.fallback).toLongLong();
}

void WriteEntry(const LogFolder& folder, const QString& name, const QByteArray& entry, qint64 limit)
{
    if (folder.Size(name) <= limit)
        folder.Append(name, entry);
    else
        folder.Replace(name, TrimmedLog(folder.ReadAll(name), limit) + entry);
}

}  // namespace

void AppendChatLog(ProcessState& state, const QString& handle, const QString& line)
{
    TrappedAs(state, u"Zephyl Chat Log Error: "_s, [&] {
        if (!FlagSetting(state, keys::kEnableLogging)) return;
        const LogFolder folder(LogFolderPath(state));
        WriteEntry(folder, LogFileName(handle), LogEntry(state.ports.clock->Now(), line), SizeLimit(state));
    });
}

QString LogFileName(const QString& handle)
{
    if (IsPlain(handle)) return handle + u".log"_s;
    QByteArray stem = handle.toUtf8().toPercentEncoding(" ", ".").left(kLongestStem);
    if (stem.startsWith(' ')) stem.replace(0, 1, "%20");
    return QString::fromLatin1(stem + '%' + ShortHash(handle)) + u".log"_s;
}

QByteArray LogEntry(const QDateTime& when, const QString& line)
{
    QString date = GeneralDate(when);
    date.replace(QChar(0x202F), u' ').replace(QChar::Nbsp, u' ');  // some locales put them before "PM"
    return AnsiText(date) + '\t' + AnsiText(line) + "\r\n";
}

QByteArray TrimmedLog(const QByteArray& whole, qint64 limit)
{
    const qsizetype from = qsizetype(std::max<qint64>(whole.size() - limit, 1)) - 1;
    const qsizetype lineBreak = whole.indexOf("\r\n", from);
    return whole.mid(lineBreak < 0 ? 1 : lineBreak + 2);
}
