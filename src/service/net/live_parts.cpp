#include "service/net/live_parts.h"

#include <algorithm>
#include <bit>

#include "service/net/spare_parts.h"

namespace zephyl {
namespace {

constexpr std::size_t kMostParts = (kDatagramFrameBytes + kPartBytes - 1) / kPartBytes;
static_assert(kMostParts <= kMostWholeParts);

constexpr std::size_t kPartAt = 8, kPartsAt = 10, kTotalAt = 12;

/// The frame itself says how it was cut; another cut is no cut of ours.
bool Sound(const PartHead& head, std::size_t bytes, PartGatherer::What what)
{
    if (head.frame == 0 || head.total == 0 || head.total > kDatagramFrameBytes) return false;
    if (head.parts != PartsOf(head.total)) return false;
    if (what == PartGatherer::What::Spare)
        return head.part >= head.parts && std::size_t(head.part - head.parts) < kMostSpares &&
               bytes == kPartBytes;
    if (head.part >= head.parts) return false;
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
    head.frame = ReadBigEndian(bytes.substr(0, sizeof frame));
    head.part = static_cast<std::uint16_t>(ReadBigEndian(bytes.substr(kPartAt, sizeof part)));
    head.parts = static_cast<std::uint16_t>(ReadBigEndian(bytes.substr(kPartsAt, sizeof parts)));
    head.total = static_cast<std::uint32_t>(ReadBigEndian(bytes.substr(kTotalAt, sizeof total)));
    return head;
}

std::optional<std::string> PartGatherer::Take(std::string_view part, What what)
{
    if (part.size() < PartHead::kBytes) return std::nullopt;
    const PartHead head = PartHead::Read(part);
    const std::string_view held = part.substr(PartHead::kBytes);
    if (!Sound(head, held.size(), what)) return std::nullopt;
    Place half = std::find_if(mHalves.begin(), mHalves.end(),
                              [&](const Half& one) { return one.frame == head.frame; });
    if (half == mHalves.end() && WasWhole(head.frame)) return std::nullopt;
    if (half == mHalves.end()) half = Begin(head);
    if (half->bytes.size() != head.total || !Keep(*half, head, held, what)) return std::nullopt;
    const auto lost = static_cast<std::size_t>(std::popcount(half->missing));
    if (lost > half->spares.size()) return std::nullopt;
    half->spares.resize(lost);
    if (lost > 0) {
        ++mRestored;
        RestoreParts(half->bytes, half->missing, std::move(half->spares));
    }
    mWhole[mWholeAt++ % kRemembered] = head.frame;
    return Release(half);
}

/// False: it was there already.
bool PartGatherer::Keep(Half& half, const PartHead& head, std::string_view held, What what)
{
    if (what == What::Spare) {
        const std::size_t index = head.part - head.parts;
        const auto same = [&](const auto& spare) { return spare.first == index; };
        if (std::any_of(half.spares.begin(), half.spares.end(), same)) return false;
        half.spares.emplace_back(index, held);
        return true;
    }
    const std::uint64_t bit = std::uint64_t{1} << head.part;
    if ((half.missing & bit) == 0) return false;
    std::copy(held.begin(), held.end(), half.bytes.begin() + std::ptrdiff_t(head.part * kPartBytes));
    half.missing &= ~bit;
    return true;
}

/// The oldest ones make room.
PartGatherer::Place PartGatherer::Begin(const PartHead& head)
{
    while (!mHalves.empty() && (mHalves.size() >= kMostHalves || mHeld + head.total > kMostBytes))
        Release(mHalves.begin());
    mHeld += head.total;
    mHalves.push_back({head.frame, std::string(head.total, '\0'), AllOf(head.parts), {}});
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
