#include "settings/reg_text.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QString kKey = u"HKEY_CURRENT_USER\\Software\\A"_s;

/// Made by hand and by other tools: everything that may stand in such a file.
constexpr char kHandMade[] =
    "Windows Registry Editor Version 5.00\r\n"
    "; my settings\r\n"
    "\r\n"
    "[HKEY_CURRENT_USER\\Software\\A]\r\n"
    "@=\"the key's own\"\r\n"
    "\"Text\"=\"C:\\\\dir \\\"x\\\" =;\"   \r\n"
    "\"Number\"=dword:FFFFfffe\r\n"
    "\"Bytes\"=hex:01,02,\\\r\n"
    "  0a,FF\r\n"
    "\"Expand\"=hex(2):25,00,41,00,25,00,00,00\r\n"
    "\"Multi\"=hex(7):61,00,00,00,62,00,00,00,00,00\r\n"
    "\"Odd\"=hex(b):00,01\r\n"
    "\"Half\"=hex:01,2\r\n"
    "\"Gone\"=-\r\n"
    "no value at all\r\n"
    "\"Two lines\"=\"one\r\ntwo\"\r\n"
    "\"text\"=\"the later one counts\"\r\n"
    "[-HKEY_CURRENT_USER\\Software\\B]\r\n"
    "[HKEY_CURRENT_USER\\Software\\a\\Sub]\r\n"
    "\"Open\"=\"never closed\r\n"
    "[HKEY_CURRENT_USER\\Software\\A\\Other]\r\n"
    "\"Last\"=\"no line end\"";

QString Text(const RegText& file, const QString& key, const QString& name)
{
    const auto value = file.Read(key, name);
    return value ? DataText(value->data) : u"(none)"_s;
}

}  // namespace

TEST(RegText, ReadsWhatPeopleAndToolsWrite)
{
    const RegText file(kHandMade);
    const struct {
        QString name;
        RegType type;
        QByteArray data;
    } rows[] = {
        {u""_s, RegType::Sz, TextData(u"the key's own"_s)},
        {u"TEXT"_s, RegType::Sz, TextData(u"the later one counts"_s)},
        {u"number"_s, RegType::Dword, QByteArray("\xFE\xFF\xFF\xFF", 4)},
        {u"Bytes"_s, RegType::Binary, QByteArray("\x01\x02\x0A\xFF", 4)},
        {u"Expand"_s, RegType::ExpandSz, TextData(u"%A%"_s)},
        {u"Multi"_s, RegType::MultiSz, TextData(u"a\0b\0"_s)},
        {u"Odd"_s, RegType(11), QByteArray("\0\1", 2)},
        {u"Two lines"_s, RegType::Sz, TextData(u"one\r\ntwo"_s)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name.toStdString());
        const auto value = file.Read(kKey.toUpper(), row.name);
        ASSERT_TRUE(value);
        EXPECT_EQ(value->type, row.type);
        EXPECT_EQ(value->data, row.data);
    }
    for (const auto& none : {u"Gone"_s, u"Half"_s}) EXPECT_FALSE(file.Read(kKey, none));
    EXPECT_EQ(Text(file, kKey + u"\\Other"_s, u"Last"_s), u"no line end"_s);  // behind the damage
    EXPECT_EQ(file.Subkeys(kKey), QStringList({u"Sub"_s, u"Other"_s}));
    EXPECT_EQ(file.Subkeys(u"hkey_current_user"_s), QStringList(u"Software"_s));
    EXPECT_EQ(file.Values(kKey).size(), std::size(rows));
    EXPECT_EQ(DataNumber(file.Read(kKey, u"Number"_s)->data), -2);
}

