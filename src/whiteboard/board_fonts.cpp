#include "whiteboard/board_fonts.h"

#include <QFontDatabase>
#include <QStringList>
#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

struct StandIn {
    QString name, standIn;
};

/// Fonts that the records of other desktops name, and free ones of the same character widths.
QString StandInFor(const QString& name)
{
    const StandIn kStandIns[] = {
        {u"Arial"_s, u"Liberation Sans"_s},
        {u"Arial Narrow"_s, u"Liberation Sans Narrow"_s},
        {u"Times New Roman"_s, u"Liberation Serif"_s},
        {u"Courier New"_s, u"Liberation Mono"_s},
        {u"Comic Sans MS"_s, u"Comic Neue"_s},
    };
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

QFont BoardFont(const TextLook& look)
{
    constexpr double kSmallest = 1, kLargest = 1024;
    QFont font;
    // What the font lacks comes from these on every machine that has them, whatever else is installed.
    font.setFamilies(
        {DrawnFamily(look.fontName), u"Liberation Sans"_s, u"WenQuanYi Micro Hei"_s, u"Noto Color Emoji"_s});
    font.setPointSizeF(std::clamp(double(look.points), kSmallest, kLargest));
    font.setBold(look.bold);
    font.setItalic(look.italic);
    font.setUnderline(look.underline);
    font.setStrikeOut(look.strikethrough);
    font.setHintingPreference(QFont::PreferNoHinting);
    font.setStyleStrategy(QFont::StyleStrategy(QFont::PreferAntialias | QFont::NoSubpixelAntialias));
    return font;
}
