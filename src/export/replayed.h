#pragma once
// A whole meeting file, played at once. Any thread that may paint.

#include "contract/picture_reader.h"
#include "meeting_file/reader.h"
#include "whiteboard/history.h"

struct Replayed {
    Board board;
    WBHistory history;
    QString problem;  // "": the file was whole
};

/// Begins as a meeting does: a white board that is the history's first entry.
void BeginReplay(Board& board, WBHistory& history);
/// As an attendee's window applies it; what is damaged in a record is passed over as it is there. True: the
/// history has it, and shows what the board does.
bool ApplyItem(Board& board, WBHistory& history, const meeting_file::Item& item,
               const PictureReader& pictures);

/// Damaged pieces are left out.
Replayed ReplayAll(meeting_file::Reader& file, const PictureReader& pictures);
