#pragma once
// The fields behind a record's tag, one after the other: for whoever knows the fields of a kind.

#include <QString>
#include <QStringView>
#include <cfloat>
#include <cmath>
#include <optional>

#include "messaging/record_kinds.h"
#include "text/text_rules.h"

/// Why reading stopped. `field` counts from 0, behind the tag; all fields in front of it were read.
struct FieldError {
    int field = 0;
    QString reason;
};
/// What could be read, and why it stopped there. No error: everything that is needed was there.
template <class T>
struct Read {
    T value;
    std::optional<FieldError> error;
};
/// "field 3 ("x") is no number", "field 15 is missing", for reports.
inline QString Describe(const FieldError& error)
{
    return QStringLiteral("field %1 %2").arg(error.field).arg(error.reason);
}

inline constexpr qsizetype kSeparatorLength = 3;

/// Numbers as nearly all records write them: digits, a sign, a fraction, 15 digits at most, so that whole
/// part and power of ten are exact and their quotient is the nearest double. None: read it the long way.
inline std::optional<double> PlainNumber(QStringView text)
{
    constexpr double kPowers[] = {1,   1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                  1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    const bool negative = text.startsWith(u'-');
    if (negative) text = text.sliced(1);
    if (text.isEmpty() || text.size() > 16 || text.front() == u'.' || text.back() == u'.')
        return std::nullopt;
    qint64 digits = 0;
    qsizetype point = -1;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t c = text[i].unicode();
        if (c >= u'0' && c <= u'9')
            digits = digits * 10 + (c - u'0');
        else if (c == u'.' && point < 0)
            point = i;
        else
            return std::nullopt;
    }
    if (point < 0 && text.size() > 15) return std::nullopt;
    const double value = double(digits) / kPowers[point < 0 ? 0 : text.size() - point - 1];
    return negative ? -value : value;
}

/// A cursor over the fields of a payload. Each read takes the next field and throws FieldError when that is
/// missing or bad.
class FieldReader {
public:
    explicit FieldReader(QStringView payload) : mPayload(payload) {}

    bool AtEnd() const { return mAt < 0; }

    QStringView Text()
    {
        if (AtEnd()) throw FieldError{mField, QStringLiteral("is missing")};
        const qsizetype from = mAt;
        const qsizetype end = NextSeparator(from);
        mAt = end < 0 ? -1 : end + kSeparatorLength;
        ++mField;
        return end < 0 ? mPayload.sliced(from) : mPayload.sliced(from, end - from);
    }

    float Single() { return float(Number(-double(FLT_MAX), double(FLT_MAX), Whole::No)); }
    qint16 Int16() { return qint16(Number(-32768, 32767, Whole::Yes)); }
    qint32 Int32() { return qint32(Number(-2147483648.0, 2147483647.0, Whole::Yes)); }
    quint32 Colour() { return quint32(Int32()) & 0xffffffu; }
    bool Bool()
    {
        const QStringView text = Text();
        const auto value = BooleanText(text);
        if (!value) Refuse(text, QStringLiteral("is neither True nor False"));
        return *value;
    }

    /// Goes over fields whose content does not matter.
    void Skip(int fields)
    {
        while (fields-- > 0) Text();
    }

private:
    enum class Whole { No, Yes };

    qsizetype NextSeparator(qsizetype from) const
    {
        const char16_t* text = mPayload.utf16();
        const qsizetype last = mPayload.size() - kSeparatorLength;
        for (qsizetype at = from; at <= last; ++at)
            if (text[at] == u'|' && text[at + 1] == u'\u00A5' && text[at + 2] == u'|') return at;
        return -1;
    }

    double Number(double lowest, double highest, Whole whole)
    {
        const QStringView text = Text();
        auto value = PlainNumber(text);
        if (!value) value = WholeNumber(text);
        if (!value) Refuse(text, QStringLiteral("is no number"));
        const double number = whole == Whole::Yes ? RoundHalfEven(*value) : *value;
        if (std::isnan(number) || number < lowest || number > highest) {
            Refuse(text, whole == Whole::Yes
                             ? QStringLiteral("is outside %1..%2").arg(qint64(lowest)).arg(qint64(highest))
                             : QStringLiteral("is too large"));
        }
        return number;
    }

    [[noreturn]] void Refuse(QStringView text, const QString& why) const
    {
        constexpr qsizetype kShown = 40;
        QString shown = text.first(std::min(text.size(), kShown)).toString();
        if (text.size() > kShown) shown += u'…';
        throw FieldError{mField - 1, QStringLiteral("(\"%1\") %2").arg(shown, why)};
    }

    QStringView mPayload;
    qsizetype mAt = 0;
    int mField = 0;
};

/// Runs `fill` on a reader and a fresh value; what it filled in before an error stays.
template <class T, class Fill>
Read<T> ReadAs(QStringView payload, Fill fill)
{
    Read<T> read{};
    FieldReader in(payload);
    try {
        fill(in, read.value);
    } catch (const FieldError& error) {
        read.error = error;
    }
    return read;
}

/// Appends fields behind a tag.
class RecordWriter {
public:
    explicit RecordWriter(RecordKind kind) : mText(TagOf(kind)) {}

    RecordWriter& operator<<(float value) { return Add(SingleText(value)); }
    RecordWriter& operator<<(qint32 value) { return Add(QString::number(value)); }
    RecordWriter& operator<<(quint32 value) { return Add(QString::number(value)); }
    RecordWriter& operator<<(bool value) { return Add(BooleanText(value)); }
    RecordWriter& operator<<(const QString& value) { return Add(value); }

    QString Done() { return std::move(mText); }
    void Reserve(qsizetype size) { mText.reserve(size); }

private:
    RecordWriter& Add(const QString& field)
    {
        if (mFirst)
            mFirst = false;
        else
            mText += mSeparator;
        mText += field;
        return *this;
    }

    QString mText;
    const QString mSeparator = QString::fromUtf16(kFieldSeparator);
    bool mFirst = true;
};
