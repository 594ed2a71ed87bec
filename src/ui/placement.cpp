#include "ui/placement.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr float kTwipsPerPixel = 15;
constexpr int kGrip = 80;  // pixels of the title bar that must be on a screen
constexpr int kTitleHeight = 24;
constexpr float kFarthest = 1e6F;  // pixels; also what "not a number" becomes

int Pixels(float twips)
{
    const float pixels = twips / kTwipsPerPixel;
    return int(std::lround(pixels > -kFarthest && pixels < kFarthest ? pixels : kFarthest));
}

bool CanBeCaught(const QRect& window, const QRect& screen)
{
    const QRect title(window.topLeft(), QSize(window.width(), kTitleHeight));
    const QRect seen = title.intersected(screen);
    return seen.width() >= std::min(kGrip, window.width()) && seen.height() >= kTitleHeight / 2 &&
           window.top() >= screen.top() - kTitleHeight / 2;
}

}  // namespace

TwipsRect ToTwips(const QRect& window)
{
    return {window.x() * kTwipsPerPixel, window.y() * kTwipsPerPixel, window.width() * kTwipsPerPixel,
            window.height() * kTwipsPerPixel};
}

QRect ToPixels(const TwipsRect& placement)
{
    return QRect(Pixels(placement.left), Pixels(placement.top), Pixels(placement.width),
                 Pixels(placement.height));
}

QRect OnScreen(const QRect& window, const QSize& smallest, const std::vector<QRect>& screens)
{
    QRect placed(window.topLeft(), window.size().expandedTo(smallest));
    if (screens.empty()) return placed;
    const auto largest = std::max_element(screens.begin(), screens.end(), [](const QRect& a, const QRect& b) {
        return a.width() * a.height() < b.width() * b.height();
    });
    placed.setSize(placed.size().boundedTo(largest->size()).expandedTo(smallest));
    if (std::any_of(screens.begin(), screens.end(), [&](const QRect& s) { return CanBeCaught(placed, s); }))
        return placed;
    const QRect& home = screens.front();
    placed.setSize(placed.size().boundedTo(home.size()).expandedTo(smallest));
    placed.moveLeft(
        std::clamp(placed.left(), home.left(), std::max(home.left(), home.right() + 1 - placed.width())));
    placed.moveTop(
        std::clamp(placed.top(), home.top(), std::max(home.top(), home.bottom() + 1 - placed.height())));
    return placed;
}
