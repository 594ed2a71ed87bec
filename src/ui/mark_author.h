#pragma once

struct BoardPoint;
struct ProcessState;

/// Says in the last status panel who drew what shows at a place of the board, and when; says that nobody did
/// where nothing shows. User-interface thread.
void NameAuthor(ProcessState& state, BoardPoint at);
