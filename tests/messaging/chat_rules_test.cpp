#include "messaging/chat_rules.h"

#include <gtest/gtest.h>

#include "service/wire/limits.h"

using namespace Qt::StringLiterals;

static_assert(kTypedTextBytes == qsizetype(zephyl::kTypedTextBytes));

TEST(ChatLine, IsOneParagraphWhateverItSays)
{
    const struct {
        QString text, shown;
    } rows[] = {
        {u"hi"_s, u"eve: hi"_s},
        {u"a\tb"_s, u"eve: a\tb"_s},
        {u"x\r\nann: y"_s, u"eve: x\u2028ann: y"_s},  // no forged line
        {u"x\ny\rz\u0085q\u2029w\v\f!"_s, u"eve: x\u2028y\u2028z\u2028q\u2028w\u2028\u2028!"_s},
        {u"a\0b\x1b[31m\u009bc\x7f"_s, u"eve: ab[31mc"_s},    // terminal escapes
        {u"a\uFDD0b\uFDD1c\uFFFC"_s, u"eve: abc"_s},          // ends of frames, objects
        {u"\u202Etxt.exe\u202C\u2066"_s, u"eve: txt.exe"_s},  // overrides
        {u"<b>no</b> &amp;"_s, u"eve: <b>no</b> &amp;"_s},
        {u"\u05D0\u05D1"_s, u"eve: \u2068\u05D0\u05D1\u2069"_s},  // right to left: kept to itself
        {u"\u05D0\nb"_s, u"eve: \u2068\u05D0\u2069\u2028b"_s},
        {u"a"_s + QChar(0xD83D) + u"b"_s, u"eve: a\uFFFDb"_s},  // half of an emoji
        {u"e"_s + QString(200, QChar(0x301)) + u"f\u0301"_s,
         u"eve: e"_s + QString(8, QChar(0x301)) + u"f\u0301"_s},
    };
    for (const auto& row : rows)
        EXPECT_EQ(LineFor(u"ann"_s, u"eve"_s, row.text).text, row.shown) << row.text.toStdString();
    EXPECT_EQ(LineFor(u"ann"_s, u"Ann"_s, u"x"_s).colour, 16711680u);  // one's own colour is nobody else's
    EXPECT_EQ(WithoutIsolates(LineFor(u"ann"_s, u"\u05D0"_s, u"\u05D1"_s).text), u"\u05D0: \u05D1"_s);
    EXPECT_EQ(LineFor(u"ann"_s, u"e\nann"_s, u"x"_s).text, u"e ann: x"_s);
}

TEST(ChatSending, CutsWhatGoesOverTheLimit)
{
    const QString smile = u"\U0001F600"_s;  // two units, four bytes
    const struct {
        QString text;
        qsizetype end, over;
        const char* why;
    } rows[] = {
        {u"abcd"_s, 4, 0, "just fits"},
        {u"abcde"_s, 5, 1, "one too many"},
        {u"abcde"_s, 2, 1, "put into the middle"},
        {u"abc\u00E9"_s, 4, 1, "two bytes"},
        {smile + u"a"_s, 2, 2, "pairs stay together"},
        {u"abcdefgh"_s, 2, 2, "never more than the piece"},
        {u"ab\n"_s, 3, 0, "a break leaves as two"},
        {u"abc\n"_s, 4, 1, "and goes as two"},
        {u""_s, 0, 0, "empty"},
    };
    for (const auto& row : rows) EXPECT_EQ(UnitsOverLimit(row.text, row.end, 4), row.over) << row.why;
}

TEST(ChatBox, ForgetsInSteps)
{
    EXPECT_EQ(LinesToDrop(10'499, 1000), 0);
    EXPECT_EQ(LinesToDrop(10'500, 1000), 500);
    EXPECT_EQ(LinesToDrop(60, 1024 * 1024), 0);
    EXPECT_EQ(LinesToDrop(60, 1024 * 1024 + 1), 30);
    EXPECT_EQ(LinesToDrop(1, 2 * 1024 * 1024), 1);
}
