#pragma once
// Ink by itself, found from the marks that drew it: for boards and histories that begin to keep it. A rule:
// no window, no service.

#include "whiteboard/history.h"

class PictureReader;

/// From now on `board` keeps its ink: that of the marks which `history` has of it. Each entry that did not
/// keep its own gets it. Of marks that have become a picture, what is not white counts as ink. Throws as
/// DrawAnew does; the board keeps nothing then.
void FindInk(WBHistory& history, Board& board, const PictureReader* pictures);
