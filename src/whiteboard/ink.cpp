#include "whiteboard/ink.h"

#include <QFontMetricsF>
#include <QPainter>
#include <algorithm>
#include <cmath>

#include "contract/picture.h"
#include "whiteboard/board_fonts.h"

namespace {

constexpr int kDiagonal = 2560;  // of 2048 x 1536
// More characters than the board has room for, so that strangers' texts take 50 ms and not a second.
constexpr qsizetype kLongestLine = 4096, kLongestTinyLine = 8192;
constexpr float kTinyPoints = 4;
constexpr qsizetype kMeasuredLine = 512;  // measuring a line costs as much as drawing it

/// Moves an end (a, b) along the line to its other end (c, d) until a is within the limits. Counts from the
/// other end, which keeps the way exact when that one is near. False: the line stays outside.
bool CutEnd(double& a, double& b, double c, double d)
{
    if (std::abs(a) <= kFar) return true;
    const double limit = std::copysign(double(kFar), a);
    if (a > 0 ? c >= limit : c <= limit) return false;
    b = d + (limit - c) / (a - c) * (b - d);
    a = limit;
    return true;
}

float Near(float value)
{
    return std::clamp(value, -kFar, kFar);
}

QString OneLine(const QString& text, float points)
{
    QString line = text.left(points < kTinyPoints ? kLongestTinyLine : kLongestLine);
    for (QChar& c : line)
        if (c.category() == QChar::Other_Control) c = u' ';
    return line;
}

}  // namespace

QRgb ToRgb(quint32 colour)
{
    return qRgb(int(colour & 0xff), int((colour >> 8) & 0xff), int((colour >> 16) & 0xff));
}

int DrawnWidth(int width)
{
    return std::clamp(width, 1, kDiagonal);
}

QPen BoardPen(quint32 colour, int width)
{
    return QPen(QColor(ToRgb(colour)), width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
}

bool BringNear(Segment& s)
{
    const auto near = [](float v) { return v > -kFar && v < kFar; };
    if (near(s.x1) && near(s.y1) && near(s.x2) && near(s.y2)) return true;
    double x1 = s.x1, y1 = s.y1, x2 = s.x2, y2 = s.y2;
    if (!CutEnd(x1, y1, x2, y2) || !CutEnd(y1, x1, y2, x2) || !CutEnd(x2, y2, x1, y1) ||
        !CutEnd(y2, x2, y1, x1))
        return false;
    s = {float(x1), float(y1), float(x2), float(y2), s.colour};
    return true;
}

TextPlace SetText(QPainter& painter, const TextRecord& text)
{
    painter.setFont(BoardFont(text.look));
    painter.setPen(QColor(ToRgb(text.colour)));
    TextPlace place{OneLine(text.text, text.look.points), {}, {}};
    const QFontMetricsF metrics = painter.fontMetrics();
    place.base = QPointF(Near(text.x), Near(text.y) + metrics.ascent());
    const double slack = metrics.height();  // slanted and stacked characters reach beyond their cells
    QRectF extent(-place.base.x(), -slack, kBoardWidth, 2 * slack);
    // the bounding box of some texts leaves out what follows an unseen mark
    if (place.line.size() <= kMeasuredLine)
        extent = metrics.boundingRect(place.line) |
                 QRectF(0, -slack, metrics.horizontalAdvance(place.line), slack);
    place.area = extent.translated(place.base).adjusted(-slack, -slack, slack, slack).toAlignedRect();
    return place;
}
