#pragma once

#include <QString>
#include <QTextDocument>

/// For tooltips, which guess whether a text is markup: this one is shown as it stands.
inline QString PlainToolTip(const QString& text)
{
    return Qt::mightBeRichText(text) ? QLatin1String("<qt>") + text.toHtmlEscaped() + QLatin1String("</qt>")
                                     : text;
}
