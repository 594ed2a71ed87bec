#pragma once
// Whether a person sees all that a text does.

#include <QList>
#include <QString>

/// Nothing in it hides, steers or breaks the line. With `isolates`, pairs of first-strong isolates may stand
/// in it.
inline bool IsPlain(const QString& text, bool isolates = false)
{
    int depth = 0;
    for (const uint c : text.toUcs4()) {
        if (isolates && c == 0x2068)
            ++depth;
        else if (isolates && c == 0x2069 && depth > 0)
            --depth;
        else
            switch (QChar::category(c)) {
                case QChar::Other_Control:
                case QChar::Other_Format:
                case QChar::Other_Surrogate:
                case QChar::Separator_Line:
                case QChar::Separator_Paragraph: return false;
                default: break;
            }
    }
    return depth == 0;
}
