#include "cipher/skipjack.h"

#include <algorithm>

#include "cipher/code_page.h"

namespace {

constexpr int kRounds = 32;
constexpr int kRunLength = 8;  // rules A and B take turns after so many rounds
constexpr qsizetype kBlockDigits = 16;
constexpr qsizetype kWordDigits = 4;
constexpr qsizetype kKeyBytes = 10;

constexpr std::array<uchar, 256> kFTable = {
    0xA3, 0xD7, 0x09, 0x83, 0xF8, 0x48, 0xF6, 0xF4, 0xB3, 0x21, 0x15, 0x78, 0x99, 0xB1, 0xAF, 0xF9,
    0xE7, 0x2D, 0x4D, 0x8A, 0xCE, 0x4C, 0xCA, 0x2E, 0x52, 0x95, 0xD9, 0x1E, 0x4E, 0x38, 0x44, 0x28,
    0x0A, 0xDF, 0x02, 0xA0, 0x17, 0xF1, 0x60, 0x68, 0x12, 0xB7, 0x7A, 0xC3, 0xE9, 0xFA, 0x3D, 0x53,
    0x96, 0x84, 0x6B, 0xBA, 0xF2, 0x63, 0x9A, 0x19, 0x7C, 0xAE, 0xE5, 0xF5, 0xF7, 0x16, 0x6A, 0xA2,
    0x39, 0xB6, 0x7B, 0x0F, 0xC1, 0x93, 0x81, 0x1B, 0xEE, 0xB4, 0x1A, 0xEA, 0xD0, 0x91, 0x2F, 0xB8,
    0x55, 0xB9, 0xDA, 0x85, 0x3F, 0x41, 0xBF, 0xE0, 0x5A, 0x58, 0x80, 0x5F, 0x66, 0x0B, 0xD8, 0x90,
    0x35, 0xD5, 0xC0, 0xA7, 0x33, 0x06, 0x65, 0x69, 0x45, 0x00, 0x94, 0x56, 0x6D, 0x98, 0x9B, 0x76,
    0x97, 0xFC, 0xB2, 0xC2, 0xB0, 0xFE, 0xDB, 0x20, 0xE1, 0xEB, 0xD6, 0xE4, 0xDD, 0x47, 0x4A, 0x1D,
    0x42, 0xED, 0x9E, 0x6E, 0x49, 0x3C, 0xCD, 0x43, 0x27, 0xD2, 0x07, 0xD4, 0xDE, 0xC7, 0x67, 0x18,
    0x89, 0xCB, 0x30, 0x1F, 0x8D, 0xC6, 0x8F, 0xAA, 0xC8, 0x74, 0xDC, 0xC9, 0x5D, 0x5C, 0x31, 0xA4,
    0x70, 0x88, 0x61, 0x2C, 0x9F, 0x0D, 0x2B, 0x87, 0x50, 0x82, 0x54, 0x64, 0x26, 0x7D, 0x03, 0x40,
    0x34, 0x4B, 0x1C, 0x73, 0xD1, 0xC4, 0xFD, 0x3B, 0xCC, 0xFB, 0x7F, 0xAB, 0xE6, 0x3E, 0x5B, 0xA5,
    0xAD, 0x04, 0x23, 0x9C, 0x14, 0x51, 0x22, 0xF0, 0x29, 0x79, 0x71, 0x7E, 0xFF, 0x8C, 0x0E, 0xE2,
    0x0C, 0xEF, 0xBC, 0x72, 0x75, 0x6F, 0x37, 0xA1, 0xEC, 0xD3, 0x8E, 0x62, 0x8B, 0x86, 0x10, 0xE8,
    0x08, 0x77, 0x11, 0xBE, 0x92, 0x4F, 0x24, 0xC5, 0x32, 0x36, 0x9D, 0xCF, 0xF3, 0xA6, 0xBB, 0xAC,
    0x5E, 0x6C, 0xA9, 0x13, 0x57, 0x25, 0xB5, 0xE3, 0xBD, 0xA8, 0x3A, 0x01, 0x05, 0x59, 0x2A, 0x46};

constexpr char kDigits[] = "0123456789ABCDEF";

unsigned DigitValue(QChar c)
{
    const char16_t u = c.unicode();
    if (u >= u'0' && u <= u'9') return u - u'0';
    if (u >= u'A' && u <= u'F') return u - u'A' + 10U;
    if (u >= u'a' && u <= u'f') return u - u'a' + 10U;
    return 0;
}

quint16 FromRight(QStringView digits)
{
    unsigned value = 0;
    for (const QChar c : digits) value = value << 4U | DigitValue(c);
    return quint16(value);
}

/// High byte from the first two digits, low byte from the others, as the G permutation cuts a short word.
quint16 FromLeft(QStringView digits)
{
    const qsizetype high = std::min<qsizetype>(digits.size(), 2);
    return quint16(FromRight(digits.first(high)) << 8U | FromRight(digits.sliced(high)));
}

/// `first`: the index of the word that enters the first round through G.
std::array<quint16, 4> CutBlock(QStringView block, std::size_t first)
{
    std::array<quint16, 4> words{};
    for (std::size_t i = 0; i < words.size(); ++i) {
        const QStringView digits = block.mid(qsizetype(i) * kWordDigits, kWordDigits);
        words[i] = i == first ? FromLeft(digits) : FromRight(digits);
    }
    return words;
}

/// Writes four digits behind `to` and moves it past them.
void PutWord(QChar*& to, unsigned word)
{
    for (unsigned shift = 16; shift > 0; shift -= 4) *to++ = QLatin1Char(kDigits[word >> (shift - 4) & 15U]);
}

template <class Cipher>
QString BlockByBlock(QStringView hex, std::size_t first, Cipher&& cipher)
{
    const qsizetype blocks = (hex.size() + kBlockDigits - 1) / kBlockDigits;
    QString out(blocks * kBlockDigits, Qt::Uninitialized);
    QChar* to = out.data();
    for (qsizetype at = 0; at < hex.size(); at += kBlockDigits)
        for (const quint16 word : cipher(CutBlock(hex.mid(at, kBlockDigits), first))) PutWord(to, word);
    return out;
}

bool IsRuleA(int round)
{
    return round / kRunLength % 2 == 0;
}

}  // namespace

