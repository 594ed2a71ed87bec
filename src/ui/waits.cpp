#include "ui/waits.h"

#include <QCoreApplication>
#include <QEvent>
#include <QMouseEvent>
#include <QTimer>
#include <QWheelEvent>
#include <QWindow>

namespace {

bool IsUserInput(QEvent::Type type)
{
    switch (type) {
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonRelease:
        case QEvent::MouseButtonDblClick:
        case QEvent::MouseMove:
        case QEvent::Wheel:
        case QEvent::KeyPress:
        case QEvent::KeyRelease:
        case QEvent::ShortcutOverride:
        case QEvent::Shortcut:
        case QEvent::ContextMenu:
        case QEvent::InputMethod:
        case QEvent::TouchBegin:
        case QEvent::TouchUpdate:
        case QEvent::TouchEnd:
        case QEvent::TabletPress:
        case QEvent::TabletMove:
        case QEvent::TabletRelease:
        case QEvent::NativeGesture: return true;
        default: return false;
    }
}

/// What is dragged belongs to its source, which is gone by the time that a drop could be sent again.
bool IsDrag(QEvent::Type type)
{
    return type == QEvent::DragEnter || type == QEvent::DragMove || type == QEvent::Drop;
}

/// Makes the event again. Copies of pointer events share their place with the pointing device, whose next
/// event moves them all; so the place is noted now, and the event made when it is needed.
std::function<std::unique_ptr<QEvent>()> Again(const QEvent& event)
{
    if (const auto* mouse = dynamic_cast<const QMouseEvent*>(&event)) {
        return [type = mouse->type(), at = mouse->position(), scene = mouse->scenePosition(),
                global = mouse->globalPosition(), button = mouse->button(), buttons = mouse->buttons(),
                modifiers = mouse->modifiers(), source = mouse->source(), time = mouse->timestamp()] {
            auto made =
                std::make_unique<QMouseEvent>(type, at, scene, global, button, buttons, modifiers, source);
            made->setTimestamp(time);
            return made;
        };
    }
    if (const auto* wheel = dynamic_cast<const QWheelEvent*>(&event)) {
        return [at = wheel->position(), global = wheel->globalPosition(), pixels = wheel->pixelDelta(),
                angle = wheel->angleDelta(), buttons = wheel->buttons(), modifiers = wheel->modifiers(),
                phase = wheel->phase(), inverted = wheel->inverted()] {
            return std::make_unique<QWheelEvent>(at, global, pixels, angle, buttons, modifiers, phase,
                                                 inverted);
        };
    }
    return [copy = std::shared_ptr<QEvent>(event.clone())] { return std::unique_ptr<QEvent>(copy->clone()); };
}

}  // namespace

QtWaits::QtWaits(Gate& gate) : mGate(gate) {}

QtWaits::~QtWaits() = default;

void QtWaits::Pause(std::chrono::milliseconds time)
{
    QEventLoop loop;
    Run(loop, time);
}

void QtWaits::LetEventsRun()
{
    QCoreApplication::processEvents();
}

bool QtWaits::Wait(PendingAnswer& answer, std::chrono::milliseconds limit)
{
    // Shared with the waking thread, which may come after the wait has given up.
    auto loop = std::make_shared<QEventLoop>();
    answer.WhenDone([weak = std::weak_ptr(loop)] {
        if (const auto waiting = weak.lock())
            QMetaObject::invokeMethod(waiting.get(), &QEventLoop::quit, Qt::QueuedConnection);
    });
    if (!answer.Done()) Run(*loop, limit);
    return answer.Done();
}

bool QtWaits::Run(QEventLoop& loop, std::chrono::milliseconds limit)
{
    if (!mAllEnd.isForever()) limit = std::min(limit, std::chrono::milliseconds(mAllEnd.remainingTime()));
    QTimer clock;
    clock.setSingleShot(true);
    clock.setTimerType(Qt::PreciseTimer);
    connect(&clock, &QTimer::timeout, &loop, [&loop] { loop.exit(1); });

    if (mRunning.empty()) QCoreApplication::instance()->installEventFilter(this);
    mRunning.push_back({&loop, &clock, 0});
    mGate.Close();
    const int lifted = std::exchange(mLifted, 0);  // a wait inside a lifted dialog holds again
    clock.start(limit);
    const bool ended = loop.exec() == 0;
    mLifted = lifted;
    mRunning.pop_back();
    mGate.Open();
    if (mRunning.empty()) {
        QCoreApplication::instance()->removeEventFilter(this);
        SendAgain();
    }
    return ended;
}

bool QtWaits::eventFilter(QObject* target, QEvent* event)
{
    // Input arrives at windows first; what widgets send each other is left alone.
    if (mLifted > 0 || !target->isWindowType()) return false;
    if (IsDrag(event->type())) {
        event->ignore();
        return true;
    }
    if (!IsUserInput(event->type())) return false;
    event->accept();  // a ShortcutOverride so taken comes again as a key press, which is then set aside
    if (event->type() == QEvent::ShortcutOverride) return true;
    mAside.push_back({target, Again(*event)});
    return true;
}

void QtWaits::SendAgain()
{
    // Later, from the event loop: the procedure that waited goes on first.
    if (mAside.empty()) return;
    QMetaObject::invokeMethod(
        this,
        [this] {
            while (!mAside.empty() && mRunning.empty()) {
                SetAside next = std::move(mAside.front());
                mAside.pop_front();
                if (next.target) QCoreApplication::sendEvent(next.target, next.again().get());
            }
        },
        Qt::QueuedConnection);
}

QtWaits::Lift::Lift(QtWaits& waits) : mWaits(waits), mHeld(waits.mRunning.size())
{
    for (Running& running : mWaits.mRunning) {
        running.remaining = running.clock->remainingTime();
        running.clock->stop();
    }
    for (std::size_t i = 0; i < mHeld; ++i) mWaits.mGate.Open();
    ++mWaits.mLifted;
}

QtWaits::Lift::~Lift()
{
    --mWaits.mLifted;
    for (std::size_t i = 0; i < mHeld; ++i) mWaits.mGate.Close();
    for (Running& running : mWaits.mRunning) running.clock->start(std::max(running.remaining, 0));
}
