#include "whiteboard/toolbar_boxes.h"

#include <QPainter>
#include <utility>

#include "text/words.h"
#include "whiteboard/board.h"
#include "whiteboard/whiteboard_tools.h"
#include "widgets/spoken.h"

using namespace Qt::StringLiterals;

namespace {

void Describe(QAbstractButton& box, const QString& name, const bool& bordered)
{
    box.setCheckable(false);
    box.setToolTip(name);
    Speak(box, {.role = QAccessible::RadioButton,
                .name = name,
                .checked = [&bordered] { return bordered; },
                .press = [&box] { box.click(); }});
    box.setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

/// The border of a selected box, or of the one with the focus.
void DrawBorder(QPainter& painter, const QWidget& box, bool bordered)
{
    if (bordered) {
        painter.setPen(box.palette().color(QPalette::WindowText));
        painter.drawRect(box.rect().adjusted(0, 0, -1, -1));
        painter.setPen(box.palette().color(QPalette::Base));
        painter.drawRect(box.rect().adjusted(1, 1, -2, -2));
    }
    if (box.hasFocus()) {
        painter.setPen(QPen(box.palette().color(QPalette::Highlight), 2));
        painter.drawRect(box.rect().adjusted(1, 1, -1, -1));
    }
}

}  // namespace

QString ColourName(int index)
{
    const QString names[] = {
        Ours::tr("White"),  Ours::tr("Black"),   Ours::tr("Light grey"), Ours::tr("Grey"),
        Ours::tr("Maroon"), Ours::tr("Red"),     Ours::tr("Brown"),      Ours::tr("Orange"),
        Ours::tr("Green"),  Ours::tr("Lime"),    Ours::tr("Olive"),      Ours::tr("Yellow"),
        Ours::tr("Purple"), Ours::tr("Magenta"), Ours::tr("Navy"),       Ours::tr("Blue"),
    };
    return names[index];
}

ColourBox::ColourBox(int index, QWidget* parent)
    : QAbstractButton(parent), mColour(ToRgb(kPalette[std::size_t(index)]))
{
    setObjectName(u"picSelColor_%1"_s.arg(index));
    Describe(*this, ColourName(index), mBordered);
}

void ColourBox::SetBordered(bool bordered)
{
    if (std::exchange(mBordered, bordered) == bordered) return;
    update();
    SayChecked(*this);
}

void ColourBox::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    QColor shade = palette().color(QPalette::WindowText);
    shade.setAlpha(90);
    const QColor fill = isEnabled() ? mColour : mColour.lighter(130);
    painter.setPen(shade);  // white and black boxes are boxes on any theme
    painter.setBrush(fill);
    painter.drawRect(rect().adjusted(1, 1, -2, -2));
    painter.setBrush(Qt::NoBrush);
    DrawBorder(painter, *this, mBordered);
}

WidthBox::WidthBox(int index, QWidget* parent)
    : QAbstractButton(parent), mWidth(kLineWidths[std::size_t(index)])
{
    setObjectName(u"picLineWidth_%1"_s.arg(index));
    Describe(*this, Ours::tr("Line width %1").arg(mWidth), mBordered);
}

void WidthBox::SetBordered(bool bordered)
{
    if (std::exchange(mBordered, bordered) == bordered) return;
    update();
    SayChecked(*this);
}

void WidthBox::paintEvent(QPaintEvent*)
{
    constexpr int kMargin = 4;
    QPainter painter(this);
    if (mBordered) painter.fillRect(rect(), palette().color(QPalette::Base));
    const QColor ink =
        palette().color(isEnabled() ? QPalette::Active : QPalette::Disabled, QPalette::WindowText);
    painter.fillRect(QRect(kMargin, (height() - mWidth) / 2, width() - 2 * kMargin, mWidth), ink);
    DrawBorder(painter, *this, mBordered);
}
