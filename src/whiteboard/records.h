#pragma once
// Board records as typed values: the only place that knows their text form.
// A record is a tag and, directly behind it, fields with "|¥|" between them. Pure: any thread.

#include <QString>
#include <QStringView>
#include <optional>
#include <span>
#include <vector>

/// Board pixels; colour 0x00BBGGRR.
struct Segment {
    float x1 = 0, y1 = 0, x2 = 0, y2 = 0;
    quint32 colour = 0;
};
struct BoardPoint {
    float x = 0, y = 0;
};
struct BoardPoint16 {
    qint16 x = 0, y = 0;
};

struct PenRecord {
    int width = 0;
    std::vector<Segment> segments;
};
/// Two opposite corners, both on the outline.
struct BoxRecord {
    int width = 0;
    float x1 = 0, y1 = 0, x2 = 0, y2 = 0;
    quint32 colour = 0;
};
/// The ellipse's bounding rectangle; right and bottom are outside it.
struct CircleRecord {
    int width = 0;
    qint32 left = 0, top = 0, right = 0, bottom = 0;
    quint32 colour = 0;
};
struct TextLook {
    QString fontName = QStringLiteral("Arial");
    float points = 10;
    bool bold = false, italic = false, strikethrough = false, underline = false;
};
/// One line of text; x, y is its top left corner.
struct TextRecord {
    float x = 0, y = 0;
    TextLook look;
    quint32 colour = 0;
    QString text;
};
/// A pointer gesture as it is applied: `first` as written, then every point rounded.
struct PointerRecord {
    std::optional<BoardPoint> first;
    std::vector<BoardPoint16> points;
};
/// Twips. `state` is whatever 16-bit number stood there.
struct ResizeRecord {
    qint16 state = 0;
    float width = 0, height = 0;
};

enum class RecordType { HScroll, VScroll, Resize, Pointer, Text, Pen, Box, Circle, Undo, Redo, Clear };

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
/// "field 3: "x" is no number", for reports.
QString Describe(const FieldError& error);

struct TaggedPayload {
    RecordType type;
    QStringView payload;  // into the message
};
/// The record's type by its tag, and what stands behind it. None: no board record.
std::optional<TaggedPayload> FindRecord(QStringView message);
/// The tag's inner name, "PEN" for "[[ZUM_WB_PEN]]".
QString RecordName(RecordType type);

/// Readers scan the payload once and keep what stood in front of a bad or missing field. Fractions use "."
/// whatever the locale, whole numbers are rounded with ties to even, colours are the low 24 bits.
Read<PenRecord> ReadPen(QStringView payload);
Read<BoxRecord> ReadBox(QStringView payload);
Read<CircleRecord> ReadCircle(QStringView payload);
Read<TextRecord> ReadText(QStringView payload);
Read<PointerRecord> ReadPointer(QStringView payload);
Read<ResizeRecord> ReadResize(QStringView payload);
Read<qint16> ReadScroll(QStringView payload);

/// Whole records, tag included; what the readers read back.
QString WritePen(const PenRecord& pen);
QString WriteBox(const BoxRecord& box);
QString WriteCircle(const CircleRecord& circle);
QString WriteText(const TextRecord& text);
QString WritePointer(std::span<const BoardPoint> points);
