#include "whiteboard/board_view.h"

#include <QBackingStore>
#include <QDropEvent>
#include <QGuiApplication>
#include <QHelpEvent>
#include <QMenu>
#include <QMimeData>
#include <QMouseEvent>
#include <QPaintEngine>
#include <QPaintEvent>
#include <QPainter>
#include <QShortcut>
#include <cmath>
#include <stdexcept>

#include "base/error_trap.h"
#include "base/report.h"
#include "text/text_rules.h"
#include "text/words.h"
#include "whiteboard/board_controls.h"
#include "whiteboard/board_input.h"
#include "whiteboard/dropping.h"
#include "whiteboard/icons.h"
#include "whiteboard/key_cursor.h"
#include "whiteboard/own_work.h"
#include "widgets/spoken.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int kWheelNotch = 120;           // the toolkit's unit: eighths of a degree
constexpr int kWheelPixels = 96;           // of the board, each notch
constexpr int kCeasedMilliseconds = 1000;  // between two looks for pictures that have ceased

MouseButton ButtonOf(Qt::MouseButton button)
{
    return button == Qt::LeftButton ? MouseButton::Left : MouseButton::Other;
}

QRectF BandRect(const RubberBand& band, Zoom zoom)
{
    return QRectF(zoom.MiddleOf(QPointF(band.x1, band.y1)), zoom.MiddleOf(QPointF(band.x2, band.y2)))
        .normalized();
}

}  // namespace

BoardBar::BoardBar(Qt::Orientation orientation, QWidget* parent, int boardExtent)
    : QScrollBar(orientation, parent), mBoardExtent(boardExtent)
{
    SetZoom(mZoom, boardExtent);
}

void BoardBar::Wheel(int eighths)
{
    const int whole = kWheelNotch * mZoom.Percent();
    mTurned += eighths * kWheelPixels * Zoom::kOwnSize;
    setValue(value() - mTurned / whole);
    mTurned %= whole;
}

