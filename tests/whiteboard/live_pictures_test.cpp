// Live pictures beneath the ink: what lies where, what goes when, and what is seen of a board with both.
#include <gtest/gtest.h>

#include <QPainter>

#include "contract/messenger_service.h"
#include "support/plain_picture.h"
#include "whiteboard/found_ink.h"
#include "whiteboard/marks.h"
#include "whiteboard/seen_board.h"

using namespace std::chrono_literals;

namespace {

constexpr QRgb kRedPixel = 0xffff0000, kGreenPixel = 0xff00ff00, kBluePixel = 0xff0000ff, kPaper = 0xffffffff;

/// A board of which somebody sees the live pictures beneath.
struct Viewer {
    Board board;
    WBHistory history;
    LivePictures live;
    std::unique_ptr<SeenBoard> seen;
    LivePictures::Time now{1h};

    Viewer()
    {
        board.KeepInk();
        history.Save(&board, 0, 0, u"ann"_s, {});
        seen = std::make_unique<SeenBoard>(board, live);
        seen->TakeChanged();
    }
    void Frame(const QString& from, QRgb colour, QPoint at, int side = 100, qint32 type = kFrameVideo)
    {
        live.Put({from, type}, PlainPicture(side, side, colour)->pixels, at, now);
    }
    void Apply(const QString& record) { ApplyMark(board, history, Made(record)); }
    QRgb At(int x, int y) { return seen->At(QRect(x, y, 1, 1)).Pixel(x, y); }
};

}  // namespace

TEST(LivePictures, LieOnEachOtherAsTheyBeganAndBeneathTheInk)
{
    Viewer v;
    v.Frame(u"bob"_s, kRedPixel, {100, 100});
    v.Frame(u"eve"_s, kGreenPixel, {150, 150});
    v.Frame(u"bob"_s, kRedPixel, {100, 100});  // the later frame does not come to lie above
    EXPECT_EQ(v.At(160, 160), kGreenPixel);
    EXPECT_EQ(v.At(149, 160), kRedPixel);
    EXPECT_EQ(v.At(250, 250), kPaper);
    v.seen->TakeChanged();
    v.Frame(u"bob"_s, kRedPixel, {100, 100});
    EXPECT_EQ(v.seen->TakeChanged(), QRegion(100, 100, 100, 100) - QRect(150, 150, 50, 50));

    v.Apply(u"[[ZUM_WB_PEN]]8/50/160/300/160/%1"_s.arg(0xff0000));
    EXPECT_EQ(v.At(120, 160), kBluePixel);
    EXPECT_EQ(v.At(180, 160), kBluePixel);
    v.Frame(u"eve"_s, kGreenPixel, {150, 150}, 50);  // smaller now: what it covered can be seen again
    EXPECT_EQ(v.At(180, 160), kBluePixel);
    EXPECT_EQ(v.At(180, 190), kGreenPixel);
    EXPECT_EQ(v.At(220, 220), kPaper);
    v.Frame(u"bob"_s, kRedPixel, {2000, 1500});  // moved, in part beside the board
    EXPECT_EQ(v.At(120, 120), kPaper);
    EXPECT_EQ(v.At(120, 160), kBluePixel);
    EXPECT_EQ(v.At(2047, 1535), kRedPixel);
    v.Frame(u"bob"_s, kRedPixel, {-30000, 32767});
    EXPECT_EQ(v.At(2047, 1535), kPaper);
}

