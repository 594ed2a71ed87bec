#include "ui/control_map.h"

#include <QEvent>
#include <QJsonArray>
#include <QMenu>
#include <QTimer>
#include <QWidget>

#include "base/report.h"

using namespace Qt::StringLiterals;

QJsonObject ControlPlaces(const QWidget& window)
{
    QJsonObject controls;
    const double scale = window.devicePixelRatioF();
    for (const QWidget* control : window.findChildren<QWidget*>()) {
        const QString name = control->objectName();
        if (name.isEmpty() || name.startsWith(u"qt_"_s) || !control->isVisibleTo(&window)) continue;
        const QPointF at = QPointF(control->mapToGlobal(QPoint(0, 0))) * scale;
        controls[name] = QJsonArray{int(at.x()), int(at.y()), int(control->width() * scale),
                                    int(control->height() * scale)};
    }
    return controls;
}

namespace {

class WindowTracer final : public QObject {
public:
    WindowTracer(ProcessState& state, QWidget* window) : QObject(window), mState(state), mWindow(window)
    {
        window->installEventFilter(this);
        for (QWidget* control : window->findChildren<QWidget*>()) control->installEventFilter(this);
        for (QMenu* menu : window->findChildren<QMenu*>())
            connect(menu, &QMenu::aboutToShow, this, [this] { mMenuComes = true; });
        mSettled.setSingleShot(true);
        connect(&mSettled, &QTimer::timeout, this, [this] { Moved(); });
    }

    bool eventFilter(QObject* target, QEvent* event) override
    {
        const bool own = target == mWindow;
        if (own && event->type() == QEvent::Paint && !mShown) {
            mShown = true;
            TraceEvent(mState, "dialog",
                       {{u"name"_s, mWindow->objectName()},
                        {u"title"_s, mWindow->windowTitle()},
                        {u"activates"_s, !mWindow->testAttribute(Qt::WA_ShowWithoutActivating)},
                        {u"controls"_s, ControlPlaces(*mWindow)}});
        } else if (own && event->type() == QEvent::WindowActivate) {
            TraceEvent(mState, "active", {{u"name"_s, mWindow->objectName()}});
        } else if (own && event->type() == QEvent::Hide && !event->spontaneous() && mShown) {
            mShown = false;
            TraceEvent(mState, "dialog_closed", {{u"name"_s, mWindow->objectName()}});
        } else if (event->type() == QEvent::Paint && mMenuComes && qobject_cast<QMenu*>(target)) {
            mMenuComes = false;
            TraceEvent(mState, "menu", {{u"name"_s, target->objectName()}});
        } else if (mShown && (event->type() == QEvent::Move || event->type() == QEvent::Resize ||
                              event->type() == QEvent::Show)) {
            mSettled.start(0);
        }
        return false;
    }

private:
    void Moved()
    {
        TraceEvent(mState, "controls",
                   {{u"name"_s, mWindow->objectName()}, {u"controls"_s, ControlPlaces(*mWindow)}});
    }

    ProcessState& mState;
    QWidget* mWindow;
    QTimer mSettled;
    bool mShown = false, mMenuComes = false;
};

}  // namespace

void TraceWindow(ProcessState& state, QWidget* window)
{
    if (state.ports.trace) new WindowTracer(state, window);
}
