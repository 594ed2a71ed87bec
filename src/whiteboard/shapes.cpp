#include "whiteboard/shapes.h"

#include <QPainter>
#include <algorithm>
#include <stdexcept>

#include "whiteboard/ink.h"
#include "whiteboard/record_fields.h"

namespace {

QPointF Near(float x, float y, float far)
{
    return {std::clamp(x, -far, far), std::clamp(y, -far, far)};
}

/// Both corners lie on the outline.
std::vector<QRectF> DrawBox(QPainter& painter, const ShapeRecord& box)
{
    const QPointF a = Near(box.x1, box.y1, kFar), b = Near(box.x2, box.y2, kFar);
    const QRectF outline = QRectF(a, b).normalized();
    if (a == b)
        painter.drawPoint(a);
    else if (outline.width() == 0 || outline.height() == 0)
        painter.drawLine(a, b);
    else
        painter.drawRect(outline);
    return {QRectF(outline.topLeft(), outline.topRight()), QRectF(outline.topRight(), outline.bottomRight()),
            QRectF(outline.bottomLeft(), outline.bottomRight()),
            QRectF(outline.topLeft(), outline.bottomLeft())};
}

/// The corners span its bounding rectangle; right and bottom are outside it.
std::vector<QRectF> DrawCircle(QPainter& painter, const ShapeRecord& circle)
{
    const auto [a, b] = std::pair(Near(circle.x1, circle.y1, 4 * kFar), Near(circle.x2, circle.y2, 4 * kFar));
    const QRectF spanned = QRectF(a.toPoint(), b.toPoint()).normalized();
    const QRectF outline(spanned.topLeft(),
                         QSizeF(std::max(0.0, spanned.width() - 1), std::max(0.0, spanned.height() - 1)));
    if (outline.width() == 0 && outline.height() == 0)
        painter.drawPoint(outline.topLeft());
    else if (outline.width() == 0 || outline.height() == 0)
        painter.drawLine(outline.topLeft(), outline.bottomRight());
    else
        painter.drawEllipse(outline);
    return {outline};
}

constexpr Shape kShapes[] = {
    {RecordKind::Box, "Box", Corners::Fractions, RubberBand::Kind::Box, DrawBox},
    {RecordKind::Circle, "Circle", Corners::Whole, RubberBand::Kind::Ellipse, DrawCircle},
};

}  // namespace

std::span<const Shape> Shapes()
{
    return kShapes;
}

const Shape& ShapeOf(RecordKind kind)
{
    for (const Shape& shape : kShapes)
        if (shape.kind == kind) return shape;
    throw std::out_of_range(RecordName(kind).toStdString() + " is no shape");
}

const Shape* ShapeNamed(const QString& name)
{
    for (const Shape& shape : kShapes)
        if (name == QLatin1String(shape.name)) return &shape;
    return nullptr;
}

Read<ShapeRecord> ReadShape(RecordKind kind, QStringView payload)
{
    const bool whole = ShapeOf(kind).corners == Corners::Whole;
    return ReadAs<ShapeRecord>(payload, [&](FieldReader& in, ShapeRecord& shape) {
        shape.kind = kind;
        shape.width = in.Int16();
        for (float* corner : {&shape.x1, &shape.y1, &shape.x2, &shape.y2})
            *corner = whole ? float(in.Int32()) : in.Single();
        shape.colour = in.Colour();
    });
}

QString WriteShape(const ShapeRecord& shape)
{
    RecordWriter out(shape.kind);
    out << shape.width << shape.x1 << shape.y1 << shape.x2 << shape.y2 << shape.colour;
    return out.Done();
}
