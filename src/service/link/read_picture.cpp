#include "service/link/read_picture.h"

#include "service/link/link_messenger.h"

namespace zephyl::link {

DecodedPicture DecodeOnBoard(const QByteArray& jpeg, int x, int y, const PixelRoom& room)
{
    PictureLimits limits;
    limits.part = {-x, -y, kBoardWidth - x, kBoardHeight - y};
    return DecodeGuarded({reinterpret_cast<const std::uint8_t*>(jpeg.constData()), std::size_t(jpeg.size())},
                         limits, room);
}

PicturePtr PictureOf(const QByteArray& jpeg, const DecodedPicture& decoded, const PixelMemory* memory)
{
    auto picture = std::make_shared<Picture>();
    picture->jpeg = jpeg;
    picture->pixels.width = decoded.width;
    picture->pixels.height = decoded.height;
    picture->pixels.bytesPerLine = qsizetype(decoded.width) * 4;
    picture->pixels.data = reinterpret_cast<const uchar*>(decoded.pixels.get());
    picture->pixels.owner = decoded.pixels;
    picture->pixels.memory = memory;
    return picture;
}

}  // namespace zephyl::link

namespace {

class GuardedReader final : public PictureReader {
public:
    PicturePtr Read(const QByteArray& jpeg, int x, int y) const override
    {
        const zephyl::DecodedPicture decoded = zephyl::link::DecodeOnBoard(jpeg, x, y);
        return decoded.pixels ? zephyl::link::PictureOf(jpeg, decoded, nullptr) : nullptr;
    }
};

}  // namespace

std::unique_ptr<PictureReader> MakePictureReader()
{
    return std::make_unique<GuardedReader>();
}