TEST(RegText, KeepsEverythingElseByteForByte)
{
    const QByteArray before(kHandMade);
    RegText file(before);
    EXPECT_EQ(file.Write(), before);
    file.SetText(kKey, u"expand"_s, u"a\"b\\"_s);
    QByteArray expected = before;
    expected.replace("\"Expand\"=hex(2):25,00,41,00,25,00,00,00", "\"expand\"=\"a\\\"b\\\\\"");
    EXPECT_EQ(file.Write(), expected);
    file.SetText(kKey + u"\\Sub"_s, u"New"_s, u"1"_s);
    file.SetText(u"HKEY_CURRENT_USER\\Z"_s, u"N"_s, u"2"_s);
    expected += "\r\n\r\n[HKEY_CURRENT_USER\\Software\\A\\Sub]\r\n\"New\"=\"1\"\r\n";  // behind the damage
    expected += "\r\n[HKEY_CURRENT_USER\\Z]\r\n\"N\"=\"2\"\r\n";
    EXPECT_EQ(file.Write(), expected);
}

TEST(RegText, ReadsMarksAndWideFiles)
{
    const QString text = u"[HKEY_CURRENT_USER\\Software\\A]\n\"ä\"=\"ö\"\n"_s;
    EXPECT_EQ(Text(RegText("\xEF\xBB\xBF" + text.toUtf8()), kKey, u"Ä"_s), u"ö"_s);
    const QByteArray wide =
        "\xFF\xFE" + QByteArray(reinterpret_cast<const char*>(text.utf16()), text.size() * 2);
    EXPECT_EQ(Text(RegText(wide), kKey, u"ä"_s), u"ö"_s);
    EXPECT_EQ(RegText(QByteArray()).Write(), QByteArray());
    EXPECT_THROW(RegText().SetText(kKey, u"a\nb"_s, QString()), std::runtime_error);
}

TEST(RegText, KeysAreCopiedMovedAndRemovedWithAllBelowThem)
{
    const auto made = [](RegEdit edit) {
        RegText file(kHandMade);
        file.Make(edit);
        return RegText(file.Write());
    };
    using Kind = RegEdit::Kind;
    const QString other = u"HKEY_CURRENT_USER\\Software\\A B [2]"_s;

    const RegText copied = made({.kind = Kind::CopyKey, .keyPath = kKey, .to = other});
    EXPECT_TRUE(copied.Write().startsWith(kHandMade));
    for (const char* name : {"", "text", "number", "bytes", "expand", "multi", "odd", "two lines"})
        EXPECT_EQ(copied.Read(other, QLatin1String(name))->data, copied.Read(kKey, QLatin1String(name))->data)
            << name;
    EXPECT_EQ(Text(copied, other + u"\\Other"_s, u"Last"_s), u"no line end"_s);

    const RegText moved = made({.kind = Kind::MoveKey, .keyPath = kKey, .to = other});
    QByteArray expected(kHandMade);
    expected.replace("[HKEY_CURRENT_USER\\Software\\A", "[HKEY_CURRENT_USER\\Software\\A B [2]");
    expected.replace("[HKEY_CURRENT_USER\\Software\\a", "[HKEY_CURRENT_USER\\Software\\A B [2]");
    EXPECT_EQ(moved.Write(), expected);
    EXPECT_EQ(made({.kind = Kind::MoveKey, .keyPath = kKey, .to = kKey.toUpper()}).Subkeys(kKey),
              (QStringList{u"Sub"_s, u"Other"_s}));  // another spelling of itself

    const RegText removed = made({.kind = Kind::RemoveKey, .keyPath = kKey});
    EXPECT_EQ(removed.Write(), QByteArray(kHandMade).left(QByteArray(kHandMade).indexOf("[HKEY")));
    EXPECT_EQ(made({.kind = Kind::RemoveKey, .keyPath = kKey.chopped(1) + u'B'}).Write(), kHandMade);

    const RegText forgot = made({Kind::RemoveValue, kKey, u"TEXT"_s});  // both of them
    EXPECT_EQ(Text(forgot, kKey, u"text"_s), u"(none)"_s);
    EXPECT_EQ(Text(forgot, kKey, u"two lines"_s), u"one\r\ntwo"_s);

    for (const RegEdit& refused :
         {RegEdit{Kind::AddKey, kKey.toLower()}, RegEdit{Kind::AddKey, kKey + u"\nx"_s},
          RegEdit{.kind = Kind::CopyKey, .keyPath = other, .to = kKey},
          RegEdit{.kind = Kind::MoveKey, .keyPath = other, .to = kKey}})
        EXPECT_THROW(made(refused), std::runtime_error);
}
