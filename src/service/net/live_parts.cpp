#include "service/net/live_parts.h"

#include <algorithm>

namespace zephyl {
namespace {

constexpr std::size_t kMostParts = (kDatagramFrameBytes + kPartBytes - 1) / kPartBytes;
static_assert(kMostParts <= 64);  // a bit for each

constexpr std::size_t kPartAt = 8, kPartsAt = 10, kTotalAt = 12;

/// The frame itself says how it was cut; another cut is no cut of ours.
bool Sound(const PartHead& head, std::size_t bytes)
{
    if (head.frame == 0 || head.total == 0 || head.total > kDatagramFrameBytes) return false;
    if (head.parts != PartsOf(head.total) || head.part >= head.parts) return false;
    const bool last = head.part + 1 == head.parts;
    return bytes == (last ? head.total - kPartBytes * head.part : kPartBytes);
}

std::uint64_t AllOf(std::size_t parts)
{
    return parts >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << parts) - 1;
}

}  // namespace

std::size_t PartsOf(std::size_t frameBytes)
{
    return (frameBytes + kPartBytes - 1) / kPartBytes;
}

void PartHead::Write(char* to) const
{
    PutBigEndian(to, frame, sizeof frame);
    PutBigEndian(to + kPartAt, part, sizeof part);
    PutBigEndian(to + kPartsAt, parts, sizeof parts);
    PutBigEndian(to + kTotalAt, total, sizeof total);
}

PartHead PartHead::Read(std::string_view bytes)
{
    PartHead head;
    head.frame = ReadBigEndian(bytes.data(), sizeof frame);
    head.part = static_cast<std::uint16_t>(ReadBigEndian(bytes.data() + kPartAt, sizeof part));
    head.parts = static_cast<std::uint16_t>(ReadBigEndian(bytes.data() + kPartsAt, sizeof parts));
    head.total = static_cast<std::uint32_t>(ReadBigEndian(bytes.data() + kTotalAt, sizeof total));
    return head;
}

std::optional<std::string> PartGatherer::Take(std::string_view part)
{
    if (part.size() < PartHead::kBytes) return std::nullopt;
    const PartHead head = PartHead::Read(part);
    const std::string_view held = part.substr(PartHead::kBytes);
    if (!Sound(head, held.size())) return std::nullopt;
    Place half = std::find_if(mHalves.begin(), mHalves.end(),
                              [&](const Half& one) { return one.frame == head.frame; });
    if (half == mHalves.end() && WasWhole(head.frame)) return std::nullopt;
    if (half == mHalves.end()) half = Begin(head);
    const std::uint64_t bit = std::uint64_t{1} << head.part;
    if (half->bytes.size() != head.total || (half->missing & bit) == 0) return std::nullopt;
    std::copy(held.begin(), held.end(), half->bytes.begin() + std::ptrdiff_t(head.part * kPartBytes));
    half->missing &= ~bit;
    if (half->missing != 0) return std::nullopt;
    mWhole[mWholeAt++ % kRemembered] = head.frame;
    return Release(half);
}

/// The oldest ones make room.
PartGatherer::Place PartGatherer::Begin(const PartHead& head)
{
    while (!mHalves.empty() && (mHalves.size() >= kMostHalves || mHeld + head.total > kMostBytes))
        Release(mHalves.begin());
    mHeld += head.total;
    mHalves.push_back({head.frame, std::string(head.total, '\0'), AllOf(head.parts)});
    return mHalves.end() - 1;
}

std::string PartGatherer::Release(Place half)
{
    std::string bytes = std::move(half->bytes);
    mHeld -= bytes.size();
    mHalves.erase(half);
    return bytes;
}

bool PartGatherer::WasWhole(std::uint64_t frame) const
{
    return std::find(mWhole.begin(), mWhole.end(), frame) != mWhole.end();
}

}  // namespace zephyl
