#include "whiteboard/board_view.h"

#include <QBackingStore>
#include <QMenu>
#include <QMouseEvent>
#include <QPaintEngine>
#include <QPaintEvent>
#include <QPainter>
#include <cmath>
#include <stdexcept>

#include "base/error_trap.h"
#include "text/text_rules.h"
#include "whiteboard/board_controls.h"
#include "whiteboard/board_input.h"
#include "whiteboard/icons.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int kWheelNotch = 120;  // the toolkit's unit: eighths of a degree
constexpr int kWheelPixels = 96;  // of the board, each notch

MouseButton ButtonOf(Qt::MouseButton button)
{
    return button == Qt::LeftButton ? MouseButton::Left : MouseButton::Other;
}

QRectF BandRect(const RubberBand& band)
{
    return QRectF(QPointF(band.x1, band.y1), QPointF(band.x2, band.y2)).normalized();
}

}  // namespace

void BoardBar::Wheel(int eighths)
{
    setValue(value() - eighths * kWheelPixels / kWheelNotch);
}

void BoardBar::wheelEvent(QWheelEvent* event)
{
    const QPoint turned = event->angleDelta();
    Wheel(turned.y() != 0 ? turned.y() : turned.x());
    event->accept();
}

BoardView::BoardView(ProcessState& state, QWidget* parent)
    : QWidget(parent),
      HScroll(nullptr),
      VScroll(nullptr),
      lineTool(new LineControl(this)),
      imgSelPointer(new PointerControl(state, this)),
      txtText(new TextBox(state, this)),
      mState(state),
      mStraight(*this, state.ports.liveScreen)
{
    setObjectName(u"picDraw"_s);
    setAccessibleName(tr("Whiteboard"));
    setFixedSize(kBoardWidth, kBoardHeight);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    HScroll = MakeBar("HScroll", Qt::Horizontal, kBoardWidth);
    VScroll = MakeBar("VScroll", Qt::Vertical, kBoardHeight);
    connect(HScroll, &QScrollBar::valueChanged, this, [this] { HScroll_Change(); });
    connect(VScroll, &QScrollBar::valueChanged, this, [this] { VScroll_Change(); });
    mBoard.TakeUnshown();  // a new widget paints itself whole
    txtText->focused = [this](bool in) {
        if (hooks.sendIsDefault) hooks.sendIsDefault(!in);
    };
}

BoardBar* BoardView::MakeBar(const char* name, Qt::Orientation orientation, int boardExtent)
{
    auto* bar = new BoardBar(orientation, parentWidget());
    bar->setObjectName(QLatin1String(name));
    bar->setAccessibleName(orientation == Qt::Horizontal ? tr("Scroll the whiteboard sideways")
                                                         : tr("Scroll the whiteboard up and down"));
    bar->setSingleStep(int(RoundHalfEven(boardExtent / 10.0)));
    bar->setPageStep(int(RoundHalfEven(boardExtent / 3.0)));
    bar->setRange(0, 0);
    return bar;
}

void BoardView::HScroll_Change()
{
    Trapped(mState, "HScroll_Change", [&] { move(Origin().x() - HScroll->value(), y()); });
}

void BoardView::VScroll_Change()
{
    Trapped(mState, "VScroll_Change", [&] { move(x(), Origin().y() - VScroll->value()); });
}

void BoardView::Refresh()
{
    update(TakeChanged());
}

void BoardView::RefreshPicture(const Pixels& picture, QPoint at)
{
    QRegion changed = TakeChanged();
    const QRegion place =
        (changed & QRect(at, QSize(picture.width, picture.height))) - childrenRegion() - BandRegion();
    if (mStraight.Show(picture, at, place)) changed -= place;
    update(changed);
}

/// What of the board's changes can be seen.
QRegion BoardView::TakeChanged()
{
    return mScaled.Outdate(mBoard.TakeUnshown()) & Uncovered();
}

/// What no control around the board lies on. Without it each picture beneath a scroll bar would repaint the
/// bar.
QRegion BoardView::Uncovered() const
{
    QRegion seen(parentWidget()->rect() & geometry());
    for (const QObject* child : parentWidget()->children()) {
        const auto* other = qobject_cast<const QWidget*>(child);
        if (other && other != this && other->isVisible() && !other->isWindow()) seen -= other->geometry();
    }
    return seen.translated(-pos());
}

void BoardView::ShowBand(const RubberBand& band)
{
    QRegion touched = BandRegion();
    mBand = band;
    touched += BandRegion();
    update(touched);
    if (band.kind == RubberBand::Kind::Line)
        lineTool->Show(band);
    else
        lineTool->hide();
}

QRegion BoardView::BandRegion() const
{
    if (mBand.kind != RubberBand::Kind::Box && mBand.kind != RubberBand::Kind::Ellipse) return {};
    const QRect outside = BandRect(mBand).toAlignedRect().adjusted(-2, -2, 2, 2);
    if (mBand.kind == RubberBand::Kind::Ellipse) return outside;
    const QRect inside = outside.adjusted(5, 5, -5, -5);
    return QRegion(outside) - QRegion(inside);
}

QSize BoardView::PointerSize() const
{
    return imgSelPointer->size();
}

void BoardView::MovePointer(BoardPoint topLeft)
{
    const BoardPoint at = ToBoard({topLeft.x, topLeft.y});
    imgSelPointer->move(int(at.x), int(at.y));
}

void BoardView::ShowPointer(bool visible)
{
    imgSelPointer->setVisible(visible);
    if (visible) imgSelPointer->raise();
}

