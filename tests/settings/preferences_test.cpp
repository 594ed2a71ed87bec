// "Preferences" without a window: what is shown of a setting, and what is written of what was changed.
#include <gtest/gtest.h>

#include "settings/preference_draft.h"
#include "settings/settings.h"
#include "support/fixture.h"

using namespace Qt::StringLiterals;

namespace {

const QString kSystem = u"(System Default)"_s;

const PreferenceRow& RowOf(const SettingKey& key)
{
    for (const PreferenceRow& row : PreferenceRows())
        if (row.key == &key) return row;
    throw std::out_of_range(key.key);
}

/// A store with two configurations, the first one in use.
struct Desk : Fixture {
    Desk()
    {
        registry.Put(u"Zephyl\\Configs\\Work\\Data"_s, u"Voktal Port"_s, u"3000"_s);
        registry.Put(u"Zephyl\\Configs\\Home\\Data"_s, u"Handle"_s, u"ann"_s);
        registry.Put(u"Zephyl\\Configs"_s, u"Default Config"_s, u"Work"_s);
        state.gConfigName = u"Work"_s;
    }
    QString Data(const QString& config, const char* key)
    {
        return registry.Text(u"Zephyl\\Configs\\"_s + config + u"\\Data"_s, QLatin1String(key));
    }
    QString AtStart() { return registry.Text(u"Zephyl\\Configs"_s, u"Default Config"_s); }
};

}  // namespace

TEST(PreferenceValues, SayWhatAStoredTextComesTo)
{
    const struct {
        const SettingKey& key;
        const char *stored, *text;
        bool strange;
    } rows[] = {
        {keys::kEncryptMessages, "", "0", false},
        {keys::kEncryptMessages, "1", "1", false},
        {keys::kEncryptMessages, "True", "0", true},  // only "1" is on
        {keys::kEncryptMessages, "2", "0", true},
        {keys::kUseLocalKey, "-1", "True", false},
        {keys::kUseLocalKey, "yes", "False", true},
        {keys::kDisableVideo, "2", "1", false},
        {keys::kDisableVideo, "no", "1", true},  // anything but "0" is on
        {keys::kVoktalPort, "", "2074", false},
        {keys::kVoktalPort, "32767", "32767", false},
        {keys::kVoktalPort, "32768", "2074", true},
        {keys::kVoktalPort, "0", "2074", true},
        {keys::kVoktalPort, "80 or so", "80", true},
        {keys::kMaximumLogSize, "1e3", "1000", false},
        {keys::kMaximumLogSize, "1000 bytes", "129072", true},  // the whole text counts here
        {keys::kMaximumLogSize, "2147483647", "2147483647", false},
        {keys::kMaximumLogSize, "2147483648", "129072", true},
        {keys::kMinimumFrameRate, "fast", "0", true},
        {keys::kAppShareInterval, "-1", "0", true},
        {keys::kFontSize, "10.25", "10.25", false},
        {keys::kFontSize, "0", "10", true},
        {keys::kSelectedColor, "15", "15", false},
        {keys::kSelectedColor, "16", "1", true},
        {keys::kSelectedShapeTool, "circle", "Box", true},  // as written, or not at all
        {keys::kSelectedTool, "App", "Paste", false},       // neither is taken up
        {keys::kVideoDevice, "webcam", "webcam", true},
        {keys::kLogFileLocation, "/x", "/x", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.key.key << " = " << row.stored);
        const ReadRow read = InEffect(RowOf(row.key), QLatin1String(row.stored));
        EXPECT_EQ(read.text, QLatin1String(row.text));
        EXPECT_EQ(read.strange, row.strange);
    }
}

TEST(PreferenceValues, RefuseNamesThatAreNone)
{
    const QStringList taken{kSystem, u"Work"_s};
    const struct {
        QString name;
        NameFault fault;
    } rows[] = {
        {u"Home"_s, NameFault::None},
        {u"Zuhause [2] é 会"_s, NameFault::None},
        {QString(64, u'x'), NameFault::None},
        {QString(65, u'x'), NameFault::TooLong},
        {u""_s, NameFault::Empty},
        {u"  "_s, NameFault::Empty},
        {u" Home"_s, NameFault::Characters},
        {u"a\\b"_s, NameFault::Characters},
        {u"../b"_s, NameFault::Characters},
        {u".."_s, NameFault::Characters},
        {u"a\nb"_s, NameFault::Characters},
        {u"a\u202Eb"_s, NameFault::Characters},  // turns what stands behind it round
        {QString(QChar(0xD800)), NameFault::Characters},
        {u"(system DEFAULT)"_s, NameFault::Reserved},
        {u"WORK"_s, NameFault::Taken},
    };
    for (const auto& row : rows)
        EXPECT_EQ(CheckConfigName(row.name, taken), row.fault) << row.name.toStdString();
}

