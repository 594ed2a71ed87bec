#pragma once
// The window's placement between pixels and twips, and back onto a screen. Pure.

#include <QRect>
#include <vector>

#include "base/meeting_screens.h"

/// 1 pixel is 15 twips at every scale. `window`: the frame's position and the client area's size.
TwipsRect ToTwips(const QRect& window);
QRect ToPixels(const TwipsRect& placement);

/// `window`, at least `smallest`, moved onto a screen when too little of it is on any for a hand to catch it,
/// and then no larger than that screen. Without screens unchanged. The first screen is the primary one.
QRect OnScreen(const QRect& window, const QSize& smallest, const std::vector<QRect>& screens);
