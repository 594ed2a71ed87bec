// The event log and the trace: one plain line an entry, whatever strangers write.
#include <gtest/gtest.h>
#include <syslog.h>

#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <cstdarg>

#include "platform/linux/machine.h"
#include "support/injections.h"
#include "support/plain.h"
#include "text/text_rules.h"

using namespace Qt::StringLiterals;

namespace {
QByteArray lastEntry;
}

/// In the place of the machine's, for this program.
extern "C" void syslog(int, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    lastEntry.resize(64 * 1024);
    lastEntry.resize(std::vsnprintf(lastEntry.data(), std::size_t(lastEntry.size()), format, arguments));
    va_end(arguments);
}

TEST(Logs, ShowNothingUnseenAndForgeNoEntry)
{
    const QTemporaryDir folder;
    SyslogEventLog eventLog;
    QStringList texts;
    {
        FileTrace trace(folder.filePath(u"trace"_s));
        for (const std::string& bytes : Injections()) {
            const QString text = Utf8Text(QByteArrayView(bytes.data(), qsizetype(bytes.size())));
            eventLog.Write(EventType::Warning, u"Login: "_s + text);
            EXPECT_TRUE(IsPlain(Utf8Text(lastEntry)) && lastEntry.startsWith("Login: "))
                << lastEntry.toStdString();
            EXPECT_GE(Utf8Text(lastEntry).size(), text.size());  // nothing is cut off at a NUL
            trace.Line("note", {{u"text"_s, text}});
            texts += text;
        }
    }
    QFile file(folder.filePath(u"trace"_s));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    for (const QString& text : texts) {
        const QByteArray line = file.readLine().chopped(1);
        EXPECT_TRUE(IsPlain(Utf8Text(line))) << line.toStdString();
        EXPECT_EQ(QJsonDocument::fromJson(line).object()[u"text"_s], text);
    }
    EXPECT_TRUE(file.atEnd());
}