void BoardView::SetCursor(BoardCursor cursor, const QString& icon)
{
    switch (cursor) {
        case BoardCursor::Default: unsetCursor(); break;
        case BoardCursor::Cross: setCursor(Qt::CrossCursor); break;
        case BoardCursor::IBeam: setCursor(Qt::IBeamCursor); break;
        case BoardCursor::Icon: setCursor(ToolCursor(icon, devicePixelRatioF())); break;
        case BoardCursor::PointerImage: setCursor(PointerCursor(devicePixelRatioF())); break;
    }
}

QString BoardView::TypedText() const
{
    return txtText->toPlainText();
}

void BoardView::ClearText()
{
    txtText->clear();
}

void BoardView::HideText()
{
    if (txtText->hasFocus()) setFocus();  // not on whatever comes next in the tab order
    txtText->hide();
}

void BoardView::SetTextLook(const TextLook& look)
{
    txtText->SetLook(look);
}

void BoardView::SetTextColour(quint32 colour)
{
    txtText->SetColour(colour);
}

void BoardView::ShowTextAt(BoardPoint topLeft)
{
    txtText->move(int(topLeft.x), int(topLeft.y));
    txtText->raise();
    txtText->show();
    txtText->setFocus();
}

void BoardView::SetScroll(Bar bar, int value)
{
    QScrollBar* scroll = bar == Bar::HScroll ? HScroll : VScroll;
    if (value < scroll->minimum() || value > scroll->maximum())
        throw std::out_of_range(u"scroll value %1 is outside %2..%3"_s.arg(value)
                                    .arg(scroll->minimum())
                                    .arg(scroll->maximum())
                                    .toStdString());
    scroll->setValue(value);
}

void BoardView::ShowToolsMenu()
{
    if (mnuTools) mnuTools->popup(QCursor::pos());
}

QImage BoardView::GrabVisible()
{
    QWidget* interior = parentWidget();
    const QRect area = hooks.copyRect ? hooks.copyRect() : interior->rect();
    return interior->grab(area).toImage();
}

bool BoardView::event(QEvent* event)
{
    if (event->type() == QEvent::UngrabMouse) Lost();
    return QWidget::event(event);
}

void BoardView::paintEvent(QPaintEvent* event)
{
    QPainter painter(this);
    mScaled.Paint(painter, mBoard, event->region() & rect(), devicePixelRatioF());
    PaintBand(painter);
    // A copy of the window is painted the same way, but into a picture of its own.
    QBackingStore* buffer = backingStore();
    if (buffer && painter.paintEngine()->paintDevice() == buffer->paintDevice())
        mStraight.Painted(event->region());
}

void BoardView::PaintBand(QPainter& painter) const
{
    if (mBand.kind != RubberBand::Kind::Box && mBand.kind != RubberBand::Kind::Ellipse) return;
    painter.setCompositionMode(QPainter::RasterOp_NotDestination);
    painter.setPen(QPen(Qt::black, 1, Qt::DotLine, Qt::FlatCap));
    if (mBand.kind == RubberBand::Kind::Box)
        painter.drawRect(BandRect(mBand));
    else
        painter.drawEllipse(BandRect(mBand));
}

void BoardView::mousePressEvent(QMouseEvent* event)
{
    mPressed = event->button() == Qt::LeftButton;
    picDraw_MouseDown(mState, ButtonOf(event->button()), ToBoard(event->position()));
}

void BoardView::mouseMoveEvent(QMouseEvent* event)
{
    const MouseButton held = event->buttons() == Qt::LeftButton ? MouseButton::Left
                             : event->buttons() == Qt::NoButton ? MouseButton::None
                                                                : MouseButton::Other;
    if (mPressed && !(event->buttons() & Qt::LeftButton)) Lost();
    picDraw_MouseMove(mState, held, ToBoard(event->position()));
}

void BoardView::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton) return;
    picDraw_MouseUp(mState, ToBoard(event->position()));
    if (std::exchange(mPressed, false) && rect().contains(event->position().toPoint())) picDraw_Click(mState);
}

void BoardView::wheelEvent(QWheelEvent* event)
{
    const QPoint turned = event->angleDelta();
    const bool sideways = event->modifiers() & Qt::ShiftModifier;
    HScroll->Wheel(sideways ? turned.y() : turned.x());
    if (!sideways) VScroll->Wheel(turned.y());
    event->accept();
}

void BoardView::keyPressEvent(QKeyEvent* event)
{
    const bool command = event->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier);
    const bool character = !event->text().isEmpty() && event->key() != Qt::Key_Escape && !command;
    if (character && hooks.typed) {
        hooks.typed(event);
        return event->accept();
    }
    switch (event->key()) {
        case Qt::Key_Left: HScroll->triggerAction(QScrollBar::SliderSingleStepSub); break;
        case Qt::Key_Right: HScroll->triggerAction(QScrollBar::SliderSingleStepAdd); break;
        case Qt::Key_Up: VScroll->triggerAction(QScrollBar::SliderSingleStepSub); break;
        case Qt::Key_Down: VScroll->triggerAction(QScrollBar::SliderSingleStepAdd); break;
        default: event->ignore();
    }
}

void BoardView::focusOutEvent(QFocusEvent* event)
{
    // A menu opened by its key in mid-stroke takes the release.
    if (event->reason() == Qt::PopupFocusReason || event->reason() == Qt::MenuBarFocusReason) Lost();
    QWidget::focusOutEvent(event);
}

void BoardView::moveEvent(QMoveEvent*)
{
    mStraight.CatchUp();
}

void BoardView::hideEvent(QHideEvent*)
{
    Lost();
}

void BoardView::Lost()
{
    mPressed = false;
    if (mState.gMeetingForm) LoseRelease(mState);  // none while the window is being made or has gone
}
