#pragma once

#include <QColor>

/// `ink`, or a shade of it that is light enough to be read on `paper` where that is dark, or dark enough
/// where it is light. Pure red and pure blue stay what they are on white.
QColor ReadableOn(const QColor& ink, const QColor& paper);
