#pragma once
// The window's placement in its normal state: kept while it is maximised or minimised, restored before the
// first show.

#include <QObject>
#include <QRect>
#include <QTimer>

#include "base/meeting_screens.h"

class QWidget;

class PlacementKeeper final : public QObject {
public:
    explicit PlacementKeeper(QWidget& window);

    /// Position of the frame, size of the client area. Where windows are not told their position (Wayland),
    /// that is the one it was restored with.
    TwipsRect Placement() const;
    /// Brings it back onto a screen when it is on none.
    void Restore(const TwipsRect& placement);
    /// The same once it is shown, when it is known how much its frame takes.
    void Fit();

    WindowState State() const;
    void SetState(WindowState state);
    /// Keeps left and top; no larger than the screen. Holds also when the desktop is still busy leaving the
    /// maximised state.
    void Resize(float widthTwips, float heightTwips);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void Settle();
    QRect Place() const;
    void Apply();
    QSize OnThisScreen(const QSize& size) const;

    QWidget& mWindow;
    const bool mHasPosition;
    QRect mNormal;
    bool mLeaving = false;         // on the way to the normal state
    bool mSizeOnceNormal = false;  // mNormal was asked for meanwhile
    bool mFitOnceSettled = true;   // after the first show, and when a screen or its panels have changed
    QTimer mSettled;               // no move, size or state for a moment: the normal state is what is seen
};
