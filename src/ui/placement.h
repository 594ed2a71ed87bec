#pragma once
// The window's placement between pixels and twips, and back onto a screen. Pure.

#include <QRect>
#include <vector>

#include "base/meeting_screens.h"

/// 1 pixel is 15 twips at every scale. `window`: the frame's position and the client area's size.
TwipsRect ToTwips(const QRect& window);
/// What no desktop can hold becomes the farthest or largest that can be reckoned with; "not a number" 0.
QRect ToPixels(const TwipsRect& placement);

/// `window`, at least `smallest` and at most as large as the screen that most of it is on. It stays where it
/// was left, also with a part of it off the screen's sides, while a hand can catch it, and is moved up when
/// its status bar would lie below the edge; when no hand can, or when its size had to change, all of it comes
/// onto that screen. Without screens it is not moved. The first screen is
/// the primary one. With the frames taken off the screens' sizes, the frame is on the screen too.
QRect OnScreen(const QRect& window, const QSize& smallest, const std::vector<QRect>& screens);
