// "Preferences" by its keys and controls, and what a running meeting takes over of it.
#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QTimer>
#include <QToolButton>

#include "settings/settings.h"
#include "ui/media_controls.h"
#include "ui/meeting_desk.h"
#include "ui/preferences/effects.h"
#include "ui/preferences/frm_preferences.h"
#include "whiteboard/board_input.h"
#include "whiteboard/toolbar_screen.h"
#include "whiteboard/whiteboard_tools.h"

using namespace Qt::StringLiterals;

namespace {

struct Form {
    Fixture& f;
    frmPreferences form;
    explicit Form(Fixture& fixture, bool inMeeting = true)
        : f(fixture),
          form(
              f.state, inMeeting, [](const Stored&) {}, nullptr)
    {
        form.show();
        form.activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&form));
    }
    template <class W = QWidget>
    W* Get(const char* name)
    {
        return form.findChild<W*>(QLatin1String(name));
    }
    void Page(PreferencePage page) { Get<QListWidget>("lstPages")->setCurrentRow(int(page)); }
    void Click(const char* name) { QTest::mouseClick(Get(name), Qt::LeftButton); }
    void Key(Qt::Key key, Qt::KeyboardModifiers with = {}) { QTest::keyClick(form.focusWidget(), key, with); }
    QString Focused() { return form.focusWidget() ? form.focusWidget()->objectName() : QString(); }
};

}  // namespace

TEST(FrmPreferences, OkWritesWhatWasChangedAndCancelNothing)
{
    Fixture f;
    f.Set("Voktal Port", "none");
    f.Set("Encrypt Messages", "yes");
    const QByteArray before = f.registry.Snapshot();
    const auto change = [](Form& form) {
        EXPECT_FALSE(form.Get("cmdApply")->isEnabled());
        EXPECT_TRUE(form.Get<QLabel>("note_EncryptMessages")->text().contains(u"\"yes\""_s));
        form.Get("set_MaximumLogSize")->setFocus();
        form.Key(Qt::Key_A, Qt::ControlModifier);
        QTest::keyClicks(form.form.focusWidget(), u"4096"_s);
        form.Page(PreferencePage::Drawing);
        form.Get<QCheckBox>("set_FontBold")->click();
        form.Page(PreferencePage::Voice);
        EXPECT_EQ(form.Get<QDoubleSpinBox>("set_VoktalPort")->value(), 2074);  // what is in effect
        EXPECT_TRUE(form.Get("cmdApply")->isEnabled());
    };
    {
        Form form(f);
        change(form);
        form.Click("cmdCancel");
        EXPECT_FALSE(form.form.isVisible());
        EXPECT_EQ(f.registry.Snapshot(), before);
    }
    Form form(f);
    change(form);
    form.Click("cmdOK");
    EXPECT_FALSE(form.form.isVisible());
    QByteArray expected = before;
    expected += "\"Maximum Log Size\"=\"4096\"\n";
    expected += "\n[HKEY_CURRENT_USER\\Software\\Velnor\\Zephyl\\Configs\\(System Default)\\Whiteboard]\n";
    expected += "\"Font Bold\"=\"True\"\n";
    EXPECT_EQ(f.registry.Snapshot(), expected);
}

TEST(FrmPreferences, WhatCannotBeStoredIsShownAndNothingIsStored)
{
    Fixture f;
    const QByteArray before = f.registry.Snapshot();
    Form form(f);
    form.Get<QCheckBox>("set_EnableLogging")->click();
    form.Get("set_LogFileLocation")->setFocus();
    QTest::keyClicks(form.form.focusWidget(), u"logs"_s);
    EXPECT_TRUE(form.Get("note_LogFileLocation")->isVisible());
    form.Page(PreferencePage::Voice);
    form.Click("cmdOK");
    EXPECT_TRUE(form.form.isVisible());
    EXPECT_EQ(form.Focused(), u"set_LogFileLocation"_s);
    EXPECT_EQ(f.registry.Snapshot(), before);
    f.prompts.folder = u"/logs"_s;
    form.Get("set_LogFileLocation")->parentWidget()->findChild<QToolButton*>()->click();
    f.registry.writeFailure = u"the disk is full"_s;
    form.Click("cmdOK");
    EXPECT_TRUE(form.form.isVisible());
    EXPECT_TRUE(f.prompts.boxes.value(0).contains(u"the disk is full"_s));
    f.registry.writeFailure.clear();
    form.Click("cmdApply");
    EXPECT_FALSE(form.Get("cmdApply")->isEnabled());
    EXPECT_EQ(f.Stored("Log File Location"), u"/logs"_s);
    EXPECT_EQ(f.Stored("Enable Logging"), u"1"_s);
}

