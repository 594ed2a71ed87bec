#include "ui/screen_pointer.h"

#include <QCursor>
#include <QGuiApplication>

void QtScreenPointer::Set(PointerShape shape)
{
    if (shape == mShape) return;
    mShape = shape;
    if (shape == PointerShape::Busy)
        QGuiApplication::setOverrideCursor(Qt::WaitCursor);
    else
        QGuiApplication::restoreOverrideCursor();
}
