#include "ui/activation_watch.h"

#include <QEvent>
#include <QGuiApplication>
#include <QWidget>

#include "ui/dialogs.h"

using namespace std::chrono_literals;

ActivationWatch::ActivationWatch(ProcessState& state, QWidget& window, std::function<void()> activate)
    : mState(state), mWindow(window), mActivate(std::move(activate))
{
    for (QTimer* timer : {&mNoActivation, &mAwayForLonger, &mWhenFree}) timer->setSingleShot(true);
    mNoActivation.setInterval(500ms);
    mAwayForLonger.setInterval(150ms);
    mWhenFree.setInterval(20ms);
    connect(&mNoActivation, &QTimer::timeout, this, [this] { WindowActivated(); });
    connect(&mAwayForLonger, &QTimer::timeout, this, [this] { mRule.OtherProgramInFront(); });
    connect(&mWhenFree, &QTimer::timeout, this, [this] { RunWhenFree(); });
    connect(qGuiApp, &QGuiApplication::applicationStateChanged, this,
            [this](Qt::ApplicationState now) { ProgramInFront(now == Qt::ApplicationActive); });
    window.installEventFilter(this);
}

void ActivationWatch::Shown()
{
    if (!mWhole) mNoActivation.start();
}

bool ActivationWatch::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == &mWindow && event->type() == QEvent::WindowActivate) WindowActivated();
    return false;
}

void ActivationWatch::ProgramInFront(bool inFront)
{
    if (inFront)
        mAwayForLonger.stop();
    else
        mAwayForLonger.start();
}

void ActivationWatch::WindowActivated()
{
    mNoActivation.stop();
    if (!mRule.Activated(ActivationIsOurs(mState))) return;
    // At once: the press that brought the window back comes right behind, and draws with the tool of then.
    if (mWhole)
        RunWhenFree();
    else
        mWhenFree.start(0ms);
}

void ActivationWatch::RunWhenFree()
{
    // The window holds the gate itself until it is whole; afterwards a closed gate is a wait.
    const bool waiting = mWhole && mState.ports.gate && !mState.ports.gate->IsOpen();
    if (mRunning || waiting) return mWhenFree.start(20ms);
    mRunning = true;
    mActivate();
    mRunning = false;
    mWhole = true;
}
