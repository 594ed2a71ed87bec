#pragma once
// Marks for tests; "/" in a record stands for the separator.

#include <gtest/gtest.h>

#include <random>

#include "whiteboard/apply_mark.h"
#include "whiteboard/tools/picture.h"

using namespace Qt::StringLiterals;

/// Another one each time; a failure names its seed.
struct Seeded : std::mt19937 {
    testing::ScopedTrace trace;
    explicit Seeded(unsigned seed = std::random_device{}())
        : std::mt19937(seed), trace(__FILE__, __LINE__, seed)
    {
    }
};

inline MarkPtr Made(QString record, const QString& author = u"ann"_s)
{
    record.replace(u'/', QString::fromUtf16(kFieldSeparator));
    return std::make_shared<Mark>(Mark{record, nullptr, {}, author, QDateTime(), 0});
}

inline MarkPtr PictureMark(int side, QRgb colour, QPoint at, const QByteArray& jpeg = {})
{
    QImage image(side, side, QImage::Format_RGB32);
    image.fill(colour);
    return std::make_shared<Mark>(
        Mark{{}, std::make_shared<Picture>(Picture{jpeg, PixelsOf(image)}), at, u"ann"_s, QDateTime(), 0});
}

inline MarkPtr TakenBack(const QString& whose, const QString& by = u"ann"_s)
{
    auto mark = std::make_shared<Mark>(*Made({}, by));
    mark->takesBack = whose;
    return mark;
}

/// Of ann or bob; some of them damaged, some with fonts that are not installed.
inline MarkPtr AnyMark(std::mt19937& random)
{
    const auto upTo = [&](int most) { return int(random() % unsigned(most)); };
    const QString corners = u"%1/%2/%3/%4"_s.arg(upTo(2100)).arg(upTo(1600)).arg(upTo(2100)).arg(upTo(1600));
    const QString colour = QString::number(random() & 0xffffff), author = random() % 2 ? u"ann"_s : u"bob"_s;
    switch (random() % 11) {
        case 0: return Made(u"[[ZUM_WB_BOX]]3/"_s + corners + u'/' + colour, author);
        case 1: return Made(u"[[ZUM_WB_CIRCLE]]3/"_s + corners + u'/' + colour, author);
        case 2:
        case 3: {
            const char* const fonts[] = {"Liberation Mono", "No Such Font", "Arial"};
            return Made(u"[[ZUM_WB_TEXT]]%1/%2/True/False/%3/30/False/False/%4/text"_s.arg(upTo(1800))
                            .arg(upTo(1400))
                            .arg(QLatin1String(fonts[random() % 3]), colour),
                        author);
        }
        case 4: return PictureMark(1 + upTo(200), 0xff000000u | random(), {upTo(2100) - 50, upTo(1500)});
        case 5: return Made(random() % 4 ? u"[[ZUM_WB_UNDO]]"_s : u"[[ZUM_WB_CLEAR]]"_s);
        case 6: return Made(random() % 4 ? u"[[ZUM_WB_REDO]]"_s : u"[[ZUM_WB_PEN]]5/9/9/90/900/255/7"_s);
        case 7: return TakenBack(author);
        case 8: return Made(u"[[ZUM_WB_PEN]]32/%1/16777215"_s.arg(corners), author);  // Erase
        default: return Made(u"[[ZUM_WB_PEN]]%1/"_s.arg(1 + upTo(40)) + corners + u'/' + colour, author);
    }
}

/// A board and its history.
struct Both {
    Board board;
    WBHistory history;
    explicit Both(bool keepsInk = false)
    {
        if (keepsInk) board.KeepInk();
        history.Save(&board, 0, 0, u"ann"_s, {});
    }
    void Apply(const MarkPtr& mark) { ApplyMark(board, history, mark); }
};

/// Of the ink alone.
inline QString InkSum(const Board& board)
{
    const QImage& ink = board.Ink();
    return QString::number(qHashBits(ink.constBits(), std::size_t(ink.sizeInBytes())));
}

inline QString InkSum(const TileGrid& grid)
{
    Board board;
    board.KeepInk();
    for (std::size_t tile = 0; grid.ink && tile < kTileCount; ++tile)
        if (const auto& ink = (*grid.ink)[tile]) board.PutInk(int(tile), ink->pixels.data());
    return grid.ink ? InkSum(board) : QString();
}

inline QString SumOf(const WBHistory& history, int entry)
{
    Board board;
    board.Paint(history.PictureOf(entry), {});
    return board.Checksum();
}
