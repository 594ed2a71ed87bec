#include "base/text_rules.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace Qt::StringLiterals;

TEST(TextRules, WholeAndLeadingNumbers)
{
    const struct {
        const char* text;
        bool whole;
        double value, leading;
    } rows[] = {
        {"7.6", true, 7.6, 7.6}, {" -12 ", true, -12, -12}, {"+3", true, 3, 3},   {"1e3", true, 1000, 1000},
        {".5", true, 0.5, 0.5},  {"5.", true, 5, 5},        {"7x", false, 0, 7},  {"1e", false, 0, 1},
        {"abc", false, 0, 0},    {"", false, 0, 0},         {"-", false, 0, 0},   {"nan", false, 0, 0},
        {"inf", false, 0, 0},    {"0x10", false, 0, 0},     {"1,5", false, 0, 1}, {"\t4", false, 0, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        const auto whole = WholeNumber(QString::fromLatin1(row.text));
        EXPECT_EQ(whole.has_value(), row.whole);
        if (whole) {
            EXPECT_EQ(*whole, row.value);
        }
        EXPECT_EQ(LeadingNumber(QString::fromLatin1(row.text)), row.leading);
    }
    EXPECT_TRUE(std::isinf(*WholeNumber(u"1e999")));  // callers check their range
}

TEST(TextRules, SinglesReadBackAndHaveNoExponent)
{
    for (const float value : {0.0f, 120.0f, 120.5f, -0.5f, 100000.0f, 1e30f, 1.1754944e-38f, 3.4028235e38f}) {
        const QString text = SingleText(value);
        EXPECT_FALSE(text.contains(u'e')) << text.toStdString();
        EXPECT_EQ(float(*WholeNumber(text)), value) << text.toStdString();
    }
    EXPECT_EQ(SingleText(120.5f), u"120.5"_s);
}
