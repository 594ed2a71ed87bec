#include "messaging/chat_log.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDir>
#include <QRandomGenerator>
#include <QSet>
#include <QTemporaryDir>

#include "messaging/log_folder.h"
#include "settings/settings.h"
#include "support/files.h"
#include "support/fixture.h"

using namespace Qt::StringLiterals;

namespace {

QString HostileHandle(QRandomGenerator& random)
{
    const QStringList pieces = u"../|/|\\|a|%2E|\n| |~|\u00FC|\u202E|con|:"_s.split(u'|') +
                               QStringList{QString(300, u'x'), QString(QChar(0xD800))};
    QString handle;
    for (int i = random.bounded(1, 6); i > 0; --i) handle += pieces[random.bounded(int(pieces.size()))];
    return handle;
}

}  // namespace

TEST(LogNames, PlainHandlesStayAndNoneLeavesTheFolder)
{
    for (const auto& plain : {u"bob"_s, u"Ann B. Lee-2_x"_s, u"J\u00FCrgen"_s})
        EXPECT_EQ(LogFileName(plain), plain + u".log"_s);

    const quint32 seed = QRandomGenerator::global()->generate();
    SCOPED_TRACE(seed);
    QRandomGenerator random(seed);
    QSet<QString> handles{u""_s, u"."_s, u".."_s, u"../bob"_s, u"bob "_s, u" bob"_s, QString(QChar(0xD801)),
                          u"?"_s};
    while (handles.size() < 5000)
        handles.insert(HostileHandle(random) + QString::number(random.bounded(4000)));
    QTemporaryDir place;
    const LogFolder folder(place.path());
    for (const QString& handle : handles) folder.Append(LogFileName(handle), "x");
    const QFileInfoList files =
        QDir(place.path()).entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    EXPECT_EQ(files.size(), handles.size());  // no two alike, all inside
    for (const QFileInfo& file : files) {
        EXPECT_TRUE(file.fileName().endsWith(u".log"_s)) << file.fileName().toStdString();
        EXPECT_EQ(file.permissions() & 0x0077, QFile::Permissions());
    }
}

TEST(LogFolderFiles, FollowsNoLinksAndMakesOneLevel)
{
    QTemporaryDir place;
    const QString logs = place.path() + u"/logs/"_s, outside = place.path() + u"/outside"_s;
    const LogFolder folder(logs);
    ASSERT_EQ(::symlink(outside.toUtf8().constData(), (logs + u"bob.log"_s).toUtf8().constData()), 0);
    ASSERT_EQ(::mkfifo((logs + u"pipe.log"_s).toUtf8().constData(), 0600), 0);
    EXPECT_THROW(folder.Append(u"bob.log"_s, "x"), std::runtime_error);
    EXPECT_THROW(folder.Append(u"pipe.log"_s, "x"), std::runtime_error);
    EXPECT_FALSE(QFile::exists(outside));
    EXPECT_THROW(LogFolder(place.path() + u"/no/such"_s), std::runtime_error);

    folder.Append(u"cy.log"_s, "old\r\n");
    folder.Replace(u"cy.log"_s, "new\r\n");
    EXPECT_EQ(ReadFile(logs + u"cy.log"_s), "new\r\n");
    EXPECT_EQ(folder.Size(u"cy.log"_s), 5);
    EXPECT_EQ(folder.Size(u"nobody.log"_s), 0);
    EXPECT_FALSE(QFile::exists(logs + u"cy.log.new"_s));
}

TEST(LogEntries, AreOneLineOfTheCodePage)
{
    const QDateTime when(QDate(2026, 11, 24), QTime(15, 4, 5));
    const auto line = [&](const QString& text) {
        const QByteArray entry = LogEntry(when, text);
        return entry.mid(entry.indexOf('\t') + 1);
    };
    EXPECT_EQ(line(u"ann: hello"_s), "ann: hello\r\n");
    EXPECT_EQ(line(u"\u20AC \u00FC \u201Cq\u201D"_s), "\x80 \xFC \x93q\x94\r\n");
    EXPECT_EQ(line(u"a\r\nb\tc\u001B"_s), "a\\r\\nb\\tc\\x1b\r\n");  // no forged entry
    EXPECT_EQ(line(u"\u0416 \U0001F600 \u0081"_s), "\\u0416 \\U0001f600 \\u0081\r\n");
    EXPECT_TRUE(LogEntry(when, u"x"_s).contains("26"));
}

TEST(LogTrimming, CutsAtTheFirstLineBreakFromThere)
{
    const struct {
        QByteArray whole;
        int limit;
        QByteArray left;
    } rows[] = {
        {"a\r\nbb\r\n", 6, "bb\r\n"},       // position 1
        {"a\r\nbb\r\n", 5, "bb\r\n"},       // position 2: the break itself still counts
        {"a\r\nbb\r\n", 4, ""},             // position 3 is behind it
        {"abcdef", 3, "bcdef"},             // no break: all but the first
        {"a\r\nb\r\n", -100, "\r\nb\r\n"},  // a limit below nothing
    };
    for (const auto& row : rows) EXPECT_EQ(TrimmedLog(row.whole, row.limit), row.left) << row.limit;
}

TEST(LogTrimming, BeginsAboveTheSizeThatIsSet)
{
    const struct {
        QString set;
        qsizetype limit;
        bool told;
    } rows[] = {
        {u"100"_s, 100, false},
        {u"99.5"_s, 100, false},  // to the even neighbour
        {u"ten"_s, 129'072, true},
        {u"2147483648"_s, 129'072, true},
    };
    for (const auto& row : rows)
        for (const qsizetype more : {0, 1}) {
            SCOPED_TRACE(row.set.toStdString() + (more ? " and one" : ""));
            const QTemporaryDir place;
            Fixture f;
            SaveSetting(f.state, keys::kEnableLogging, u"1"_s);
            SaveSetting(f.state, keys::kLogFileLocation, place.path());
            SaveSetting(f.state, keys::kMaximumLogSize, row.set);
            const QString file = place.filePath(u"bob.log"_s);
            WriteFile(file, "\r\n" + QByteArray(row.limit + more - 2, 'a'));
            AppendChatLog(f.state, u"bob"_s, u"ann: hello"_s);
            const qsizetype entry = LogEntry(f.clock.now, u"ann: hello"_s).size();
            EXPECT_EQ(QFile(file).size(),
                      row.limit + entry - more);  // the first line break and what is before it
            EXPECT_EQ(!f.eventLog.entries.empty(), row.told);
        }
}
