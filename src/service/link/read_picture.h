#pragma once
// From JPEG bytes to the contract's pictures. Any thread.

#include "contract/picture.h"
#include "service/codec/picture_guard.h"

namespace zephyl::link {

/// Decodes what lies on the board of a picture whose corner is at x, y; a null `pixels` is a refusal.
DecodedPicture DecodeOnBoard(const QByteArray& jpeg, int x, int y, const PixelRoom& room = FreshPixels);
/// The contract's picture of both. `memory`: where the pixels are, if a display can be shown it; else null.
PicturePtr PictureOf(const QByteArray& jpeg, const DecodedPicture& decoded, const PixelMemory* memory);

}  // namespace zephyl::link
