#include "text/text_rules.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace Qt::StringLiterals;

TEST(TextRules, WholeAndLeadingNumbers)
{
    constexpr double kInf = HUGE_VAL;
    const struct {
        const char* text;
        bool whole;
        double value, leading;
    } rows[] = {
        {"7.6", true, 7.6, 7.6},
        {" -12 ", true, -12, -12},
        {"+3", true, 3, 3},
        {"1e3", true, 1000, 1000},
        {".5", true, 0.5, 0.5},
        {"5.", true, 5, 5},
        {"7x", false, 0, 7},
        {"1e", false, 0, 1},
        {"abc", false, 0, 0},
        {"", false, 0, 0},
        {"-", false, 0, 0},
        {"nan", false, 0, 0},
        {"inf", false, 0, 0},
        {"0x10", false, 0, 0},
        {"1,5", false, 0, 1},
        {"\t4", false, 0, 0},
        // At the ends of what there is: callers check their range, and nothing small is far away.
        {"1e308", true, 1e308, 1e308},
        {"5e-324", true, 5e-324, 5e-324},
        {"1e-400", true, 0, 0},
        {"-1e-400", true, 0, 0},
        {"1E-99999999999999999999", true, 0, 0},
        {"0e999", true, 0, 0},
        {"1e999", true, kInf, kInf},
        {"-1e999", true, -kInf, -kInf},
        {"1e99999999999999999999", true, kInf, kInf},
        {"0.0001e400", true, kInf, kInf},
        {"1000000e-400", true, 0, 0},
        {"1e0000000000000000000000001", true, 10, 10},
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
    const QString zeros(400, u'0');
    EXPECT_EQ(WholeNumber(u"0."_s + zeros + u"1"_s), 0);
    EXPECT_EQ(WholeNumber(u"0."_s + zeros + u"1e401"_s), 1);
    EXPECT_EQ(WholeNumber(u'1' + zeros), kInf);
    EXPECT_EQ(WholeNumber(u'1' + zeros + u"e-400"_s), 1);
}

TEST(TextRules, HalvesGoToTheEvenNeighbour)
{
    const std::pair<double, double> rows[] = {{0.5, 0}, {1.5, 2}, {2.5, 2}, {-2.5, -2}, {2.500001, 3}};
    for (const auto& [value, rounded] : rows) EXPECT_EQ(RoundHalfEven(value), rounded) << value;
}

TEST(TextRules, SinglesReadBackAndHaveNoExponent)
{
    for (const float value :
         {0.0f, 120.0f, 120.5f, -0.5f, 100000.0f, 1e30f, 1.1754944e-38f, 1e-45f, 3.4028235e38f}) {
        const QString text = SingleText(value);
        EXPECT_FALSE(text.contains(u'e')) << text.toStdString();
        EXPECT_EQ(float(*WholeNumber(text)), value) << text.toStdString();
    }
    EXPECT_EQ(SingleText(120.5f), u"120.5"_s);
}