TEST(PreferenceRows, AreFoundByLabelHelpAndKey)
{
    const PreferenceRow& logs = RowOf(keys::kEnableLogging);
    EXPECT_TRUE(Finds(logs, u"chat LOGS"_s) && Finds(logs, u"enable logg"_s) &&
                Finds(logs, u"file person"_s));
    EXPECT_FALSE(Finds(logs, u"logs camera"_s) || Finds(logs, u" "_s) || Finds(logs, u"&"_s));
    EXPECT_TRUE(Finds(SettingsElsewhere().front(), u"handle"_s));
}

TEST(PreferenceDraft, WritesOnlyWhatWasChanged)
{
    Desk f;
    const PreferenceRow &port = RowOf(keys::kVoktalPort), &encrypt = RowOf(keys::kEncryptMessages);
    const QByteArray before = f.registry.Snapshot();
    PreferenceDraft draft(f.state, true);
    EXPECT_EQ(draft.Show(u"Work"_s, port).text, u"3000"_s);
    draft.Set(u"Work"_s, port, u"4000"_s);
    draft.Set(u"Work"_s, encrypt, u"1"_s);
    draft.Set(u"Work"_s, port, u"3000"_s);                              // as it was
    draft.Set(u"Home"_s, RowOf(keys::kLocalEncryptionKey), QString());  // comes to the default, as before
    EXPECT_EQ(f.registry.Snapshot(), before);

    // Another window has written meanwhile.
    f.registry.Put(u"Zephyl\\Configs\\Work\\Data"_s, u"Voktal Port"_s, u"5000"_s);
    QByteArray expected = f.registry.Snapshot();
    expected.replace("\"5000\"\n", "\"5000\"\n\"Encrypt Messages\"=\"1\"\n");
    EXPECT_EQ(draft.Store().inUse, (std::set<const SettingKey*>{&keys::kEncryptMessages}));
    EXPECT_EQ(f.registry.Snapshot(), expected);
    EXPECT_FALSE(draft.Changed());
    EXPECT_EQ(draft.Show(u"Work"_s, port).text, u"5000"_s);
}

TEST(PreferenceDraft, ResetsToTheDefaultWhateverStandsThere)
{
    Desk f;
    const PreferenceRow& port = RowOf(keys::kVoktalPort);
    f.registry.Put(u"Zephyl\\Configs\\Home\\Data"_s, u"Voktal Port"_s, u"none"_s);
    f.registry.WriteText(u"HKEY_CURRENT_USER\\Software\\VB and VBA Program Settings\\Zephyl\\Data"_s,
                         u"Log File Location"_s, u"/old"_s);
    PreferenceDraft draft(f.state, true);
    EXPECT_EQ(draft.Show(u"Home"_s, port).stranger, u"none"_s);
    draft.Reset(u"Home"_s, port);  // 2074 is in effect, and the file does not say so
    draft.Reset(u"Work"_s, port);
    draft.Reset(u"Work"_s, RowOf(keys::kMaximumLogSize));  // nothing stands there
    draft.Reset(u"Work"_s, RowOf(keys::kLogFileLocation));
    draft.Store();
    EXPECT_EQ(f.Data(u"Home"_s, "Voktal Port"), u"2074"_s);
    EXPECT_EQ(f.Data(u"Work"_s, "Voktal Port"), u"2074"_s);
    EXPECT_TRUE(f.Data(u"Work"_s, "Maximum Log Size").isNull());
    EXPECT_EQ(GetSetting(f.state, keys::kLogFileLocation), QString());  // not the legacy one
}

