// What strangers write, where it is shown as plain text: nothing unseen gets through, everything seen does.

#include "text/one_line.h"

#include <gtest/gtest.h>
#include <unicode/uchar.h>

#include <tuple>

namespace {

/// What a person cannot see, by the tables of another maker.
bool Invisible(UChar32 c)
{
    switch (u_charType(c)) {
        case U_CONTROL_CHAR:
        case U_FORMAT_CHAR:
        case U_LINE_SEPARATOR:
        case U_PARAGRAPH_SEPARATOR:
        case U_SURROGATE: return true;
        default: break;
    }
    return u_hasBinaryProperty(c, UCHAR_DEFAULT_IGNORABLE_CODE_POINT) != 0 ||
           u_hasBinaryProperty(c, UCHAR_NONCHARACTER_CODE_POINT) != 0;
}

TEST(OneLine, SeesEveryCharacterAsUnicodeDoes)
{
    for (UChar32 c = 0; c <= 0x10ffff; ++c)
        ASSERT_EQ(IsUnseen(static_cast<char32_t>(c)), Invisible(c)) << std::hex << c;
    EXPECT_TRUE(IsUnseen(0x110000));
}

TEST(OneLine, ShowsWhatDoesNotShowItself)
{
    using std::string_view_literals::operator""sv;
    const std::tuple<std::string_view, const char*, const char*> rows[] = {
        {"", "", "nothing"},
        {"<b>O'Neil</b> & 50 % \\n", "<b>O'Neil</b> & 50 % \\n", "markup, marks and a typed backslash stay"},
        {"J\xc3\xbcrgen \xe6\xbc\xa2 \xd7\xa9\xd7\x9c \xf0\x9f\x98\x80",
         "J\xc3\xbcrgen \xe6\xbc\xa2 \xd7\xa9\xd7\x9c \xf0\x9f\x98\x80", "letters of every script stay"},
        {"a\r\nb: c\td", "a\\r\\nb: c\\td", "a forged line"},
        {"\x1b]0;title\x07"sv, "\\x1b]0;title\\x07", "a terminal's command"},
        {"a\0b\x7f"sv, "a\\x00b\\x7f", "first and last of the old controls"},
        {"\u0080\u009b2J\u009f\u00a0", "\\u0080\\u009b2J\\u009f\u00a0", "C1, the blank behind them stays"},
        {"\u202egnp\u202c\u2066\u061c", "\\u202egnp\\u202c\\u2066\\u061c", "writing direction"},
        {"\xf3\xa0\x81\x81", "\\U000e0041", "a tag"},
        {"\xf4\x8f\xbf\xbf\xf4\x90\x80\x80", "\\U0010ffff\\xf4\\x90\\x80\\x80",
         "the last one and one beyond"},
        {"\xc0\x8a\xe0\x80\x8a\xf0\x80\x80\x8a", "\\xc0\\x8a\\xe0\\x80\\x8a\\xf0\\x80\\x80\\x8a",
         "overlong line breaks"},
        {"\xed\xa0\x80", "\\xed\\xa0\\x80", "a coded surrogate"},
        {"\x9b\x61\xff", "\\x9ba\\xff", "stray bytes"},
        {"\xe2\x80\x61\xe2\x80\n\xe2\x80", "\\xe2\\x80a\\xe2\\x80\\n\\xe2\\x80", "cut off, also at the end"},
    };
    for (const auto& [text, shown, reason] : rows) {
        SCOPED_TRACE(reason);
        EXPECT_EQ(OneLine(text), shown);
        EXPECT_EQ(OneLine(OneLine(text)), shown) << "twice";
    }
}

TEST(OneLine, LeavesJsonTheSameData)
{
    EXPECT_EQ(JsonWithEscapes(
                  "{\"a\": \"\\n\x7f\xc2\x9b\xe2\x80\xae\xf3\xa0\x81\x81 \xf0\x9f\x98\x80\xc3\xbc\"}\n"),
              "{\"a\": \"\\n\\u007f\\u009b\\u202e\\udb40\\udc41 \xf0\x9f\x98\x80\xc3\xbc\"}\n");
}

}  // namespace
