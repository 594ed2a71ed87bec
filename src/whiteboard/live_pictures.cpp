#include "whiteboard/live_pictures.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "contract/messenger_service.h"
#include "whiteboard/apply_mark.h"

namespace {

int KindOf(qint32 type)
{
    return type == kFrameVideo || type == kFrameApplication ? type : -1;
}

QImage Part(const QImage& image, const QRect& part)
{
    return part.isEmpty() ? QImage() : image.copy(part);
}

bool SameKind(const LiveSource& a, const LiveSource& b)
{
    return a.handle == b.handle && KindOf(a.type) == KindOf(b.type);
}

}  // namespace

bool LivePictures::One::Ceased(Time now) const
{
    return now - last > std::max<Time::duration>(kCeases, 3 * gap);
}

void LivePictures::BeginShowing(const Board& board)
{
    mShown = true;
    for (One& one : mPictures) one.image = Part(board.Image(), one.place);
    Bound({});
    mChanged = {};
}

void LivePictures::EndShowing()
{
    mShown = false;
    for (One& one : mPictures) one.image = {};
    mChanged = {};
}

void LivePictures::Changed(const QRegion& places)
{
    if (mShown) mChanged += places;  // else it would grow more and more ragged
}

void LivePictures::Put(const LiveSource& source, const Pixels& pixels, QPoint at, Time now)
{
    auto one = Find(source);
    if (one == mPictures.end()) {
        mPictures.push_back({source, {}, nullptr, {}, now});
        one = mPictures.end() - 1;
    }
    const QRect before = std::exchange(
        one->place, QRect(at, QSize(pixels.width, pixels.height)) & QRect(0, 0, kBoardWidth, kBoardHeight));
    one->pixels = pixels.data;
    if (mShown) {
        one->image = AsImage(pixels);
        if (one->place.size() != one->image.size()) one->image = Part(one->image, one->place.translated(-at));
    }
    one->gap = now - one->last;
    one->last = now;
    Changed((QRegion(before) + one->place) - AboveIt(one));
    Bound(source);
}

void LivePictures::Bound(const LiveSource& kept)
{
    const auto bytes = [this] {
        qsizetype all = 0;
        for (const One& one : mPictures) all += one.image.sizeInBytes();
        return all;
    };
    while (mPictures.size() > kMost || bytes() > kMostBytes) {
        const auto rank = [&](const One& one) { return std::pair(SameKind(one.source, kept), one.last); };
        const auto oldest = std::ranges::min_element(mPictures, {}, rank);
        Changed(oldest->place);
        mPictures.erase(oldest);
    }
}

template <class Which>
std::vector<LiveSource> LivePictures::StopThose(Which which)
{
    std::vector<LiveSource> gone;
    for (const One& one : mPictures) {
        if (!which(one)) continue;
        gone.push_back(one.source);
        Changed(one.place);
    }
    std::erase_if(mPictures, which);
    return gone;
}

bool LivePictures::Stop(const LiveSource& source)
{
    return !StopThose([&](const One& one) { return SameKind(one.source, source); }).empty();
}

void LivePictures::StopAllOf(const QString& handle)
{
    StopThose([&](const One& one) { return one.source.handle == handle; });
}

void LivePictures::StopAll()
{
    StopThose([](const One&) { return true; });
}

std::vector<LiveSource> LivePictures::StopCeased(Time now)
{
    return StopThose(
        [now](const One& one) { return one.source.type != kFrameApplication && one.Ceased(now); });
}

void LivePictures::StopAtClear(Time now)
{
    StopThose([now](const One& one) { return one.Ceased(now); });
}

QRegion LivePictures::Places() const
{
    QRegion places;
    for (const One& one : mPictures) places += one.place;
    return places;
}

QRegion LivePictures::Above(const Pixels& pixels) const
{
    return AboveIt(std::ranges::find(mPictures, pixels.data, &One::pixels));
}

QRegion LivePictures::AboveIt(std::vector<One>::const_iterator one) const
{
    QRegion above;
    if (one != mPictures.end())
        for (++one; one != mPictures.end(); ++one) above += one->place;
    return above;
}

void LivePictures::CopyTo(QRgb* pixels, const QRect& area) const
{
    const auto covers = [&](const One& one) { return one.place.contains(area); };
    auto one = std::find_if(mPictures.rbegin(), mPictures.rend(), covers).base();
    if (one != mPictures.begin())
        --one;  // nothing beneath it is seen
    else
        std::fill(pixels, pixels + area.width() * area.height(), qRgb(255, 255, 255));
    for (; one != mPictures.end(); ++one) {
        const QRect part = area & one->place;
        if (part.isEmpty()) continue;
        const std::size_t bytes = std::size_t(part.width()) * sizeof(QRgb);
        QRgb* to = pixels + (part.top() - area.top()) * area.width() + part.left() - area.left();
        for (int y = part.top(); y <= part.bottom(); ++y, to += area.width())
            std::memcpy(to, RowOf(one->image, part.left() - one->place.left(), y - one->place.top()), bytes);
    }
}

QRegion LivePictures::TakeChanged()
{
    return std::exchange(mChanged, {});
}

LivePictures::Spot LivePictures::Find(const LiveSource& source)
{
    return std::ranges::find_if(mPictures, [&](const One& one) { return SameKind(one.source, source); });
}
