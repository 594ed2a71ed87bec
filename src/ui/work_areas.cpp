#include "ui/work_areas.h"

#include <QGuiApplication>
#include <QScreen>

namespace {

/// A desktop that knows its first screen only says that nothing is left of the others.
QRect WorkArea(const QScreen& screen)
{
    const QRect whole = screen.geometry(), left = screen.availableGeometry();
    return left.width() * 2 < whole.width() || left.height() * 2 < whole.height() ? whole : left;
}

QRect Room(const QScreen& screen, const QMargins& frame)
{
    const QRect area = WorkArea(screen);
    return QRect(area.topLeft(), area.size().shrunkBy(frame));
}

}  // namespace

std::vector<QRect> WorkAreas(const QMargins& frame)
{
    std::vector<QRect> areas;
    if (const QScreen* primary = QGuiApplication::primaryScreen()) areas.push_back(Room(*primary, frame));
    for (const QScreen* screen : QGuiApplication::screens()) areas.push_back(Room(*screen, frame));
    return areas;
}
