#include "media/capture.h"

#include <gtest/gtest.h>

#include "media/capture_rules.h"
#include "media/media_fixture.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

struct CaptureTest : testing::Test, MediaFixture {
    void Ready()
    {
        camera.plugged[1] = Yuv(640, 480);
        state.gCameraReady = InitCamera(state);
        ASSERT_TRUE(state.gCameraReady);
        ASSERT_TRUE(InitDIB(state));
    }
};

}  // namespace

TEST(CaptureRules, RatesAndSizes)
{
    const struct {
        int rate, minimum, milliseconds;
    } rows[] = {
        {24, 2000, 41}, {7, 2000, 142}, {1, 2000, 1000}, {0, 2000, 2000}, {1001, 2000, 0}, {-5, 2000, -200},
    };
    for (const auto& row : rows)
        EXPECT_EQ(FrameInterval(row.rate, row.minimum).count(), row.milliseconds) << row.rate;

    const CameraFormat rgb{10, 10, 0, 24, 300};
    EXPECT_EQ(WithSize(rgb, 240, 180).imageSize, 240 * 180 * 3);
    EXPECT_NO_THROW(WithSize(rgb, 9459, 9459));  // 2,147,365,... bits still fit
    EXPECT_THROW(WithSize(rgb, 9460, 9460), std::runtime_error);
}

TEST_F(CaptureTest, ConnectsTheSecondCameraBeforeTheFirst)
{
    const struct {
        std::vector<int> plugged;
        bool ready;
        QStringList calls;
    } rows[] = {
        {{0, 1}, true, {u"open 1"_s, u"preview on"_s, u"callback on"_s}},
        {{0}, true, {u"open 1"_s, u"open 0"_s, u"preview on"_s, u"callback on"_s}},
        {{}, false, {u"open 1"_s, u"open 0"_s}},
    };
    for (const auto& row : rows) {
        camera = {};
        for (const int index : row.plugged) camera.plugged[index] = Yuv(320, 240);
        EXPECT_EQ(InitCamera(state), row.ready);
        EXPECT_EQ(camera.calls, row.calls);
    }
    EXPECT_TRUE(prompts.boxes.isEmpty());
}

TEST_F(CaptureTest, StartsWithTheConfiguredSizeAndRate)
{
    camera.plugged[0] = {640, 480, 0, 24, 921600};
    Set("Frame Rate", "0");
    Set("Video Width", "320");
    Set("Video Device", "pattern");
    ASSERT_TRUE(InitCamera(state));
    EXPECT_EQ(camera.device, u"pattern"_s);
    EXPECT_EQ(camera.Format(), (CameraFormat{320, 180, 0, 24, 320 * 180 * 3}));
    EXPECT_EQ(camera.rate, 2000ms);
    Set("Frame Rate", "7");
    camera.calls.clear();
    ASSERT_TRUE(InitCamera(state));  // again: the old one is let go in order
    EXPECT_EQ(camera.calls.mid(0, 4),
              QStringList({u"callback off"_s, u"preview off"_s, u"close"_s, u"open 1"_s}));
    EXPECT_EQ(camera.rate, 142ms);
}

TEST_F(CaptureTest, DisabledOrAbsurdVideoLeavesTheProgramRunning)
{
    camera.plugged[1] = Yuv(320, 240);
    for (const char* disabled : {"1", "yes"}) {
        Set("Disable Video", disabled);
        EXPECT_FALSE(InitCamera(state));
        EXPECT_TRUE(camera.calls.isEmpty()) << disabled;
    }
    Set("Disable Video", "0");
    Set("Video Width", "2000000");
    Set("Video Height", "2000000");
    EXPECT_FALSE(InitCamera(state));
    ASSERT_EQ(prompts.boxes.size(), 1);
    EXPECT_TRUE(prompts.boxes[0].contains(u"InitCamera: Overflow"_s)) << prompts.boxes[0].toStdString();
    EXPECT_FALSE(InitDIB(state));
    EXPECT_FALSE(media.formatEnabled);
    EXPECT_EQ(media.caption, u"(No Video)"_s);
}

TEST_F(CaptureTest, SettlesQualityFormatSliderAndCaption)
{
    camera.plugged[1] = {640, 480, 0, 24, 921600};
    Set("Image Quality", "0");  // out of range, as is the rate: the defaults stand, the rest goes on
    Set("Frame Rate", "30");
    state.gCameraReady = InitCamera(state);
    EXPECT_TRUE(InitDIB(state));
    EXPECT_EQ(camera.Format(), Yuv(240, 180));
    EXPECT_TRUE(state.gCaptureIsYUV);
    EXPECT_EQ(state.gFrameEncoder->Quality(), 65);
    EXPECT_EQ(media.fps, 5);
    EXPECT_EQ(media.caption, u"Res:240x180"_s);
    EXPECT_TRUE(prompts.boxes.isEmpty());
    EXPECT_EQ(eventLog.entries.size(), 2u);  // one line for each
    media.quality = 99;
    sldJPEG_Scroll(state);
    EXPECT_EQ(state.gFrameEncoder->Quality(), 99);
    EXPECT_EQ(Stored("Image Quality"), u"99"_s);
}

