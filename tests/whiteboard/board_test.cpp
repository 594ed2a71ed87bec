#include "whiteboard/board.h"

#include <gtest/gtest.h>

#include <QGuiApplication>
#include <climits>
#include <functional>
#include <limits>
#include <stdexcept>

#include "whiteboard/board_fonts.h"
#include "whiteboard/shapes.h"

using namespace Qt::StringLiterals;

namespace {

constexpr quint32 kRed = 0x0000ff;

/// The smallest rectangle around everything that is not white.
QRect InkArea(const Board& board)
{
    QRect ink;
    for (int y = 0; y < kBoardHeight; ++y) {
        const QRgb* line = reinterpret_cast<const QRgb*>(board.Image().constScanLine(y));
        for (int x = 0; x < kBoardWidth; ++x)
            if ((line[x] & 0xffffff) != 0xffffff) ink |= QRect(x, y, 1, 1);
    }
    return ink;
}

Segment Line(float x1, float y1, float x2, float y2)
{
    return {x1, y1, x2, y2, kRed};
}

}  // namespace

TEST(Board, ShapesCoverExactlyTheirExtent)
{
    using Draw = std::function<void(Board&)>;
    const auto line = [](int width, float x1, float x2) -> Draw {
        return [=](Board& b) { b.Draw(std::vector{Line(x1, 20, x2, 20)}, width); };
    };
    const auto box = [](float x1, float y1, float x2, float y2) -> Draw {
        return [=](Board& b) { b.Draw(ShapeRecord{RecordKind::Box, 1, x1, y1, x2, y2, kRed}); };
    };
    const auto circle = [](int x1, int y1, int x2, int y2) -> Draw {
        return [=](Board& b) {
            b.Draw(ShapeRecord{RecordKind::Circle, 1, float(x1), float(y1), float(x2), float(y2), kRed});
        };
    };
    const Draw fill = [](Board& b) { b.Fill({-5, -5, 10, 10}, kRed); };
    const struct {
        const char* what;
        Draw draw;
        QRect ink;
    } rows[] = {
        {"dot of 1", line(1, 10, 10), {10, 20, 1, 1}},
        {"no width is 1", line(0, 10, 10), {10, 20, 1, 1}},
        {"below 1 is 1", line(-32768, 10, 10), {10, 20, 1, 1}},
        {"dot of 32", line(32, 100, 100), {84, 4, 32, 32}},
        {"line, both ends", line(1, 10, 30), {10, 20, 21, 1}},
        {"line from far away", line(1, -1e30f, 30), {0, 20, 31, 1}},
        {"line far away", line(1, 1e9f, 2e9f), {}},
        {"box, corners in", box(10, 20, 30, 50), {10, 20, 21, 31}},
        {"box, swapped", box(30, 50, 10, 20), {10, 20, 21, 31}},
        {"box, a click", box(30, 50, 30, 50), {30, 50, 1, 1}},
        {"box, flat", box(30, 50, 40, 50), {30, 50, 11, 1}},
        {"circle, right out", circle(10, 20, 30, 50), {10, 20, 20, 30}},
        {"circle, swapped", circle(30, 50, 10, 20), {10, 20, 20, 30}},
        {"circle, a click", circle(30, 50, 30, 50), {30, 50, 1, 1}},
        {"fill, cut", fill, {0, 0, 5, 5}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Board board;
        row.draw(board);
        EXPECT_EQ(InkArea(board), row.ink);
        if (!row.ink.isEmpty() && row.ink.width() == 1) {
            EXPECT_EQ(board.Pixel(row.ink.x(), row.ink.y()) & 0xffffff, 0xff0000u);  // red is the low byte
        }
    }
}

TEST(Board, SegmentsAreMarkedWhereverTheyLeaveInk)
{
    Board board, fresh;
    board.TakeUnsaved();
    board.TakeUnshown();
    const Segment strokes[] = {Line(3, 3, 2040, 1500), Line(700, 20, 701, 20), Line(-50, 900, 20, 800)};
    board.Draw(strokes, 9);
    board.Draw(ShapeRecord{RecordKind::Box, 5, 1000, 100, 1300, 300, kRed});
    board.Draw(ShapeRecord{RecordKind::Circle, 40, 1500, 200, 1900, 700, kRed});
    board.Draw(TextRecord{200, 1200, {u"Liberation Serif"_s, 60, false, true}, kRed, u"fÅj slanted"_s});
    board.Draw(TextRecord{200, 1450, {u"Liberation Serif"_s, 10}, kRed, QString(2000, u'w')});
    const QString marked = QChar(0x200F) + QString(12, QChar(0x5D0)) + QChar(0x200F);
    board.Draw(TextRecord{800, 400, {u"Arial"_s, 24}, kRed, marked});
    const QString stack = u'a' + QString(400, QChar(0x301)) + QString(400, QChar(0x323));  // of accents
    board.Draw(TextRecord{400, 700, {u"DejaVu Sans"_s, 40}, kRed, stack.first(300)});
    board.Draw(TextRecord{600, 700, {u"DejaVu Sans"_s, 40}, kRed, stack});
    const TileSet touched = board.TakeUnsaved();
    const QRegion shown = board.TakeUnshown();
    for (int tile = 0; tile < kTileCount; ++tile) {
        const bool same = board.Image().copy(TileRect(tile)) == fresh.Image().copy(TileRect(tile));
        EXPECT_TRUE(same || touched[std::size_t(tile)]) << tile;
        EXPECT_EQ(shown.contains(TileRect(tile)), touched[std::size_t(tile)]) << tile;
    }
    EXPECT_LT(touched.count(), 480u);  // of 768: the diagonal has not marked all of its bounding box
    EXPECT_TRUE(board.TakeUnsaved().none());
}

TEST(Board, SurvivesAbsurdNumbers)
{
    Board board;
    constexpr float kHuge = std::numeric_limits<float>::max();
    const Segment wild[] = {Line(kHuge, -kHuge, -kHuge, kHuge), Line(0, 0, kHuge, 1),
                            Line(-kHuge, 5, -kHuge, 6)};
    board.Draw(wild, 32767);
    board.Draw(ShapeRecord{RecordKind::Box, 32767, -kHuge, -kHuge, kHuge, kHuge, 0});
    board.Draw(ShapeRecord{RecordKind::Circle, 1, -kHuge, -kHuge, kHuge, kHuge, 0});
    board.Draw(TextRecord{kHuge, kHuge, {u"No Such Font"_s, 1e30f}, 0, QString(2'000'000, u'x')});
    board.Draw(TextRecord{0, 0, {u""_s, -5}, 0, u"a\nb\u0000c\u202Ed"_s});
    board.Fill({INT_MIN / 2, 0, INT_MAX, 5}, 0);
    EXPECT_THROW(board.Paint(QImage(), {0, 0}), std::runtime_error);
    EXPECT_EQ(board.Image().size(), QSize(kBoardWidth, kBoardHeight));
}

/// What somebody types looks the same to all, whatever their desktop is like and whatever the way did to it.
TEST(Board, TextLooksTheSameOnEveryDesktop)
{
    const auto drawn = [](const QString& text, Qt::LayoutDirection desktop = Qt::LeftToRight) {
        QGuiApplication::setLayoutDirection(desktop);
        Board board;
        board.Draw(TextRecord{100, 50, {u"Arial"_s, 24}, 0, text});
        QGuiApplication::setLayoutDirection(Qt::LeftToRight);
        return board.Image();
    };
    const QString hebrew = u"\u05D0\u05D1\u05D2"_s;
    for (const QString& text : {u"abc "_s + hebrew + u" 12!"_s, hebrew + u" abc (1)!"_s,
                                u"e\u0301\u4F60\U0001F600"_s, u"a\0b"_s, u"\u202Eabc\u2066"_s}) {
        const QString arrived = QString::fromUtf8(text.toUtf8());
        EXPECT_EQ(drawn(arrived, Qt::RightToLeft), drawn(text)) << text.toStdString();
    }
    const QString mark(QChar(0x200F));  // right to left, and unseen
    EXPECT_EQ(drawn(hebrew + u'!'), drawn(mark + hebrew + u'!' + mark));
}

TEST(Board, TextHangsFromItsTopAndHasNoColouredFringes)
{
    Board board;
    const TextLook look{u"Arial"_s, 24};
    board.Draw(TextRecord{100, 50, look, 0, u"HHHH"_s});
    const QRect ink = InkArea(board);
    EXPECT_GE(ink.top(), 50);
    EXPECT_LE(ink.bottom(), 50 + board.LineHeight(look));
    EXPECT_NEAR(ink.left(), 100, 4);
    EXPECT_NEAR(board.LineHeight(look), 24 * 96 / 72 * 1.15, 3);  // 96 dots an inch
    for (int x = ink.left(); x <= ink.right(); ++x) {
        const QRgb pixel = board.Pixel(x, ink.center().y());
        EXPECT_TRUE(qRed(pixel) == qGreen(pixel) && qGreen(pixel) == qBlue(pixel));
    }
    EXPECT_TRUE(FontExists(u"Arial"_s));  // by its stand-in
    EXPECT_TRUE(FontExists(u"Liberation Sans"_s));
    EXPECT_FALSE(FontExists(u"liberation sans"_s));
    EXPECT_FALSE(FontExists(u"No Such Font"_s));
    EXPECT_FALSE(FontExists(u""_s));
}
