#include "media/incoming_frames.h"

#include <gtest/gtest.h>

#include "media/media_fixture.h"
#include "messaging/record_kinds.h"
#include "support/plain_picture.h"
#include "whiteboard/history.h"
#include "whiteboard/ink_above.h"
#include "whiteboard/own_work.h"
#include "whiteboard/remote_apply.h"
#include "whiteboard/tool_commands.h"

using namespace Qt::StringLiterals;

namespace {

const QString kPrefix = QString::fromUtf16(kWhiteboardHandle);
constexpr QRgb kWhitePixel = 0xffffffff, kRed = 0xffff0000, kGreen = 0xff00ff00, kInk = 0xff000000;

struct IncomingFrames : testing::Test, MediaFixture {
    IncomingFrames()
    {
        state.gWBBuffer = std::make_shared<WBHistory>();
        board.board.Fill({0, 0, kBoardWidth, kBoardHeight}, 0);  // ink everywhere: what is wiped shows
    }
    void Show(const QString& from, const PicturePtr& picture, int x, int y, int type)
    {
        mZUM_VideoFrame(state, from, picture, x, y, type);
    }
    QRgb At(int x, int y) { return board.board.Pixel(x, y); }
};

}  // namespace

TEST_F(IncomingFrames, EachSenderAndKindWipesOnlyItsOwnLastRectangle)
{
    Show(kPrefix + u"ann"_s, PlainPicture(20, 20, kRed), 0, 0, 0);  // the prefix counts for no kind
    Show(u"bob"_s, PlainPicture(20, 20, kRed), 100, 0, 0);
    Show(u"ann"_s, PlainPicture(20, 20, kRed), 200, 0, 1);  // ann's window is not ann's video
    Show(u"ann"_s, PlainPicture(10, 10, kGreen), 5, 5, 0);  // smaller, and moved inside its old place
    EXPECT_EQ(At(0, 0), kWhitePixel);
    EXPECT_EQ(At(19, 19), kWhitePixel);  // the whole old rectangle, and not a pixel more
    EXPECT_EQ(At(20, 20), kInk);
    EXPECT_EQ(At(5, 5), kGreen);
    EXPECT_EQ(At(14, 14), kGreen);
    EXPECT_EQ(At(100, 0), kRed);
    EXPECT_EQ(At(200, 0), kRed);

    Show(u"ann"_s, PlainPicture(20, 20, kRed), 2040, 1530, 0);  // partly outside, from a new spot
    EXPECT_EQ(At(5, 5), kWhitePixel);
    EXPECT_EQ(At(2047, 1535), kRed);
    Show(u"ann"_s, PlainPicture(20, 20, kRed), -30000, 32767, 0);  // wholly outside
    EXPECT_EQ(At(2047, 1535), kWhitePixel);
    EXPECT_EQ(state.gVideoRects.at(u"ann"_s), (CRect{-30000, -29980, 32767, 32787}));
    EXPECT_EQ(state.gVideoRects.size(), 2u);
    EXPECT_TRUE(meeting.panels.empty());  // a video frame changes no status
    EXPECT_GE(board.refreshes, 6);
}

TEST_F(IncomingFrames, WhiteboardPicturesStayAndEnterTheHistory)
{
    for (const int x : {0, 50}) Show(kPrefix + u"ann"_s, PlainPicture(8, 8, kRed), x, 0, 2);
    EXPECT_EQ(At(0, 0), kRed);
    EXPECT_EQ(state.gWBBuffer->Count(), 2);
    EXPECT_EQ(state.gWBBuffer->At(2).UserHandle, u"ann"_s);
    EXPECT_EQ(state.gWBBuffer->PictureOf(2).pixel(50, 0), kRed);
    EXPECT_EQ(meeting.panels[Panel::WBStatus], LastModifiedText(u"ann"_s, clock.now));
}

TEST_F(IncomingFrames, OtherKindsArePaintedOnly)
{
    for (const int type : {3, -1}) {
        Show(u"ann"_s, PlainPicture(8, 8, kRed), 0, 0, type);
        Show(u"ann"_s, PlainPicture(8, 8, kRed), 50, 0, type);
        EXPECT_EQ(At(0, 0), kRed);
    }
    Show(u"ann"_s, nullptr, 0, 0, 0);
    Show(u"ann"_s, std::make_shared<Picture>(), 0, 0, 2);
    EXPECT_TRUE(state.gVideoRects.empty() && state.gAppRects.empty());
    EXPECT_EQ(state.gWBBuffer->Count(), 0);
    EXPECT_TRUE(prompts.boxes.isEmpty());
}

TEST_F(IncomingFrames, LiveOnesLieBeneathTheInkForAsLongAsTheyGoOn)
{
    InMeeting(u"me"_s, {u"ann"_s});
    const auto at = [&](int x) { return board.live.Places().contains(QPoint(x, 0)); };
    Show(u"ann"_s, PlainPicture(8, 8, kRed), 0, 0, 0);
    Show(kPrefix + u"ann"_s, PlainPicture(8, 8, kRed), 50, 0, 1);
    Show(u"ann"_s, PlainPicture(8, 8, kRed), 100, 0, 2);  // drawn, not live
    EXPECT_TRUE(at(0) && at(50) && !at(100));
    for (const bool on : {true, false}) {
        state.gVideoOn = state.gAppShareOn = on;
        state.gShareWindow = 7;
        Show(u"me"_s, PlainPicture(8, 8, kRed), 150, 0, 0);
        Show(u"me"_s, PlainPicture(8, 8, kRed), 200, 0, 1);  // both may still be on their way back
        EXPECT_TRUE(at(150) == on && at(200) == on);
        if (!on) break;
        tool_ButtonClick(state, ToolKey::Video);
        EXPECT_FALSE(at(150) || state.gVideoOn);
        tool_ButtonClick(state, ToolKey::App);
        EXPECT_FALSE(at(200));
    }
    tool_ButtonClick(state, ToolKey::Clear);
    HandleWBMessage(state, u"ann"_s, u"[[ZUM_WB_CLEAR]]"_s);
    EXPECT_TRUE(at(0) && at(50));
    StopLive(state, {u"ann"_s, 1});
    EXPECT_TRUE(at(0) && !at(50));
    BoardBegins(state, 0);
    EXPECT_TRUE(board.live.Empty());
}
