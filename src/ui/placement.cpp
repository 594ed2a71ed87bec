#include "ui/placement.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr float kTwipsPerPixel = 15;
constexpr int kGrip = 80;  // pixels of the title bar that must be on a screen
constexpr int kTitleHeight = 24;
constexpr float kFarthest = 1e6F;  // pixels

int PixelsOf(float twips)
{
    const float pixels = twips / kTwipsPerPixel;
    return std::isnan(pixels) ? 0 : int(std::lround(std::clamp(pixels, -kFarthest, kFarthest)));
}

bool CanBeCaught(const QRect& window, const QRect& screen)
{
    const QRect title(window.topLeft(), QSize(window.width(), kTitleHeight));
    const QRect seen = title.intersected(screen);
    return seen.width() >= std::min(kGrip, window.width()) && seen.height() >= kTitleHeight / 2 &&
           window.top() >= screen.top() - kTitleHeight / 2;
}

/// The screen that most of the window is on; the primary one when it is on none.
const QRect& HomeOf(const QRect& window, const std::vector<QRect>& screens)
{
    const auto shared = [&](const QRect& screen) {
        const QRect seen = window.intersected(screen);
        return qint64(seen.width()) * seen.height();
    };
    return *std::max_element(screens.begin(), screens.end(),
                             [&](const QRect& a, const QRect& b) { return shared(a) < shared(b); });
}

}  // namespace

TwipsRect ToTwips(const QRect& window)
{
    return {window.x() * kTwipsPerPixel, window.y() * kTwipsPerPixel, window.width() * kTwipsPerPixel,
            window.height() * kTwipsPerPixel};
}

QRect ToPixels(const TwipsRect& placement)
{
    return QRect(PixelsOf(placement.left), PixelsOf(placement.top), PixelsOf(placement.width),
                 PixelsOf(placement.height));
}

QRect OnScreen(const QRect& window, const QSize& smallest, const std::vector<QRect>& screens)
{
    QRect placed(window.topLeft(), window.size().expandedTo(smallest));
    if (screens.empty()) return placed;
    const QRect& home = HomeOf(placed, screens);
    placed.setSize(placed.size().boundedTo(home.size()).expandedTo(smallest));
    const bool asLeft = placed.size() == window.size();
    const int lowest = std::max(home.top(), home.bottom() + 1 - placed.height());
    if (asLeft &&
        std::any_of(screens.begin(), screens.end(), [&](const QRect& s) { return CanBeCaught(placed, s); })) {
        placed.moveTop(std::min(placed.top(), lowest));
        return placed;
    }
    placed.moveLeft(
        std::clamp(placed.left(), home.left(), std::max(home.left(), home.right() + 1 - placed.width())));
    placed.moveTop(std::clamp(placed.top(), home.top(), lowest));
    return placed;
}
