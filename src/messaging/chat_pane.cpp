#include "messaging/chat_pane.h"

#include <QHelpEvent>
#include <QKeyEvent>
#include <QMimeData>
#include <QPainter>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextLayout>
#include <QTimer>
#include <QToolTip>
#include <chrono>
#include <limits>

#include "text/text_rules.h"
#include "widgets/contrast.h"

using namespace Qt::StringLiterals;

namespace {

constexpr qreal kHangingIndent = 14;  // pixels; where a line goes on in a further row
constexpr int kSign = 9;              // pixels; of a sign behind a line
constexpr int kSignGap = 4;
constexpr std::chrono::seconds kPatience{
    1};  // accepted lines, a few hundredths of a second old, show no sign

/// The characters as they stand; QTextDocument's plain text would turn no-break spaces into blanks.
QString TextOf(const QTextDocument& document)
{
    QString text = document.toRawText();
    return text.replace(QChar(QChar::ParagraphSeparator), u"\r\n"_s);
}

QColor FromBgr(quint32 bgr)
{
    return QColor(bgr & 0xFF, bgr >> 8 & 0xFF, bgr >> 16 & 0xFF);
}

/// A clock while the line waits, a crossed ring once it is lost.
void PaintSign(QPainter& painter, const QRect& place, bool lost, QColor ink)
{
    constexpr int kQuiet = 150;  // alpha
    ink.setAlpha(kQuiet);
    const QRectF ring = QRectF(place).adjusted(0.5, 0.5, -0.5, -0.5);
    const QPointF centre = ring.center();
    painter.setPen(QPen(lost ? ReadableOn(Qt::red, painter.background().color()) : ink, lost ? 1.5 : 1));
    painter.drawEllipse(ring);
    if (lost) {
        const qreal reach = ring.width() / 2 * M_SQRT1_2;
        painter.drawLine(centre + QPointF(-reach, reach), centre + QPointF(reach, -reach));
    } else {
        painter.drawPolyline(QPolygonF({centre - QPointF(0, 3), centre, centre + QPointF(2.5, 0)}));
    }
}

}  // namespace

ChatBox::ChatBox(QWidget* parent) : QTextEdit(parent)
{
    setReadOnly(true);
    setUndoRedoEnabled(false);
    setAcceptRichText(false);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);  // no second layout when the first bar appears
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    mParagraph.setLeftMargin(kHangingIndent);
    mParagraph.setTextIndent(-kHangingIndent);
    mParagraph.setLayoutDirection(Qt::LeftToRight);
    mOwnParagraph = mParagraph;
    mOwnParagraph.setRightMargin(kSign + kSignGap);
}

void ChatBox::Append(const ShownLine& line)
{
    QTextCharFormat colour;
    colour.setForeground(FromBgr(line.colour));
    QTextCursor end(document());
    end.movePosition(QTextCursor::End);
    const QTextBlockFormat& paragraph = line.colour == kOwnLineColour ? mOwnParagraph : mParagraph;
    end.beginEditBlock();
    if (mEmpty)
        end.setBlockFormat(paragraph);
    else
        end.insertBlock(paragraph, colour);
    end.insertText(line.text, colour);
    end.endEditBlock();
    mEmpty = false;
    Shade(end.block());
    Forget(LinesToDrop(document()->blockCount(), document()->characterCount()));
    ShowEnd();
}

// A caret at the end has moved along with it; setting it for each line costs a quarter of everything.
void ChatBox::ShowEnd()
{
    const QTextCursor caret = textCursor();
    if (caret.hasSelection() || !caret.atEnd()) moveCursor(QTextCursor::End);
    verticalScrollBar()->setValue(verticalScrollBar()->maximum());
}

void ChatBox::Forget(int lines)
{
    if (lines <= 0) return;
    QTextCursor top(document());
    top.setPosition(document()->findBlockByNumber(lines).position(), QTextCursor::KeepAnchor);
    top.removeSelectedText();
    mForgotten += lines;
    mOpen.Forget(mForgotten);
}

/// Paints the line in a shade of its colour that can be read on this paper; the text's own stays.
void ChatBox::Shade(const QTextBlock& line)
{
    const QColor colour = line.begin().fragment().charFormat().foreground().color();
    const QColor shade = ReadableOn(colour, palette().color(QPalette::Base));
    if (shade == colour && line.layout()->formats().isEmpty()) return;
    QTextLayout::FormatRange whole;
    whole.start = 0;
    whole.length = line.length();
    whole.format.setForeground(shade);
    line.layout()->setFormats({whole});
    document()->markContentsDirty(line.position(), line.length());
}

void ChatBox::changeEvent(QEvent* event)
{
    QTextEdit::changeEvent(event);
    if (event->type() != QEvent::PaletteChange || mEmpty) return;
    for (QTextBlock line = document()->begin(); line.isValid(); line = line.next()) Shade(line);
}

