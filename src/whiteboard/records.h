#pragma once
// Board records as typed values: the only place that knows their text form.
// A record is a tag and, directly behind it, fields with "|¥|" between them. Pure: any thread.

#include <QString>
#include <QStringView>
#include <span>
#include <vector>

#include "whiteboard/record_fields.h"

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

struct TaggedPayload {
    RecordKind kind;
    QStringView payload;  // into the message
};
/// The record's kind by its tag, and what stands behind it. None: no board record.
std::optional<TaggedPayload> FindRecord(QStringView message);
/// The tag's inner name, "PEN" for "[[ZUM_WB_PEN]]".
QString RecordName(RecordKind kind);

/// Readers scan the payload once and keep what stood in front of a bad or missing field. Fractions use "."
/// whatever the locale, whole numbers are rounded with ties to even, colours are the low 24 bits.
Read<PenRecord> ReadPen(QStringView payload);
Read<TextRecord> ReadText(QStringView payload);
Read<PointerRecord> ReadPointer(QStringView payload);
Read<ResizeRecord> ReadResize(QStringView payload);
Read<qint16> ReadScroll(QStringView payload);

/// Whole records, tag included; what the readers read back.
QString WritePen(const PenRecord& pen);
QString WriteText(const TextRecord& text);
QString WritePointer(std::span<const BoardPoint> points);