void BoardBar::SetZoom(Zoom zoom, int visible)
{
    mZoom = zoom;
    setSingleStep(int(RoundHalfEven(mBoardExtent / 10.0 / zoom.Factor())));
    setPageStep(int(RoundHalfEven(mBoardExtent / 3.0 / zoom.Factor())));
    setRange(0, zoom.LastScroll(mBoardExtent, visible));
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
      keyCursor(new KeyCursor(state, this)),
      mState(state),
      mStraight(*this, state.ports.liveScreen)
{
    setObjectName(u"picDraw"_s);
    Speak(*this, {QAccessible::Canvas, Ours::tr("Whiteboard"), Ours::tr("F7 draws by keys")});
    setFixedSize(mZoom.ViewSize());
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setAcceptDrops(true);
    HScroll = MakeBar("HScroll", Qt::Horizontal, kBoardWidth);
    VScroll = MakeBar("VScroll", Qt::Vertical, kBoardHeight);
    connect(HScroll, &QScrollBar::valueChanged, this, [this] { HScroll_Change(); });
    connect(VScroll, &QScrollBar::valueChanged, this, [this] { VScroll_Change(); });
    mBoard.TakeUnshown();  // a new widget paints itself whole
    txtText->focused = [this](bool in) {
        if (hooks.sendIsDefault) hooks.sendIsDefault(!in);
    };
    keyCursor->reveal = [this](BoardPoint at) { Reveal(at); };
    keyCursor->toView = [this](BoardPoint at) {
        return mZoom.ToView(QRegion(int(at.x), int(at.y), 1, 1)).boundingRect().center();
    };
}

BoardBar* BoardView::MakeBar(const char* name, Qt::Orientation orientation, int boardExtent)
{
    auto* bar = new BoardBar(orientation, parentWidget(), boardExtent);
    bar->setObjectName(QLatin1String(name));
    bar->setAccessibleName(orientation == Qt::Horizontal ? Ours::tr("Scroll the whiteboard sideways")
                                                         : Ours::tr("Scroll the whiteboard up and down"));
    return bar;
}

void BoardView::HScroll_Change()
{
    mRest.setX(0);
    Trapped(mState, "HScroll_Change", [&] { move(Corner().x(), y()); });
}

void BoardView::VScroll_Change()
{
    mRest.setY(0);
    Trapped(mState, "VScroll_Change", [&] { move(x(), Corner().y()); });
}

void BoardView::SetVisible(QSize visible)
{
    mVisible = visible;
    HScroll->SetZoom(mZoom, visible.width());
    VScroll->SetZoom(mZoom, visible.height());
}

/// In board pixels.
QPointF BoardView::Scrolled() const
{
    return QPointF(HScroll->value(), VScroll->value()) + mRest;
}

QPoint BoardView::Corner() const
{
    QPoint past = mZoom.ToView(Scrolled()).toPoint();
    if (!mZoom.IsOwnSize()) {  // the last board pixel may lie beyond what is visible, but no more than it
        const QSize most = (size() - mVisible).expandedTo({0, 0});
        past = QPoint(std::min(past.x(), most.width()), std::min(past.y(), most.height()));
    }
    return Origin() - past;
}

void BoardView::SetZoom(Zoom zoom)
{
    SetZoom(zoom, Origin() + QRect(QPoint(), mVisible).center());
}

void BoardView::SetZoom(Zoom zoom, QPoint fixed)
{
    if (zoom == mZoom) return;
    const QPointF beside = fixed - Origin();
    // Resized, the window may show the board elsewhere than the bars say.
    const QPointF seen =
        pos() == Corner() ? Scrolled() + mZoom.ToBoard(beside) : mZoom.ToBoard(fixed - pos());
    mStraight.Painted(QRect(QPoint(), size()));  // it will be, at another size
    mZoom = zoom;
    setFixedSize(mZoom.ViewSize());
    SetVisible(mVisible);
    const QPointF wanted = seen - mZoom.ToBoard(beside);
    const QPoint whole(int(std::floor(wanted.x())), int(std::floor(wanted.y())));
    HScroll->setValue(whole.x());
    VScroll->setValue(whole.y());
    mRest = {HScroll->value() == whole.x() ? wanted.x() - whole.x() : 0,
             VScroll->value() == whole.y() ? wanted.y() - whole.y() : 0};
    move(Corner());
    PlaceControls();
    update();
    TraceEvent(mState, "zoom", {{u"percent"_s, mZoom.Percent()}});
    if (hooks.zoomed) hooks.zoomed(mZoom.Percent());
}

/// What stands on the board goes with it.
void BoardView::PlaceControls()
{
    txtText->SetZoom(mZoom);
    MovePointer(mPointerAt);
    keyCursor->Place();
    txtText->move(ViewPointOf(mTextAt).toPoint());
    if (mBand.kind == RubberBand::Kind::Line) lineTool->Show(mBand, mZoom);
}

BoardPoint BoardView::BoardPointOf(const QPointF& view) const
{
    return ToBoard(mZoom.ToBoard(view));
}

void BoardView::Refresh()
{
    update(TakeChanged());
}

/// Behind the events that have come meanwhile, and in front of the next painting.
void BoardView::SettleSoon()
{
    if (std::exchange(mSettleAsked, true)) return;
    const auto settle = [this] {
        mSettleAsked = false;
        SettleBoard(mState);
        Refresh();
    };
    QMetaObject::invokeMethod(this, settle, Qt::QueuedConnection);
}

void BoardView::RefreshPicture(const Pixels& picture, QPoint at)
{
    if (mSeen && !mCeased.isActive()) mCeased.start(kCeasedMilliseconds, this);
    if (!mZoom.IsOwnSize()) return Refresh();
    QRegion changed = TakeChanged();
    const QRegion place =
        (changed & QRect(at, QSize(picture.width, picture.height))) - childrenRegion() - BandRegion();
    if (!place.isEmpty() && mStraight.Show(PartsOf(picture, at, place), place)) changed -= place;
    update(changed);
}

/// What the place shows of that picture, and what of the ink and others above it.
std::vector<LivePart> BoardView::PartsOf(const Pixels& picture, QPoint at, const QRegion& place)
{
    if (!mSeen) return {{picture, at, place}};
    const QRegion hidden = place & mSeen->Hidden(picture, place);
    std::vector<LivePart> parts;
    if (hidden != place) parts.push_back({picture, at, place - hidden});
    if (!hidden.isEmpty()) parts.push_back({mSeen->Laid(hidden), {0, 0}, hidden});
    return parts;
}

void BoardView::LayInkAbove(bool above)
{
    if (above == bool(mSeen)) return;
    mSeen = above ? std::make_unique<SeenBoard>(mBoard, mLive) : nullptr;
    mScaled.Outdate(QRect(0, 0, kBoardWidth, kBoardHeight));
    mCeased.stop();
    if (above) WatchCeased();
    update();
    TraceEvent(mState, "ink_above", {{u"on"_s, above}});
}

void BoardView::WatchCeased()
{
    for (const LiveSource& gone : mLive.StopCeased(std::chrono::steady_clock::now()))
        TraceEvent(mState, "live_ceased", {{u"from"_s, gone.handle}, {u"type"_s, gone.type}});
    mLive.Empty() ? mCeased.stop() : mCeased.start(kCeasedMilliseconds, this);
}

void BoardView::timerEvent(QTimerEvent*)
{
    WatchCeased();
    Refresh();
}

/// What of the board's changes can be seen, in view pixels.
QRegion BoardView::TakeChanged()
{
    const QRegion onBoard = mBoard.TakeUnshown(), live = mSeen ? mSeen->TakeChanged() : mLive.TakeChanged();
    return mZoom.ToView(mScaled.Outdate(mSeen ? live : onBoard)) & Uncovered();
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
        lineTool->Show(band, mZoom);
    else
        lineTool->hide();
}

QRegion BoardView::BandRegion() const
{
    if (mBand.kind != RubberBand::Kind::Box && mBand.kind != RubberBand::Kind::Ellipse) return {};
    const QRect outside = BandRect(mBand, mZoom).toAlignedRect().adjusted(-2, -2, 2, 2);
    if (mBand.kind == RubberBand::Kind::Ellipse) return outside;
    const QRect inside = outside.adjusted(5, 5, -5, -5);
    return QRegion(outside) - QRegion(inside);
}

QSize BoardView::PointerSize() const
{
    return QSize(kPointerSide, kPointerSide);
}

void BoardView::MovePointer(BoardPoint topLeft)
{
    mPointerAt = ToBoard({topLeft.x, topLeft.y});
    const QPointF half =
        QPointF(kPointerSide, kPointerSide) / 2;  // it points with its middle, and keeps its size
    imgSelPointer->move((mZoom.ToView(QPointF(mPointerAt.x, mPointerAt.y) + half) - half).toPoint());
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
    mTextAt = topLeft;
    txtText->move(ViewPointOf(topLeft).toPoint());
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
    const bool cursor = keyCursor->isVisible();
    keyCursor->hide();  // as little part of the picture as the mouse's
    const QRect area = hooks.copyRect ? hooks.copyRect() : interior->rect();
    const QImage picture = interior->grab(area).toImage();
    keyCursor->setVisible(cursor);
    return picture;
}

bool BoardView::event(QEvent* event)
{
    if (event->type() == QEvent::UngrabMouse) Lost();
    if (event->type() == QEvent::ToolTip && hooks.asked &&
        QGuiApplication::keyboardModifiers() == Qt::ControlModifier) {
        hooks.asked(BoardPointOf(static_cast<QHelpEvent*>(event)->pos()));
        return true;
    }
    return QWidget::event(event);
}

void BoardView::paintEvent(QPaintEvent* event)
{
    QPainter painter(this);
    const auto large = mZoom.IsOwnSize() ? ScaledBoard::Large::Smooth : ScaledBoard::Large::Squares;
    const QRegion area = mZoom.ToBoard(event->region() & rect());
    const qreal scale = devicePixelRatioF() * mZoom.Factor();
    painter.save();
    painter.scale(mZoom.Factor(), mZoom.Factor());
    mScaled.Paint(painter, ToShow(area, scale), area, scale, large);
    painter.restore();
    PaintBand(painter);
    // A copy of the window is painted the same way, but into a picture of its own.
    QBackingStore* buffer = backingStore();
    if (buffer && painter.paintEngine()->paintDevice() == buffer->paintDevice())
        mStraight.Painted(event->region());
}

/// Where it is smoothed, what lies around the area is looked at, too.
const Board& BoardView::ToShow(const QRegion& area, qreal scale)
{
    if (!mSeen) return mBoard;
    return mSeen->At(scale == 1 ? area : QRegion(0, 0, kBoardWidth, kBoardHeight));
}

void BoardView::PaintBand(QPainter& painter) const
{
    if (mBand.kind != RubberBand::Kind::Box && mBand.kind != RubberBand::Kind::Ellipse) return;
    painter.setCompositionMode(QPainter::RasterOp_NotDestination);
    painter.setPen(QPen(Qt::black, 1, Qt::DotLine, Qt::FlatCap));
    if (mBand.kind == RubberBand::Kind::Box)
        painter.drawRect(BandRect(mBand, mZoom));
    else
        painter.drawEllipse(BandRect(mBand, mZoom));
}

void BoardView::mousePressEvent(QMouseEvent* event)
{
    keyCursor->Stop();
    mPressed = event->button() == Qt::LeftButton;
    picDraw_MouseDown(mState, ButtonOf(event->button()), BoardPointOf(event->position()));
}

void BoardView::mouseMoveEvent(QMouseEvent* event)
{
    const MouseButton held = event->buttons() == Qt::LeftButton ? MouseButton::Left
                             : event->buttons() == Qt::NoButton ? MouseButton::None
                                                                : MouseButton::Other;
    if (mPressed && !(event->buttons() & Qt::LeftButton)) Lost();
    picDraw_MouseMove(mState, held, BoardPointOf(event->position()));
}

void BoardView::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton) return;
    picDraw_MouseUp(mState, BoardPointOf(event->position()));
    if (std::exchange(mPressed, false) && rect().contains(event->position().toPoint())) picDraw_Click(mState);
}

