#pragma once
// Windows-1252, the one-byte code page of enciphered text and of the chat log. The five positions that the
// code page leaves unused stand for the control characters of the same number (U+0081, U+008D, ...).
// Pure; any thread.

#include <QByteArray>
#include <QString>
#include <optional>

/// The code of one UTF-16 unit; none when the code page has no such character.
std::optional<uchar> ToCodePage(QChar character);
/// Characters that the code page lacks become "?".
QByteArray ToCodePage(const QString& text);
QChar FromCodePage(uchar code);

/// Whether it comes back unchanged after being enciphered and deciphered: it is in the code page, and not
/// NUL.
bool SurvivesCodePage(QChar character);
/// Whether `text` comes back unchanged after being enciphered and deciphered: every character does.
bool SurvivesCodePage(const QString& text);