TEST(LivePictures, EraseAndClearTakeInkAlone)
{
    Viewer v;
    v.Frame(u"bob"_s, kRedPixel, {100, 100});
    v.Apply(u"[[ZUM_WB_PEN]]8/50/120/300/120/%1"_s.arg(0xff0000));
    v.Apply(u"[[ZUM_WB_PEN]]8/50/150/300/150/%1"_s.arg(kWhite));
    v.Apply(u"[[ZUM_WB_PEN]]%1/80/120/120/120/%2"_s.arg(kEraseWidth).arg(kWhite));  // across the border
    EXPECT_EQ(v.At(90, 120), kPaper);
    EXPECT_EQ(v.At(110, 120), kRedPixel);
    EXPECT_EQ(v.At(180, 120), kBluePixel);
    EXPECT_EQ(v.At(180, 150), kPaper);  // white ink hides
    v.Frame(u"bob"_s, kGreenPixel, {100, 100});
    EXPECT_EQ(v.At(110, 120), kGreenPixel);
    EXPECT_EQ(v.At(180, 150), kPaper);
    ApplyMark(v.board, v.history, PictureMark(20, kPaper, {170, 170}));  // a picture is drawn
    EXPECT_EQ(v.At(175, 175), kPaper);
    v.Apply(u"[[ZUM_WB_CLEAR]]"_s);
    for (const int y : {120, 150, 175}) EXPECT_EQ(v.At(180, y), kGreenPixel);
    v.Apply(u"[[ZUM_WB_UNDO]]"_s);
    EXPECT_EQ(v.At(110, 120), kGreenPixel);
    EXPECT_EQ(v.At(180, 120), kBluePixel);
    EXPECT_EQ(v.At(180, 150), kPaper);
}

/// What the display is shown past the toolkit is what the toolkit would show.
TEST(LivePictures, AreShownByPartsOfThemselvesAndOfWhatLiesAbove)
{
    Viewer v;
    const Pixels low = PlainPicture(300, 200, kRedPixel)->pixels;
    const QRegion place(1000, 600, 300, 200);
    v.live.Put({u"bob"_s, kFrameVideo}, low, {1000, 600}, v.now);
    EXPECT_TRUE(v.seen->Hidden(low, place).isEmpty());
    v.Frame(u"eve"_s, kGreenPixel, {1250, 700});
    v.Apply(u"[[ZUM_WB_CIRCLE]]4/1020/620/1200/780/%1"_s.arg(0xff0000));
    v.Apply(u"[[ZUM_WB_TEXT]]1010/640/True/False/Arial/30/False/False/255/text"_s);
    v.Apply(u"[[ZUM_WB_PEN]]1/900/650/1299/650/0"_s);  // to the last pixel
    v.seen->TakeChanged();
    const QRegion hidden = place & v.seen->Hidden(low, place);
    EXPECT_TRUE(hidden.contains(QRect(1250, 700, 50, 100)));
    EXPECT_FALSE(hidden.contains(QPoint(1100, 700)) || hidden.contains(QPoint(1299, 690)));
    const Pixels& laid = v.seen->Laid(hidden);
    ASSERT_TRUE(laid.memory);
    const QImage all(laid.data, laid.width, laid.height, laid.bytesPerLine, QImage::Format_RGB32);
    QImage shown(300, 200, QImage::Format_RGB32);
    shown.fill(kRedPixel);
    QPainter painter(&shown);
    for (const QRect& rect : hidden) painter.drawImage(rect.topLeft() - QPoint(1000, 600), all, rect);
    painter.end();
    EXPECT_EQ(shown, v.seen->At(place).Image().copy(1000, 600, 300, 200));
}

