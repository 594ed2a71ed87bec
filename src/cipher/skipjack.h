#pragma once
// The Skipjack block cipher over text: characters become code-page bytes, two hexadecimal digits each, and
// every 16 digits are enciphered by themselves. Other clients must get the same digits, so the ways in which
// short keys and short blocks are completed belong to the format.
// Pure; one object per key, any thread.

#include <QString>
#include <QStringView>
#include <array>

class SkipJack {
public:
    explicit SkipJack(QStringView key) { InitSkipjack(key); }

    /// Takes a new key: the first 20 characters as hexadecimal digits; other characters count as 0, missing
    /// bytes as 00, and a byte with one character as that digit.
    void InitSkipjack(QStringView key);

    /// Two upper-case digits per character; "?" for what the code page lacks.
    static QString StringToHex(const QString& text);
    /// The inverse; pairs of '00' are dropped, a single last digit is read alone.
    static QString HexToString(QStringView hex);

    /// Block after block, from the left. The result is a multiple of 16 upper-case digits. Lower-case digits
    /// and any length are accepted.
    QString EncryptHex(QStringView hex) const;
    QString DecryptHex(QStringView hex) const;
    /// One block of up to 16 digits. A short block is completed with zeros: each of its four words is read
    /// from the right, but the word that enters the first round reads its pairs from the left.
    QString EncryptBlock(QStringView block) const;
    QString DecryptBlock(QStringView block) const;

    /// Exclusive-or of two hexadecimal texts, right-aligned, as long as the longer one, at most 8 digits.
    static QString HexXor(QStringView a, QStringView b);
    /// Value of the last 8 digits.
    static quint32 HexToNumber(QStringView hex);

    /// One block as its four words, the first digits highest.
    using Words = std::array<quint16, 4>;
    Words Encrypt(Words words) const;
    Words Decrypt(Words words) const;

private:
    quint16 GPermutation(quint16 word, int round) const;
    quint16 GInverse(quint16 word, int round) const;

    std::array<uchar, 132> mExpandedKey{};
};
