#pragma once
// What the numbers of a picture in three planes mean. Every source says what its own mean, and they become
// those of JPEG where a picture enters: what is shown, sent and received is one thing then. Pure; any thread.

#include "platform/linux/i420.h"

struct YuvMeaning {
    double red = 0.299, blue = 0.114;  // their parts of the luminance; these are ITU-R BT.601's, and JPEG's
    bool studio = false;               // luminance 16 to 235, colours 16 to 240; JPEG: all of 0 to 255
};
inline constexpr YuvMeaning kStudio601{.studio = true};

/// Turns a picture of that meaning into one of JPEG's. What lies beyond black or white is cut off.
void ToJpegMeaning(I420Picture& picture, const YuvMeaning& meaning);
