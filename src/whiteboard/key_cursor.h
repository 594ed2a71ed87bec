#pragma once
// Drawing without a mouse: a cursor on the board that arrows move and Space presses. Hidden until it is asked
// for; what it does goes through the handlers of the mouse, so that what leaves is the same.

#include <QWidget>
#include <functional>

#include "contract/picture.h"
#include "whiteboard/records.h"

struct ProcessState;

/// Board pixels of one arrow: alone, with Ctrl, with Shift.
inline constexpr int kKeyStep = 10, kKeyFineStep = 1, kKeyWideStep = 100;

class KeyCursor final : public QWidget {
public:
    /// `board` is what the cursor is shown on. It takes no mouse.
    KeyCursor(ProcessState& state, QWidget* board);

    bool On() const { return mOn; }
    /// Shows it where it was last, or in the middle of `seen` (board pixels) if that is elsewhere.
    void Start(const QRect& seen);
    /// Hides it; what is being drawn ends as when the mouse's release is lost.
    void Stop();
    /// True: the key was the cursor's. While it is off none is.
    bool Take(const QKeyEvent& event);
    /// The board's place or size on the screen has changed.
    void Place();

    // --- by whoever shows the board
    /// The middle of a board pixel in pixels of the board's view.
    std::function<QPoint(BoardPoint)> toView;
    /// Scrolls until that board pixel can be seen.
    std::function<void(BoardPoint)> reveal;

protected:
    void paintEvent(QPaintEvent*) override;

private:
    bool Down() const;
    void Move(QPoint by);
    void PressOrRelease();
    void Leave();
    void Tell(const QString& text);

    ProcessState& mState;
    BoardPoint mAt{-1, -1};  // whole board pixels; negative: it was never shown
    bool mOn = false;
};
