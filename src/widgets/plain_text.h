#pragma once

#include <QString>
#include <QTextDocument>

/// For tooltips, which guess whether a text is markup: this one is shown as it stands.
inline QString PlainToolTip(const QString& text)
{
    return Qt::mightBeRichText(text) ? Qt::convertFromPlainText(text, Qt::WhiteSpaceNormal) : text;
}
