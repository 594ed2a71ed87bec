#pragma once
// picDraw: the widget that shows the board and turns mouse and keys into the handlers of board_input.h.
// A board pixel is one logical pixel of the screen, whatever its scale.

#include <QPointer>
#include <QScrollBar>
#include <QWidget>
#include <functional>

#include "whiteboard/board.h"
#include "whiteboard/board_screen.h"
#include "whiteboard/scaled_board.h"
#include "whiteboard/straight_pictures.h"

struct ProcessState;
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
};

/// A scroll bar whose wheel moves less than its arrows, which go a tenth of the board.
class BoardBar final : public QScrollBar {
public:
    using QScrollBar::QScrollBar;
    void Wheel(int eighths);

protected:
    void wheelEvent(QWheelEvent* event) override;
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
    QPointer<QMenu> mnuTools;
    BoardViewHooks hooks;

    void HScroll_Change();
    void VScroll_Change();
    void txtText_Change();

    Board& Image() override { return mBoard; }
    void Refresh() override;
    void RefreshPicture(const Pixels& picture, QPoint at) override;
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

private:
    void Lost();
    QRegion TakeChanged();
    QRegion Uncovered() const;
    void PaintBand(QPainter& painter) const;
    QRegion BandRegion() const;
    QPoint Origin() const { return hooks.origin ? hooks.origin() : QPoint(); }
    BoardBar* MakeBar(const char* name, Qt::Orientation orientation, int boardExtent);

    ProcessState& mState;
    Board mBoard;
    ScaledBoard mScaled;
    StraightPictures mStraight;
    RubberBand mBand;
    bool mPressed = false;  // the left button went down here
};
