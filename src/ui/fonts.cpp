#include "ui/fonts.h"

using namespace Qt::StringLiterals;

namespace {

QFont Sized(const QString& family, int pixels)
{
    QFont font(family);
    font.setPixelSize(pixels);
    return font;
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
    return Sized(u"Comic Sans MS"_s, 13);
}
