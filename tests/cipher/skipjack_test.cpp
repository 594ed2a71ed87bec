#include "cipher/skipjack.h"

#include <gtest/gtest.h>

#include <QRandomGenerator>

#include "cipher/code_page.h"
#include "cipher/password.h"

using namespace Qt::StringLiterals;

namespace {
const QString kVectorKey = u"00998877665544332211"_s;
}

TEST(SkipJack, PublishedVectorBothWays)
{
    const SkipJack cipher(kVectorKey);
    EXPECT_EQ(cipher.EncryptBlock(u"33221100DDCCBBAA"), u"2587CAE27A12D300"_s);
    EXPECT_EQ(cipher.EncryptHex(u"33221100ddccbbaa33221100DDCCBBAA"), u"2587CAE27A12D3002587CAE27A12D300"_s);
    EXPECT_EQ(cipher.DecryptBlock(u"2587cae27a12d300"), u"33221100DDCCBBAA"_s);
}

TEST(SkipJack, ShortBlocksAreCompletedWithZeros)
{
    const struct {
        QString shortBlock, encrypted, decrypted;
    } rows[] = {
        // read while enciphering as, and while deciphering as
        {u"41"_s, u"4100000000000000"_s, u"0041000000000000"_s},  // one character: its own rule
        {u"4142"_s, u"4142000000000000"_s, u"4142000000000000"_s},
        {u"414243"_s, u"4142004300000000"_s, u"4142430000000000"_s},
        {u"4142434445"_s, u"4142434400450000"_s, u"4142434400450000"_s},
        {u"41424344454647"_s, u"4142434445460047"_s, u"4142434445460047"_s},
        {u"4"_s, u"0400000000000000"_s, u"0004000000000000"_s},  // odd lengths: damaged text
        {u"412"_s, u"4102000000000000"_s, u"0412000000000000"_s},
        {u"4142434"_s, u"4142043400000000"_s, u"4142430400000000"_s},
        {u""_s, u"0000000000000000"_s, u"0000000000000000"_s},
        {u"4g"_s, u"4000000000000000"_s, u"0040000000000000"_s},  // no digit counts as 0
    };
    const SkipJack cipher(kVectorKey);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.shortBlock.toStdString());
        EXPECT_EQ(cipher.EncryptBlock(row.shortBlock), cipher.EncryptBlock(row.encrypted));
        EXPECT_EQ(cipher.DecryptBlock(row.shortBlock), cipher.DecryptBlock(row.decrypted));
    }
    EXPECT_EQ(cipher.EncryptHex(u""), u""_s);
}

TEST(SkipJack, KeysThatCountAsTheSame)
{
    const struct {
        QString key, same;
    } rows[] = {
        {u"KEM0181LSB8GBC6NCHCR60SD3909960308"_s, u"0E0018100B80BC60C0C0"_s},  // 20 count, no digit is 0
        {u""_s, u"00000000000000000000"_s},
        {u"abcdef"_s, u"ABCDEF00000000000000"_s},
        {u"123"_s, u"12030000000000000000"_s},  // a byte with one character is that digit
    };
    for (const auto& row : rows)
        EXPECT_EQ(SkipJack(row.key).EncryptBlock(u"4142434445464748"),
                  SkipJack(row.same).EncryptBlock(u"4142434445464748"))
            << row.key.toStdString();
    EXPECT_NE(SkipJack(u"1203"_s).EncryptBlock(u"41"), SkipJack(u"1234"_s).EncryptBlock(u"41"));
}

TEST(SkipJack, TextBecomesCodePageDigits)
{
    const struct {
        QString text, hex, back;
    } rows[] = {
        {u"A\n"_s, u"410A"_s, u"A\n"_s},
        {u"\u20ACÿ\u0178"_s, u"80FF9F"_s, u"\u20ACÿ\u0178"_s},
        {u"\u0081\u009D"_s, u"819D"_s, u"\u0081\u009D"_s},  // positions without a character of their own
        {u"\u0080я\U0001F600"_s, u"3F3F3F3F"_s, u"????"_s},
        {u"a\0b"_s, u"610062"_s, u"ab"_s},  // NUL cannot be carried
    };
    for (const auto& row : rows) {
        EXPECT_EQ(SkipJack::StringToHex(row.text), row.hex);
        EXPECT_EQ(SkipJack::HexToString(row.hex), row.back);
        EXPECT_EQ(SurvivesCodePage(row.text), row.text == row.back) << row.hex.toStdString();
    }
    EXPECT_EQ(SkipJack::HexToString(u"41004200"), u"AB"_s);
    EXPECT_EQ(SkipJack::HexToString(u"414"), u"A\u0004"_s);
    EXPECT_EQ(SkipJack::HexXor(u"F0F", u"1"), u"F0E"_s);
    EXPECT_EQ(SkipJack::HexXor(u"123456789A", u"0"), u"3456789A"_s);
}

TEST(SkipJack, RandomTextsComeBackUnderRandomKeys)
{
    const quint32 seed = QRandomGenerator::global()->generate();
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    QRandomGenerator random(seed);
    for (int i = 0; i < 500; ++i) {
        QString key, text;
        for (int n = random.bounded(25); n > 0; --n) key += QChar(char16_t(random.bounded('0', 'z')));
        for (int n = random.bounded(40); n > 0; --n) text += FromCodePage(uchar(random.bounded(1, 256)));
        const SkipJack cipher(key);
        const QString hex = cipher.EncryptHex(SkipJack::StringToHex(text));
        ASSERT_EQ(hex.size(), (text.size() + 7) / 8 * 16);
        ASSERT_EQ(SkipJack::HexToString(cipher.DecryptHex(hex.toLower())), text);
    }
}

TEST(SkipJack, PasswordsKeepInnerBlanksOnly)
{
    EXPECT_EQ(DecipherPassword(EncipherPassword(u"  s e\tcret\t "_s)), u"s e\tcret\t"_s);
    EXPECT_NE(EncipherPassword(u" secret"_s), EncipherPassword(u"secret"_s));
    EXPECT_EQ(DecipherPassword(QString()), QString());
    const QString lost = EncipherPassword(u"п1а2р3"_s);  // would be "?1?2?3" and let others in
    EXPECT_TRUE(PasswordWasLost(lost));
    EXPECT_EQ(DecipherPassword(lost), QString());
    EXPECT_FALSE(PasswordWasLost(EncipherPassword(u"why?"_s)));
}
