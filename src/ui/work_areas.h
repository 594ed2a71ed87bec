#pragma once

#include <QMargins>
#include <QRect>
#include <vector>

/// What panels leave of each screen, with `frame` taken off its size: room for a window's client area where
/// the window's position is the frame's. The primary screen is first, and once more in its place.
std::vector<QRect> WorkAreas(const QMargins& frame);
