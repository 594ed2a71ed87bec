#pragma once

#include <QtGlobal>

/// A rectangle of the board in pixels; right and bottom are exclusive.
struct CRect {
    qint32 left = 0;
    qint32 right = 0;
    qint32 top = 0;
    qint32 bottom = 0;

    friend bool operator==(const CRect&, const CRect&) = default;
};