void BoardView::wheelEvent(QWheelEvent* event)
{
    if (event->modifiers() & Qt::ControlModifier) return ZoomByWheel(*event);
    const QPoint turned = event->angleDelta();
    const bool sideways = event->modifiers() & Qt::ShiftModifier;
    HScroll->Wheel(sideways ? turned.y() : turned.x());
    if (!sideways) VScroll->Wheel(turned.y());
    event->accept();
}

void BoardView::ZoomByWheel(const QWheelEvent& event)
{
    mTurned += event.angleDelta().y();
    const int steps = mTurned / kWheelNotch;
    mTurned %= kWheelNotch;
    if (steps != 0) SetZoom(mZoom.Stepped(steps), mapToParent(event.position().toPoint()));
}

void BoardView::DrawByKeys()
{
    if (hasFocus() && keyCursor->On()) return keyCursor->Stop();
    setFocus();
    keyCursor->Start(Seen());
}

/// What of the board is between the bars, in board pixels.
QRect BoardView::Seen() const
{
    const QPointF corner = mZoom.ToBoard(QPointF(Origin() - pos()));
    const QPointF size = mZoom.ToBoard(QPointF(mVisible.width(), mVisible.height()));
    return QRectF(corner, QSizeF(size.x(), size.y())).toRect();
}

