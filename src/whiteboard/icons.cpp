#include "whiteboard/icons.h"

#include <QFile>
#include <QPainter>
#include <QSvgRenderer>
#include <QtMath>
#include <optional>

using namespace Qt::StringLiterals;

/// Keeps the linker from leaving the pictures out of a static library.
static void NeedPictures()
{
    Q_INIT_RESOURCE(whiteboard);
}

namespace {

constexpr int kHalo = 1;       // white rim around a pointer
constexpr int kMarkReach = 4;  // arms of the mark at a pointer's hot spot
constexpr int kCursorSide = 32;

struct Theme {
    QByteArray ink = "#303438", paper = "#fdfdfd";  // as in the files
};

Theme ThemeOf(const QPalette& palette)
{
    const bool dark = palette.window().color().lightness() < 128;
    return dark ? Theme{"#e6e8ea", "#4a5056"} : Theme{};
}

QByteArray Vector(const QString& key, const Theme& theme)
{
    NeedPictures();
    QFile file(u":/whiteboard/icons/%1.svg"_s.arg(key));
    if (!file.open(QIODevice::ReadOnly)) return {};
    const Theme drawn;
    return file.readAll().replace(drawn.ink, theme.ink).replace(drawn.paper, theme.paper);
}

QPixmap Render(const QString& key, int side, qreal scale, const Theme& theme)
{
    const int pixels = qCeil(side * scale);
    QPixmap pixmap(pixels, pixels);
    pixmap.fill(Qt::transparent);
    QSvgRenderer renderer(Vector(key, theme));
    QPainter painter(&pixmap);
    renderer.render(&painter, QRectF(0, 0, pixels, pixels));
    painter.end();
    pixmap.setDevicePixelRatio(scale);
    return pixmap;
}

QPixmap InOneColour(QPixmap pixmap, const QColor& colour)
{
    QPainter painter(&pixmap);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(pixmap.rect(), colour);
    return pixmap;
}

/// Where the tool acts, in the icon's pixels; None: at a mark of its own, to the icon's upper left.
std::optional<QPoint> HotSpot(const QString& key)
{
    if (key == u"Point"_s) return QPoint(8, 8);
    if (key == u"Erase"_s) return QPoint(6, 13);  // the corner that rubs
    return std::nullopt;
}

void DrawMark(QPainter& painter, QPoint at)
{
    for (const auto& [colour, width] : {std::pair(Qt::white, 3), std::pair(Qt::black, 1)}) {
        painter.setPen(QPen(QColor(colour), width, Qt::SolidLine, Qt::FlatCap));
        painter.drawLine(at.x() - kMarkReach, at.y(), at.x() + kMarkReach + 1, at.y());
        painter.drawLine(at.x(), at.y() - kMarkReach, at.x(), at.y() + kMarkReach + 1);
    }
}

}  // namespace

QIcon ToolIcon(const QString& key, const QPalette& palette, Mirrored mirrored)
{
    QIcon icon;
    for (const qreal scale : {1.0, 2.0, 3.0}) {
        QPixmap pixmap = Render(key, kIconSide, scale, ThemeOf(palette));
        if (mirrored == Mirrored::Yes) {
            pixmap = pixmap.transformed(QTransform::fromScale(-1, 1));
            pixmap.setDevicePixelRatio(scale);
        }
        icon.addPixmap(pixmap);
    }
    return icon;
}

QCursor ToolCursor(const QString& key, qreal scale)
{
    const QPixmap icon = Render(key, kIconSide, scale, {});
    const QPixmap rim = InOneColour(icon, Qt::white);
    const auto hot = HotSpot(key);
    const QPoint mark(kMarkReach + 1, kMarkReach + 1);
    const QPoint at = hot ? QPoint(kHalo, kHalo) : mark + QPoint(4, 4);
    QPixmap pixmap(QSize(kCursorSide, kCursorSide) * scale);
    pixmap.setDevicePixelRatio(scale);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    for (int dx = -kHalo; dx <= kHalo; ++dx)
        for (int dy = -kHalo; dy <= kHalo; ++dy) painter.drawPixmap(at + QPoint(dx, dy), rim);
    painter.drawPixmap(at, icon);
    if (!hot) DrawMark(painter, mark);
    painter.end();
    const QPoint spot = hot ? at + *hot : mark;
    return QCursor(pixmap, spot.x(), spot.y());
}

QPixmap PointerPixmap(qreal scale)
{
    return Render(u"Pointer"_s, kPointerSide, scale, {});
}

QCursor PointerCursor(qreal scale)
{
    return QCursor(PointerPixmap(scale), kPointerSide / 2, kPointerSide / 2);
}
