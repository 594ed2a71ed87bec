// The cipher beside Crypto++'s Skipjack: blocks beside blocks, and text to enciphered digits beside the same
// done with that library and the toolkit's digits.
#include <benchmark/benchmark.h>
#include <cryptopp/modes.h>
#include <cryptopp/skipjack.h>

#include <QByteArray>

#include "cipher/code_page.h"
#include "cipher/skipjack.h"

namespace {

constexpr char16_t kKey[] = u"00998877665544332211";
constexpr int kBlocks = 2048;  // 16 KiB, the longest chat line

QByteArray Plain()
{
    QByteArray bytes;
    for (int i = 0; i < kBlocks * 8; ++i) bytes += char(' ' + i % 95);
    return bytes;
}

CryptoPP::ECB_Mode<CryptoPP::SKIPJACK>::Encryption Reference()
{
    const QByteArray key = QByteArray::fromHex(QString::fromUtf16(kKey).toLatin1());
    return {reinterpret_cast<const CryptoPP::byte*>(key.constData()), std::size_t(key.size())};
}

QByteArray Encrypted(CryptoPP::ECB_Mode<CryptoPP::SKIPJACK>::Encryption& cipher, const QByteArray& plain)
{
    QByteArray out(plain.size(), Qt::Uninitialized);
    cipher.ProcessData(reinterpret_cast<CryptoPP::byte*>(out.data()),
                       reinterpret_cast<const CryptoPP::byte*>(plain.constData()), std::size_t(plain.size()));
    return out;
}

void Count(benchmark::State& run)
{
    run.SetBytesProcessed(run.iterations() * kBlocks * 8);
}

void Blocks(benchmark::State& run)
{
    const SkipJack cipher(kKey);
    std::array<SkipJack::Words, kBlocks> words{};
    for (auto _ : run) {
        for (SkipJack::Words& block : words) block = cipher.Encrypt(block);
        benchmark::DoNotOptimize(words);
    }
    Count(run);
}

void BlocksOfCryptopp(benchmark::State& run)
{
    auto cipher = Reference();
    const QByteArray plain = Plain();
    for (auto _ : run) benchmark::DoNotOptimize(Encrypted(cipher, plain));
    Count(run);
}

/// A message as it is sent: a key of its own, text in, enciphered digits out.
void Line(benchmark::State& run)
{
    const QString text = QString::fromLatin1(Plain());
    for (auto _ : run) benchmark::DoNotOptimize(SkipJack(kKey).EncryptHex(SkipJack::StringToHex(text)));
    Count(run);
}

void LineOfCryptopp(benchmark::State& run)
{
    const QString text = QString::fromLatin1(Plain());
    for (auto _ : run) {
        auto cipher = Reference();
        benchmark::DoNotOptimize(QString::fromLatin1(Encrypted(cipher, ToCodePage(text)).toHex().toUpper()));
    }
    Count(run);
}

}  // namespace

BENCHMARK(Blocks);
BENCHMARK(BlocksOfCryptopp);
BENCHMARK(Line);
BENCHMARK(LineOfCryptopp);
BENCHMARK_MAIN();
