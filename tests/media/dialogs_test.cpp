#include <gtest/gtest.h>

#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include "base/version.h"
#include "media/frm_share_app.h"
#include "media/media_fixture.h"
#include "support/files.h"
#include "ui/frm_about.h"

using namespace Qt::StringLiterals;

namespace {

struct Dialogs : testing::Test, MediaFixture {
    Dialogs() { windows.topLevel = {{5, u"xterm"_s}, {6, u"<b>ed\nitor</b>"_s}, {7, u"Meeting"_s}}; }

    /// Shows it modally and acts on it once it is up.
    static void Run(QDialog& dialog, const std::function<void()>& act)
    {
        QTimer::singleShot(0, &dialog, act);
        dialog.exec();
    }
    template <class W>
    static W* Find(QWidget& in, const char* name)
    {
        return in.findChild<W*>(QLatin1String(name));
    }
};

}  // namespace

TEST_F(Dialogs, ShareAppLeavesItsChoiceOrKeepsTheOldOne)
{
    const struct {
        const char* press;
        int row;
        WindowId before, after;
        bool unloaded;
    } rows[] = {
        {"cmdOK", 0, 0, FakeWindows::kDesktop, true},
        {"cmdOK", 2, 9, 6, true},
        {"cmdOK", -1, 9, 9, false},
        {"cmdCancel", 1, 9, 9, true},
        {"double", 1, 9, 5, true},
        {"escape", 1, 9, 9, true},
        {"enter", 2, 0, 6, true},
        {"down", -1, 9, FakeWindows::kDesktop, true},
        {"end", -1, 9, 6, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.press + std::to_string(row.row));
        prompts.beeps = 0;
        state.gShareWindow = row.before;
        frmShareApp dialog(state, u"Meeting"_s, nullptr);
        auto* list = Find<QListWidget>(dialog, "lstApps");
        ASSERT_EQ(list->count(), 3);  // "(Desktop)" and the two that are not the meeting
        EXPECT_EQ(list->item(2)->text(), u"<b>ed itor</b>"_s);
        Run(dialog, [&] {
            if (row.row >= 0) list->setCurrentRow(row.row);
            const QPoint at = list->visualItemRect(list->item(row.row)).center();
            const std::string press = row.press;
            if (press == "double")
                QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, at),
                    QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, at);
            if (press == "escape") QTest::keyClick(&dialog, Qt::Key_Escape);
            QFocusEvent activated(QEvent::FocusIn, Qt::ActiveWindowFocusReason);
            if (row.row < 0) QCoreApplication::sendEvent(list, &activated);
            if (press == "down") QTest::keyClick(list, Qt::Key_Down);  // the first key, the first entry
            if (press == "end") QTest::keyClick(list, Qt::Key_End);
            if (press == "enter" || press == "down" || press == "end") QTest::keyClick(list, Qt::Key_Return);
            if (auto* button = Find<QPushButton>(dialog, row.press)) button->click();
        });
        EXPECT_EQ(state.gShareWindow, row.after);
        EXPECT_EQ(dialog.Unloaded(), row.unloaded);
        EXPECT_EQ(prompts.beeps, row.unloaded ? 0 : 1);
        EXPECT_FALSE(dialog.isVisible());
    }
}

TEST_F(Dialogs, ShareAppSaysWhyThereIsNothingToShare)
{
    windows.whyNot = u"Not here."_s;
    frmShareApp dialog(state, u"Meeting"_s, nullptr);
    EXPECT_EQ(Find<QListWidget>(dialog, "lstApps")->count(), 0);
    EXPECT_FALSE(Find<QPushButton>(dialog, "cmdOK")->isEnabled());
    EXPECT_EQ(dialog.findChild<QLabel*>()->text(), u"Not here."_s);
}

