#pragma once
// txtChat and txtMessage: the conversation, and the line being typed.

#include <QTextBlockFormat>
#include <QTextEdit>
#include <functional>

#include "messaging/chat_rules.h"

/// txtChat. Plain text in the senders' colours; a line is appended as one paragraph and nothing before it is
/// touched. Old lines are forgotten when the box has grown too large (see LinesToDrop).
class ChatBox : public QTextEdit {
public:
    explicit ChatBox(QWidget* parent);
    /// Appends the line and scrolls to it; the caret stands at the end.
    void Append(const ShownLine& line);
    /// The conversation: handle, ": ", text, lines separated by CR LF.
    QString Conversation() const;

private:
    void Forget(int lines);
    void ShowEnd();

    QTextBlockFormat mParagraph;
    bool mEmpty = true;
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

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void insertFromMimeData(const QMimeData* source) override;

private:
    void KeepLimit();

    int mPieceEnd = 0;  // end of what was put in last
    bool mKeeping = false;
};
