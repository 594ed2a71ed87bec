#pragma once
// picDraw: the widget that shows the board and turns mouse and keys into the handlers of board_input.h.
// A board pixel is one logical pixel of the screen, whatever its scale, until the user zooms.

#include <QPointer>
#include <QScrollBar>
#include <QWidget>
#include <functional>

#include "whiteboard/board.h"
#include "whiteboard/board_screen.h"
#include "whiteboard/live_pictures.h"
#include "whiteboard/scaled_board.h"
#include "whiteboard/seen_board.h"
#include "whiteboard/straight_pictures.h"
#include "whiteboard/zoom.h"

struct ProcessState;
class KeyCursor;
class LineControl;
class PointerControl;
class TextBox;
class QMenu;

/// What the board's view asks of the window around it. Empty ones do nothing.
struct BoardViewHooks {
    /// Width of the left panel and height of the toolbar: where the board's corner is while nothing is
    /// scrolled.
    std::function<QPoint()> origin;
    /// A character was typed over the board: the message box gets it, and the focus.
    std::function<void(QKeyEvent*)> typed;
    /// Whether Enter sends the chat line.
    std::function<void(bool)> sendIsDefault;
    /// What "Copy to Clipboard" takes, in pixels of the window's interior.
    std::function<QRect()> copyRect;
    /// The mouse rests there, with Ctrl held.
    std::function<void(BoardPoint)> asked;
    /// The board is shown larger or smaller.
    std::function<void(int percent)> zoomed;
};

/// A scroll bar whose wheel moves less than its arrows, which go a tenth of the board.
class BoardBar final : public QScrollBar {
public:
    BoardBar(Qt::Orientation orientation, QWidget* parent, int boardExtent);
    void Wheel(int eighths);
    /// Values are board pixels; steps and the wheel go as far on the screen at any zoom.
    void SetZoom(Zoom zoom, int visible);

protected:
    void wheelEvent(QWheelEvent* event) override;

private:
    int mBoardExtent;
    Zoom mZoom;
    int mTurned = 0;  // of the wheel, not yet a board pixel
};

class BoardView final : public QWidget, public BoardScreen {
public:
    /// `parent` is the window's interior: the scroll bars become its children too.
    BoardView(ProcessState& state, QWidget* parent);

    BoardBar* HScroll;
    BoardBar* VScroll;
    LineControl* lineTool;
    PointerControl* imgSelPointer;
    TextBox* txtText;
    KeyCursor* keyCursor;
    QPointer<QMenu> mnuTools;
    BoardViewHooks hooks;

    void HScroll_Change();
    void VScroll_Change();
    /// Gives the board the focus and its cursor for the keys, or takes the cursor away again.
    void DrawByKeys();

    /// How much of the board can be seen, in view pixels: from it follow the scroll bars' ranges.
    void SetVisible(QSize visible);
    /// Where the board's top left corner is now, in pixels of the window's interior.
    QPoint Corner() const;
    Zoom CurrentZoom() const { return mZoom; }
    /// Zooms so that the board pixel at `fixed`, in pixels of the window's interior, stays there.
    void SetZoom(Zoom zoom, QPoint fixed);
    /// The same about the middle of what is visible.
    void SetZoom(Zoom zoom);

    Board& Image() override { return mBoard; }
    void Refresh() override;
    void RefreshPicture(const Pixels& picture, QPoint at) override;
    LivePictures& Live() override { return mLive; }
    void LayInkAbove(bool above) override;
    void SettleSoon() override;
    void ShowBand(const RubberBand& band) override;
    QSize PointerSize() const override;
    void MovePointer(BoardPoint topLeft) override;
    void ShowPointer(bool visible) override;
    void SetCursor(BoardCursor cursor, const QString& icon = {}) override;
    QString TypedText() const override;
    void ClearText() override;
    void HideText() override;
    void SetTextLook(const TextLook& look) override;
    void SetTextColour(quint32 colour) override;
    void ShowTextAt(BoardPoint topLeft) override;
    void SetScroll(Bar bar, int value) override;
    void ShowToolsMenu() override;
    QImage GrabVisible() override;

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override { mousePressEvent(event); }
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void moveEvent(QMoveEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    void Lost();
    QRect Seen() const;
    void Reveal(BoardPoint at);
    QRegion TakeChanged();
    std::vector<LivePart> PartsOf(const Pixels& picture, QPoint at, const QRegion& place);
    const Board& ToShow(const QRegion& area, qreal scale);
    void WatchCeased();
    QRegion Uncovered() const;
    void PaintBand(QPainter& painter) const;
    QRegion BandRegion() const;
    BoardPoint BoardPointOf(const QPointF& view) const;
    QPointF ViewPointOf(BoardPoint at) const { return mZoom.ToView(QPointF(at.x, at.y)); }
    QPointF Scrolled() const;
    void PlaceControls();
    void ZoomByWheel(const QWheelEvent& event);
    QPoint Origin() const { return hooks.origin ? hooks.origin() : QPoint(); }
    BoardBar* MakeBar(const char* name, Qt::Orientation orientation, int boardExtent);

    ProcessState& mState;
    Board mBoard;
    LivePictures mLive;
    std::unique_ptr<SeenBoard> mSeen;  // while ink lies above them
    QBasicTimer mCeased;
    ScaledBoard mScaled;
    StraightPictures mStraight;
    RubberBand mBand;
    bool mSettleAsked = false;
    bool mPressed = false;  // the left button went down here

    Zoom mZoom;
    QSize mVisible;   // view pixels
    QPointF mRest;    // of a board pixel, scrolled beyond the bars' values: so that zooming keeps its place
    int mTurned = 0;  // of the wheel, not yet a step of the zoom
    BoardPoint mPointerAt, mTextAt;
};

/// Ctrl with + and -, and Ctrl+0, wherever the keys go in `window`.
void ZoomByKeys(BoardView& board, QWidget& window);
