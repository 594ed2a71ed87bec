#include "ui/arrow_button.h"

#include <QPainter>
#include <QStyleOptionFocusRect>

#include "text/words.h"

ArrowButton::ArrowButton(QWidget* parent) : QAbstractButton(parent)
{
    setFocusPolicy(Qt::TabFocus);
    setAttribute(Qt::WA_Hover);
    ShowCollapsed(false);
}

void ArrowButton::ShowCollapsed(bool collapsed)
{
    mCollapsed = collapsed;
    setToolTip(collapsed ? Defined::tr("Restore chat bar") : Defined::tr("Hide chat bar"));
    setAccessibleName(toolTip());
    update();
}

void ArrowButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), palette().window());  // a collapsed panel, dragged wide, has the preview beneath
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF box = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    if (underMouse() || hasFocus()) {
        painter.setPen(palette().color(hasFocus() ? QPalette::Highlight : QPalette::Mid));
        painter.setBrush(palette().color(isDown() ? QPalette::Mid : QPalette::Midlight));
        painter.drawRoundedRect(box, 2, 2);
    }
    const qreal tip = mCollapsed ? 10.5 : 5.5, back = mCollapsed ? 5.5 : 10.5;
    const QPolygonF arrow({QPointF(tip, 8), QPointF(back, 3.5), QPointF(back, 12.5)});
    painter.setPen(Qt::NoPen);
    painter.setBrush(palette().color(QPalette::ButtonText));
    painter.drawPolygon(arrow);
}
