#include "ui/typing.h"

#include <QApplication>
#include <QKeyEvent>
#include <QWidget>

bool IsTyping(const QKeyEvent& event)
{
    if (event.modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)) return false;
    switch (event.key()) {
        case Qt::Key_Tab:
        case Qt::Key_Backtab:
        case Qt::Key_Escape:
        case Qt::Key_Delete: return false;
        default: return !event.text().isEmpty();
    }
}

void ForwardTyping(QKeyEvent* event, QWidget* target)
{
    // An open menu's key is that menu's, even if it begins no entry; the menu bar passes it on.
    if (QApplication::activePopupWidget()) return event->ignore();
    // What the target itself did not want has come back up to us.
    if (target->window()->focusWidget() == target) return event->ignore();
    target->setFocus(Qt::OtherFocusReason);
    QCoreApplication::sendEvent(target, event);
    event->accept();
}
