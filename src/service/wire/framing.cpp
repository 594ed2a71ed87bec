#include "service/wire/framing.h"

#include <algorithm>

#include "service/wire/content.h"

namespace zephyl {
namespace {

constexpr std::size_t kFrameExtraBytes = 16;       // prefix, and the header of a More
constexpr std::size_t kReserveBytes = 256 * 1024;  // of an announced item, before its bytes are there

std::size_t HeaderLimit(Way way)
{
    return way == Way::Up ? kHeaderBytesUp : kHeaderBytesDown;
}

std::size_t Number(std::string_view bytes, std::size_t at, std::size_t count)
{
    std::size_t value = 0;
    for (std::size_t i = 0; i < count; ++i) value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
    return value;
}

void PutNumber(char* to, std::size_t value, int count)
{
    for (int i = count - 1; i >= 0; --i, value >>= 8) to[i] = static_cast<char>(value & 0xff);
}

std::size_t PictureLimit(const PictureInfo& picture)
{
    switch (picture.type()) {
        case kApplicationImage: return kApplicationImageBytes;
        case kWhiteboardPicture: return kPictureBytes;
        default: return kLiveFrameBytes;
    }
}

std::size_t TextLimit(Channel channel)
{
    return channel == CHANNEL_BOARD ? kRecordBytes : kTextBytes;
}

}  // namespace

void AppendFrame(std::string& out, const Header& header, std::string_view body, Way way)
{
    const std::size_t headerBytes = header.ByteSizeLong();
    if (headerBytes > HeaderLimit(way))
        throw std::length_error("frame header of " + std::to_string(headerBytes) + " bytes");
    if (body.size() > kBodyBytes)
        throw std::length_error("frame body of " + std::to_string(body.size()) + " bytes");
    const std::size_t at = out.size();
    out.resize(at + kFramePrefixBytes + headerBytes);
    PutNumber(out.data() + at, 2 + headerBytes + body.size(), 4);
    PutNumber(out.data() + at + 4, headerBytes, 2);
    header.SerializeWithCachedSizesToArray(
        reinterpret_cast<std::uint8_t*>(out.data() + at + kFramePrefixBytes));
    out.append(body);
}

std::size_t FrameBytes(std::string_view bytes)
{
    return 4 + Number(bytes, 0, 4);
}

std::string_view FirstBody(std::string_view bytes)
{
    const std::size_t body = kFramePrefixBytes + Number(bytes, 4, 2);
    return bytes.substr(body, FrameBytes(bytes) - body);
}

ItemCutter::ItemCutter(Header first, Lane lane, std::string_view body, Way way)
    : mHeader(std::move(first)), mLane(lane), mRest(body), mWay(way)
{
}

void ItemCutter::AppendNext(std::string& out)
{
    const std::string_view now = mRest.substr(0, kBodyBytes);
    AppendFrame(out, mHeader, now, mWay);
    mRest.remove_prefix(now.size());
    mDone = mRest.empty();
    if (!mDone && !mHeader.has_more()) mHeader.mutable_more()->set_lane(mLane);
}

void AppendItem(std::string& out, const Header& first, Lane lane, std::string_view body, Way way)
{
    ItemCutter cutter(first, lane, body, way);
    const std::size_t frames = body.size() / kBodyBytes + 1;
    out.reserve(out.size() + body.size() + first.ByteSizeLong() + frames * kFrameExtraBytes);
    while (!cutter.Done()) cutter.AppendNext(out);
}

std::string& FrameReader::Intake()
{
    if (mAt > 0) {
        mBytes.erase(0, mAt);
        mAt = 0;
    }
    return mBytes;
}

std::optional<FrameView> FrameReader::Next()
{
    const std::string_view rest = std::string_view(mBytes).substr(mAt);
    if (rest.size() < kFramePrefixBytes) return std::nullopt;
    const std::size_t length = Number(rest, 0, 4);
    const std::size_t headerBytes = Number(rest, 4, 2);
    if (headerBytes > HeaderLimit(mWay))
        throw WireError("header of " + std::to_string(headerBytes) + " bytes");
    if (length < 2 + headerBytes)
        throw WireError("length " + std::to_string(length) + " is below its header's");
    if (length - 2 - headerBytes > kBodyBytes)
        throw WireError("length " + std::to_string(length) + " is over the bound");
    if (rest.size() < 4 + length) return std::nullopt;
    if (!mHeader.ParseFromArray(rest.data() + kFramePrefixBytes, static_cast<int>(headerBytes)))
        throw WireError("a header that cannot be read");
    mAt += 4 + length;
    return FrameView{mHeader, rest.substr(kFramePrefixBytes + headerBytes, length - 2 - headerBytes),
                     4 + length};
}

void FrameReader::Rest()
{
    if (mAt < mBytes.size()) return;
    mBytes = std::string();
    mAt = 0;
    mHeader.Clear();
}

Lane LaneOf(const Header& header)
{
    const auto of = [](Channel channel) {
        return channel == CHANNEL_TALK ? LANE_TALK : channel == CHANNEL_BOARD ? LANE_BOARD : LANE_UNSPECIFIED;
    };
    switch (header.message_case()) {
        case Header::kPost: return of(header.post().channel());
        case Header::kItem: return of(header.item().channel());
        case Header::kLive: return LANE_LIVE;
        default: return LANE_UNSPECIFIED;
    }
}

std::size_t TotalOf(const Header& header)
{
    switch (header.message_case()) {
        case Header::kPost: return header.post().total();
        case Header::kItem: return header.item().total();
        case Header::kLive: return header.live().total();
        default: return 0;
    }
}

std::size_t BodyLimit(const Header& header)
{
    switch (header.message_case()) {
        case Header::kPost:
            return header.post().has_picture() ? PictureLimit(header.post().picture())
                                               : TextLimit(header.post().channel());
        case Header::kItem:
            return header.item().has_picture() ? PictureLimit(header.item().picture())
                                               : TextLimit(header.item().channel());
        case Header::kLive: return PictureLimit(header.live().picture());
        default: return 0;
    }
}

bool ItemReader::IsLaneFrame(const Header& header)
{
    return header.has_post() || header.has_item() || header.has_live() || header.has_more();
}

std::size_t ItemReader::HeldBytes() const
{
    std::size_t bytes = 0;
    for (const auto& half : mHalves)
        if (half) bytes += half->body.size();
    return bytes;
}

std::optional<ItemView> ItemReader::Take(const FrameView& frame)
{
    const bool more = frame.header.has_more();
    const Lane lane = more ? frame.header.more().lane() : LaneOf(frame.header);
    if (lane < LANE_TALK || lane > LANE_LIVE) throw WireError("an item of no lane");
    std::unique_ptr<Half>& slot = mHalves[static_cast<std::size_t>(lane - LANE_TALK)];
    if (more != (slot != nullptr)) throw WireError(more ? "More of nothing" : "two items at once in a lane");
    return more ? Go(frame, slot) : Begin(frame, slot);
}

void ReadLiveFrame(std::string_view bytes, Way way, const std::function<void(const ItemView&)>& take)
{
    FrameReader reader(way);
    ItemReader items;
    reader.Feed(bytes);
    try {
        while (const auto frame = reader.Next()) {
            if (frame->header.has_voice()) {
                take(ItemView{frame->header, frame->body});
                continue;
            }
            if (!frame->header.has_live() && !frame->header.has_more()) return;
            if (const auto item = items.Take(*frame)) return take(*item);
        }
    } catch (const WireError&) {
        // nothing else hangs on it
    }
}

std::optional<ItemView> ItemReader::Begin(const FrameView& frame, std::unique_ptr<Half>& slot)
{
    const std::size_t total = TotalOf(frame.header);
    if (frame.body.size() > total) throw WireError("more bytes than the item's total");
    const bool tooLarge = total > BodyLimit(frame.header);
    if (frame.body.size() < total) {
        slot = std::make_unique<Half>();
        slot->total = total;
        slot->arrived = frame.body.size();
        slot->discard = tooLarge;
        if (!tooLarge) {
            slot->header = frame.header;
            slot->body.reserve(std::min(total, kReserveBytes));
            slot->body = frame.body;
        }
    }
    if (tooLarge) return ItemView{frame.header, {}, true};
    if (slot) return std::nullopt;
    return ItemView{frame.header, frame.body};
}

std::optional<ItemView> ItemReader::Go(const FrameView& frame, std::unique_ptr<Half>& slot)
{
    if (frame.body.empty()) throw WireError("an empty More");
    if (frame.body.size() > slot->total - slot->arrived) throw WireError("more bytes than the item's total");
    slot->arrived += frame.body.size();
    if (!slot->discard) slot->body.append(frame.body);
    if (slot->arrived < slot->total) return std::nullopt;
    mWhole = std::move(slot);
    if (mWhole->discard) return std::nullopt;
    return ItemView{mWhole->header, mWhole->body};
}

}  // namespace zephyl
