#pragma once
// Contrasts as the accessibility rules of the web reckon them (WCAG 2.1): black on white has 21, pure
// red 4.0.

#include <QColor>

/// What texts of ours have at least; those rules ask for it.
inline constexpr double kReadableContrast = 4.5;

/// From 1, the same, to 21. Of an ink that shines through counts what is seen.
double Contrast(const QColor& ink, const QColor& paper);

/// `ink`, opaque, or a shade of it that is light enough to be read on `paper` where that is dark, or dark
/// enough where it is light. `onLight`: the least contrast there; on dark paper small coloured letters get
/// more.
QColor ReadableOn(const QColor& ink, const QColor& paper, double onLight = kReadableContrast);
