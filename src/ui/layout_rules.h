#pragma once
// Where the meeting window's areas go: numbers in, rectangles out. Pixels of the window's interior, which
// begins below the menu bar. Pure.

#include <QRect>
#include <QSize>
#include <vector>

inline constexpr int kPanelWidth = 220;            // design width of picMain
inline constexpr QSize kSmallestWindow(680, 133);  // 10200 x 2000 twips
inline constexpr QSize kFirstWindow(1100, 700);    // before a placement was ever saved

inline constexpr int kBarExtent = 17;  // VScroll's width, HScroll's height; picCorner is a square

/// The sizes that others decide.
struct AreaSizes {
    QSize interior;
    int toolHeight = 0, statusHeight = 0;
    int panelWidth = kPanelWidth;
    int barWidth = kBarExtent, barHeight = kBarExtent;  // of VScroll and HScroll
};

struct Areas {
    QRect tool, status, panel;
    QRect vScroll, hScroll, corner;
    QSize visible;  // of the board
    int boardLeft = 0;
};

/// Never a negative size, however small the interior.
Areas Arrange(const AreaSizes& sizes);

/// What "Copy to Clipboard" takes of the interior: from its left edge to the vertical scroll bar.
QRect CopiedArea(const AreaSizes& sizes);

// --- the left panel ---

/// The controls of the open panel that follow its width.
struct PanelControls {
    int chatWidth = 0, messageWidth = 0, sendLeft = 0, arrowLeft = 0;
};
PanelControls ArrangePanel(int panelWidth, int arrowWidth);
/// The chat box fills the panel down to 3 pixels from the bottom; `height` stays when there is no room.
int ChatHeight(int chatTop, int panelHeight, int height);
/// The attendee frame and 10 pixels: an open panel never gets narrower.
int NarrowestPanel();

/// The widths that a collapse or a restore visits, ten pixels apart; each is one visible frame.
std::vector<int> CollapseWidths(int from, int arrowWidth);
std::vector<int> RestoreWidths(int from);

/// Whether the pointer is on the panel's right border.
bool OnDragBand(int x, int panelWidth);
/// The width that dragging the border to x gives.
int DraggedWidth(int x, bool collapsed, int arrowWidth, int interiorWidth);

// --- design places inside the panel: left, top, width, height ---
namespace place {

inline constexpr QRect picVideo(3, 3, 130, 102);
inline constexpr QRect chkTalk(140, 2, 51, 16);
inline constexpr QRect cmdFormat(139, 20, 69, 20);
inline constexpr QRect labelQuality(142, 41, 62, 14);
inline constexpr QRect sldJPEG(131, 54, 81, 19);
inline constexpr QRect labelRate(144, 74, 56, 14);
inline constexpr QRect sldFPS(131, 86, 81, 19);
inline constexpr int Line1Top = 110;
inline constexpr QRect frameUsers(5, 117, 208, 118);
inline constexpr QRect lstUsers(7, 16, 193, 97);  // inside frameUsers
inline constexpr QRect txtMessage(1, 243, 163, 48);
inline constexpr QRect cmdSend(165, 243, 47, 22);
inline constexpr QRect cmdWhisper(165, 268, 47, 22);
inline constexpr QRect txtChat(1, 292, 212, 197);
inline constexpr QRect picHide(204, 2, 16, 16);  // the only height at which nothing else reaches the edge

}  // namespace place
