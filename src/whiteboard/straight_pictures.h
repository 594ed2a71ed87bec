#pragma once
// Live pictures shown on a widget straight from their memory. The toolkit would copy each into its buffer of
// the window, and ask the display each time whether it may: a quarter of what a video costs. Its buffer is
// behind then. It catches up when the toolkit shows or moves that part, and a second after the last picture.

#include <QBasicTimer>
#include <QObject>
#include <QPointer>
#include <QRegion>
#include <QWidget>

#include "platform/live_screen.h"

class StraightPictures final : public QObject {
public:
    /// Both outlive this; without a screen nothing is shown.
    StraightPictures(QWidget& widget, LiveScreen* screen) : mWidget(widget), mScreen(screen) {}

    /// Shows `parts`, all of `place`, in pixels of the widget, which paints the same when asked. False: it
    /// could not.
    bool Show(std::vector<LivePart> parts, const QRegion& place);
    /// The widget has painted that.
    void Painted(const QRegion& region);
    /// Soon the buffer has everything. For when its pixels move with the widget.
    void CatchUp() { mWidget.update(mBehind); }

protected:
    bool eventFilter(QObject* window, QEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    QWidget& mWidget;
    LiveScreen* mScreen;
    QPointer<QWindow> mWindow;  // watched, for what other windows uncover
    QRegion mBehind;            // pixels of the widget
    QBasicTimer mQuiet;
    bool mShownSince = false;  // the timer's last time
};
