#pragma once
// Pictures as plain, shared, immutable data: what link and client hand each other. No toolkit image.

#include <QByteArray>
#include <memory>

class PixelMemory;

/// Pixels in memory: 32 bits each, 0xffRRGGBB in the machine's byte order, rows from the top.
/// `owner` keeps `data` alive; whoever holds a copy may read it on any thread.
struct Pixels {
    int width = 0;
    int height = 0;
    qsizetype bytesPerLine = 0;
    const uchar* data = nullptr;
    std::shared_ptr<const void> owner;
    const PixelMemory* memory = nullptr;  // what `owner` keeps, where the display can be shown it

    bool IsNull() const { return data == nullptr; }
};

/// The board that all pictures are for, in pixels.
inline constexpr int kBoardWidth = 2048;
inline constexpr int kBoardHeight = 1536;

/// A received picture: the JPEG bytes as they came and their pixels. What lies beside the board, where its
/// sender put it, is not set.
struct Picture {
    QByteArray jpeg;
    Pixels pixels;
};

using PicturePtr = std::shared_ptr<const Picture>;  // null: "no picture"
