#include "ui/layout_rules.h"

#include <algorithm>

namespace {

constexpr int kStep = 10;
constexpr int kBand = 5;
constexpr int kBoardLeastWidth = 100;  // what a dragged panel leaves of the board

QRect Box(int left, int top, int width, int height)
{
    return QRect(left, top, std::max(0, width), std::max(0, height));
}

}  // namespace

Areas Arrange(const AreaSizes& s)
{
    const int width = s.interior.width(), height = s.interior.height();
    const int middle = height - s.toolHeight - s.statusHeight;
    Areas a;
    a.tool = Box(0, 0, width, s.toolHeight);
    a.status = Box(0, height - s.statusHeight, width, s.statusHeight);
    a.panel = Box(0, s.toolHeight, s.panelWidth, middle);
    a.vScroll = Box(width - s.barWidth, s.toolHeight + 2, s.barWidth, middle - 2 - s.barHeight);
    a.hScroll = Box(s.panelWidth, height - s.statusHeight - s.barHeight, width - s.barWidth - s.panelWidth,
                    s.barHeight);
    a.corner =
        Box(s.panelWidth + a.hScroll.width(), a.vScroll.top() + a.vScroll.height(), s.barWidth, s.barHeight);
    a.visible = QSize(a.hScroll.width(), std::max(0, middle - s.barHeight));
    a.boardLeft = s.panelWidth;
    return a;
}

QRect CopiedArea(const AreaSizes& s)
{
    return Box(0, s.toolHeight + 2, s.interior.width() - s.barWidth,
               s.interior.height() - s.toolHeight - s.statusHeight - s.barHeight - 2);
}

PanelControls ArrangePanel(int panelWidth, int arrowWidth)
{
    PanelControls c;
    c.chatWidth = std::max(0, panelWidth - place::txtChat.left() - 3);
    c.messageWidth = std::max(0, panelWidth - place::txtMessage.left() - place::cmdSend.width() - 6);
    c.sendLeft = place::txtMessage.left() + c.messageWidth + 3;
    c.arrowLeft = panelWidth - arrowWidth;
    return c;
}

int ChatHeight(int chatTop, int panelHeight, int height)
{
    return chatTop + 3 < panelHeight ? panelHeight - chatTop - 3 : height;
}

int NarrowestPanel()
{
    return place::frameUsers.width() + 10;
}

std::vector<int> CollapseWidths(int from, int arrowWidth)
{
    std::vector<int> widths;
    for (int w = from; w >= arrowWidth + 4; w -= kStep) widths.push_back(w);
    return widths;
}

std::vector<int> RestoreWidths(int from)
{
    std::vector<int> widths;
    for (int w = from; w <= kPanelWidth; w += kStep) widths.push_back(w);
    return widths;
}

bool OnDragBand(int x, int panelWidth)
{
    return x >= panelWidth - kBand && x <= panelWidth;
}

int DraggedWidth(int x, bool collapsed, int arrowWidth, int interiorWidth)
{
    const int least = collapsed ? arrowWidth + 4 : NarrowestPanel();
    return std::max(least, std::min(x, interiorWidth - kBoardLeastWidth));
}
