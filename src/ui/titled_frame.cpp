#include "ui/titled_frame.h"

#include <QPainter>

void TitledFrame::paintEvent(QPaintEvent*)
{
    constexpr int titleLeft = 8;
    QPainter painter(this);
    const QFontMetrics metrics = fontMetrics();
    const QRect frame = rect().adjusted(0, metrics.height() / 2, -1, -1);
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawRoundedRect(QRectF(frame).adjusted(0.5, 0.5, -0.5, -0.5), 2, 2);
    const QRect text(titleLeft, 0, metrics.horizontalAdvance(title()), metrics.height());
    painter.fillRect(text.adjusted(-3, 0, 3, 0), palette().window());
    painter.setPen(
        palette().color(isEnabled() ? QPalette::Active : QPalette::Disabled, QPalette::WindowText));
    painter.drawText(text, Qt::AlignLeft | Qt::AlignVCenter, title());
}
