#pragma once
// The rule of one_line.h for texts of the toolkit, which may hold lone surrogates. Header only: the room
// itself knows no toolkit.

#include <QString>
#include <QStringView>

#include "text/one_line.h"

/// As OneLine(UTF-8); a lone surrogate becomes "\ud800".
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
