#include "messaging/chat_pane.h"

#include <QAbstractTextDocumentLayout>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QMenu>
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
#include <cmath>
#include <limits>
#include <memory>

#include "text/text_rules.h"
#include "text/words.h"
#include "widgets/contrast.h"

using namespace Qt::StringLiterals;

namespace {

constexpr qreal kHangingIndent = 14;  // pixels; where a line goes on in a further row
constexpr int kSign = 9;              // pixels; of a sign behind a line
constexpr int kSignGap = 4;
constexpr int kTimeGap = 6;  // pixels; between a time and its line
constexpr int kDayGap = 4;   // pixels; above and below a new day's date
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
    viewport()->setMouseTracking(true);
    connect(this, &QTextEdit::cursorPositionChanged, viewport(), [this] { viewport()->update(); });
}

void ChatBox::Append(const ShownLine& line, const QDateTime& when)
{
    mTimes.Add(when);
    QTextCharFormat colour;
    colour.setForeground(FromBgr(line.colour));
    QTextCursor end(document());
    end.movePosition(QTextCursor::End);
    const int number = mEmpty ? 0 : document()->blockCount();
    const QTextBlockFormat paragraph = ParagraphOf(number, line.colour == kOwnLineColour);
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

QTextBlockFormat ChatBox::ParagraphOf(int line, bool own) const
{
    QTextBlockFormat paragraph = mParagraph;
    if (own) paragraph.setRightMargin(kSign + kSignGap);
    if (!mTimesShown) return paragraph;
    paragraph.setLeftMargin(mParagraph.leftMargin() + TimesWidth());
    if (!mTimes.Day(line).isEmpty()) paragraph.setTopMargin(fontMetrics().height() + 2 * kDayGap);
    return paragraph;
}

int ChatBox::TimesWidth() const
{
    return fontMetrics().horizontalAdvance(ChatTimes::Longest()) + kTimeGap;
}

void ChatBox::ShowTimes(bool shown)
{
    if (std::exchange(mTimesShown, shown) == shown || mEmpty) return;
    QTextCursor cursor(document());
    cursor.beginEditBlock();
    for (QTextBlock line = document()->begin(); line.isValid(); line = line.next()) {
        cursor.setPosition(line.position());
        cursor.setBlockFormat(ParagraphOf(line.blockNumber(), line.blockFormat().rightMargin() > 0));
    }
    cursor.endEditBlock();
    for (QTextBlock line = document()->begin(); line.isValid(); line = line.next()) Shade(line);
    ShowEnd();
}

QString ChatBox::TimeText(QPoint at) const
{
    if (!mTimesShown || at.x() + horizontalScrollBar()->value() > TimesWidth()) return {};
    const QTextBlock line = cursorForPosition(at).block();
    return line.isValid() ? mTimes.Whole(line.blockNumber()) : QString();
}

void ChatBox::PaintTimes(QPainter& painter, const QRect& area) const
{
    const QColor paper = palette().color(QPalette::Base);
    painter.setPen(ReadableOn(palette().color(QPalette::PlaceholderText), paper));
    const QFontMetrics letters = fontMetrics();
    const QPointF shift(-horizontalScrollBar()->value(), -verticalScrollBar()->value());
    for (QTextBlock line = cursorForPosition(area.topLeft()).block(); line.isValid(); line = line.next()) {
        const QPointF corner = line.layout()->position() + shift;
        const QString day = mTimes.Day(line.blockNumber());
        const qreal above = day.isEmpty() ? 0 : letters.height() + kDayGap;
        if (corner.y() - above > area.bottom()) return;
        if (line.layout()->lineCount() == 0) continue;
        const QTextLine row = line.layout()->lineAt(0);
        painter.drawText(QPointF(document()->documentMargin(), corner.y() + row.y() + row.ascent()),
                         mTimes.Time(line.blockNumber()));
        if (day.isEmpty()) continue;
        const QRectF band(0, corner.y() - above, viewport()->width(), letters.height());
        painter.drawText(band, Qt::AlignCenter, day);
        const qreal half = letters.horizontalAdvance(day) / 2.0 + kTimeGap,
                    y = std::floor(band.center().y()) + 0.5;
        painter.drawLine(QPointF(kTimeGap, y), QPointF(band.center().x() - half, y));
        painter.drawLine(QPointF(band.center().x() + half, y), QPointF(band.right() - kTimeGap, y));
    }
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
    mTimes.Forget(lines);
    mOpen.Forget(mForgotten);
    mHovered.reset();  // the places of all links are others now
    mPressed.reset();
}

/// Paints the line in a shade of its colour that can be read on this paper; the text's own stays.
void ChatBox::Shade(const QTextBlock& line)
{
    const QColor colour = line.begin().fragment().charFormat().foreground().color();
    constexpr double kPureOnWhite = 3.9;  // the senders' colours are given: on white they stay
    const QColor shade = ReadableOn(colour, palette().color(QPalette::Base), kPureOnWhite);
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
            return line.lost ? Ours::tr("Not delivered")
                             : Ours::tr("Not sent yet: it goes out with the connection");
    return QString();
}

void ChatBox::paintEvent(QPaintEvent* event)
{
    QTextEdit::paintEvent(event);
    const std::optional<Found> atCaret = hasFocus() ? LinkAtCaret() : std::nullopt;
    if (mOpen.All().empty() && !mHovered && !atCaret && !mTimesShown) return;
    QPainter painter(viewport());
    if (mTimesShown && !mEmpty) PaintTimes(painter, event->rect());
    for (const std::optional<Found>& link : {mHovered, atCaret})
        if (link) Underline(painter, *link);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBackground(palette().base());
    for (const OpenLine& line : mOpen.All())
        if (const QRect place = PlaceOf(line); place.intersects(event->rect()))
            PaintSign(painter, place, line.lost, palette().color(QPalette::Text));
}

bool ChatBox::viewportEvent(QEvent* event)
{
    if (event->type() == QEvent::Leave) Hover(std::nullopt);
    if (event->type() == QEvent::ToolTip) {
        const auto* help = static_cast<QHelpEvent*>(event);
        const QString sign = SignText(help->pos());
        if (const QString text = sign.isEmpty() ? TimeText(help->pos()) : sign; !text.isEmpty()) {
            QToolTip::showText(help->globalPos(), text, viewport());
            return true;
        }
    }
    return QTextEdit::viewportEvent(event);
}

std::optional<ChatBox::Found> ChatBox::FindLink(int position) const
{
    const QTextBlock block = document()->findBlock(position);
    if (!block.isValid()) return std::nullopt;
    const auto link = LinkAt(block.text(), position - block.position());
    return link ? std::optional(Found{block.position() + int(link->from), *link}) : std::nullopt;
}

std::optional<ChatBox::Found> ChatBox::LinkUnder(QPoint viewportPoint) const
{
    const QPoint at = viewportPoint + QPoint(horizontalScrollBar()->value(), verticalScrollBar()->value());
    const int position = document()->documentLayout()->hitTest(at, Qt::ExactHit);
    return position < 0 ? std::nullopt : FindLink(position);
}

std::optional<ChatBox::Found> ChatBox::LinkAtCaret() const
{
    return textCursor().hasSelection() ? std::nullopt : FindLink(textCursor().position());
}

void ChatBox::Hover(const std::optional<Found>& link)
{
    viewport()->setCursor(link ? Qt::PointingHandCursor : Qt::IBeamCursor);
    if (mHovered.has_value() != link.has_value() || (link && link->at != mHovered->at)) viewport()->update();
    mHovered = link;
}

void ChatBox::Underline(QPainter& painter, const Found& link) const
{
    const QTextBlock block = document()->findBlock(link.at);
    const int from = link.at - block.position(), to = from + int(link.link.length);
    const QPointF corner =
        block.layout()->position() - QPointF(horizontalScrollBar()->value(), verticalScrollBar()->value());
    const QColor colour = block.begin().fragment().charFormat().foreground().color();
    painter.setPen(ReadableOn(colour, palette().color(QPalette::Base)));
    for (int i = 0; i < block.layout()->lineCount(); ++i) {
        const QTextLine row = block.layout()->lineAt(i);
        const int first = std::max(from, row.textStart());
        const int last = std::min(to, row.textStart() + row.textLength());
        if (first >= last) continue;
        const double y = std::floor(row.y() + row.ascent()) + 2;
        painter.drawLine(corner + QPointF(row.cursorToX(first), y), corner + QPointF(row.cursorToX(last), y));
    }
}

void ChatBox::mousePressEvent(QMouseEvent* event)
{
    QTextEdit::mousePressEvent(event);
    mPressed = event->button() == Qt::LeftButton ? LinkUnder(event->position().toPoint()) : std::nullopt;
}

void ChatBox::mouseMoveEvent(QMouseEvent* event)
{
    QTextEdit::mouseMoveEvent(event);
    Hover(event->buttons() == Qt::NoButton ? LinkUnder(event->position().toPoint()) : std::nullopt);
}

void ChatBox::mouseReleaseEvent(QMouseEvent* event)
{
    QTextEdit::mouseReleaseEvent(event);
    const std::optional<Found> pressed = std::exchange(mPressed, std::nullopt);
    if (event->button() != Qt::LeftButton || !pressed || textCursor().hasSelection()) return;
    const std::optional<Found> released = LinkUnder(event->position().toPoint());
    if (released && released->at == pressed->at && onLink) onLink(released->link);
}

void ChatBox::keyPressEvent(QKeyEvent* event)
{
    const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    const std::optional<Found> link = enter && !event->isAutoRepeat() ? LinkAtCaret() : std::nullopt;
    if (!link || !onLink) return QTextEdit::keyPressEvent(event);
    event->accept();
    onLink(link->link);
}

void ChatBox::contextMenuEvent(QContextMenuEvent* event)
{
    const QPoint at = event->pos();
    const auto link = event->reason() == QContextMenuEvent::Mouse ? LinkUnder(at) : LinkAtCaret();
    const std::unique_ptr<QMenu> menu(createStandardContextMenu(at));
    QAction *open = nullptr, *copy = nullptr;
    if (link) {
        QAction* first = menu->actions().value(0);
        open = new QAction(QCoreApplication::translate("ChatBox", "&Open Link..."), menu.get());
        copy = new QAction(QCoreApplication::translate("ChatBox", "Copy Link A&ddress"), menu.get());
        menu->insertActions(first, {open, copy});
        menu->insertSeparator(first);
    }
    const QAction* chosen = menu->exec(event->globalPos());
    if (chosen && chosen == open && onLink) onLink(link->link);
    if (chosen && chosen == copy) QGuiApplication::clipboard()->setText(link->link.address);
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
    connect(this, &QTextEdit::textChanged, this, &MessageBox::MarkLost);
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

void MessageBox::MarkLost()
{
    constexpr int kMostMarks = 200;
    QList<ExtraSelection> marks;
    const QString text = toPlainText();
    const auto lost = [&](int at) { return text[at] != u'\n' && isLost(text[at]); };
    for (int at = 0; isLost && at < text.size() && marks.size() < kMostMarks; ++at) {
        if (!lost(at)) continue;
        ExtraSelection mark;
        mark.cursor = QTextCursor(document());
        mark.cursor.setPosition(at);
        while (at < text.size() && lost(at)) ++at;
        mark.cursor.setPosition(at, QTextCursor::KeepAnchor);
        mark.format.setUnderlineStyle(QTextCharFormat::WaveUnderline);
        mark.format.setUnderlineColor(ReadableOn(Qt::red, palette().color(QPalette::Base)));
        marks += mark;
    }
    setExtraSelections(marks);
    if (!std::exchange(mLosing, !marks.isEmpty()) && mLosing && onLoss) onLoss();
}
