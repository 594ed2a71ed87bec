#pragma once
// The desktop's clipboard, asked on a connection of our own: the toolkit waits five seconds for an owner that
// does not answer.

#include <functional>

/// Whether the program that owns the clipboard answers within a second. True without an X display, and when
/// nobody owns it. Not to be asked while this program is the owner. User-interface thread.
bool ClipboardAnswers();

/// Asks the desktop's clipboard manager, where there is one, to keep what this program has put on the
/// clipboard. `serve` must let the program answer requests for it; it is called until the manager is done,
/// for a second at most. Does nothing without an X display. User-interface thread.
void HandClipboardOver(const std::function<void()>& serve);