TEST(FrmPreferences, EveryPageIsReachedAndNamedForTheKeyboard)
{
    Fixture f;
    Form form(f);
    for (int page = 0; page < kPreferencePages; ++page) {
        SCOPED_TRACE(page);
        QStringList reached;
        form.Get("txtSearch")->setFocus();
        do {
            reached += form.Focused();
            form.Key(Qt::Key_Tab);
        } while (form.Focused() != u"txtSearch"_s && reached.size() < 80);
        for (const PreferenceRow& row : PreferenceRows()) {
            if (int(row.page) != page) continue;
            const QString name = u"set_"_s + QString::fromLatin1(row.key->key).remove(u' ');
            EXPECT_TRUE(reached.contains(name)) << name.toStdString();
            EXPECT_FALSE(form.form.findChild<QWidget*>(name)->accessibleName().isEmpty());
        }
        EXPECT_TRUE(reached.contains(u"cmdOK"_s));
        form.Key(Qt::Key_PageDown, Qt::ControlModifier);
    }
}

TEST(FrmPreferences, FindsAcrossPagesAndGoesThere)
{
    Fixture f;
    Form form(f);
    QTest::keyClicks(form.form.focusWidget(), u"port"_s);
    EXPECT_EQ(form.Get<QListWidget>("lstPages")->currentRow(), int(PreferencePage::Voice));
    form.Key(Qt::Key_Return);
    EXPECT_TRUE(form.form.isVisible());
    EXPECT_EQ(form.Focused(), u"set_VoktalPort"_s);
    QTest::keyClick(&form.form, Qt::Key_F, Qt::ControlModifier);
    QTest::keyClicks(form.form.focusWidget(), u"hostname"_s);
    EXPECT_TRUE(form.Get<QLabel>("lblFound")->text().contains(u"\"Hostname\" is set elsewhere"_s));
    form.Key(Qt::Key_Escape);  // the search first
    EXPECT_TRUE(form.form.isVisible() && form.Get<QLineEdit>("txtSearch")->text().isEmpty());
    QTest::keyClicks(form.form.focusWidget(), u"x"_s);
    form.form.close();
    EXPECT_FALSE(form.form.isVisible());
}

TEST(FrmPreferences, EditsEachConfigurationByItself)
{
    Fixture f;
    f.registry.Put(u"Zephyl\\Configs\\Home\\Data"_s, u"Enable Logging"_s, u"1"_s);
    Form form(f);
    const auto name = [](const QString& typed, bool expected) {
        QTimer::singleShot(0, qApp, [=] {
            auto* dialog = QApplication::activeModalWidget();
            ASSERT_TRUE(dialog && dialog->objectName() == u"configName"_s);
            auto* text = dialog->findChild<QLineEdit*>(u"txtName"_s);
            text->selectAll();
            QTest::keyClicks(text, typed);
            QTest::keyClick(text, Qt::Key_Return);
            EXPECT_EQ(!dialog->isVisible(), expected) << typed.toStdString();
            if (!expected) QTest::keyClick(text, Qt::Key_Escape);
        });
    };
    auto* shown = form.Get<QComboBox>("cmbSettingsOf");
    auto* list = form.Get<QListWidget>("lstConfigs");
    auto* logging = form.Get<QCheckBox>("set_EnableLogging");
    shown->setCurrentIndex(1);
    emit shown->activated(1);
    EXPECT_TRUE(logging->isChecked());
    form.Page(PreferencePage::Configurations);
    EXPECT_EQ(list->selectedItems().value(0)->text(), u"Home"_s);
    name(u"(system default)"_s, false);
    form.Click("cmdRenameConfig");
    name(u"House"_s, true);
    form.Click("cmdRenameConfig");
    EXPECT_EQ(shown->currentText(), u"House"_s);
    logging->click();
    name(u"Twin"_s, true);
    form.Click("cmdCopyConfig");
    EXPECT_EQ(list->selectedItems().value(0)->text(), u"Twin"_s);
    QTest::keyClick(list, Qt::Key_Up);
    QTest::keyClick(list, Qt::Key_Delete);  // House
    EXPECT_EQ(shown->count(), 2);
    QTest::keyClick(list, Qt::Key_Up);
    EXPECT_EQ(list->selectedItems().value(0)->text(), u"(System Default) (in use)"_s);
    EXPECT_FALSE(form.Get("cmdDeleteConfig")->isEnabled() || form.Get("cmdRenameConfig")->isEnabled());
    form.Click("cmdOK");
    EXPECT_EQ(f.registry.Subkeys(u"HKEY_CURRENT_USER\\Software\\Velnor\\Zephyl\\Configs"_s),
              QStringList{u"Twin"_s});
    EXPECT_EQ(f.registry.Text(u"Zephyl\\Configs\\Twin\\Data"_s, u"Enable Logging"_s), u"0"_s);
}

