#include "service/net/spare_parts.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

#include "service/net/live_parts.h"

namespace zephyl {
namespace {

using Element = unsigned char;

constexpr unsigned kPolynomial = 0x11d;
constexpr double kHardlyAny = 0.005, kMostLost = 0.35;
constexpr double kSurely = 2.5;  // standard deviations

struct Tables {
    std::array<Element, 510> power{};
    std::array<Element, 256> logarithm{};
};

constexpr Tables MakeTables()
{
    Tables tables;
    unsigned value = 1;
    for (unsigned i = 0; i < 255; ++i) {
        tables.power[i] = tables.power[i + 255] = static_cast<Element>(value);
        tables.logarithm[value] = static_cast<Element>(i);
        value <<= 1;
        if (value > 255) value ^= kPolynomial;
    }
    return tables;
}
constexpr Tables kTables = MakeTables();

Element Product(Element a, Element b)
{
    return a && b ? kTables.power[kTables.logarithm[a] + std::size_t{kTables.logarithm[b]}] : Element{0};
}

Element Inverse(Element a)
{
    return kTables.power[255 - std::size_t{kTables.logarithm[a]}];
}

/// Of the part in the spare part: no two rows of these depend on each other.
Element Factor(std::size_t spare, std::size_t part)
{
    return Inverse(static_cast<Element>((kMostWholeParts + spare) ^ part));
}

/// to += factor * from
void Add(char* to, std::string_view from, Element factor)
{
    if (factor == 0) return;
    std::array<char, 256> times;
    for (unsigned i = 0; i < 256; ++i) times[i] = static_cast<char>(Product(static_cast<Element>(i), factor));
    for (std::size_t i = 0; i < from.size(); ++i)
        to[i] = static_cast<char>(to[i] ^ times[static_cast<Element>(from[i])]);
}

void Multiply(std::string& part, Element factor)
{
    std::string product(part.size(), '\0');
    Add(product.data(), part, factor);
    part = std::move(product);
}

/// Without those parts; a bit for each.
void AddParts(std::string& spare, std::size_t index, std::string_view frame, std::uint64_t without)
{
    for (std::size_t part = 0; part * kPartBytes < frame.size(); ++part)
        if ((without >> part & 1) == 0)
            Add(spare.data(), frame.substr(part * kPartBytes, kPartBytes), Factor(index, part));
}

}  // namespace

std::string SparePart(std::string_view frame, std::size_t index)
{
    std::string spare(kPartBytes, '\0');
    AddParts(spare, index, frame, 0);
    return spare;
}

// What is known is taken out of the spare parts; what is left are as many equations as parts are missing.
void RestoreParts(std::string& frame, std::uint64_t missing,
                  std::vector<std::pair<std::size_t, std::string>> spares)
{
    std::vector<std::size_t> lost;
    for (std::uint64_t rest = missing; rest != 0; rest &= rest - 1)
        lost.push_back(static_cast<std::size_t>(std::countr_zero(rest)));
    std::vector<std::vector<Element>> factors;
    for (auto& [index, spare] : spares) {
        AddParts(spare, index, frame, missing);
        factors.emplace_back();
        for (const std::size_t part : lost) factors.back().push_back(Factor(index, part));
    }
    for (std::size_t column = 0; column < lost.size(); ++column) {
        std::size_t row = column;
        while (factors[row][column] == 0) ++row;  // there is one: no row depends on the others
        std::swap(factors[row], factors[column]);
        std::swap(spares[row].second, spares[column].second);
        const Element by = Inverse(factors[column][column]);
        for (Element& factor : factors[column]) factor = Product(factor, by);
        Multiply(spares[column].second, by);
        for (std::size_t other = 0; other < lost.size(); ++other) {
            const Element times = factors[other][column];
            if (other == column || times == 0) continue;
            for (std::size_t k = 0; k < lost.size(); ++k)
                factors[other][k] ^= Product(factors[column][k], times);
            Add(spares[other].second.data(), spares[column].second, times);
        }
    }
    for (std::size_t i = 0; i < lost.size(); ++i) {
        const std::size_t at = lost[i] * kPartBytes;
        frame.replace(at, kPartBytes, spares[i].second, 0, std::min(kPartBytes, frame.size() - at));
    }
}

std::size_t SparesFor(std::size_t parts, double lost)
{
    if (lost < kHardlyAny) return 0;
    const double share = std::min(lost, kMostLost), count = static_cast<double>(parts);
    const double meant = count * share / (1 - share);
    const double spares = meant + kSurely * std::sqrt(meant / (1 - share));
    return std::clamp<std::size_t>(static_cast<std::size_t>(std::ceil(spares)), 1, kMostSpares);
}

}  // namespace zephyl
