#include "ui/placement_keeper.h"

#include <QEvent>
#include <QGuiApplication>
#include <QScreen>
#include <QWidget>
#include <QWindow>

#include "ui/placement.h"
#include "ui/work_areas.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

bool WindowsHavePositions()
{
    return !QGuiApplication::platformName().startsWith(u"wayland"_s);
}

bool IsNormal(const QWidget& window)
{
    return !(window.windowState() & (Qt::WindowMinimized | Qt::WindowMaximized | Qt::WindowFullScreen));
}

/// None before the window manager has framed it.
QMargins FrameOf(const QWidget& window)
{
    return window.windowHandle() ? window.windowHandle()->frameMargins() : QMargins();
}

}  // namespace

PlacementKeeper::PlacementKeeper(QWidget& window)
    : mWindow(window), mHasPosition(WindowsHavePositions()), mNormal(window.pos(), window.size())
{
    // A window that is being maximised is moved and sized before its state says so.
    mSettled.setSingleShot(true);
    mSettled.setInterval(200ms);
    connect(&mSettled, &QTimer::timeout, this, [this] { Settle(); });
    window.installEventFilter(this);
    const auto watch = [this](QScreen* screen) {
        connect(screen, &QScreen::availableGeometryChanged, this, [this] {
            mFitOnceSettled = true;
            mSettled.start();
        });
    };
    for (QScreen* screen : QGuiApplication::screens()) watch(screen);
    connect(qGuiApp, &QGuiApplication::screenAdded, this, watch);
}

QRect PlacementKeeper::Place() const
{
    return QRect(mHasPosition ? mWindow.pos() : mNormal.topLeft(), mWindow.size());
}

TwipsRect PlacementKeeper::Placement() const
{
    const bool maximising =
        mSettled.isActive() && mWindow.width() >= mWindow.screen()->availableSize().width();
    return ToTwips(IsNormal(mWindow) && !maximising && !mLeaving ? Place() : mNormal);
}

void PlacementKeeper::Restore(const TwipsRect& placement)
{
    const QRect asked = ToPixels(placement);
    mNormal = OnScreen(asked, mWindow.minimumSize(), WorkAreas(FrameOf(mWindow)));
    if (!mHasPosition) mNormal.moveTopLeft(asked.topLeft());  // for a desktop that has them
    Apply();
}

void PlacementKeeper::Fit()
{
    if (!mHasPosition || !IsNormal(mWindow)) return;
    const QRect fitting = OnScreen(Place(), mWindow.minimumSize(), WorkAreas(FrameOf(mWindow)));
    if (fitting == Place()) return;
    mNormal = fitting;
    Apply();
}

void PlacementKeeper::Apply()
{
    mWindow.resize(mNormal.size());
    if (mHasPosition) mWindow.move(mNormal.topLeft());
}

WindowState PlacementKeeper::State() const
{
    if (mWindow.windowState() & Qt::WindowMinimized) return WindowState::Minimised;
    return IsNormal(mWindow) ? WindowState::Normal : WindowState::Maximised;
}

void PlacementKeeper::SetState(WindowState state)
{
    constexpr Qt::WindowStates all = Qt::WindowMinimized | Qt::WindowMaximized | Qt::WindowFullScreen;
    const Qt::WindowStates rest = mWindow.windowState() & ~all;
    if (state == WindowState::Normal && !IsNormal(mWindow)) mLeaving = true;
    switch (state) {
        case WindowState::Normal: mWindow.setWindowState(rest); break;
        case WindowState::Minimised: mWindow.setWindowState(rest | Qt::WindowMinimized); break;
        case WindowState::Maximised: mWindow.setWindowState(rest | Qt::WindowMaximized); break;
    }
}

void PlacementKeeper::Resize(float widthTwips, float heightTwips)
{
    const QSize size = OnThisScreen(ToPixels({0, 0, widthTwips, heightTwips}).size());
    if (!mLeaving) return mWindow.resize(size);
    mNormal.setSize(size);
    mSizeOnceNormal = true;
    mSettled.start();
}

QSize PlacementKeeper::OnThisScreen(const QSize& size) const
{
    const QSize frame = mWindow.frameGeometry().size() - mWindow.size();
    return size.boundedTo(mWindow.screen()->availableSize() - frame).expandedTo(mWindow.minimumSize());
}

bool PlacementKeeper::eventFilter(QObject* watched, QEvent* event)
{
    const bool changes = event->type() == QEvent::Move || event->type() == QEvent::Resize ||
                         event->type() == QEvent::WindowStateChange;
    if (watched == &mWindow && changes) mSettled.start();
    return false;
}

void PlacementKeeper::Settle()
{
    if (!IsNormal(mWindow)) return;
    mLeaving = false;
    if (std::exchange(mFitOnceSettled, false)) Fit();
    if (std::exchange(mSizeOnceNormal, false))
        Apply();
    else
        mNormal = Place();
}
