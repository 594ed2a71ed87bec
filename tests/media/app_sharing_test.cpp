#include "media/app_sharing.h"

#include <gtest/gtest.h>

#include "media/media_fixture.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr WindowId kEditor = 77;

struct AppSharing : testing::Test, MediaFixture {
    AppSharing()
    {
        InMeeting(u"alice"_s, {u"bob"_s, u"carol"_s});
        windows.pictures[kEditor] = QImage(40, 30, QImage::Format_RGB32);
        windows.pictures[kEditor].fill(Qt::white);
        state.gFrameEncoder = service->MakeFrameEncoder();
        state.gFrameEncoder->SetQuality(42);
    }
    void Share(WindowId window)
    {
        state.gShareWindow = window;
        StartSharingAt(state, 7, 8);
        journal.clear();
    }
    /// Where the bytes sent last lie; encoding anew makes new ones.
    const char* LastBytes() { return service->frames.back().data.constData(); }
};

}  // namespace

TEST_F(AppSharing, ListsWhatCanBeShared)
{
    std::vector<WindowInfo> top{{5, u"xterm"_s},   {6, QString()},    {7, u"Program Manager"_s},
                                {8, u"Meeting"_s}, {9, u"meeting"_s}, {10, u"xterm"_s}};
    QStringList titles;
    for (const WindowInfo& entry : ShareableWindows(1, top, u"Meeting"_s))
        titles += QString::number(entry.id) + entry.title;
    EXPECT_EQ(ShareableWindows(0, {{2, u"A window..."_s}}, u"Meeting"_s).front().id, 2u);  // no screens
    EXPECT_EQ(titles, QStringList({u"1(Desktop)"_s, u"5xterm"_s, u"9meeting"_s, u"10xterm"_s}));
}

TEST_F(AppSharing, StartRaisesWaitsAndRunsTheTimer)
{
    const struct {
        const char* setting;
        int interval;
    } rows[] = {{"", 3000}, {"1500", 1500}, {"abc", 0}, {"-1", -1}};
    for (const auto& row : rows) {
        Set("AppShare Interval", row.setting);
        state.gShareWindow = kEditor;
        StartSharingAt(state, 7, 8);
        EXPECT_EQ(journal.last(), u"share timer %1"_s.arg(row.interval));
        EXPECT_EQ(waits.pauses.back(), 100ms);
        EXPECT_EQ(windows.raised.back(), kEditor);
    }
    EXPECT_TRUE(state.gAppShareOn);
    StopSharing(state);
    EXPECT_FALSE(state.gAppShareOn);
    EXPECT_EQ(state.gShareWindow, 0u);
    EXPECT_EQ(windows.released, std::vector<WindowId>{kEditor});  // nobody looks at it any longer
    EXPECT_EQ(journal.last(), u"share timer 0"_s);
    EXPECT_TRUE(service->texts.empty());  // nobody is told
}

TEST_F(AppSharing, SendsOnlyWhatIsInFrontOrTheWholeScreen)
{
    const struct {
        WindowId shared, front;
        size_t frames;
        const char* bytes;
    } rows[] = {
        {kEditor, kEditor, 3, "jpeg 40x30 42"},
        {kEditor, 78, 0, ""},
        {kEditor, 0, 0, ""},
        {FakeWindows::kDesktop, 78, 3, "jpeg 64x48 42"},
    };
    for (const auto& row : rows) {
        Share(row.shared);
        windows.foreground = row.front;
        windows.captures = 0;
        service->frames.clear();
        ShareAppTick(state);
        ASSERT_EQ(service->frames.size(), row.frames);
        EXPECT_EQ(windows.captures, row.frames ? 1 : 0);
        if (!row.frames) continue;
        const auto& own = service->frames[0];
        EXPECT_EQ(std::tie(own.to, own.handle, own.x, own.y, own.type, own.quality),
                  std::make_tuple(u"alice"_s, u"alice"_s, 7, 8, 1, 42));
        EXPECT_EQ(own.data, row.bytes);
    }
    EXPECT_TRUE(service->texts.empty());
}

TEST_F(AppSharing, AnUnchangedPictureIsSentAgainWithoutEncoding)
{
    Share(kEditor);
    windows.foreground = kEditor;
    ShareAppTick(state);
    const QByteArray first = service->frames.back().data;
    ShareAppTick(state);
    EXPECT_EQ(service->frames.size(), 6u);
    EXPECT_EQ(LastBytes(), first.constData());
    windows.pictures[kEditor].setPixel(39, 29, 0xff000001);  // the least change there is
    ShareAppTick(state);
    const QByteArray second = service->frames.back().data;
    EXPECT_NE(LastBytes(), first.constData());
    state.gFrameEncoder->SetQuality(43);  // same picture, other quality
    ShareAppTick(state);
    EXPECT_NE(LastBytes(), second.constData());
    EXPECT_EQ(service->frames.back().data, "jpeg 40x30 43");
    windows.pictures[kEditor] = QImage();  // minimised: no picture, but the window is there
    ShareAppTick(state);
    EXPECT_EQ(service->frames.size(), 12u);
}

TEST_F(AppSharing, AVanishedWindowIsToldOnceToEverybody)
{
    Share(kEditor);
    windows.foreground = kEditor;
    windows.pictures.erase(kEditor);
    for (int tick = 0; tick < 3; ++tick) ShareAppTick(state);
    QStringList told;
    for (const auto& text : service->texts) told += text.to + u' ' + text.tag + u' ' + text.message;
    const QString notice = u" tag [[ZUM_APP_SHARE_OFF]]"_s;
    EXPECT_EQ(told, QStringList({u"alice"_s + notice, u"bob"_s + notice, u"carol"_s + notice}));
    EXPECT_TRUE(service->frames.empty());
    EXPECT_EQ(state.gShareWindow, 0u);
    EXPECT_TRUE(state.gAppShareOn);  // the button stays pressed until the user presses it
    EXPECT_EQ(meeting.notes.size(), 1);

    Share(kEditor);  // nobody is there any more
    while (!state.gUsers->Items().empty()) state.gUsers->Remove(state.gUsers->Items()[0]->Handle());
    for (int tick = 0; tick < 3; ++tick) ShareAppTick(state);
    EXPECT_EQ(meeting.notes.size(), 2);
    EXPECT_FALSE(journal.contains(u"share timer 0"_s));
}

TEST_F(AppSharing, TicksRestWhileSharingIsOff)
{
    state.gShareWindow = FakeWindows::kDesktop;
    ShareAppTick(state);  // chosen, not yet placed
    state.gShareWindow = 0;
    state.gAppShareOn = true;
    ShareAppTick(state);
    EXPECT_EQ(windows.captures, 0);
}
