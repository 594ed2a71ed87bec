#include "export/page.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <ranges>
#include <utility>

#include "messaging/record_kinds.h"
#include "whiteboard/shapes.h"

namespace {

// Without antialiasing the toolkit fills a pixel when its middle is inside, and moves lines by this much
// first; pages are drawn by others, who do not.
constexpr double kLinesLieBy = 0.5 - 1.0 / 64;

/// A stroke as lines, one for each run of segments that follow each other in one colour: a joint drawn twice
/// would be darker at its edge.
void DrawPen(QPainter& painter, const PenRecord& pen)
{
    const int width = DrawnWidth(pen.width);
    QPainterPath path;
    quint32 colour = 0;
    const auto flush = [&] {
        if (!path.isEmpty()) painter.strokePath(path, BoardPen(colour, width));
        path.clear();
    };
    for (Segment s : pen.segments) {
        if (!BringNear(s)) continue;
        const QPointF from(s.x1, s.y1), to(s.x2, s.y2);
        if (s.colour != colour || path.currentPosition() != from) flush();
        if (path.isEmpty()) path.moveTo(from);
        colour = s.colour;
        constexpr double kDot = 1.0 / 256;  // a line of no length has no ends in some programs
        path.lineTo(from == to ? to + QPointF(kDot, 0) : to);
        if (from == to) flush();
    }
    flush();
}

void DrawText(QPainter& painter, TextRecord text, const QString& fontName)
{
    text.look.fontName = fontName;
    const TextPlace place = SetText(painter, text);
    painter.drawText(place.base, place.line);
}

void DrawShape(QPainter& painter, const ShapeRecord& shape)
{
    painter.setPen(BoardPen(shape.colour, DrawnWidth(shape.width)));
    painter.setBrush(Qt::NoBrush);
    ShapeOf(shape.kind).draw(painter, shape);
}

void DrawRecord(QPainter& painter, const TaggedPayload& record, const QString& fontName)
{
    if (record.kind == RecordKind::Text) {
        const auto read = ReadText(record.payload);
        if (!read.error) DrawText(painter, read.value, fontName);
        return;
    }
    painter.save();
    painter.translate(kLinesLieBy, kLinesLieBy);
    if (record.kind == RecordKind::Pen) {
        DrawPen(painter, ReadPen(record.payload).value);
    } else {
        const auto read = ReadShape(record.kind, record.payload);
        if (!read.error) DrawShape(painter, read.value);
    }
    painter.restore();
}

void DrawPicture(QPainter& painter, const Mark& mark, const PictureReader& pictures)
{
    PicturePtr picture = mark.picture;
    if (picture->pixels.IsNull()) picture = pictures.Read(picture->jpeg, mark.at.x(), mark.at.y());
    if (!picture) return;
    // Outside the board nothing was decoded, and some painters take more of a picture than they are told.
    const QRect seen = QRect(mark.at, QSize(picture->pixels.width, picture->pixels.height)) &
                       QRect(0, 0, kBoardWidth, kBoardHeight);
    if (!seen.isEmpty())
        painter.drawImage(seen.topLeft(), AsImage(picture->pixels).copy(seen.translated(-mark.at)));
}

void Draw(QPainter& painter, const DrawnMark& drawn, const PictureReader& pictures)
{
    if (drawn.mark->picture)
        DrawPicture(painter, *drawn.mark, pictures);
    else if (const auto record = FindRecord(drawn.mark->record))
        DrawRecord(painter, *record, drawn.fontName);
}

}  // namespace

Page PageOf(const MarkList& marks)
{
    return {marks.InOrder(), marks.Beneath()};
}

std::vector<int> DrawnEntries(const WBHistory& history)
{
    std::vector<int> entries;
    for (int entry = 1; entry <= history.Index(); ++entry) {
        const MarkList& marks = history.At(entry).Marks;
        const bool begins = entry == 1 && marks.Count() == 0 && !marks.Beneath();
        if (!begins || history.Index() == 1) entries.push_back(entry);
    }
    return entries;
}

std::vector<Page> PagesOf(const WBHistory& history)
{
    std::vector<Page> pages;
    for (const int entry : DrawnEntries(history)) pages.push_back(PageOf(history.At(entry).Marks));
    return pages;
}

void DrawPage(QPainter& painter, const Page& page, const PictureReader& pictures)
{
    painter.setRenderHint(QPainter::LosslessImageRendering);
    painter.fillRect(QRect(0, 0, kBoardWidth, kBoardHeight), Qt::white);
    if (page.beneath) painter.drawImage(0, 0, ImageOf(*page.beneath));
    for (const DrawnMark& drawn : page.marks) Draw(painter, drawn, pictures);
}

MarkPtr MarkAt(const Page& page, QPoint at, const PictureReader& pictures)
{
    constexpr int kReach = 3;
    constexpr QRgb kFaint = 64;  // of 255: less of it is an edge that nobody points at
    const QPoint centre(kReach, kReach);
    for (const DrawnMark& drawn : std::views::reverse(page.marks)) {
        QImage seen(2 * kReach + 1, 2 * kReach + 1, QImage::Format_ARGB32);
        seen.fill(Qt::transparent);
        QPainter painter(&seen);
        painter.translate(centre - at);
        Draw(painter, drawn, pictures);
        painter.end();
        const auto inked = [&](QRgb pixel) { return QRgb(qAlpha(pixel)) > kFaint; };
        const auto* pixels = reinterpret_cast<const QRgb*>(std::as_const(seen).constBits());
        const auto* found =
            std::find_if(pixels, pixels + seen.sizeInBytes() / qsizetype(sizeof(QRgb)), inked);
        if (found == pixels + seen.sizeInBytes() / qsizetype(sizeof(QRgb))) continue;
        if (!drawn.mark->picture && (*found & RGB_MASK) == (qRgb(255, 255, 255) & RGB_MASK)) {
            if (inked(seen.pixel(centre))) return nullptr;  // rubbed out here, not beside it
            continue;
        }
        return drawn.mark;
    }
    return nullptr;
}

QImage ImageOf(const TileGrid& tiles)
{
    Board board;
    PutGrid(board, tiles);
    return board.Image();
}
