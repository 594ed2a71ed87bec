#include "whiteboard/zoom.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "contract/picture.h"

namespace {

constexpr std::array kUsual = {Zoom::kSmallest, 50, 75, Zoom::kOwnSize, 125, 150, 200, 300, Zoom::kLargest};

QRegion Outwards(const QRegion& region, double factor)
{
    QRegion out;
    for (const QRect& rect : region) {
        const QPoint from(int(std::floor(rect.left() * factor)), int(std::floor(rect.top() * factor)));
        const QPoint to(int(std::ceil((rect.right() + 1) * factor)),
                        int(std::ceil((rect.bottom() + 1) * factor)));
        out += QRect(from, QSize(to.x() - from.x(), to.y() - from.y()));
    }
    return out;
}

}  // namespace

Zoom::Zoom(int percent) : mPercent(std::clamp(percent, kSmallest, kLargest)) {}

Zoom Zoom::Stepped(int steps) const
{
    const auto above = std::ranges::upper_bound(kUsual, mPercent);
    const auto below = std::ranges::lower_bound(kUsual, mPercent);
    const auto from = steps > 0 ? above - 1 : below;  // from between two of them, the next counts as a step
    const auto to = std::clamp<std::ptrdiff_t>(from - kUsual.begin() + steps, 0, kUsual.size() - 1);
    return Zoom(steps == 0 ? mPercent : kUsual[std::size_t(to)]);
}

QPointF Zoom::ToBoard(const QPointF& view) const
{
    return IsOwnSize() ? view : view * 100 / mPercent;
}

QPointF Zoom::MiddleOf(const QPointF& board) const
{
    const double half = (Factor() - 1) / 2;
    return ToView(board) + QPointF(half, half);
}

QRegion Zoom::ToView(const QRegion& board) const
{
    return IsOwnSize() ? board : Outwards(board, Factor());
}

QRegion Zoom::ToBoard(const QRegion& view) const
{
    return IsOwnSize() ? view : Outwards(view, 1 / Factor()) & QRect(0, 0, kBoardWidth, kBoardHeight);
}

QSize Zoom::ViewSize() const
{
    return QSize(kBoardWidth * mPercent / 100, kBoardHeight * mPercent / 100);
}

int Zoom::LastScroll(int boardExtent, int visible) const
{
    return std::max(0, boardExtent - std::max(0, visible) * 100 / mPercent);
}
