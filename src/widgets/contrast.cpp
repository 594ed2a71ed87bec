#include "widgets/contrast.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kLeastOnDark = 6;
constexpr double kDark = 0.18;  // luminance of middle grey

double Linear(double channel)
{
    return channel <= 0.03928 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
}

double Luminance(const QColor& colour)
{
    return 0.2126 * Linear(colour.redF()) + 0.7152 * Linear(colour.greenF()) +
           0.0722 * Linear(colour.blueF());
}

/// What is seen of it there.
QColor Over(const QColor& paper, const QColor& ink)
{
    const auto mix = [part = ink.alphaF()](float a, float b) { return a * part + b * (1 - part); };
    return QColor::fromRgbF(mix(ink.redF(), paper.redF()), mix(ink.greenF(), paper.greenF()),
                            mix(ink.blueF(), paper.blueF()));
}

}  // namespace

double Contrast(const QColor& ink, const QColor& paper)
{
    const auto [darker, lighter] = std::minmax({Luminance(Over(paper, ink)), Luminance(paper)});
    return (lighter + 0.05) / (darker + 0.05);
}

QColor ReadableOn(const QColor& given, const QColor& paper, double onLight)
{
    const QColor ink = Over(paper, given);
    constexpr int kStep = 5;
    const bool dark = Luminance(paper) < kDark;
    QColor shade = ink;
    for (int lightness = ink.lightness(); lightness >= 0 && lightness <= 255;
         lightness += dark ? kStep : -kStep) {
        if (lightness != ink.lightness()) shade.setHsl(ink.hslHue(), ink.hslSaturation(), lightness);
        if (Contrast(shade, paper) >= (dark ? kLeastOnDark : onLight)) return shade;
    }
    return dark ? QColor(Qt::white) : QColor(Qt::black);
}
