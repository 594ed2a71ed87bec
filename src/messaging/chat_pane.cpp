#include "messaging/chat_pane.h"

#include <QKeyEvent>
#include <QMimeData>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>

using namespace Qt::StringLiterals;

namespace {

constexpr qreal kHangingIndent = 14;  // pixels; where a line goes on in a further row

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
}

void ChatBox::Append(const ShownLine& line)
{
    QTextCharFormat colour;
    colour.setForeground(FromBgr(line.colour));
    QTextCursor end(document());
    end.movePosition(QTextCursor::End);
    end.beginEditBlock();
    if (mEmpty)
        end.setBlockFormat(mParagraph);
    else
        end.insertBlock(mParagraph, colour);
    end.insertText(line.text, colour);
    end.endEditBlock();
    mEmpty = false;
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
    QString text = TextOf(*document());
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
