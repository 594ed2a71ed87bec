#pragma once

#include <functional>

/// Asks the desktop's clipboard manager, where there is one, to keep what this program has put on the
/// clipboard. `serve` must let the program answer requests for it; it is called until the manager is done,
/// for a second at most. Does nothing without an X display. User-interface thread.
void HandClipboardOver(const std::function<void()>& serve);
