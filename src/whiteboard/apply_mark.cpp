#include "whiteboard/apply_mark.h"

#include <QElapsedTimer>
#include <algorithm>
#include <stdexcept>

#include "whiteboard/board_fonts.h"
#include "whiteboard/shapes.h"
#include "whiteboard/take_back.h"

namespace {

/// How many segments to draw before looking at the clock again.
std::size_t FirstBatch(int width)
{
    return std::size_t(std::clamp(4096 / DrawnWidth(width), 1, 256));
}

void DrawPen(Board& board, const PenRecord& pen, const std::function<void()>& between)
{
    std::span<const Segment> rest(pen.segments);
    const std::size_t batch = between ? FirstBatch(pen.width) : rest.size();
    QElapsedTimer slice;
    slice.start();
    while (!rest.empty()) {
        const std::size_t count = std::min(batch, rest.size());
        board.Draw(rest.first(count), pen.width);
        rest = rest.subspan(count);
        if (rest.empty() || slice.elapsed() < kSliceMilliseconds) continue;
        between();
        slice.restart();
    }
}

/// The board's font stays as the text left it, also when the rest is damaged.
std::optional<FieldError> DrawText(Board& board, QStringView payload)
{
    constexpr int kFontNameField = 4;
    auto read = ReadText(payload);
    if (!read.error || read.error->field > kFontNameField)
        board.SetFontName(FontFor(board, read.value.look.fontName));
    if (read.error) return read.error;
    read.value.look.fontName = board.FontName();
    board.Draw(read.value);
    return {};
}

std::optional<FieldError> DrawRecord(Board& board, const TaggedPayload& record,
                                     const std::function<void()>& between)
{
    switch (record.kind) {
        case RecordKind::Pen: {
            const auto read = ReadPen(record.payload);
            DrawPen(board, read.value, between);
            return read.error;
        }
        case RecordKind::Text: return DrawText(board, record.payload);
        case RecordKind::Box:
        case RecordKind::Circle: {
            const auto read = ReadShape(record.kind, record.payload);
            if (!read.error) board.Draw(read.value);
            return read.error;
        }
        case RecordKind::Clear: board.Clear(); return {};
        case RecordKind::Undo:
        case RecordKind::Redo:  // steps of the history, see ApplyMark
        case RecordKind::HScroll:
        case RecordKind::VScroll:
        case RecordKind::Resize:
        case RecordKind::Pointer:
        case RecordKind::LocalEncrypt:
        case RecordKind::ServerEncrypt:
        case RecordKind::MessageReceived:
        case RecordKind::Invitation:
        case RecordKind::AppShareOff:
        case RecordKind::VideoOn:
        case RecordKind::VideoOff:
        case RecordKind::VideoFps: break;  // these draw nothing
    }
    return {};
}

void LetGo(void* owner)
{
    delete static_cast<std::shared_ptr<const void>*>(owner);
}

Draws WhatDraws(QStringView record)
{
    const RecordRow* row = RowOf(record);
    return row ? row->draws : Draws::Nothing;
}

}  // namespace

Draws DrawsOf(const Mark& mark)
{
    if (!mark.takesBack.isEmpty()) return Draws::TakeBack;
    return mark.picture ? Draws::Change : WhatDraws(mark.record);
}

bool IsStep(const Mark& mark)
{
    const Draws what = DrawsOf(mark);
    return what == Draws::Undo || what == Draws::Redo || what == Draws::TakeBack;
}

void StepIn(WBHistory& history, const Mark& mark)
{
    const Draws what = DrawsOf(mark);
    if (what == Draws::Undo) history.StepBack();
    if (what == Draws::Redo) history.StepForward();
}

bool IsMark(QStringView record)
{
    return WhatDraws(record) != Draws::Nothing;
}

QString FontFor(const Board& board, const QString& name)
{
    return FontExists(name) ? name : board.FontName();
}

QImage AsImage(const Pixels& pixels)
{
    const auto image = [&](QImageCleanupFunction letGo, void* owner) {
        return QImage(pixels.data, pixels.width, pixels.height, pixels.bytesPerLine, QImage::Format_RGB32,
                      letGo, owner);
    };
    if (!pixels.owner) return image(nullptr, nullptr).copy();
    return image(LetGo, new std::shared_ptr<const void>(pixels.owner));
}

void DrawAnew(Board& board, const DrawnMark& drawn, const PictureReader* pictures,
              const std::function<void()>& between)
{
    const Mark& mark = *drawn.mark;
    board.SetFontName(drawn.fontName);
    if (!mark.picture || !mark.picture->pixels.IsNull()) {
        DrawMark(board, mark, between);
        return;
    }
    if (!pictures) throw std::runtime_error("there is nothing that reads the board's pictures");
    const PicturePtr picture = pictures->Read(mark.picture->jpeg, mark.at.x(), mark.at.y());
    if (picture && !picture->pixels.IsNull()) board.Paint(AsImage(picture->pixels), mark.at);
}

void NoteDrawn(WBHistory& history, const Board& board, const MarkPtr& mark)
{
    const Draws what = DrawsOf(*mark);
    if (what == Draws::Clear) return history.BeginMarks();
    if (what != Draws::Change) return;
    // The pixels are on the board; who needs them again has the picture as it came.
    MarkPtr kept = mark;
    if (mark->picture && !mark->picture->jpeg.isEmpty() && !mark->picture->pixels.IsNull()) {
        auto bare = std::make_shared<Mark>(*mark);
        bare->picture = std::make_shared<Picture>(Picture{mark->picture->jpeg, {}});
        kept = bare;
    }
    history.AddMark({kept, board.FontName()});
}

std::optional<FieldError> DrawMark(Board& board, const Mark& mark, const std::function<void()>& between)
{
    if (mark.picture) {
        board.Paint(AsImage(mark.picture->pixels), mark.at);
        return {};
    }
    const auto record = FindRecord(mark.record);
    return record ? DrawRecord(board, *record, between) : std::nullopt;
}

Applied ApplyMark(Board& board, WBHistory& history, const MarkPtr& mark, const std::function<void()>& between,
                  const PictureReader* pictures)
{
    const Draws what = DrawsOf(*mark);
    if (what == Draws::Nothing) return {};
    if (what == Draws::TakeBack) {
        const auto anew = [&](Board& on, const DrawnMark& drawn) { DrawAnew(on, drawn, pictures, between); };
        DrawWithout(board, history, mark->takesBack, anew, between);
        history.Save(&board, 0, 0, mark->author, mark->when);
        return {true, {}};
    }
    if (what == Draws::Undo || what == Draws::Redo) {
        StepIn(history, *mark);
        history.Show(history.Index(), board);
        return {true, {}};
    }
    const auto error = DrawMark(board, *mark, between);
    const bool drew = !error || FindRecord(mark->record)->kind == RecordKind::Pen;  // its whole segments
    if (drew) NoteDrawn(history, board, mark);
    if (error) return {false, error};
    history.Save(&board, 0, 0, mark->author, mark->when);
    return {true, {}};
}