TEST_F(CaptureTest, SendsEachFrameToEveryItemUntilTheCameraIsLost)
{
    InMeeting(u"alice"_s, {u"bob"_s, u"carol"_s});
    Ready();
    camera.Frame();
    EXPECT_TRUE(service->frames.empty());
    EXPECT_EQ(media.preview.size(), QSize(240, 180));

    state.gVideoOn = true, state.gVideoX = 30, state.gVideoY = -40;
    camera.Frame();
    ASSERT_EQ(service->frames.size(), 3u);  // the own item as well
    EXPECT_EQ(service->frames[0].to, u"alice"_s);
    const auto& last = service->frames[2];
    EXPECT_EQ(std::tie(last.handle, last.x, last.y, last.type, last.quality),
              std::make_tuple(u"alice"_s, 30, -40, 0, 65));
    EXPECT_EQ(last.data, "jpeg 240x180 65");

    MyFrameCallback(state, {Yuv(240, 180), "short"});  // is reported, and the next one goes out
    ASSERT_EQ(prompts.boxes.size(), 1);
    EXPECT_TRUE(prompts.boxes[0].contains(u"MyFrameCallback: "_s));
    EXPECT_EQ(service->frames.size(), 3u);
    camera.Frame();
    EXPECT_EQ(service->frames.size(), 6u);
    camera.Unplug();
    EXPECT_FALSE(state.gCameraReady);
    EXPECT_EQ(media.caption, u"(No Video)"_s);
    EXPECT_TRUE(media.preview.isNull());
    EXPECT_EQ(prompts.boxes.size(), 1);  // quietly
    EXPECT_EQ(meeting.notes, QStringList(u"unplugged"_s));
}

TEST_F(CaptureTest, FormatDialogSavesWhatTheDriverTook)
{
    const QString trouble =
        u"critical|Quorvia - Video Settings|Quorvia cannot locate your video camera or software."_s;
    const auto refuse = [](FakeCamera& c, FakeMediaScreen&) { c.refuseFormats = true; };
    const auto offerNone = [](FakeCamera& c, FakeMediaScreen&) { c.offered.clear(); };
    const struct {
        const char* why;
        void (*change)(FakeCamera&, FakeMediaScreen&);
        QString caption, width;
        bool box;
    } rows[] = {
        {"chosen", [](FakeCamera&, FakeMediaScreen&) {}, u"Res:320x240"_s, u"320"_s, false},
        {"cancelled", [](FakeCamera&, FakeMediaScreen& m) { m.choice.reset(); }, u"Res:240x180"_s, {}, false},
        {"refused", refuse, u"(No Video)"_s, {}, true},
        {"none offered", offerNone, u"(No Video)"_s, {}, true},
        {"unplugged", [](FakeCamera& c, FakeMediaScreen&) { c.Unplug(); }, u"(No Video)"_s, {}, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.why);
        MediaFixture one;
        one.camera.plugged[1] = Yuv(640, 480);
        one.state.gCameraReady = InitCamera(one.state);
        InitDIB(one.state);
        one.camera.offered = {Yuv(320, 240)};
        one.media.choice = Yuv(320, 240);
        row.change(one.camera, one.media);
        cmdFormat_Click(one.state);
        EXPECT_EQ(one.media.caption, row.caption);
        EXPECT_EQ(one.Stored("Video Width"), row.width);
        EXPECT_EQ(one.prompts.boxes, row.box ? QStringList(trouble) : QStringList());
    }
}

TEST_F(CaptureTest, FrameRateSliderBoundsHttpAndMovesBothTimers)
{
    const struct {
        const char* http;
        int slider;
        bool sharing;
        int shown, ms;
        bool box;
    } rows[] = {
        {"0", 24, false, 24, 41, false}, {"0", 0, true, 0, 2000, false}, {"0", 10, true, 10, 100, false},
        {"1", 6, true, 5, 200, true},    {"1", 5, false, 5, 200, false},
    };
    const QString tooFast = u"information|Quorvia|The maximum Frame Rate in HTTP mode is 5 fps."_s;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.slider);
        Set("Use HTTP", row.http);
        media.fps = row.slider;
        state.gAppShareOn = row.sharing;
        journal.clear();
        prompts.boxes.clear();
        sldFPS_Scroll(state);
        EXPECT_EQ(media.fps, row.shown);
        EXPECT_EQ(camera.rate.count(), row.ms);
        EXPECT_EQ(journal.contains(u"share timer %1"_s.arg(row.ms)), row.sharing);
        EXPECT_EQ(Stored("Frame Rate"), QString::number(row.shown));
        EXPECT_EQ(prompts.boxes, row.box ? QStringList(tooFast) : QStringList());
    }
    media.fps = 9;
    prompts.boxes.clear();
    Set("Use HTTP", "1");
    sldFPS_Scroll(state, Cause::Remote);  // another's act must not hold this window
    EXPECT_TRUE(prompts.boxes.isEmpty());
    EXPECT_EQ(media.fps, 5);
}
