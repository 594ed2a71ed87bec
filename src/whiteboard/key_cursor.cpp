#include "whiteboard/key_cursor.h"

#include <QKeyEvent>
#include <QPainter>
#include <algorithm>
#include <optional>

#include "base/meeting_screens.h"
#include "base/process_state.h"
#include "base/report.h"
#include "text/words.h"
#include "whiteboard/board.h"
#include "whiteboard/board_input.h"
#include "widgets/spoken.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int kSide = 31;  // pixels of the view; odd: it has a middle

/// Which way an arrow goes; null: the key is none.
std::optional<QPoint> WayOf(int key)
{
    switch (key) {
        case Qt::Key_Left: return QPoint(-1, 0);
        case Qt::Key_Right: return QPoint(1, 0);
        case Qt::Key_Up: return QPoint(0, -1);
        case Qt::Key_Down: return QPoint(0, 1);
        default: return std::nullopt;
    }
}

bool IsPress(int key)
{
    return key == Qt::Key_Space || key == Qt::Key_Return || key == Qt::Key_Enter;
}

}  // namespace

KeyCursor::KeyCursor(ProcessState& state, QWidget* board) : QWidget(board), mState(state)
{
    setObjectName(u"keyCursor"_s);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    resize(kSide, kSide);
    Speak(*this, {QAccessible::Graphic, Ours::tr("Cursor on the whiteboard")});
    hide();
}

bool KeyCursor::Down() const
{
    return mOn && InAction(mState);
}

void KeyCursor::Start(const QRect& seen)
{
    if (!seen.contains(QPoint(int(mAt.x), int(mAt.y)))) {
        const QPoint middle = (seen & QRect(0, 0, kBoardWidth, kBoardHeight)).center();
        mAt = {float(middle.x()), float(middle.y())};
    }
    mOn = true;
    Place();
    raise();
    show();
    Tell(Ours::tr("Drawing by keys: arrows move, Space presses and releases, Escape leaves. %1"));
}

void KeyCursor::Stop()
{
    if (!mOn) return;
    if (Down()) LoseRelease(mState);
    mOn = false;
    hide();
    Tell(Ours::tr("Drawing by keys has ended"));
}

void KeyCursor::Place()
{
    const QPoint middle = toView ? toView(mAt) : QPoint(int(mAt.x), int(mAt.y));
    move(middle - rect().center());
    update();
}

bool KeyCursor::Take(const QKeyEvent& event)
{
    if (!mOn) return false;
    const Qt::KeyboardModifiers with = event.modifiers() & ~Qt::KeypadModifier;
    if (const auto way = WayOf(event.key())) {
        if (with == Qt::NoModifier) return Move(*way * kKeyStep), true;
        if (with == Qt::ControlModifier) return Move(*way * kKeyFineStep), true;
        if (with == Qt::ShiftModifier) return Move(*way * kKeyWideStep), true;
    }
    if (with != Qt::NoModifier) return false;
    if (IsPress(event.key())) {
        if (!event.isAutoRepeat()) PressOrRelease();
        return true;
    }
    if (event.key() != Qt::Key_Escape) return false;
    Leave();
    return true;
}

void KeyCursor::Move(QPoint by)
{
    const float x = std::clamp(mAt.x + float(by.x()), 0.f, float(kBoardWidth - 1));
    const float y = std::clamp(mAt.y + float(by.y()), 0.f, float(kBoardHeight - 1));
    if (x == mAt.x && y == mAt.y) return Tell(Ours::tr("Edge of the whiteboard. %1"));
    mAt = {x, y};
    if (Down()) picDraw_MouseMove(mState, MouseButton::Left, mAt);
    if (reveal) reveal(mAt);
    Place();
    Tell(u"%1"_s);
}

/// A tool that acts on a click has acted when this comes back; a stroke or a shape goes on to the next press.
void KeyCursor::PressOrRelease()
{
    const bool wasDown = Down();
    if (!wasDown) picDraw_MouseDown(mState, MouseButton::Left, mAt);
    if (wasDown || !Down()) {
        picDraw_MouseUp(mState, mAt);
        picDraw_Click(mState);
    }
    update();
    Tell(Down()    ? Ours::tr("Pressed at %1")
         : wasDown ? Ours::tr("Released at %1")
                   : Ours::tr("Clicked at %1"));
}

/// First what is being drawn, then the cursor.
void KeyCursor::Leave()
{
    if (!Down()) return Stop();
    LoseRelease(mState);
    update();
    Tell(Ours::tr("Given up at %1"));
}

/// `text` has a place for the position.
void KeyCursor::Tell(const QString& text)
{
    TraceEvent(mState, "cursor",
               {{u"on"_s, mOn}, {u"x"_s, int(mAt.x)}, {u"y"_s, int(mAt.y)}, {u"down"_s, Down()}});
    const QString at = u"%1, %2"_s.arg(int(mAt.x)).arg(int(mAt.y));
    Announce(*parentWidget(), text.contains(u"%1"_s) ? text.arg(at) : text);
}

/// A cross with an open middle, black in a white edge: on any ink and any paper. Pressed, it has a ring.
void KeyCursor::paintEvent(QPaintEvent*)
{
    constexpr double kGap = 4, kRing = 6;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(QRectF(rect()).center());
    const double reach = kSide / 2.0 - 1;
    for (const auto& [colour, width] : {std::pair(Qt::white, 4.0), std::pair(Qt::black, 2.0)}) {
        painter.setPen(QPen(colour, width, Qt::SolidLine, Qt::FlatCap));
        for (const QPointF& way : {QPointF(1, 0), QPointF(-1, 0), QPointF(0, 1), QPointF(0, -1)})
            painter.drawLine(way * kGap, way * reach);
        if (Down()) painter.drawEllipse(QPointF(), kRing, kRing);
    }
}
