#include "whiteboard/records.h"

#include <array>
#include <cfloat>
#include <cmath>

#include "base/text_rules.h"
#include "messaging/tags.h"

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype kSeparatorLength = 3;

struct Tag {
    RecordType type;
    const char16_t* text;
};
constexpr Tag kTags[] = {
    {RecordType::HScroll, tags::kWBHScroll}, {RecordType::VScroll, tags::kWBVScroll},
    {RecordType::Resize, tags::kWBResize},   {RecordType::Pointer, tags::kWBPointer},
    {RecordType::Text, tags::kWBText},       {RecordType::Pen, tags::kWBPen},
    {RecordType::Box, tags::kWBBox},         {RecordType::Circle, tags::kWBCircle},
    {RecordType::Undo, tags::kWBUndo},       {RecordType::Redo, tags::kWBRedo},
    {RecordType::Clear, tags::kWBClear},
};

/// Numbers as nearly all records write them: digits, a sign, a fraction, 15 digits at most, so that whole
/// part and power of ten are exact and their quotient is the nearest double. None: read it the long way.
std::optional<double> PlainNumber(QStringView text)
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
        if (AtEnd()) throw FieldError{mField, u"is missing"_s};
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
        if (!value) Refuse(text, u"is neither True nor False"_s);
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
        if (!value) Refuse(text, u"is no number"_s);
        const double number = whole == Whole::Yes ? RoundHalfEven(*value) : *value;
        if (!(number >= lowest && number <= highest)) {
            Refuse(text, whole == Whole::Yes ? u"is outside %1..%2"_s.arg(qint64(lowest)).arg(qint64(highest))
                                             : u"is too large"_s);
        }
        return number;
    }

    [[noreturn]] void Refuse(QStringView text, const QString& why) const
    {
        constexpr qsizetype kShown = 40;
        QString shown = text.first(std::min(text.size(), kShown)).toString();
        if (text.size() > kShown) shown += u'…';
        throw FieldError{mField - 1, u"\"%1\" %2"_s.arg(shown, why)};
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

QString Separator()
{
    return QString::fromUtf16(tags::kFieldSeparator);
}

/// Appends fields behind a tag.
class RecordWriter {
public:
    explicit RecordWriter(const char16_t* tag) : mText(QString::fromUtf16(tag)) {}

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
    const QString mSeparator = Separator();
    bool mFirst = true;
};

}  // namespace

QString Describe(const FieldError& error)
{
    return u"field %1: %2"_s.arg(error.field).arg(error.reason);
}

std::optional<TaggedPayload> FindRecord(QStringView message)
{
    for (const Tag& tag : kTags) {
        const QStringView text(tag.text);
        if (message.startsWith(text)) return TaggedPayload{tag.type, message.sliced(text.size())};
    }
    return std::nullopt;
}

QString RecordName(RecordType type)
{
    for (const Tag& tag : kTags) {
        if (tag.type == type) return QString::fromUtf16(tag.text).section(u'_', -1).chopped(2);
    }
    return {};
}

Read<PenRecord> ReadPen(QStringView payload)
{
    constexpr qsizetype kSmallestGroup = 5 * (1 + kSeparatorLength);
    return ReadAs<PenRecord>(payload, [&](FieldReader& in, PenRecord& pen) {
        pen.width = in.Int16();
        pen.segments.reserve(std::size_t(std::min<qsizetype>(payload.size() / kSmallestGroup, 4096)));
        while (!in.AtEnd()) {  // braces: evaluated left to right
            pen.segments.push_back(Segment{in.Single(), in.Single(), in.Single(), in.Single(), in.Colour()});
        }
    });
}

Read<BoxRecord> ReadBox(QStringView payload)
{
    return ReadAs<BoxRecord>(payload, [](FieldReader& in, BoxRecord& box) {
        box = BoxRecord{in.Int16(), in.Single(), in.Single(), in.Single(), in.Single(), in.Colour()};
    });
}

Read<CircleRecord> ReadCircle(QStringView payload)
{
    return ReadAs<CircleRecord>(payload, [](FieldReader& in, CircleRecord& circle) {
        circle = CircleRecord{in.Int16(), in.Int32(), in.Int32(), in.Int32(), in.Int32(), in.Colour()};
    });
}

Read<TextRecord> ReadText(QStringView payload)
{
    return ReadAs<TextRecord>(payload, [](FieldReader& in, TextRecord& text) {
        text.x = in.Single();
        text.y = in.Single();
        text.look.bold = in.Bool();
        text.look.italic = in.Bool();
        text.look.fontName = in.Text().toString();
        text.look.points = in.Single();
        text.look.strikethrough = in.Bool();
        text.look.underline = in.Bool();
        text.colour = in.Colour();
        text.text = in.Text().toString();
    });
}

Read<PointerRecord> ReadPointer(QStringView payload)
{
    return ReadAs<PointerRecord>(payload, [&](FieldReader& in, PointerRecord& pointer) {
        FieldReader first(payload);
        pointer.first = BoardPoint{first.Single(), first.Single()};
        while (!in.AtEnd()) pointer.points.push_back(BoardPoint16{in.Int16(), in.Int16()});
    });
}

Read<ResizeRecord> ReadResize(QStringView payload)
{
    return ReadAs<ResizeRecord>(payload, [](FieldReader& in, ResizeRecord& resize) {
        resize.state = in.Int16();
        in.Skip(2);
        resize.width = in.Single();
        resize.height = in.Single();
    });
}

Read<qint16> ReadScroll(QStringView payload)
{
    Read<qint16> read{};
    FieldReader in(payload);
    try {
        read.value = in.Int16();
        if (!in.AtEnd()) throw FieldError{0, u"is followed by more"_s};  // the payload is one number
    } catch (const FieldError& error) {
        read.error = error;
    }
    return read;
}

QString WritePen(const PenRecord& pen)
{
    constexpr qsizetype kUsualSegment = 40;
    RecordWriter out(tags::kWBPen);
    out.Reserve(qsizetype(pen.segments.size() + 1) * kUsualSegment);
    out << pen.width;
    for (const Segment& s : pen.segments) out << s.x1 << s.y1 << s.x2 << s.y2 << s.colour;
    return out.Done();
}

QString WriteBox(const BoxRecord& box)
{
    RecordWriter out(tags::kWBBox);
    out << box.width << box.x1 << box.y1 << box.x2 << box.y2 << box.colour;
    return out.Done();
}

QString WriteCircle(const CircleRecord& circle)
{
    RecordWriter out(tags::kWBCircle);
    out << circle.width << circle.left << circle.top << circle.right << circle.bottom << circle.colour;
    return out.Done();
}

QString WriteText(const TextRecord& text)
{
    RecordWriter out(tags::kWBText);
    const TextLook& look = text.look;
    out << text.x << text.y << look.bold << look.italic << look.fontName << look.points << look.strikethrough
        << look.underline << text.colour << text.text;
    return out.Done();
}

QString WritePointer(std::span<const BoardPoint> points)
{
    RecordWriter out(tags::kWBPointer);
    for (const BoardPoint& p : points) out << p.x << p.y;
    return out.Done();
}
