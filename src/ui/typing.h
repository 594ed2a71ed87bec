#pragma once
// Typing that belongs into the message box although something else has the focus.

class QKeyEvent;
class QWidget;

/// A character, Enter or Backspace; not arrows, Tab, Escape, Delete or a shortcut.
bool IsTyping(const QKeyEvent& event);
/// Gives `target` the focus and the very same key stroke. The event is accepted: nothing else happens to it.
/// Does nothing while `target` has the focus: then it was asked already and did not want the key; nor while a
/// menu is open.
void ForwardTyping(QKeyEvent* event, QWidget* target);
