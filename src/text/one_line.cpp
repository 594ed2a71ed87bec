#include "text/one_line.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace {

struct Range {
    char32_t first, last;
};

// Unicode 15: general categories Cc, Cf, Zl, Zp, Cs and everything default-ignorable. Its noncharacters at
// the end of each plane are left to a formula.
constexpr Range kUnseen[] = {
    {0x0, 0x1f},        {0x7f, 0x9f},       {0xad, 0xad},       {0x34f, 0x34f},     {0x600, 0x605},
    {0x61c, 0x61c},     {0x6dd, 0x6dd},     {0x70f, 0x70f},     {0x890, 0x891},     {0x8e2, 0x8e2},
    {0x115f, 0x1160},   {0x17b4, 0x17b5},   {0x180b, 0x180f},   {0x200b, 0x200f},   {0x2028, 0x202e},
    {0x2060, 0x206f},   {0x3164, 0x3164},   {0xd800, 0xdfff},   {0xfdd0, 0xfdef},   {0xfe00, 0xfe0f},
    {0xfeff, 0xfeff},   {0xffa0, 0xffa0},   {0xfff0, 0xfffb},   {0x110bd, 0x110bd}, {0x110cd, 0x110cd},
    {0x13430, 0x1343f}, {0x1bca0, 0x1bca3}, {0x1d173, 0x1d17a}, {0xe0000, 0xe0fff},
};
constexpr char32_t kLast = 0x10ffff;

std::string Hex(char32_t value, int digits)
{
    std::string text(static_cast<std::size_t>(digits), '0');
    for (auto at = text.rbegin(); at != text.rend(); ++at, value >>= 4) *at = "0123456789abcdef"[value & 0xf];
    return text;
}

std::string ByteEscape(unsigned char byte)
{
    return "\\x" + Hex(byte, 2);
}

/// The next character and how many bytes it takes; `valid` is false for one byte that belongs to none.
struct Taken {
    char32_t c;
    std::size_t bytes;
    bool valid;
};

Taken Take(std::string_view text)
{
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) return {lead, 1, true};
    const std::size_t length = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
    const Taken broken{lead, 1, false};
    if (lead < 0xc2 || lead > 0xf4 || text.size() < length) return broken;
    char32_t c = lead & (0xffU >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0) != 0x80) return broken;
        c = c << 6 | (byte(i) & 0x3fU);
    }
    constexpr std::array<char32_t, 5> smallest{0, 0, 0x80, 0x800, 0x10000};
    if (c < smallest[length] || c > kLast || (c >= 0xd800 && c <= 0xdfff)) return broken;
    return {c, length, true};
}

std::string JsonEscape(char32_t c)
{
    if (c <= 0xffff) return "\\u" + Hex(c, 4);
    c -= 0x10000;
    return "\\u" + Hex(0xd800 + (c >> 10), 4) + "\\u" + Hex(0xdc00 + (c & 0x3ff), 4);
}

}  // namespace

bool IsUnseen(char32_t c)
{
    if (c > kLast || (c & 0xfffe) == 0xfffe) return true;
    const auto* range = std::lower_bound(std::begin(kUnseen), std::end(kUnseen), c,
                                         [](const Range& r, char32_t value) { return r.last < value; });
    return range != std::end(kUnseen) && range->first <= c;
}

std::string Escape(char32_t c)
{
    if (c == U'\n') return "\\n";
    if (c == U'\r') return "\\r";
    if (c == U'\t') return "\\t";
    if (c < 0x80) return ByteEscape(static_cast<unsigned char>(c));
    return c <= 0xffff ? "\\u" + Hex(c, 4) : "\\U" + Hex(c, 8);
}

std::string OneLine(std::string_view utf8)
{
    std::string line;
    line.reserve(utf8.size());
    while (!utf8.empty()) {
        const Taken next = Take(utf8);
        if (!next.valid)
            line += ByteEscape(static_cast<unsigned char>(next.c));
        else if (IsUnseen(next.c))
            line += Escape(next.c);
        else
            line += utf8.substr(0, next.bytes);
        utf8.remove_prefix(next.bytes);
    }
    return line;
}

std::string JsonWithEscapes(std::string_view json)
{
    std::string out;
    out.reserve(json.size());
    while (!json.empty()) {
        const Taken next = Take(json);
        if (next.valid && next.c >= 0x7f && IsUnseen(next.c))
            out += JsonEscape(next.c);
        else
            out += json.substr(0, next.bytes);
        json.remove_prefix(next.bytes);
    }
    return out;
}
