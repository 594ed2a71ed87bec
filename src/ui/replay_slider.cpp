#include "ui/replay_slider.h"

#include <QMouseEvent>
#include <QPainter>
#include <QStyle>
#include <QStyleOptionSlider>

#include "widgets/contrast.h"

namespace {

constexpr int kBand = 8;     // logical pixels of the authors' colours
constexpr int kBetween = 2;  // of room
constexpr int kSide = 8;     // left and right of the groove: half a handle
constexpr int kHandle = 16;

}  // namespace

ReplaySlider::ReplaySlider(QWidget* parent) : QSlider(Qt::Horizontal, parent)
{
    setObjectName(QStringLiteral("sldReplay"));
    setFocusPolicy(Qt::StrongFocus);
}

QColor ReplaySlider::ColourOf(int who) const
{
    constexpr int kGoldenAngle = 137;  // neighbours differ
    return ReadableOn(QColor::fromHsv(who * kGoldenAngle % 360, 220, 190), palette().color(QPalette::Window));
}

QSize ReplaySlider::sizeHint() const
{
    return {400, kBand + kBetween + kHandle + kBetween + fontMetrics().height()};
}

QRect ReplaySlider::Groove() const
{
    return {kSide, kBand + kBetween, std::max(1, width() - 2 * kSide), kHandle};
}

int ReplaySlider::PlaceOf(int item) const
{
    const QRect groove = Groove();
    return groove.left() + int(qint64(groove.width() - 1) * item / std::max(1, maximum()));
}

int ReplaySlider::ItemAt(int x) const
{
    const QRect groove = Groove();
    const int inside = std::clamp(x - groove.left(), 0, groove.width() - 1);
    return int((qint64(inside) * maximum() + (groove.width() - 1) / 2) / std::max(1, groove.width() - 1));
}

void ReplaySlider::PaintAuthors(QPainter& painter) const
{
    const QRect groove = Groove();
    for (int x = groove.left(); x < groove.right(); ++x) {
        // What an item does lies between the place before it and the one behind it.
        const int item = int(qint64(x - groove.left()) * maximum() / std::max(1, groove.width() - 1));
        const int who = author ? author(item) : -1;
        if (who >= 0) painter.fillRect(x, 0, 1, kBand, ColourOf(who));
    }
}

void ReplaySlider::PaintTimes(QPainter& painter) const
{
    painter.setPen(palette().color(QPalette::WindowText));
    const int top = Groove().bottom() + 1 + kBetween;
    for (int x = Groove().left(), end = -1; x <= Groove().right(); ++x) {
        const QString text = time ? time(ItemAt(x)) : QString();
        const int wide = fontMetrics().horizontalAdvance(text);
        if (text.isEmpty() || x <= end || x + wide > width()) continue;
        painter.drawText(QRect(x, top, wide + 1, fontMetrics().height()), Qt::AlignLeft, text);
        painter.drawLine(x, top - kBetween, x, top - kBetween + 3);
        end = x + 2 * wide;  // as much room as text
    }
}

void ReplaySlider::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    PaintAuthors(painter);
    PaintTimes(painter);
    const QRect groove = Groove();
    const QRect line(groove.left(), groove.center().y() - 1, groove.width(), 3);
    painter.fillRect(line, palette().color(QPalette::Mid));
    painter.fillRect(QRect(line.topLeft(), QPoint(PlaceOf(value()), line.bottom())), palette().highlight());
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(
        QPen(palette().color(hasFocus() ? QPalette::Highlight : QPalette::WindowText), hasFocus() ? 2 : 1));
    painter.setBrush(palette().button());
    painter.drawEllipse(QPointF(PlaceOf(value()) + 0.5, groove.center().y() + 0.5), kHandle / 2.0 - 2,
                        kHandle / 2.0 - 2);
}

void ReplaySlider::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton) setValue(ItemAt(event->position().toPoint().x()));
}

void ReplaySlider::mouseMoveEvent(QMouseEvent* event)
{
    if (event->buttons() & Qt::LeftButton) setValue(ItemAt(event->position().toPoint().x()));
}
