#pragma once
// The fonts that the windows name, and what stands in for them where the machine has none of that name.

#include <QFont>

/// Once a program, before the first window; harmless when repeated. User-interface thread only.
void SubstituteFonts();

/// Sizes are pixels: the controls' places are, so that text fits at every desktop setting.
QFont PanelFont();   // Arial
QFont ButtonFont();  // Arial Narrow
QFont ChatFont();    // Comic Sans MS
