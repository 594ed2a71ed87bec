#include "widgets/seen_frames.h"

#include <QApplication>
#include <QPainter>
#include <QStyleOption>

using namespace Qt::StringLiterals;

namespace {

const QString kToolkitsOwn = u"fusion"_s;
constexpr double kInk = 0.45;  // of the window's ink: more than 3 to 1 on it

bool IsDark(const QPalette& colours)
{
    return colours.color(QPalette::Window).lightness() < colours.color(QPalette::WindowText).lightness();
}

QColor FrameOn(const QPalette& colours)
{
    const QColor ink = colours.color(QPalette::WindowText), paper = colours.color(QPalette::Window);
    const auto mix = [](int a, int b) { return int(a * kInk + b * (1 - kInk)); };
    return QColor(mix(ink.red(), paper.red()), mix(ink.green(), paper.green()),
                  mix(ink.blue(), paper.blue()));
}

}  // namespace

void SeenFrames::PutOn()
{
    if (QApplication::style()->name() == kToolkitsOwn) QApplication::setStyle(new SeenFrames);
}

SeenFrames::SeenFrames() : QProxyStyle(kToolkitsOwn) {}

void SeenFrames::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                               const QWidget* widget) const
{
    QProxyStyle::drawPrimitive(element, option, painter, widget);
    const bool box = element == PE_IndicatorCheckBox, circle = element == PE_IndicatorRadioButton;
    const bool field = element == PE_FrameLineEdit;
    const bool marked = option->state & State_HasFocus;  // it has a frame in the colour of the focus
    if (!(box || circle || field) || marked || !IsDark(option->palette)) return;
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(FrameOn(option->palette));
    painter->setBrush(Qt::NoBrush);
    const QRectF frame = QRectF(option->rect).adjusted(0.5, 0.5, -0.5, -0.5);
    if (circle)
        painter->drawEllipse(frame);
    else
        painter->drawRoundedRect(frame, field ? 2 : 0, field ? 2 : 0);
    painter->restore();
}
