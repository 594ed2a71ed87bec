#include "whiteboard/board_controls.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QtMath>
#include <algorithm>

#include "text/words.h"
#include "whiteboard/board.h"
#include "whiteboard/board_fonts.h"
#include "whiteboard/board_input.h"
#include "whiteboard/icons.h"
#include "widgets/contrast.h"
#include "widgets/spoken.h"

using namespace Qt::StringLiterals;

LineControl::LineControl(QWidget* board) : QWidget(board)
{
    setObjectName(u"lineTool"_s);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    hide();
}

void LineControl::Show(const RubberBand& line, Zoom zoom)
{
    mLine = line;
    mZoom = zoom;
    const int margin = int(line.width * zoom.Factor()) / 2 + 2;
    const QRectF ends =
        QRectF(zoom.MiddleOf(QPointF(line.x1, line.y1)), zoom.MiddleOf(QPointF(line.x2, line.y2)))
            .normalized();
    setGeometry(ends.toAlignedRect().adjusted(-margin, -margin, margin, margin));
    update();
    show();
}

void LineControl::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.translate(-pos());
    const double width = std::max(1.0, DrawnWidth(mLine.width) * mZoom.Factor());
    painter.setPen(QPen(QColor(ToRgb(mLine.colour)), width, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(mZoom.MiddleOf(QPointF(mLine.x1, mLine.y1)),
                     mZoom.MiddleOf(QPointF(mLine.x2, mLine.y2)));
}

PointerControl::PointerControl(ProcessState& state, QWidget* board) : QWidget(board), mState(state)
{
    setObjectName(u"imgSelPointer"_s);
    Speak(*this, {QAccessible::Graphic, Ours::tr("Pointer on the whiteboard")});
    setFixedSize(kPointerSide, kPointerSide);
    setMouseTracking(true);
    hide();
}

void PointerControl::paintEvent(QPaintEvent*)
{
    QPainter(this).drawPixmap(0, 0, PointerPixmap(devicePixelRatioF()));
}

void PointerControl::mousePressEvent(QMouseEvent* event)
{
    const bool left = event->button() == Qt::LeftButton;
    imgSelPointer_MouseDown(mState, left ? MouseButton::Left : MouseButton::Other,
                            ToBoard(event->position()));
}

void PointerControl::mouseMoveEvent(QMouseEvent*)
{
    imgSelPointer_MouseMove(mState);
}

void PointerControl::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton) imgSelPointer_MouseUp(mState);
}

TextBox::TextBox(ProcessState& state, QWidget* board) : QPlainTextEdit(board), mState(state)
{
    setObjectName(u"txtText"_s);
    setAccessibleName(Ours::tr("Text for the whiteboard"));
    setFrameStyle(QFrame::Box | QFrame::Plain);
    document()->setDocumentMargin(0);
    setViewportMargins(0, 0, 0, 0);
    setLineWrapMode(QPlainTextEdit::NoWrap);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setTabChangesFocus(true);
    QObject::connect(this, &QPlainTextEdit::textChanged, this, [this] { FitText(); });
    SetColour(0);
    hide();
}

void TextBox::SetLook(const TextLook& look)
{
    mLook = look;
    SettleFont();
}

void TextBox::SetZoom(Zoom zoom)
{
    mZoom = zoom;
    SettleFont();
}

void TextBox::SettleFont()
{
    constexpr double kReadable = 6;  // points: no smaller because of the zoom
    QFont font = BoardFont(mLook);
    const double points = font.pointSizeF();
    font.setPointSizeF(std::max(points * mZoom.Factor(), std::min(points, kReadable)) * 96 /
                       logicalDpiY());  // as large as on the board
    setFont(font);
    FitText();
}

void TextBox::SetColour(quint32 colour)
{
    QPalette colours;
    colours.setColor(QPalette::Text, QColor(ToRgb(colour)));
    // On the board's white, or where nobody could read that while typing, on dark.
    constexpr double kFaint = 3;
    const bool faint = Contrast(QColor(ToRgb(colour)), Qt::white) < kFaint;
    colours.setColor(QPalette::Base, faint ? QColor(0x30, 0x30, 0x30) : QColor(Qt::white));
    colours.setColor(QPalette::WindowText, QColor(0x80, 0x80, 0x80));
    setPalette(colours);
}

void TextBox::FitText()
{
    constexpr int kRoom = 5;
    const QFontMetricsF metrics(font());
    const QStringList lines = toPlainText().split(u'\n');
    double width = 0;
    for (const QString& line : lines) width = std::max(width, metrics.horizontalAdvance(line));
    resize(qCeil(width) + kRoom, qCeil(metrics.lineSpacing() * double(lines.size())) + kRoom);
}

void TextBox::keyPressEvent(QKeyEvent* event)
{
    const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    const bool shift = event->modifiers() & Qt::ShiftModifier;
    if (event->key() == Qt::Key_Escape) {
        txtText_KeyDown(mState, TextKey::Escape);
        return event->accept();
    }
    if (!enter) return QPlainTextEdit::keyPressEvent(event);
    event->accept();
    if (!shift && event->isAutoRepeat()) return;
    if (shift || !txtText_KeyDown(mState, TextKey::Enter)) insertPlainText(u"\n"_s);
}

void TextBox::focusInEvent(QFocusEvent* event)
{
    QPlainTextEdit::focusInEvent(event);
    if (focused) focused(true);
}

void TextBox::focusOutEvent(QFocusEvent* event)
{
    QPlainTextEdit::focusOutEvent(event);
    if (focused) focused(false);
}
