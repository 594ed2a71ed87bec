#include "whiteboard/straight_pictures.h"

#include <QTimerEvent>
#include <QWindow>

namespace {

constexpr int kQuietMilliseconds = 1000;

}  // namespace

bool StraightPictures::Show(std::vector<LivePart> parts, const QRegion& place)
{
    QWindow* window = mWidget.window()->windowHandle();
    if (!mScreen || !window || !window->isExposed() || mWidget.devicePixelRatioF() != 1) return false;
    const QPoint corner = mWidget.mapTo(mWidget.window(), QPoint(0, 0));
    for (LivePart& part : parts) {
        part.at += corner;
        part.area.translate(corner);
    }
    if (!mScreen->Show(window->winId(), parts)) return false;
    if (window != mWindow) {
        if (mWindow) mWindow->removeEventFilter(this);
        mWindow = window;
        window->installEventFilter(this);
    }
    mBehind += place;
    mShownSince = true;
    if (!mQuiet.isActive()) mQuiet.start(kQuietMilliseconds, this);
    return true;
}

void StraightPictures::Painted(const QRegion& region)
{
    if (!mBehind.isEmpty()) mBehind -= region;
}

bool StraightPictures::eventFilter(QObject*, QEvent* event)
{
    if (event->type() == QEvent::Expose) CatchUp();
    return false;
}

void StraightPictures::timerEvent(QTimerEvent*)
{
    if (std::exchange(mShownSince, false)) return;
    mQuiet.stop();
    CatchUp();
}
