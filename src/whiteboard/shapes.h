#pragma once
// Shapes: records of a width, two corners and a colour, which the Shape tool makes by a drag. A new one is a
// row of the table in shapes.cpp and a function that draws it. No state; any thread that may paint.

#include <QRectF>
#include <span>
#include <vector>

#include "whiteboard/board_screen.h"
#include "whiteboard/records.h"

class QPainter;

/// Two opposite corners, in board pixels; colour 0x00BBGGRR.
struct ShapeRecord {
    RecordKind kind = RecordKind::Box;
    int width = 0;
    float x1 = 0, y1 = 0, x2 = 0, y2 = 0;
    quint32 colour = 0;
};

/// What the corners are read, drawn and sent as.
enum class Corners { Fractions, Whole };

struct Shape {
    RecordKind kind;
    const char* name;  // of the drop-down entry, the setting and the icon
    Corners corners;
    RubberBand::Kind band;  // what follows the drag
    /// Draws it with the painter's pen, and returns where: rectangles without the pen's width.
    std::vector<QRectF> (*draw)(QPainter& painter, const ShapeRecord& shape);
};

/// In the order of the drop-down.
std::span<const Shape> Shapes();
/// Throws std::out_of_range for a kind that is none.
const Shape& ShapeOf(RecordKind kind);
/// By its name; null when none has it (exact spelling).
const Shape* ShapeNamed(const QString& name);

Read<ShapeRecord> ReadShape(RecordKind kind, QStringView payload);
/// The whole record, tag included; what ReadShape reads back.
QString WriteShape(const ShapeRecord& shape);
