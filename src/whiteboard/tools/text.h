#pragma once
// The Text tool: what is typed becomes one record a line.

#include <vector>

#include "whiteboard/records.h"

class Board;

/// The lines of `typed`, each one line height of the board below the one before. Nothing typed: no lines.
std::vector<TextRecord> TextLines(const Board& board, const QString& typed, BoardPoint16 at,
                                  const TextLook& look, quint32 colour);
