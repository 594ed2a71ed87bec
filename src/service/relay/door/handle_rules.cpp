#include "service/relay/door/handle_rules.h"

#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/uspoof.h>

#include <memory>
#include <stdexcept>

namespace zephyl {
namespace {

constexpr int kHandleCharacters = 32;
constexpr std::size_t kHandleBytes = 4 * kHandleCharacters + 64;  // before anything is normalised
constexpr std::size_t kLeastCode = 6, kMostCode = 20;

struct CloseChecker {
    void operator()(USpoofChecker* checker) const { uspoof_close(checker); }
};

std::string_view Trim(std::string_view text)
{
    const std::size_t from = text.find_first_not_of(' ');
    if (from == std::string_view::npos) return {};
    return text.substr(from, text.find_last_not_of(' ') - from + 1);
}

std::string Utf8(const icu::UnicodeString& text)
{
    std::string out;
    text.toUTF8String(out);
    return out;
}

bool Allowed(UChar32 c)
{
    if (c == ' ' || c == '.' || c == '_' || c == '-') return true;
    // Marks belong to the letters of many scripts; what only hides (default ignorable) does not.
    const int category = u_charType(c);
    const bool mark = category == U_NON_SPACING_MARK || category == U_COMBINING_SPACING_MARK;
    return (u_isalnum(c) || mark) && !u_hasBinaryProperty(c, UCHAR_DEFAULT_IGNORABLE_CODE_POINT);
}

bool AllAllowed(const icu::UnicodeString& text)
{
    if (text.isEmpty() || text.countChar32() > kHandleCharacters) return false;
    for (int32_t i = 0; i < text.length(); i = text.moveIndex32(i, 1))
        if (!Allowed(text.char32At(i))) return false;
    // "." and "-x" would be taken for a folder and for an option.
    return u_isalnum(text.char32At(0)) && text.char32At(text.length() - 1) != ' ';
}

icu::UnicodeString Skeleton(const icu::UnicodeString& text)
{
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<USpoofChecker, CloseChecker> checker(uspoof_open(&status));
    icu::UnicodeString skeleton;
    uspoof_getSkeletonUnicodeString(checker.get(), 0, text, skeleton, &status);
    if (U_FAILURE(status))
        throw std::runtime_error(std::string("no look-alike data: ") + u_errorName(status));
    return skeleton;
}

struct Spelt {
    icu::UnicodeString text, folded;
};

std::optional<Spelt> Spell(std::string_view utf8)
{
    if (utf8.size() > kHandleBytes) return std::nullopt;
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* nfc = icu::Normalizer2::getNFCInstance(status);
    if (U_FAILURE(status)) throw std::runtime_error("no normalisation data");
    const std::string_view trimmed = Trim(utf8);
    const icu::UnicodeString text = nfc->normalize(
        icu::UnicodeString::fromUTF8(icu::StringPiece(trimmed.data(), static_cast<int32_t>(trimmed.size()))),
        status);
    if (U_FAILURE(status) || !AllAllowed(text)) return std::nullopt;
    icu::UnicodeString folded = text;
    folded.foldCase();
    folded = nfc->normalize(folded, status);
    return Spelt{text, folded};
}

}  // namespace

std::optional<HandleForms> ReadHandle(std::string_view utf8)
{
    const std::optional<Spelt> spelt = Spell(utf8);
    if (!spelt) return std::nullopt;
    return HandleForms{Utf8(spelt->text), Utf8(spelt->folded), Utf8(Skeleton(spelt->folded))};
}

std::optional<std::string> HandleKey(std::string_view utf8)
{
    const std::optional<Spelt> spelt = Spell(utf8);
    return spelt ? std::optional(Utf8(spelt->folded)) : std::nullopt;
}

std::string MeetingCodeKey(std::string_view code)
{
    std::string key(Trim(code));
    if (key.size() < kLeastCode || key.size() > kMostCode) return {};
    for (char& c : key) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        const bool letter = c >= 'a' && c <= 'z', digit = c >= '0' && c <= '9';
        if (!letter && !digit) return {};
    }
    return key;
}

}  // namespace zephyl
