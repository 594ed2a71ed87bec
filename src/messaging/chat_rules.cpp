#include "messaging/chat_rules.h"

#include <algorithm>

#include "text/qt_line.h"

namespace {

constexpr int kLinesKept = 10'000;
constexpr int kLinesDropped = 500;
constexpr qsizetype kCharactersKept = 1024 * 1024;

constexpr char16_t kSoftBreak = 0x2028;
constexpr char16_t kIsolate = 0x2068;  // first strong isolate
constexpr char16_t kEndIsolate = 0x2069;

constexpr int kMarksInARow = 8;  // more is no writing, but a tower across the lines around it

bool IsLineBreak(char32_t c)
{
    return c == u'\n' || c == u'\r' || c == 0x0B || c == 0x0C || c == 0x85 || c == 0x2028 || c == 0x2029;
}

bool SteersDirection(char32_t c)
{
    return (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069) || c == 0x200E || c == 0x200F ||
           c == 0x061C;
}

/// Also what the toolkit's documents use for themselves: frames' ends and embedded objects.
bool IsDropped(char32_t c)
{
    return (c < 0x20 && c != u'\t') || (c >= 0x7F && c < 0xA0) || (c >= 0xFDD0 && c <= 0xFDEF) ||
           (c >= 0xFFF9 && c <= 0xFFFC) || (c & 0xFFFE) == 0xFFFE || SteersDirection(c);
}

/// An accent, or what else is set above, below or around the character before it.
bool IsMark(char32_t c)
{
    const QChar::Category category = QChar::category(c);
    return category == QChar::Mark_NonSpacing || category == QChar::Mark_Enclosing;
}

QString Cleaned(const QString& text, QStringView lineBreak)
{
    QString out;
    out.reserve(text.size());
    int marks = 0;
    char32_t before = 0;
    for (const char32_t c : text.toUcs4()) {  // U+FFFD for halves of characters
        marks = IsMark(c) ? marks + 1 : 0;
        if (IsLineBreak(c) && (c != u'\n' || before != u'\r'))
            out += lineBreak;
        else if (!IsLineBreak(c) && !IsDropped(c) && marks <= kMarksInARow)
            out += QChar::fromUcs4(c);
        before = c;
    }
    return out;
}

/// Each visual line by itself: an isolate does not reach across a soft break.
QString IsolatedLines(const QString& text)
{
    QStringList lines = text.split(QChar(kSoftBreak));
    for (QString& line : lines) line = Isolated(line);
    return lines.join(QChar(kSoftBreak));
}

/// In UTF-8; a line break leaves as CR LF.
int BytesOf(QChar c)
{
    if (c == u'\n') return 2;
    return c.unicode() < 0x80 ? 1 : c.unicode() < 0x800 ? 2 : 3;
}

}  // namespace

ShownLine LineFor(const QString& ownHandle, const QString& fromHandle, const QString& text)
{
    const QChar softBreak(kSoftBreak);
    return {InSentence(Cleaned(fromHandle, u" ")) + QLatin1String(": ") +
                IsolatedLines(Cleaned(text, QStringView(&softBreak, 1))),
            fromHandle == ownHandle ? kOwnLineColour : kOtherLineColour};
}

QString WithoutIsolates(QString text)
{
    return text.removeIf([](QChar c) { return c.unicode() == kIsolate || c.unicode() == kEndIsolate; });
}

QStringList Recipients(const QStringList& handles, const QString& ownHandle)
{
    QStringList others = handles;
    others.removeAll(ownHandle);
    return others;
}

qsizetype UnitsOverLimit(const QString& text, qsizetype pieceEnd, qsizetype limitBytes)
{
    qsizetype over = text.toUtf8().size() + text.count(u'\n') - limitBytes;
    qsizetype units = 0;
    while (over > 0 && units < pieceEnd) {
        const QChar c = text[pieceEnd - 1 - units];
        const bool pair =
            c.isLowSurrogate() && units + 1 < pieceEnd && text[pieceEnd - 2 - units].isHighSurrogate();
        over -= pair ? 4 : BytesOf(c);
        units += pair ? 2 : 1;
    }
    return units;
}

int LinesToDrop(int lines, qsizetype characters)
{
    if (lines >= kLinesKept + kLinesDropped) return kLinesDropped;
    if (characters > kCharactersKept) return std::max(1, lines / 2);
    return 0;
}
