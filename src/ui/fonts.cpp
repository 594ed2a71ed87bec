#include "ui/fonts.h"

#include <QFontInfo>
#include <QGuiApplication>
#include <QStringList>
#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

QFont Sized(const QString& family, int pixels)
{
    QFont font(family);
    font.setPixelSize(pixels);
    return font;
}

/// As much larger as the desktop's texts are than usual.
int Followed(int pixels)
{
    constexpr double kUsual = 14;  // pixels, at most
    return int(std::lround(pixels * std::max(1.0, QFontInfo(QGuiApplication::font()).pixelSize() / kUsual)));
}

}  // namespace

void SubstituteFonts()
{
    QFont::insertSubstitution(u"Arial"_s, u"Liberation Sans"_s);
    QFont::insertSubstitution(u"Arial Narrow"_s, u"Liberation Sans Narrow"_s);
    QFont::insertSubstitution(u"Comic Sans MS"_s, u"Comic Neue"_s);
}

QFont PanelFont()
{
    return Sized(u"Arial"_s, 11);
}
QFont ButtonFont()
{
    return Sized(u"Arial Narrow"_s, 13);
}
QFont ChatFont()
{
    QFont font = Sized(u"Comic Sans MS"_s, Followed(13));
    // By name, because substitutes are looked for last: in colour what is an emoji, plain what is a sign.
    font.setFamilies({u"Comic Sans MS"_s, u"Comic Neue"_s, u"Liberation Sans"_s, u"Noto Color Emoji"_s});
    return font;
}
QFont ListFont()
{
    return Sized(u"Arial"_s, Followed(11));
}
