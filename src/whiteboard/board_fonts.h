#pragma once
// Fonts of the board: which names count as installed, and which font draws for a name.

#include <QFont>

#include "whiteboard/records.h"

/// True when `name` is, exactly, one of the installed fonts, or one whose stand-in of equal widths is
/// installed.
bool FontExists(const QString& name);
/// The installed family that stands in for `name`; `name` itself where there is none.
QString DrawnFamily(const QString& name);
/// Names by which other programs find the installed family `drawn`, or what comes nearest: itself, the font
/// it stands in for, and where the board takes what it lacks from.
QStringList FamiliesElsewhere(const QString& drawn);
/// The font that draws on the board; sizes outside 1..1024 points are brought into it. Names with a stand-in
/// use that wherever it is installed, so that boards agree between machines.
QFont BoardFont(const TextLook& look);