void SkipJack::InitSkipjack(QStringView key)
{
    for (std::size_t i = 0; i < mExpandedKey.size(); ++i)
        mExpandedKey[i] = uchar(FromRight(key.mid(qsizetype(i) % kKeyBytes * 2, 2)));
}

QString SkipJack::StringToHex(const QString& text)
{
    QString hex(text.size() * 2, Qt::Uninitialized);
    QChar* to = hex.data();
    for (const QChar c : text) {
        const unsigned code = ToCodePage(c).value_or('?');
        *to++ = QLatin1Char(kDigits[code >> 4U]);
        *to++ = QLatin1Char(kDigits[code & 15U]);
    }
    return hex;
}

QString SkipJack::HexToString(QStringView hex)
{
    QString text;
    text.reserve(hex.size() / 2 + 1);
    for (qsizetype at = 0; at < hex.size(); at += 2)
        if (const uchar code = uchar(FromRight(hex.mid(at, 2)))) text += FromCodePage(code);
    return text;
}

QString SkipJack::EncryptHex(QStringView hex) const
{
    return BlockByBlock(hex, 0, [this](const Words& words) { return Encrypt(words); });
}

QString SkipJack::DecryptHex(QStringView hex) const
{
    return BlockByBlock(hex, 1, [this](const Words& words) { return Decrypt(words); });
}

QString SkipJack::EncryptBlock(QStringView block) const
{
    return EncryptHex(block.isEmpty() ? u"0" : block.first(std::min(block.size(), kBlockDigits)));
}

QString SkipJack::DecryptBlock(QStringView block) const
{
    return DecryptHex(block.isEmpty() ? u"0" : block.first(std::min(block.size(), kBlockDigits)));
}

quint16 SkipJack::GPermutation(quint16 word, int round) const
{
    const uchar* cv = mExpandedKey.data() + 4 * round;
    unsigned high = word >> 8U, low = word & 0xFFU;
    high ^= kFTable[low ^ cv[0]];
    low ^= kFTable[high ^ cv[1]];
    high ^= kFTable[low ^ cv[2]];
    low ^= kFTable[high ^ cv[3]];
    return quint16(high << 8U | low);
}

quint16 SkipJack::GInverse(quint16 word, int round) const
{
    const uchar* cv = mExpandedKey.data() + 4 * round;
    unsigned high = word >> 8U, low = word & 0xFFU;
    low ^= kFTable[high ^ cv[3]];
    high ^= kFTable[low ^ cv[2]];
    low ^= kFTable[high ^ cv[1]];
    high ^= kFTable[low ^ cv[0]];
    return quint16(high << 8U | low);
}

SkipJack::Words SkipJack::Encrypt(Words w) const
{
    for (int round = 0; round < kRounds; ++round) {
        const auto counter = quint16(round + 1);
        const quint16 g = GPermutation(w[0], round);
        if (IsRuleA(round))
            w = {quint16(g ^ w[3] ^ counter), g, w[1], w[2]};
        else
            w = {w[3], g, quint16(w[0] ^ w[1] ^ counter), w[2]};
    }
    return w;
}

SkipJack::Words SkipJack::Decrypt(Words w) const
{
    for (int round = kRounds - 1; round >= 0; --round) {
        const auto counter = quint16(round + 1);
        const quint16 g = GInverse(w[1], round);
        if (IsRuleA(round))
            w = {g, w[2], w[3], quint16(w[0] ^ w[1] ^ counter)};
        else
            w = {g, quint16(g ^ w[2] ^ counter), w[3], w[0]};
    }
    return w;
}

QString SkipJack::HexXor(QStringView a, QStringView b)
{
    const qsizetype length = std::min<qsizetype>(std::max(a.size(), b.size()), 8);
    const quint32 value = HexToNumber(a) ^ HexToNumber(b);
    QString out;
    for (qsizetype i = length; i > 0; --i) out += QLatin1Char(kDigits[value >> 4U * quint32(i - 1) & 15U]);
    return out;
}

quint32 SkipJack::HexToNumber(QStringView hex)
{
    quint32 value = 0;
    for (const QChar c : hex.last(std::min<qsizetype>(hex.size(), 8))) value = value << 4U | DigitValue(c);
    return value;
}
