#include "settings/settings.h"

#include <gtest/gtest.h>

#include "settings/configurations.h"
#include "settings/file_registry.h"
#include "settings/registry_lists.h"
#include "settings/settings_listing.h"
#include "support/fixture.h"

using namespace Qt::StringLiterals;

TEST(Settings, ReadsItsOwnPlaceThenTheLegacyOneThenTheDefault)
{
    Fixture f;
    f.state.gConfigName = u"Work"_s;
    const auto read = [&](const std::optional<QString>& fallback) {
        return GetSetting(f.state, u"Data"_s, u"Handle"_s, fallback, Scoped::Yes, u"Zephyl"_s);
    };
    EXPECT_EQ(read(std::nullopt), QString());
    EXPECT_EQ(read(u"d"_s), u"d"_s);
    const QString legacy = u"HKEY_CURRENT_USER\\Software\\VB and VBA Program Settings\\Zephyl\\Data"_s;
    f.registry.WriteText(legacy, u"Handle"_s, u"old"_s);
    EXPECT_EQ(read(u"d"_s), u"old"_s);
    f.registry.Put(u"Zephyl\\Configs\\WORK\\data"_s, u"handle"_s, u"new"_s);
    EXPECT_EQ(read(u"d"_s), u"new"_s);
    f.registry.Put(u"Zephyl\\Configs\\Work\\Data"_s, u"Handle"_s, u""_s);  // stored empty: no legacy look-up
    EXPECT_EQ(read(u"d"_s), u"d"_s);
    EXPECT_EQ(read(std::nullopt), QString());
    SaveSetting(f.state, keys::kHandle, u"saved"_s);
    EXPECT_EQ(f.registry.Text(u"Zephyl\\Configs\\Work\\Data"_s, u"Handle"_s), u"saved"_s);
    f.registry.readFailure = u"broken"_s;
    EXPECT_EQ(read(u"d"_s), u"d"_s);
    EXPECT_TRUE(f.prompts.boxes.isEmpty());
    f.state.gConfigName = u"VB and VBA Program Settings"_s;  // such a path is not looked up twice
    f.registry.readFailure.clear();
    EXPECT_EQ(read(u"d"_s), u"d"_s);
}

TEST(Settings, ReportsAFailedWrite)
{
    Fixture f;
    f.registry.writeFailure = u"no space"_s;
    SaveSetting(f.state, keys::kXPos, u"12.5"_s);
    EXPECT_EQ(f.prompts.boxes, QStringList(u"critical|Quorvia Error|Quorvia Critical Error: "
                                           "SaveSetting: Data/XPos=12.5(no space)"_s));
}

TEST(Settings, TypesOtherThanText)
{
    Fixture f;
    const QString path = f.folders.dir.filePath(u"r.reg"_s);
    SharedFile(path).Replace([](const QByteArray&) {
        return QByteArray(
            "[HKEY_CURRENT_USER\\Software\\Velnor\\Zephyl\\Configs\\(System Default)\\Data]\n"
            "\"Frame Rate\"=dword:0000000c\n\"Image Quality\"=hex:01,02\n\"Handle\"=hex(2):61,00,00,00\n"
            "\"Multi\"=hex(7):61,00,00,00,62,00,00,00,00,00\n\"Odd\"=hex(b):00\n\"Video Width\"=\"320 "
            "pixels\"\n");
    });
    FileRegistry registry(path, QString());
    f.state.ports.registry = &registry;
    EXPECT_EQ(GetSetting(f.state, keys::kFrameRate), u"12"_s);
    EXPECT_EQ(GetSetting(f.state, keys::kImageQuality), u"65"_s);
    EXPECT_EQ(GetSetting(f.state, keys::kHandle), u"a"_s);
    EXPECT_EQ(NumberSetting(f.state, keys::kVideoWidth), 320);
    const auto values = EnumRegistryValues(f.state, RegistryRoot::CurrentUser,
                                           u"Software\\Velnor\\Zephyl\\Configs\\(System Default)\\Data"_s);
    const std::vector<std::pair<QString, RegistryData>> expected = {
        {u"Frame Rate"_s, qint32(12)}, {u"Image Quality"_s, QByteArray("\1\2")},
        {u"Handle"_s, u"a"_s},         {u"Multi"_s, u"a\0b"_s},
        {u"Odd"_s, std::monostate()},  {u"Video Width"_s, u"320 pixels"_s},
    };
    EXPECT_EQ(values, expected);
    EXPECT_EQ(EnumRegistryKeys(f.state, RegistryRoot::CurrentUser, QString()), QStringList(u"Software"_s));
    EXPECT_TRUE(EnumRegistryKeys(f.state, RegistryRoot::LocalMachine, u"Software"_s).isEmpty());
}

