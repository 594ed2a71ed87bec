#include "cipher/code_page.h"

#include <algorithm>
#include <array>

namespace {

constexpr uchar kFirst = 0x80;  // where the code page leaves Latin-1, for 32 positions
constexpr std::array<char16_t, 32> kTable = {0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                             0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                             0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                             0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

bool InTable(unsigned code)
{
    return code >= kFirst && code < kFirst + kTable.size();
}

}  // namespace

std::optional<uchar> ToCodePage(QChar character)
{
    const char16_t unit = character.unicode();
    if (unit <= 0xFF && !InTable(unit)) return uchar(unit);
    const auto* at = std::find(kTable.begin(), kTable.end(), unit);
    if (at == kTable.end()) return std::nullopt;
    return uchar(kFirst + (at - kTable.begin()));
}

QByteArray ToCodePage(const QString& text)
{
    QByteArray codes;
    codes.reserve(text.size());
    for (const QChar character : text) codes.append(char(ToCodePage(character).value_or('?')));
    return codes;
}

QChar FromCodePage(uchar code)
{
    return QChar(InTable(code) ? kTable[code - kFirst] : char16_t(code));
}

bool SurvivesCodePage(QChar character)
{
    return ToCodePage(character).value_or(0) != 0;
}

bool SurvivesCodePage(const QString& text)
{
    return std::all_of(text.begin(), text.end(), [](QChar character) { return SurvivesCodePage(character); });
}
