#pragma once
// When the lines of the chat box were said, as it is shown beside them. Pure; no window.

#include <QDateTime>
#include <QString>
#include <deque>

class ChatTimes {
public:
    /// Of the line that is appended; null: not known, and nothing is shown.
    void Add(const QDateTime& when) { mTimes.push_back(when); }
    /// As many lines from the top are no longer in the box.
    void Forget(int lines);

    /// Hours and minutes as the user writes them.
    QString Time(int line) const;
    /// The date, of a line that is of another day than the one before it; else "".
    QString Day(int line) const;
    /// Date and time to the second.
    QString Whole(int line) const;
    /// The longest that Time() may give.
    static QString Longest();

private:
    QDateTime At(int line) const;

    std::deque<QDateTime> mTimes;  // of the lines in the box
};
