#pragma once
// The fonts that the windows name, and what stands in for them where the machine has none of that name.

#include <QFont>

/// Once a program, before the first window; harmless when repeated. User-interface thread only.
void SubstituteFonts();

/// Sizes are pixels: the controls' places are, so that text fits at every desktop setting. Where there is
/// room for larger letters, they grow with the desktop's.
QFont PanelFont();   // Arial
QFont ButtonFont();  // Arial Narrow
QFont ChatFont();    // Comic Sans MS; grows
QFont ListFont();    // Arial; grows
