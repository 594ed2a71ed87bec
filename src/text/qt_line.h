#pragma once
// The rule of one_line.h for texts of the toolkit, which are UTF-16. Header only: the room
// itself knows no toolkit.

#include <QList>
#include <QString>
#include <QStringView>
#include <algorithm>

#include "text/one_line.h"

/// As OneLine(UTF-8); a lone surrogate becomes U+FFFD.
inline QString OneLine(QStringView text)
{
    QString line;
    line.reserve(text.size());
    for (const uint c : text.toUcs4())
        if (IsUnseen(c))
            line += QString::fromStdString(Escape(c));
        else
            line += QString::fromUcs4(reinterpret_cast<const char32_t*>(&c), 1);
    return line;
}

/// In isolates when some of it runs from right to left, so that it does not turn its neighbours round.
inline QString Isolated(const QString& text)
{
    const auto mayTurn = [](QChar c) {
        return c.direction() == QChar::DirR || c.direction() == QChar::DirAL || c.isSurrogate();
    };
    if (std::none_of(text.begin(), text.end(), mayTurn)) return text;
    return QChar(0x2068) + text + QChar(0x2069);
}

/// A handle or the like inside a sentence of ours, on a screen.
inline QString InSentence(const QString& text)
{
    return Isolated(OneLine(text));
}