TEST(Configurations, OfferTheDefaultOnceAndSelectTheCurrent)
{
    Fixture f;
    f.state.gConfigName.clear();
    EXPECT_EQ(LoadConfigList(f.state).entries, QStringList(u"(System Default)"_s));
    EXPECT_EQ(f.state.gConfigName, u"(System Default)"_s);
    f.registry.Put(u"Zephyl\\Configs\\Work\\Data"_s, u"Handle"_s, u"w"_s);
    f.registry.Put(u"Zephyl\\Configs\\(system default)\\Data"_s, u"Handle"_s, u"s"_s);
    f.registry.Put(u"Zephyl\\Configs\\Home\\Data"_s, u"Handle"_s, u"h"_s);
    f.registry.Put(u"Zephyl\\Configs"_s, u"Default Config"_s, u"home"_s);
    const struct {
        QString before, after;
        int selected;
    } rows[] = {
        {u""_s, u"home"_s, 2},
        {u"WORK"_s, u"WORK"_s, 1},
        {u"Gone"_s, u"Gone"_s, 0},
    };
    for (const auto& row : rows) {
        f.state.gConfigName = row.before;
        const Choices list = LoadConfigList(f.state);
        EXPECT_EQ(list.entries, QStringList({u"(System Default)"_s, u"Work"_s, u"Home"_s}));
        EXPECT_EQ(list.selected, row.selected);
        EXPECT_EQ(f.state.gConfigName, row.after);
    }
    EXPECT_EQ(LoadMeetingCodeList(f.state).selected, -1);
    for (const char* code : {"zebra1", "Alpha22"})
        f.registry.Put(u"Quorvia\\Meeting Codes"_s, QLatin1String(code), u"now"_s);
    EXPECT_EQ(LoadMeetingCodeList(f.state).entries, QStringList({u"zebra1"_s, u"Alpha22"_s}));
    EXPECT_EQ(LoadMeetingCodeList(f.state).selected, -1);
    f.state.gMeetingCode = u"ALPHA22"_s;
    EXPECT_EQ(LoadMeetingCodeList(f.state).selected, 1);
}

TEST(Settings, ListsWhatIsInEffectAndWhatNobodyReads)
{
    Fixture f;
    f.state.gConfigName = u"Work"_s;
    const QString data = u"Zephyl\\Configs\\Work\\Data"_s;
    f.registry.Put(data, u"handle"_s, u"bob"_s);
    f.registry.Put(data, u"Password"_s, u"5E0C"_s);
    f.registry.Put(data, u"Use HTP"_s, u"1"_s);
    f.registry.Put(data, u"XPos"_s, u"15"_s);
    f.registry.Put(data, u"Frame Rate"_s, u""_s);
    f.registry.Put(u"Zephyl\\Configs\\Default\\Data"_s, u"Encrypt Messages"_s, u"1"_s);
    f.registry.Put(u"Zephyl\\Data"_s, u"Hide Voktal"_s, u"0\x1b[2J"_s);
    f.registry.Put(u"Zephyl\\Trusted Services"_s, u"meet.example"_s, u"sha256:aa"_s);
    f.registry.Put(u"Quorvia\\Meeting Codes"_s, u"ROOM1"_s, u"yesterday"_s);
    f.registry.WriteText(u"HKEY_CURRENT_USER\\Software\\VB and VBA Program Settings\\Zephyl\\Data"_s,
                         u"Hostname"_s, u"desk"_s);
    const QString text = ListSettings(f.state).join(u'\n');
    for (const char* line :
         {"Configuration: \"Work\"", "\"Handle\" = \"bob\"  from Zephyl\\Configs\\Work\\Data\n",
          "\"Password\" = (not shown)  from", "\"Encrypt Messages\" = \"0\"  the default\n",
          "\"Hostname\" = \"desk\"  from HKEY_CURRENT_USER\\Software\\VB and VBA Program "
          "Settings\\Zephyl\\Data\n",
          "\"Frame Rate\" = \"5\"  the default; what Zephyl\\Configs\\Work\\Data has is empty\n",
          "\nNot read:\n", "Work\\Data: \"Use HTP\" = \"1\"  there is no such setting",
          "Work\\Data: \"XPos\" = \"15\"  it counts only in Quorvia\\Data",
          "Default\\Data: \"Encrypt Messages\" = \"1\"  it is of another configuration than the one in use",
          "Zephyl\\Data: \"Hide Voktal\" = \"0\\x1b[2J\"  it counts only in Zephyl\\Configs\\Work\\Data"})
        EXPECT_TRUE(text.contains(QString::fromLatin1(line))) << line << " is not in\n" << text.toStdString();
    for (const char* silent : {"5E0C", "meet.example", "ROOM1"})
        EXPECT_FALSE(text.contains(QLatin1String(silent))) << silent;
    f.registry.readFailure = u"broken"_s;
    EXPECT_THROW(ListSettings(f.state), std::runtime_error);
}
