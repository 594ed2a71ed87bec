#pragma once
// A picture of a stream from another program's memory, which may say anything about itself. Pure.

#include <QRect>
#include <functional>

#include "contract/picture.h"

inline constexpr quint32 kLongestStreamSide = 16384;  // pixels: larger than any screen

/// How a picture lies in a piece of memory, as its sender says. Nothing in it has been checked.
struct StreamFrame {
    quint32 width = 0, height = 0;  // pixels of four bytes
    bool redFirst = false;          // red lies in the first byte; else blue
    qint64 stride = 0;              // bytes from row to row; 0: no more than the row needs
    quint64 offset = 0, size = 0;   // of the bytes, in the memory
    QRect crop;                     // the part that is meant; null: all of it
    quint32 transform =
        0;  // quarter turns to the right that set it upright; 4 more: and a mirror behind them
};

/// Copies `count` bytes at `at`. False: they are not there.
using ReadBytes = std::function<bool(quint64 at, uchar* to, std::size_t count)>;

/// A copy of the frame, upright; null where it does not fit what it says of itself, or is larger than any
/// screen.
Pixels PictureOf(const StreamFrame& frame, const ReadBytes& read);
