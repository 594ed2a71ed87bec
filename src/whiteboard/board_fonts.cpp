#include "whiteboard/board_fonts.h"

#include <QFontDatabase>
#include <QStringList>
#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

struct StandIn {
    QLatin1StringView name, standIn;
};

/// Fonts that the records of other desktops name, and free ones of the same character widths.
constexpr StandIn kStandIns[] = {
    {"Arial"_L1, "Liberation Sans"_L1},
    {"Arial Narrow"_L1, "Liberation Sans Narrow"_L1},
    {"Times New Roman"_L1, "Liberation Serif"_L1},
    {"Courier New"_L1, "Liberation Mono"_L1},
    {"Comic Sans MS"_L1, "Comic Neue"_L1},
};

/// What the font lacks comes from these on every machine that has them, whatever else is installed.
QStringList Fallbacks()
{
    return {u"Liberation Sans"_s, u"WenQuanYi Micro Hei"_s, u"Noto Color Emoji"_s};
}

QString StandInFor(const QString& name)
{
    for (const StandIn& row : kStandIns)
        if (row.name == name) return row.standIn;
    return {};
}

bool Installed(const QString& family)
{
    return QFontDatabase::hasFamily(family);
}

}  // namespace

bool FontExists(const QString& name)
{
    if (name.isEmpty()) return false;
    const QString standIn = StandInFor(name);
    if (!standIn.isEmpty() && Installed(standIn)) return true;
    return QFontDatabase::families().contains(name);  // exact, with case
}

QString DrawnFamily(const QString& name)
{
    const QString standIn = StandInFor(name);
    return !standIn.isEmpty() && Installed(standIn) ? standIn : name;
}

QStringList FamiliesElsewhere(const QString& drawn)
{
    QStringList families{drawn};
    for (const StandIn& row : kStandIns)
        if (row.standIn == drawn) families += row.name;
    families += Fallbacks();
    families.removeDuplicates();
    return families;
}

QFont BoardFont(const TextLook& look)
{
    constexpr double kSmallest = 1, kLargest = 1024;
    QFont font;
    font.setFamilies(QStringList(DrawnFamily(look.fontName)) + Fallbacks());
    font.setPointSizeF(std::clamp(double(look.points), kSmallest, kLargest));
    font.setBold(look.bold);
    font.setItalic(look.italic);
    font.setUnderline(look.underline);
    font.setStrikeOut(look.strikethrough);
    font.setHintingPreference(QFont::PreferNoHinting);
    font.setStyleStrategy(QFont::StyleStrategy(QFont::PreferAntialias | QFont::NoSubpixelAntialias));
    return font;
}
