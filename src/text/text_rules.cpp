#include "text/text_rules.h"

#include <QLocale>
#include <QStringConverter>
#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

namespace {

constexpr QChar kBlank = u' ';

bool IsDigit(QChar c)
{
    return c >= u'0' && c <= u'9';
}

/// How many characters from the start of `text` form a decimal number; 0 when there is none.
qsizetype NumberLength(QStringView text)
{
    qsizetype at = 0, digits = 0;
    if (at < text.size() && (text[at] == u'+' || text[at] == u'-')) ++at;
    while (at < text.size() && IsDigit(text[at])) ++at, ++digits;
    if (at < text.size() && text[at] == u'.') {
        ++at;
        while (at < text.size() && IsDigit(text[at])) ++at, ++digits;
    }
    if (digits == 0) return 0;
    if (at < text.size() && (text[at] == u'e' || text[at] == u'E')) {
        qsizetype exponent = at + 1;
        if (exponent < text.size() && (text[exponent] == u'+' || text[exponent] == u'-')) ++exponent;
        const qsizetype first = exponent;
        while (exponent < text.size() && IsDigit(text[exponent])) ++exponent;
        if (exponent > first) at = exponent;
    }
    return at;
}

/// Of a number that no double can hold: whether it is too near to 0, and not too far from it. The place of
/// its first digit other than 0, its exponent counted in, says so.
bool TooSmall(std::string_view number)
{
    const std::size_t exponentAt = std::min(number.find_first_of("eE"), number.size());
    const std::string_view digits = number.substr(0, exponentAt);
    const std::size_t first = digits.find_first_of("123456789");
    const std::size_t point = std::min(digits.find('.'), digits.size());
    const auto place = static_cast<long long>(point) - static_cast<long long>(first);
    std::string_view exponent = number.substr(std::min(exponentAt + 1, number.size()));
    if (exponent.starts_with('+')) exponent.remove_prefix(1);
    constexpr std::size_t kCounts = 18;  // digits; a text is never so long that more of them matter
    long long value = 0;
    const bool negative = exponent.starts_with('-');
    if (negative) exponent.remove_prefix(1);
    exponent.remove_prefix(std::min(exponent.find_first_not_of('0'), exponent.size()));
    if (exponent.size() > kCounts) return negative;
    std::from_chars(exponent.data(), exponent.data() + exponent.size(), value);
    return place + (negative ? -value : value) < 0;
}

/// `number` must be what NumberLength accepted. Too large gives infinity with its sign, too small 0.
double Value(QStringView number)
{
    if (!number.isEmpty() && number.front() == u'+') number = number.sliced(1);
    std::array<char, 64> shortText{};
    QByteArray longText;
    const char* first = shortText.data();
    if (std::size_t(number.size()) <= shortText.size()) {
        for (qsizetype i = 0; i < number.size(); ++i) shortText[std::size_t(i)] = char(number[i].unicode());
    } else {
        longText = number.toLatin1();
        first = longText.constData();
    }
    double value = 0;
    const auto read = std::from_chars(first, first + number.size(), value);
    if (read.ec != std::errc::result_out_of_range) return value;
    if (TooSmall({first, std::size_t(number.size())})) return 0;
    return number.front() == u'-' ? -HUGE_VAL : HUGE_VAL;
}

QStringView SkipBlanks(QStringView text)
{
    while (!text.isEmpty() && text.front() == kBlank) text = text.sliced(1);
    return text;
}

/// A time format without its time-zone letters ("t" outside quotes), their brackets and blanks.
QString WithoutZone(const QString& format)
{
    QString kept;
    bool quoted = false;
    for (const QChar c : format) {
        if (c == u'\'') quoted = !quoted;
        if (quoted || (c != u't' && c != u'(' && c != u')')) kept += c;
    }
    return kept.trimmed();
}

}  // namespace

QString Utf8Text(QByteArrayView bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom);
    return decoder(bytes);
}

QString WholeCharacters(const QString& text)
{
    if (text.isValidUtf16()) return text;
    const QList<uint> whole = text.toUcs4();
    return QString::fromUcs4(reinterpret_cast<const char32_t*>(whole.constData()), whole.size());
}

QString Trim(const QString& text)
{
    qsizetype first = 0, last = text.size();
    while (first < last && text[first] == kBlank) ++first;
    while (last > first && text[last - 1] == kBlank) --last;
    return text.mid(first, last - first);
}

QString TrimAtNull(const QString& text)
{
    const qsizetype at = text.indexOf(QChar(u'\0'));
    return at < 0 ? text : text.left(at);
}

bool IsAsciiLetterOrDigit(QChar c)
{
    return (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z') || (c >= u'0' && c <= u'9');
}

double RoundHalfEven(double value)
{
    return std::nearbyint(value);
}  // the default rounding mode

std::optional<double> WholeNumber(QStringView text)
{
    text = SkipBlanks(text);
    while (!text.isEmpty() && text.back() == kBlank) text.chop(1);
    const qsizetype length = NumberLength(text);
    if (length == 0 || length != text.size()) return std::nullopt;
    return Value(text);
}

double LeadingNumber(QStringView text)
{
    text = SkipBlanks(text);
    const qsizetype length = NumberLength(text);
    return length == 0 ? 0 : Value(text.first(length));
}

std::optional<bool> BooleanText(QStringView text)
{
    if (text.compare(QLatin1String("True"), Qt::CaseInsensitive) == 0) return true;
    if (text.compare(QLatin1String("False"), Qt::CaseInsensitive) == 0) return false;
    const auto number = WholeNumber(text);
    return number ? std::optional(*number != 0) : std::nullopt;
}

QString SingleText(float value)
{
    std::array<char, 64> text;
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
    return QString::fromLatin1(text.data(), end.ptr - text.data());
}

QString BooleanText(bool value)
{
    return value ? QStringLiteral("True") : QStringLiteral("False");
}

QString GeneralDate(const QDateTime& when)
{
    const QLocale locale;
    return locale.toString(when.date(), QLocale::ShortFormat) + kBlank +
           locale.toString(when.time(), WithoutZone(locale.timeFormat(QLocale::LongFormat)));
}
