#pragma once
// All marks of one attendee go from the board. What they covered comes back, because what remains is drawn
// anew, from the marks that the history knows. The thread of the board.

#include <QStringList>
#include <functional>

#include "whiteboard/history.h"

/// Board and marks as they would be without what `author` drew; nothing is saved. What lies beneath the marks
/// that the history knows stays, whoever drew it. `draw` draws one of the others as it was drawn before.
/// `between`, unless empty, runs now and then; the board changes behind the last of them, at once, and not
/// where `draw` throws.
void DrawWithout(Board& board, WBHistory& history, const QString& author,
                 const std::function<void(Board&, const DrawnMark&)>& draw,
                 const std::function<void()>& between = {});

/// Whose marks could be taken back: the handles, each once, in alphabetical order.
QStringList AuthorsOf(const MarkList& marks);