TEST(FrmPreferences, ForgetsTheServiceThatIsChosen)
{
    Fixture f;
    for (const QString& service : {u"a"_s, u"b"_s, u"c"_s})
        f.registry.Put(u"Zephyl\\Trusted Services"_s, service, u"k"_s);
    Form form(f);
    form.Page(PreferencePage::Meeting);
    form.Get("lstTrusted")->setFocus();
    form.Key(Qt::Key_Down);
    form.Click("cmdForget");
    EXPECT_EQ(f.registry.Text(u"Zephyl\\Trusted Services"_s, u"b"_s), u"k"_s);
    form.Click("cmdOK");
    EXPECT_TRUE(f.registry.Text(u"Zephyl\\Trusted Services"_s, u"b"_s).isNull());
    EXPECT_FALSE(f.registry.Text(u"Zephyl\\Trusted Services"_s, u"c"_s).isNull());
}

TEST(Preferences, WhoeverDoesNotReadASettingAnewTakesItOver)
{
    for (const PreferenceRow& row : PreferenceRows())
        EXPECT_EQ(IsTakenOver(*row.key), row.acts == Acts::Taken) << row.key->key;
}

TEST(Preferences, ActAtOnceInTheOpenWindow)
{
    MeetingDesk desk;
    desk.companion.running = true;
    desk.camera.plugged[0] = {320, 240, kI420, 12, 115200};
    desk.Whole();
    ASSERT_TRUE(desk.state.gCameraReady);
    WhiteboardTools& tools = desk.window->Toolbar().Tools();
    QTimer::singleShot(0, qApp, [] {
        QWidget* dialog = QApplication::activeModalWidget();
        ASSERT_TRUE(dialog);
        dialog->findChild<QCheckBox*>(u"set_EncryptMessages"_s)->click();
        dialog->findChild<QCheckBox*>(u"set_FontItalic"_s)->click();
        dialog->findChild<QCheckBox*>(u"set_EnableVoktal"_s)->click();
        dialog->findChild<QCheckBox*>(u"set_DisableVideo"_s)->click();
        auto* width = dialog->findChild<QComboBox*>(u"set_SelectedWidth"_s);
        width->setCurrentIndex(3);
        emit width->activated(3);
        QTest::mouseClick(dialog->findChild<QWidget*>(u"cmdOK"_s), Qt::LeftButton);
    });
    desk.Panel().chkTalk->setChecked(true);
    desk.companion.journal.clear();
    picSelColor_Click(desk.state, 4);  // chosen and not stored: what was not changed stays
    tools.TextFont().points = 20;
    desk.window->mnuPreferences_Click();
    EXPECT_TRUE(desk.state.gEncryptMessages);
    EXPECT_TRUE(tools.TextFont().italic && tools.TextFont().points == 20);
    EXPECT_EQ(tools.widthBox, 3);
    EXPECT_EQ(tools.colourBox, 4);
    EXPECT_FALSE(desk.Panel().chkTalk->isEnabled() || desk.Panel().chkTalk->isChecked());
    EXPECT_EQ(desk.companion.journal.size(), 1);  // closed
    EXPECT_FALSE(desk.state.gCameraReady || desk.camera.IsOpen() || desk.Panel().cmdFormat->isEnabled());

    const auto change = [&](const SettingKey& key, const QString& text) {
        SaveSetting(desk.state, key, text);
        TakeOver(desk.state, static_cast<MediaControls&>(desk.window->Media()), {&key});
    };
    change(keys::kDisableVideo, u"0"_s);
    EXPECT_TRUE(desk.state.gCameraReady && desk.Panel().cmdFormat->isEnabled());
    change(keys::kFrameRate, u"0"_s);
    change(keys::kMinimumFrameRate, u"700"_s);
    EXPECT_EQ(desk.camera.rate.count(), 700);
    change(keys::kVideoDevice, u"pattern"_s);
    EXPECT_EQ(desk.camera.device, u"pattern"_s);
    change(keys::kInkAboveLive, u"1"_s);
    EXPECT_TRUE(desk.window->Board().Image().KeepsInk());
    change(keys::kEnableVoktal, u"1"_s);
    change(keys::kVoktalPort, u"99"_s);
    EXPECT_TRUE(desk.Panel().chkTalk->isEnabled());
    EXPECT_EQ(desk.state.gVoktalPort, 99);
    change(keys::kSelectedDrawTool, u"Line"_s);
    EXPECT_EQ(tools.mDrawTool, DrawTool::Line);
}
