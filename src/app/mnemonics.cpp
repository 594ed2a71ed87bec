#include "app/mnemonics.h"

#include <QAbstractButton>
#include <QShortcutEvent>

bool MnemonicsAtOnce::eventFilter(QObject* target, QEvent* event)
{
    if (event->type() != QEvent::Shortcut) return false;
    auto* button = qobject_cast<QAbstractButton*>(target);
    if (!button || !button->isEnabled() || static_cast<QShortcutEvent*>(event)->isAmbiguous()) return false;
    if (button->isCheckable() && (button->focusPolicy() & Qt::ClickFocus)) button->setFocus();
    button->click();
    return true;
}