TEST(LivePictures, GoWhenTheyStop)
{
    Viewer v;
    v.Frame(u"bob"_s, kRedPixel, {0, 0});
    v.Frame(u"bob"_s, kGreenPixel, {200, 0}, 100, kFrameApplication);
    v.Frame(u"bob"_s, kBluePixel, {400, 0}, 100, 7);
    v.Frame(u"bob"_s, kBluePixel, {600, 0}, 100, -3);  // what is neither is one kind
    EXPECT_EQ(v.At(450, 50), kPaper);
    EXPECT_EQ(v.At(650, 50), kBluePixel);
    v.now += LivePictures::kCeases;
    EXPECT_TRUE(v.live.StopCeased(v.now).empty());
    v.Frame(u"bob"_s, kRedPixel, {0, 0});  // one each five seconds: gone after fifteen
    v.now += 1ms;
    ASSERT_EQ(v.live.StopCeased(v.now).size(), 1u);
    EXPECT_EQ(v.At(650, 50), kPaper);
    v.now += 14998ms;
    EXPECT_TRUE(v.live.StopCeased(v.now).empty());
    v.now += 2ms;
    ASSERT_EQ(v.live.StopCeased(v.now).size(), 1u);
    EXPECT_EQ(v.At(50, 50), kPaper);
    EXPECT_EQ(v.At(250, 50), kGreenPixel);  // a window behind others sends nothing
    v.Frame(u"eve"_s, kRedPixel, {0, 0});
    v.live.StopAtClear(v.now);
    EXPECT_EQ(v.At(250, 50), kPaper);
    EXPECT_EQ(v.At(50, 50), kRedPixel);
    v.Frame(u"bob"_s, kGreenPixel, {200, 0}, 100, kFrameApplication);
    EXPECT_FALSE(v.live.Stop({u"bob"_s, kFrameVideo}));
    v.live.StopAllOf(u"bob"_s);
    EXPECT_EQ(v.live.Places(), QRegion(0, 0, 100, 100));
    v.live.StopAll();
    EXPECT_TRUE(v.live.Places().isEmpty());
}

TEST(LivePictures, AreBounded)
{
    Viewer v;
    for (int i = 0; i <= int(LivePictures::kMost); ++i, v.now += 1ms)
        v.Frame(QString::number(i), kRedPixel, {i * 4, 0}, 2);
    EXPECT_FALSE(v.live.Places().contains(QPoint(0, 0)));
    EXPECT_TRUE(v.live.Places().contains(QPoint(4, 0)));
    EXPECT_EQ(v.live.Places().rectCount(), int(LivePictures::kMost));
    const int side = 1500, bytes = side * side * 4;
    for (int i = 0; i < LivePictures::kMostBytes / bytes + 2; ++i, v.now += 1ms)
        v.Frame(u"large%1"_s.arg(i), kRedPixel, {i, 0}, side);
    EXPECT_EQ(v.live.Places().boundingRect().left(), 2);  // the small ones went first
    v.Frame(u"outside"_s, kRedPixel, {-side, 0}, side);
    v.Frame(u"edge"_s, kGreenPixel, {10 - side, 20 - side}, side);
    EXPECT_EQ(v.At(9, 19), kGreenPixel);
}

/// It begins to be kept after all that: as if it always had been.
TEST(FoundInk, IsThatOfTheMarksWhateverLivePicturesWiped)
{
    const PicturePtr picture = PlainPicture(40, 40, kGreenPixel);
    const OnePicture reader(picture);
    const QString records[] = {u"PEN]]8/50/120/300/120/255"_s,
                               u"TEXT]]60/200/True/False/Arial/30/False/False/255/text"_s,
                               u"PEN]]%1/50/120/90/120/%2"_s.arg(kEraseWidth).arg(kWhite),
                               u"UNDO]]"_s,
                               u"BOX]]3/80/80/200/200/0"_s,
                               u"UNDO]]"_s,
                               u"CLEAR]]"_s,
                               u"CIRCLE]]3/80/80/200/200/0"_s,
                               u"UNDO]]"_s};
    Viewer kept;
    auto [board, history] = Both();
    for (const QString& record : records) {
        const MarkPtr placed = std::make_shared<Mark>(
            Mark{{}, std::make_shared<Picture>(Picture{"jpeg", picture->pixels}), {90, 90}, u"ann"_s, {}});
        for (const MarkPtr& mark : {placed, Made(u"[[ZUM_WB_"_s + record)}) {
            ApplyMark(kept.board, kept.history, mark);
            ApplyMark(board, history, mark);
        }
        board.PaintLive(QImage(150, 150, QImage::Format_RGB32), {80, 80});
    }
    FindInk(history, board, &reader);
    EXPECT_EQ(InkSum(board), InkSum(kept.board));
    for (int entry = 1; entry <= history.Count(); ++entry) {
        SCOPED_TRACE(entry);
        EXPECT_EQ(InkSum(*history.At(entry).Picture), InkSum(*kept.history.At(entry).Picture));
    }
}