void BoardView::Reveal(BoardPoint at)
{
    const int margin = int(20 / mZoom.Factor());  // what stands around the point is seen, too
    const QRect point = QRect(int(at.x), int(at.y), 1, 1).adjusted(-margin, -margin, margin, margin);
    const QRect seen = Seen();
    const QPoint over(std::max(0, point.right() - seen.right()) + std::min(0, point.left() - seen.left()),
                      std::max(0, point.bottom() - seen.bottom()) + std::min(0, point.top() - seen.top()));
    HScroll->setValue(HScroll->value() + over.x());
    VScroll->setValue(VScroll->value() + over.y());
}

void BoardView::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_F7 && event->modifiers() == Qt::NoModifier) return DrawByKeys();
    if (keyCursor->Take(*event)) return event->accept();
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
    const bool menu = event->reason() == Qt::PopupFocusReason || event->reason() == Qt::MenuBarFocusReason;
    if (menu || keyCursor->On()) Lost();
    QWidget::focusOutEvent(event);
}

void BoardView::moveEvent(QMoveEvent*)
{
    mStraight.CatchUp();
}

void BoardView::dragEnterEvent(QDragEnterEvent* event)
{
    const bool copy = event->possibleActions() & Qt::CopyAction;  // the file stays where it was
    if (!copy || !MayHoldPicture(*event->mimeData())) return event->ignore();
    event->setDropAction(Qt::CopyAction);
    event->accept();
}

void BoardView::dropEvent(QDropEvent* event)
{
    event->setDropAction(Qt::CopyAction);
    event->accept();
    picDraw_Drop(mState, *event->mimeData(), BoardPointOf(event->position()));
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

void ZoomByKeys(BoardView& board, QWidget& window)
{
    const struct {
        QKeyCombination keys;
        int steps;
    } rows[] = {{Qt::CTRL | Qt::Key_Plus, 1}, {Qt::CTRL | Qt::Key_Equal, 1}, {Qt::CTRL | Qt::Key_Minus, -1}};
    for (const auto& row : rows) {
        auto* key = new QShortcut(QKeySequence(row.keys), &window);
        QObject::connect(key, &QShortcut::activated, &board,
                         [&board, steps = row.steps] { board.SetZoom(board.CurrentZoom().Stepped(steps)); });
    }
    auto* own = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_0), &window);
    QObject::connect(own, &QShortcut::activated, &board, [&board] { board.SetZoom(Zoom()); });
}
