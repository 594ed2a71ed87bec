#pragma once
// Own chat lines that the service has not accepted yet. Pure.

#include <QtGlobal>
#include <vector>

/// A line under the numbers that the link gave its copies: behind `after`, up to `upTo`.
struct OpenLine {
    quint64 after, upTo;
    qint64 at;           // which line of the conversation, from the first one ever shown
    bool shown = false;  // its sign is
    bool lost = false;   // it reaches nobody; stays so
};

class OpenLines {
public:
    void Add(const OpenLine& line) { mLines.push_back(line); }
    /// All three say whether what is shown has changed.
    bool Accept(quint64 upTo);
    bool Lose(quint64 number);
    /// The sign of what is still open, up to this number.
    bool Show(quint64 upTo);
    /// Lines before this one are no longer in the conversation.
    void Forget(qint64 before);

    const std::vector<OpenLine>& All() const { return mLines; }

private:
    std::vector<OpenLine> mLines;  // in the order of their numbers
};
