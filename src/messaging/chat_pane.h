#pragma once
// txtChat and txtMessage: the conversation, and the line being typed.

#include <QTextBlockFormat>
#include <QTextEdit>
#include <functional>
#include <optional>

#include "messaging/chat_links.h"
#include "messaging/chat_rules.h"
#include "messaging/chat_times.h"
#include "messaging/open_lines.h"

/// txtChat. Plain text in the senders' colours; a line is appended as one paragraph and nothing before it is
/// touched. Old lines are forgotten when the box has grown too large (see LinesToDrop). Where the desktop is
/// dark, lighter shades of the colours are painted; what is copied keeps the colours.
///
/// Behind an own line that the service has not accepted a small clock is painted, or a mark for good when it
/// was lost. Neither is part of the text.
///
/// The time of each line, and a new day's date, stand beside the text and are no part of it either; nobody
/// sees them who has not asked for them.
///
/// A web address looks like any text until the mouse or the caret is on it: then it is underlined, and a
/// click, Enter or the menu asks for it.
class ChatBox : public QTextEdit {
public:
    explicit ChatBox(QWidget* parent);
    /// The user wants to go there.
    std::function<void(const ChatLink& link)> onLink;
    /// Appends the line and scrolls to it; the caret stands at the end. `when` it was said; null: not known.
    void Append(const ShownLine& line, const QDateTime& when = QDateTime());
    /// Whether times are shown, of all lines that are there.
    void ShowTimes(bool shown);
    /// What the time at a place of the viewport says in full; "" where none stands.
    QString TimeText(QPoint at) const;
    /// The conversation: handle, ": ", text, lines separated by CR LF.
    QString Conversation() const;

    /// The last line left as the link's numbers behind `after`, up to `upTo`, and is not accepted yet. Its
    /// sign comes after a second, or at once while there is no connection.
    void AwaitAcceptance(quint64 after, quint64 upTo);
    void Accepted(quint64 upTo);
    void Lost(quint64 number);
    void SetConnected(bool connected);

    /// What the sign at a place of the viewport says; "" where there is none.
    QString SignText(QPoint at) const;
    /// Where signs are painted, in the viewport.
    QList<QRect> Signs() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    bool viewportEvent(QEvent* event) override;
    void changeEvent(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    /// A link and the place in the document where it begins.
    struct Found {
        int at;
        ChatLink link;
    };
    std::optional<Found> FindLink(int position) const;
    std::optional<Found> LinkUnder(QPoint viewportPoint) const;
    std::optional<Found> LinkAtCaret() const;
    void Hover(const std::optional<Found>& link);
    void Underline(QPainter& painter, const Found& link) const;
    void Forget(int lines);
    void ShowEnd();
    QTextBlockFormat ParagraphOf(int line, bool own) const;
    void PaintTimes(QPainter& painter, const QRect& area) const;
    int TimesWidth() const;
    void Shade(const QTextBlock& line);
    QRect PlaceOf(const OpenLine& line) const;
    void UpdateIf(bool changed);

    QTextBlockFormat mParagraph;
    ChatTimes mTimes;
    bool mTimesShown = false;
    OpenLines mOpen;
    qint64 mForgotten = 0;  // lines
    bool mConnected = true;
    bool mEmpty = true;
    std::optional<Found> mHovered;
    std::optional<Found> mPressed;  // the left button went down there
};

/// txtMessage. Enter in any form sends and never breaks a line; what is pasted or dropped comes as plain
/// text; it holds no more than can be sent.
class MessageBox : public QTextEdit {
public:
    explicit MessageBox(QWidget* parent);
    /// Lines separated by CR LF.
    QString Text() const;
    void SetText(const QString& text);

    std::function<void()> onEnter;
    /// Something was cut off because the text would have become longer than can be sent.
    std::function<void()> onLimit;
    /// Whether a character would not arrive as it is; null: all do. Those that would not are underlined.
    std::function<bool(QChar)> isLost;
    /// There are such characters now, and were none before.
    std::function<void()> onLoss;

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void insertFromMimeData(const QMimeData* source) override;

private:
    void KeepLimit();
    void MarkLost();

    int mPieceEnd = 0;  // end of what was put in last
    bool mKeeping = false;
    bool mLosing = false;
};
