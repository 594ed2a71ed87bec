#pragma once
// How marks are applied: the same ones in the same order, on a blank board, give the same board and the same
// history everywhere. So whoever shows, replays or exports a meeting does it here. No window, no process
// state. The thread of the board that they are applied to.

#include <functional>
#include <optional>

#include "contract/picture_reader.h"
#include "messaging/record_kinds.h"
#include "whiteboard/history.h"
#include "whiteboard/mark.h"
#include "whiteboard/record_fields.h"

/// Whether `record` (whole, tag included) is one that a mark can be of.
bool IsMark(QStringView record);
Draws DrawsOf(const Mark& mark);
/// Whether what it does depends on what is on the board, or was.
bool IsStep(const Mark& mark);

struct Applied {
    /// The history has it: an entry more, or its index moved, or stayed at an end.
    bool remembered = false;
    /// The record was damaged: what it drew in front of that stays, and nothing was remembered.
    std::optional<FieldError> error;
};

/// Draws `mark` on `board` and remembers it in `history`, under its author and time; clearing, undoing,
/// redoing and taking back likewise. A record that is no mark does nothing. `between`, unless empty, runs now
/// and then while a long stroke is drawn, or many anew. `pictures`: for those that a taking back draws anew.
/// Throws std::runtime_error for a picture without pixels, and std::out_of_range for undo and redo in an
/// empty history.
Applied ApplyMark(Board& board, WBHistory& history, const MarkPtr& mark,
                  const std::function<void()>& between = {}, const PictureReader* pictures = nullptr);

/// Moves the history's index as an undo or redo does; others do nothing.
void StepIn(WBHistory& history, const Mark& mark);
/// Draws what `mark` draws by itself, remembering nothing; steps do nothing then.
std::optional<FieldError> DrawMark(Board& board, const Mark& mark, const std::function<void()>& between = {});

/// Draws once more what was drawn so. Of a kept picture there are the JPEG bytes alone, which `pictures`
/// reads; one that cannot be read is left out. Throws std::runtime_error where there is nothing that reads.
void DrawAnew(Board& board, const DrawnMark& drawn, const PictureReader* pictures,
              const std::function<void()>& between = {});

/// Notes in `history` a mark that is on its board already, for the entry that is saved next: what the tools
/// draw while the user does.
void NoteDrawn(WBHistory& history, const Board& board, const MarkPtr& mark);

/// The font that a line of text is drawn in: the named one, or the board's where that is not installed.
QString FontFor(const Board& board, const QString& name);

/// The pixels themselves as an image, kept as long as it; copied when nobody says that they stay.
QImage AsImage(const Pixels& pixels);
