#pragma once
// Text as the program's formats mean it: blanks, numbers, dates. Pure; any thread; no locale but where said.

#include <QByteArrayView>
#include <QDateTime>
#include <QString>
#include <QStringView>
#include <optional>

/// UTF-8 as text. A byte-order mark in front stays, as it would elsewhere: QString::fromUtf8 takes it off, so
/// that a line could turn into a record on its way.
QString Utf8Text(QByteArrayView bytes);
/// `text` with U+FFFD for halves of characters: on its way to others each would become a "?".
QString WholeCharacters(const QString& text);
/// Takes U+0020 off both ends; tabs, no-break spaces and line breaks stay.
QString Trim(const QString& text);
/// The text up to its first NUL.
QString TrimAtNull(const QString& text);

/// A to Z, a to z, 0 to 9: no other script's.
bool IsAsciiLetterOrDigit(QChar c);

/// Nearest integer, ties to the even neighbour.
double RoundHalfEven(double value);

/// The whole text as a number, "." for fractions; blanks around it and an exponent are allowed, "nan", "inf",
/// hexadecimal and partial text are not.
std::optional<double> WholeNumber(QStringView text);
/// The number at the beginning of the text; leading blanks are skipped, reading stops where it cannot go on;
/// 0 when there is none.
double LeadingNumber(QStringView text);
/// "True", "False" in any case, or any number (0 is False). None: neither.
std::optional<bool> BooleanText(QStringView text);

/// Shortest text that reads back as the same 32-bit float; never with an exponent.
QString SingleText(float value);
/// "True" or "False".
QString BooleanText(bool value);

/// Short date and long time with seconds of the user's locale: the one date format of the program.
QString GeneralDate(const QDateTime& when);