TEST_F(Dialogs, ShareAppWaitsBehindTheDesktopThatAsks)
{
    const struct {
        WindowChoice answer;
        bool cancels;
        const char* says;
        WindowId after;
    } rows[] = {{{99, {}}, false, "", 99},
                {{0, {}}, false, "What shall", 9},
                {{0, u"No."_s}, false, "No.", 9},
                {{}, true, "", 9}};
    for (const auto& row : rows) {
        windows.desktopAsks = true;
        state.gShareWindow = 9;
        frmShareApp dialog(state, u"Meeting"_s, nullptr);
        auto* list = Find<QListWidget>(dialog, "lstApps");
        auto* ok = Find<QPushButton>(dialog, "cmdOK");
        auto* label = Find<QLabel>(dialog, "lblQuestion");
        EXPECT_FALSE(ok->isEnabled());  // nothing is known yet
        windows.seen();
        ASSERT_EQ(list->count(), 3);
        Run(dialog, [&] {
            list->setCurrentRow(1);
            ok->click();
            EXPECT_TRUE(dialog.isVisible() && !ok->isEnabled() && !list->isEnabled());
            EXPECT_EQ(state.gShareWindow, 9u);
            if (!row.cancels) windows.chosen(row.answer);
            const bool open = row.after == 9 && !row.cancels;
            EXPECT_EQ(dialog.isVisible(), open || row.cancels);
            EXPECT_EQ(ok->isEnabled() && list->isEnabled(), open);  // another try
            EXPECT_TRUE(!open || label->text().startsWith(QLatin1String(row.says)));
            Find<QPushButton>(dialog, "cmdCancel")->click();
        });
        EXPECT_EQ(windows.chosen, nullptr);  // a late answer changes nothing
        EXPECT_EQ(state.gShareWindow, row.after);
        EXPECT_TRUE(dialog.Unloaded());
    }
}

TEST_F(Dialogs, AboutStartsTheFirstViewerThatStarts)
{
    const QString root = uR"(HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Shared Tools)"_s;
    WriteFile(folders.dir.filePath(u"MSINFO32.EXE"_s), {});
    const QString here = folders.dir.path(), none = u"/nowhere"_s;
    const struct {
        QString path, folder, installed, starts, tried;
    } rows[] = {
        {u"/opt/viewer"_s, none, u"hardinfo"_s, u"viewer"_s, u"viewer"_s},
        {u"/opt/viewer"_s, none, u"hardinfo"_s, u"hardinfo"_s, u"viewer,hardinfo"_s},
        {u"/opt/viewer -x"_s, none, {}, u"viewer|-x"_s, u"viewer -x,viewer|-x"_s},
        {{}, here, u"hardinfo"_s, u"MSINFO32.EXE"_s, u"MSINFO32.EXE"_s},
        {{}, none, u"kinfocenter"_s, u"kinfocenter"_s, u"kinfocenter"_s},
        {u"/opt/viewer"_s, none, {}, {}, u"viewer"_s},  // the last one: nothing starts
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.tried.toStdString());
        EXPECT_TRUE(prompts.boxes.isEmpty());
        registry.WriteText(root + u"\\MSINFO"_s, u"PATH"_s, row.path);
        registry.WriteText(root + u" Location"_s, u"MSINFO"_s, row.folder);
        QStringList tried;
        const auto find = [&](const QString& name) { return name == row.installed ? name : QString(); };
        const auto start = [&](const ProgramStart& one) {
            tried += (QStringList(one.program.section(u'/', -1)) + one.arguments).join(u'|');
            return tried.last() == row.starts;
        };
        frmAbout about(state, nullptr, {find, start});
        Find<QPushButton>(about, "cmdSysInfo")->click();
        EXPECT_EQ(tried.join(u','), row.tried);
    }
    EXPECT_EQ(prompts.boxes, QStringList(u"none|Quorvia|System Information Is Unavailable At This Time"_s));
    EXPECT_EQ(Find<QLabel>(*std::make_unique<frmAbout>(state, nullptr), "lblVersion")->text(),
              u"Version "_s + VersionText());
}
