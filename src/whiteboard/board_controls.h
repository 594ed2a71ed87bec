#pragma once
// The small controls on the board: the Line tool's rubber band, the pointer image, the text box.

#include <QPlainTextEdit>
#include <QWidget>
#include <functional>

#include "whiteboard/board_screen.h"
#include "whiteboard/zoom.h"

struct ProcessState;

/// lineTool: a line between two board points. Takes no mouse.
class LineControl final : public QWidget {
public:
    explicit LineControl(QWidget* board);
    void Show(const RubberBand& line, Zoom zoom);

protected:
    void paintEvent(QPaintEvent*) override;

private:
    RubberBand mLine;
    Zoom mZoom;
};

/// imgSelPointer.
class PointerControl final : public QWidget {
public:
    PointerControl(ProcessState& state, QWidget* board);

protected:
    void paintEvent(QPaintEvent*) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    ProcessState& mState;
};

/// txtText: grows with what is typed. Enter sends, Shift+Enter breaks the line, Escape gives up.
class TextBox final : public QPlainTextEdit {
public:
    TextBox(ProcessState& state, QWidget* board);

    void SetLook(const TextLook& look);
    void SetColour(quint32 colour);
    void SetZoom(Zoom zoom);
    /// Width and height of the text, and 5 pixels each.
    void FitText();

    std::function<void(bool)> focused;

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    void SettleFont();

    ProcessState& mState;
    TextLook mLook;
    Zoom mZoom;
};
