#include "platform/linux/yuv_meaning.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>
#include <vector>

namespace {

constexpr int kBits = 16;
constexpr int kHalf = 1 << (kBits - 1);

/// new Y = y * (Y - black) + yu * u + yv * v; new u = uu * u + uv * v; new v = vu * u + vv * v; u and v
/// around 0. In fixed point.
struct Factors {
    int black, y, yu, yv, uu, uv, vu, vv;
};

Factors FactorsOf(const YuvMeaning& from)
{
    constexpr YuvMeaning to;
    const double y = from.studio ? 255.0 / 219 : 1, chroma = from.studio ? 255.0 / 224 : 1;
    const double blue = chroma * (2 - 2 * from.blue), red = chroma * (2 - 2 * from.red);  // B = Y + blue * u
    const double green = (1 - to.red - to.blue) / (1 - from.red - from.blue);
    const double yu = blue * (to.blue - green * from.blue), yv = red * (to.red - green * from.red);
    const double u = 2 - 2 * to.blue, v = 2 - 2 * to.red;
    const auto fixed = [](double factor) { return int(std::lround(factor * (1 << kBits))); };
    return {from.studio ? 16 : 0,   fixed(y),       fixed(yu),      fixed(yv),
            fixed((blue - yu) / u), fixed(-yv / u), fixed(-yu / v), fixed((red - yv) / v)};
}

uchar Level(int fixed)
{
    return uchar(std::clamp(fixed >> kBits, 0, 255));
}

/// The row of colours, and what each of them adds to the luminance of its pixels.
void TurnColours(uchar* us, uchar* vs, std::vector<int>& added, const Factors& by)
{
    for (size_t i = 0; i < added.size(); ++i) {
        const int u = us[i] - 128, v = vs[i] - 128;
        us[i] = Level(by.uu * u + by.uv * v + (128 << kBits) + kHalf);
        vs[i] = Level(by.vu * u + by.vv * v + (128 << kBits) + kHalf);
        added[i] = by.yu * u + by.yv * v - by.y * by.black + kHalf;
    }
}

void TurnLuminance(uchar* row, int width, const std::vector<int>& added, int factor)
{
    for (int x = 0; x < width; ++x) row[x] = Level(factor * row[x] + added[size_t(x) / 2]);
}

/// Levels around `black` become levels around `to`. By a table, since a frame has many more pixels than
/// levels.
void Turn(std::span<uchar> plane, int factor, int black, int to)
{
    std::array<uchar, 256> table;
    for (int level = 0; level < 256; ++level)
        table[size_t(level)] = Level(factor * (level - black) + (to << kBits) + kHalf);
    for (uchar& level : plane) level = table[level];
}

}  // namespace

void ToJpegMeaning(I420Picture& picture, const YuvMeaning& meaning)
{
    const Factors by = FactorsOf(meaning);
    const int width = picture.width, height = picture.height, half = (width + 1) / 2;
    const auto pixels = size_t(width) * size_t(height), colours = size_t(half) * size_t((height + 1) / 2);
    auto* luma = reinterpret_cast<uchar*>(picture.bytes.data());
    uchar* u = luma + pixels;
    uchar* v = u + colours;
    if (by.yu == 0 && by.yv == 0) {  // the same weights: each plane by itself
        if (!meaning.studio) return;
        Turn({luma, pixels}, by.y, by.black, 0);
        return Turn({u, 2 * colours}, by.uu, 128, 128);
    }
    std::vector<int> added(static_cast<size_t>(half));
    for (int y = 0; y < height; ++y) {
        if (y % 2 == 0) TurnColours(u + y / 2 * half, v + y / 2 * half, added, by);
        TurnLuminance(luma + qsizetype(y) * width, width, added, by.y);
    }
}