void ChatBox::AwaitAcceptance(quint64 after, quint64 upTo)
{
    mOpen.Add({after, upTo, mForgotten + document()->blockCount() - 1});
    if (!mConnected) return UpdateIf(mOpen.Show(upTo));
    QTimer::singleShot(kPatience, this, [this, upTo] { UpdateIf(mOpen.Show(upTo)); });
}

void ChatBox::Accepted(quint64 upTo)
{
    UpdateIf(mOpen.Accept(upTo));
}

void ChatBox::Lost(quint64 number)
{
    UpdateIf(mOpen.Lose(number));
}

void ChatBox::SetConnected(bool connected)
{
    mConnected = connected;
    if (!connected) UpdateIf(mOpen.Show(std::numeric_limits<quint64>::max()));
}

void ChatBox::UpdateIf(bool changed)
{
    if (changed) viewport()->update();
}

QRect ChatBox::PlaceOf(const OpenLine& line) const
{
    const QTextBlock block = document()->findBlockByNumber(int(line.at - mForgotten));
    if (!line.shown || !block.isValid() || block.layout()->lineCount() == 0) return {};
    const QTextLine row = block.layout()->lineAt(block.layout()->lineCount() - 1);
    const QRectF text = row.naturalTextRect().translated(block.layout()->position());
    const QPoint behind(int(text.right()) + kSignGap, int(text.center().y()) - kSign / 2);
    return QRect(behind - QPoint(horizontalScrollBar()->value(), verticalScrollBar()->value()),
                 QSize(kSign, kSign));
}

QList<QRect> ChatBox::Signs() const
{
    QList<QRect> places;
    for (const OpenLine& line : mOpen.All())
        if (const QRect place = PlaceOf(line); !place.isNull()) places += place;
    return places;
}

QString ChatBox::SignText(QPoint at) const
{
    for (const OpenLine& line : mOpen.All())
        if (PlaceOf(line).contains(at))
            return line.lost ? u"Not delivered"_s : u"Not sent yet: it goes out with the connection"_s;
    return QString();
}

void ChatBox::paintEvent(QPaintEvent* event)
{
    QTextEdit::paintEvent(event);
    if (mOpen.All().empty()) return;
    QPainter painter(viewport());
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBackground(palette().base());
    for (const OpenLine& line : mOpen.All())
        if (const QRect place = PlaceOf(line); place.intersects(event->rect()))
            PaintSign(painter, place, line.lost, palette().color(QPalette::Text));
}

bool ChatBox::viewportEvent(QEvent* event)
{
    if (event->type() == QEvent::ToolTip) {
        const auto* help = static_cast<QHelpEvent*>(event);
        if (const QString text = SignText(help->pos()); !text.isEmpty()) {
            QToolTip::showText(help->globalPos(), text, viewport());
            return true;
        }
    }
    return QTextEdit::viewportEvent(event);
}

QString ChatBox::Conversation() const
{
    return WithoutIsolates(TextOf(*document()));
}

MessageBox::MessageBox(QWidget* parent) : QTextEdit(parent)
{
    setAcceptRichText(false);
    setTabChangesFocus(true);
    setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    connect(document(), &QTextDocument::contentsChange, this,
            [this](int from, int, int added) { mPieceEnd = from + added; });
    connect(this, &QTextEdit::textChanged, this, &MessageBox::KeepLimit);
}

QString MessageBox::Text() const
{
    QString text = WholeCharacters(TextOf(*document()));
    return text.replace(QChar(QChar::LineSeparator), u"\r\n"_s);
}

void MessageBox::SetText(const QString& text)
{
    if (text == Text()) return;
    setPlainText(text);
    moveCursor(QTextCursor::End);
}

void MessageBox::keyPressEvent(QKeyEvent* event)
{
    if (event->key() != Qt::Key_Return && event->key() != Qt::Key_Enter)
        return QTextEdit::keyPressEvent(event);
    event->accept();
    if (!event->isAutoRepeat() && onEnter) onEnter();
}

void MessageBox::insertFromMimeData(const QMimeData* source)
{
    if (source->hasText()) insertPlainText(source->text());
}

void MessageBox::KeepLimit()
{
    if (mKeeping) return;
    const QString text = toPlainText();  // one unit for each position of the document
    const int end = std::min<int>(mPieceEnd, int(text.size()));
    const qsizetype over = UnitsOverLimit(text, end);
    if (over == 0) return;
    mKeeping = true;
    QTextCursor piece(document());
    piece.setPosition(end - int(over));
    piece.setPosition(end, QTextCursor::KeepAnchor);
    piece.removeSelectedText();
    mKeeping = false;
    if (onLimit) onLimit();
}
