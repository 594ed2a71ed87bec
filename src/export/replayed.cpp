#include "export/replayed.h"

#include "export/meeting_marks.h"
#include "whiteboard/apply_mark.h"

void BeginReplay(Board& board, WBHistory& history)
{
    history.Save(&board, 0, 0, {}, {});
}

bool ApplyItem(Board& board, WBHistory& history, const meeting_file::Item& item,
               const PictureReader& pictures)
{
    if (item.kind == meeting_file::Kind::Begins) {
        board.Become(Board());
        history = {};
        BeginReplay(board, history);
        return true;
    }
    const MarkPtr mark = MarkOf(item, pictures);
    return mark && ApplyMark(board, history, mark, {}, &pictures).remembered;
}

Replayed ReplayAll(meeting_file::Reader& file, const PictureReader& pictures)
{
    Replayed replayed;
    replayed.problem = QString::fromStdString(file.Problem());
    BeginReplay(replayed.board, replayed.history);
    for (std::size_t frame = 0; frame < file.Frames(); ++frame) {
        try {
            for (const meeting_file::Item& item : file.Frame(frame))
                ApplyItem(replayed.board, replayed.history, item, pictures);
        } catch (const meeting_file::BadFile& bad) {
            replayed.problem = QString::fromUtf8(bad.what());
        }
    }
    return replayed;
}
