#pragma once
// A received picture of one colour, and a reader that finds it in every JPEG.

#include <QImage>

#include "contract/picture_reader.h"

inline PicturePtr PlainPicture(int width, int height, QRgb colour)
{
    const auto image = std::make_shared<QImage>(width, height, QImage::Format_RGB32);
    image->fill(colour);
    auto picture = std::make_shared<Picture>();
    picture->pixels = {width, height, image->bytesPerLine(), image->constBits(), image};
    return picture;
}

class OnePicture final : public PictureReader {
public:
    explicit OnePicture(PicturePtr picture) : mPicture(std::move(picture)) {}
    PicturePtr Read(const QByteArray&, int, int) const override { return mPicture; }

private:
    PicturePtr mPicture;
};
