#pragma once
// The board's input: what the mouse, the palette and the text box do. Called by the views, which have turned
// their events into board pixels. Handlers with a trap report their own name. User-interface thread only.

#include <QPointF>

#include "whiteboard/records.h"

struct ProcessState;

enum class MouseButton { None, Left, Other };

/// The board pixel under the pointer, within 16 bits.
BoardPoint ToBoard(const QPointF& position);

/// A box of the palette or of the widths was chosen.
void picSelColor_Click(ProcessState& state, int index);
void picLineWidth_Click(ProcessState& state, int index);

void picDraw_MouseDown(ProcessState& state, MouseButton button, BoardPoint at);
/// `button`: Left while the left one, and no other, is held.
void picDraw_MouseMove(ProcessState& state, MouseButton button, BoardPoint at);
/// A release without a press of its own does nothing. A release elsewhere than the last move is a move first.
void picDraw_MouseUp(ProcessState& state, BoardPoint at);
/// Press and release of the left button were both on the board; comes after picDraw_MouseUp.
void picDraw_Click(ProcessState& state);
/// The release will not come: a menu has opened, the grab is lost, the window hides. A stroke ends at its
/// last point and is sent; rubber bands go.
void LoseRelease(ProcessState& state);
/// Whether a press waits for its release.
bool InAction(ProcessState& state);

/// `at` counts from the pointer image's own corner.
void imgSelPointer_MouseDown(ProcessState& state, MouseButton button, BoardPoint at);
void imgSelPointer_MouseMove(ProcessState& state);
/// The release of a stroke that began on the pointer image; it is not sent.
void imgSelPointer_MouseUp(ProcessState& state);

enum class TextKey { Enter, Escape };
/// Enter without Shift in a box with text, or Escape. True: handled, the box does not get the key.
bool txtText_KeyDown(ProcessState& state, TextKey key);