TEST(PreferenceDraft, KeepsConfigurationsTogetherWithWhatNamesThem)
{
    Desk f;
    PreferenceDraft draft(f.state, true);
    const PreferenceRow &port = RowOf(keys::kVoktalPort), &start = RowOf(keys::kDefaultConfig);
    draft.Set(u"Work"_s, port, u"4000"_s);
    draft.CopyConfig(u"Work"_s, u"Copy"_s);
    draft.Set(u"Copy"_s, port, u"4001"_s);
    draft.RenameConfig(u"Work"_s, u"Job"_s);
    draft.AddConfig(u"New"_s);
    EXPECT_EQ(draft.Configs(), (QStringList{kSystem, u"Job"_s, u"Home"_s, u"Copy"_s, u"New"_s}));
    EXPECT_EQ(draft.Show(u"Job"_s, port).text, u"4000"_s);
    EXPECT_EQ(draft.Show({}, start).text, u"Job"_s);
    EXPECT_EQ(draft.MayRemove(u"job"_s), RemoveFault::InUse);
    EXPECT_EQ(draft.MayRemove(kSystem), RemoveFault::AlwaysThere);
    EXPECT_EQ(draft.MayRemove(u"Home"_s), RemoveFault::None);
    draft.RemoveConfig(u"Home"_s);
    EXPECT_TRUE(draft.Store().currentRenamed);
    EXPECT_EQ(f.state.gConfigName, u"Job"_s);
    EXPECT_EQ(f.AtStart(), u"Job"_s);
    EXPECT_EQ(f.Data(u"Job"_s, "Voktal Port"), u"4000"_s);
    EXPECT_EQ(f.Data(u"Copy"_s, "Voktal Port"), u"4001"_s);
    EXPECT_EQ(f.registry.Subkeys(u"HKEY_CURRENT_USER\\Software\\Velnor\\Zephyl\\Configs"_s),
              (QStringList{u"Job"_s, u"Copy"_s, u"New"_s}));

    PreferenceDraft outside(f.state, false);  // of no meeting
    EXPECT_EQ(outside.MayRemove(u"Job"_s), RemoveFault::None);
    outside.Set({}, start, u"Copy"_s);
    outside.RenameConfig(u"Copy"_s, u"Twin"_s);
    outside.RemoveConfig(u"Job"_s);
    outside.Store();
    EXPECT_EQ(f.AtStart(), u"Twin"_s);
    EXPECT_EQ(f.state.gConfigName, kSystem);
    outside.RemoveConfig(u"Twin"_s);
    outside.Store();
    EXPECT_EQ(f.AtStart(), kSystem);
}

TEST(PreferenceDraft, ForgetsAServiceWhereverItIsRemembered)
{
    Desk f;
    const QString trusted = u"Trusted Services"_s, service = u"[::1]:7420"_s;
    f.registry.Put(u"Zephyl\\Trusted Services"_s, service, u"aa"_s);
    f.registry.Put(u"Zephyl\\Trusted Services"_s, u"other"_s, u"bb"_s);
    f.registry.WriteText(
        u"HKEY_CURRENT_USER\\Software\\VB and VBA Program Settings\\Zephyl\\Trusted Services"_s, service,
        u"cc"_s);
    PreferenceDraft draft(f.state, true);
    EXPECT_EQ(draft.TrustedServices(), (QStringList{service, u"other"_s}));
    draft.ForgetService(service);
    EXPECT_EQ(draft.TrustedServices(), QStringList{u"other"_s});
    EXPECT_EQ(StoredSetting(f.state, trusted, service, Scoped::No, u"Zephyl"_s), u"aa"_s);
    draft.Store();
    EXPECT_EQ(StoredSetting(f.state, trusted, service, Scoped::No, u"Zephyl"_s), QString());
    EXPECT_EQ(StoredSetting(f.state, trusted, u"other"_s, Scoped::No, u"Zephyl"_s), u"bb"_s);
}

TEST(PreferenceDraft, WritesAllOrNothing)
{
    Desk f;
    PreferenceDraft draft(f.state, true);
    draft.Set(u"Work"_s, RowOf(keys::kEncryptMessages), u"1"_s);
    draft.AddConfig(u"New"_s);
    f.registry.Put(u"Zephyl\\Configs\\NEW\\Data"_s, u"Handle"_s, u"of another window"_s);
    const QByteArray before = f.registry.Snapshot();
    EXPECT_THROW(draft.Store(), std::runtime_error);
    EXPECT_EQ(f.registry.Snapshot(), before);
    EXPECT_TRUE(draft.Changed());

    f.registry.readFailure = u"unreadable"_s;  // what cannot be read does not look like an empty store
    EXPECT_THROW(PreferenceDraft(f.state, true), std::runtime_error);
}
