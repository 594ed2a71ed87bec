#include "whiteboard/records.h"

using namespace Qt::StringLiterals;

std::optional<TaggedPayload> FindRecord(QStringView message)
{
    const RecordRow* row = RowOf(message);
    if (!row || row->channel != Road::Board) return std::nullopt;
    return TaggedPayload{row->kind, message.sliced(row->tag.size())};
}

QString RecordName(RecordKind kind)
{
    return TagOf(kind).section(u'_', -1).chopped(2);
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
    RecordWriter out(RecordKind::Pen);
    out.Reserve(qsizetype(pen.segments.size() + 1) * kUsualSegment);
    out << pen.width;
    for (const Segment& s : pen.segments) out << s.x1 << s.y1 << s.x2 << s.y2 << s.colour;
    return out.Done();
}

QString WriteText(const TextRecord& text)
{
    RecordWriter out(RecordKind::Text);
    const TextLook& look = text.look;
    out << text.x << text.y << look.bold << look.italic << look.fontName << look.points << look.strikethrough
        << look.underline << text.colour << text.text;
    return out.Done();
}

QString WritePointer(std::span<const BoardPoint> points)
{
    RecordWriter out(RecordKind::Pointer);
    for (const BoardPoint& p : points) out << p.x << p.y;
    return out.Done();
}
