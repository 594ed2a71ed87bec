#include "service/net/datagram.h"

#include <sodium.h>

#include <algorithm>
#include <cstring>
#include <limits>

namespace zephyl {
namespace {

constexpr std::size_t kCounterAt = 8;

static_assert(kDatagramTagBytes == crypto_aead_chacha20poly1305_ietf_ABYTES);
static_assert(std::tuple_size_v<DatagramKey> == crypto_aead_chacha20poly1305_ietf_KEYBYTES);

using Nonce = std::array<unsigned char, crypto_aead_chacha20poly1305_ietf_NPUBBYTES>;

unsigned char* Raw(char* bytes)
{
    return reinterpret_cast<unsigned char*>(bytes);
}
const unsigned char* Raw(const char* bytes)
{
    return reinterpret_cast<const unsigned char*>(bytes);
}

Nonce NonceOf(const char* datagram)
{
    Nonce nonce{};
    std::memcpy(nonce.data() + nonce.size() - sizeof(std::uint64_t), datagram + kCounterAt,
                sizeof(std::uint64_t));
    return nonce;
}

}  // namespace

void PutBigEndian(char* to, std::uint64_t value, std::size_t bytes)
{
    for (std::size_t i = bytes; i > 0; --i, value >>= 8) to[i - 1] = static_cast<char>(value & 0xff);
}

std::uint64_t ReadBigEndian(std::string_view bytes)
{
    std::uint64_t value = 0;
    for (const char byte : bytes) value = value << 8 | static_cast<unsigned char>(byte);
    return value;
}

std::optional<DatagramKey> ReadDatagramKey(std::string_view bytes)
{
    DatagramKey key;
    if (bytes.size() != key.size()) return std::nullopt;
    std::memcpy(key.data(), bytes.data(), key.size());
    return key;
}

std::optional<std::uint64_t> DatagramId(std::string_view datagram)
{
    if (datagram.size() <= kDatagramClearBytes + kDatagramTagBytes || datagram.size() > kDatagramBytes)
        return std::nullopt;
    return ReadBigEndian(datagram.substr(0, sizeof(std::uint64_t)));
}

bool DatagramSealer::Seal(DatagramBatch& batch, std::string_view head, std::string_view body)
{
    if (mCounter == std::numeric_limits<std::uint64_t>::max()) return false;
    const std::size_t plain = head.size() + body.size();
    const std::size_t at = batch.bytes.size();
    batch.bytes.resize(at + kDatagramClearBytes + plain + kDatagramTagBytes);
    char* const datagram = batch.bytes.data() + at;
    PutBigEndian(datagram, mId, sizeof mId);
    PutBigEndian(datagram + kCounterAt, ++mCounter, sizeof mCounter);
    char* const said = datagram + kDatagramClearBytes;
    std::copy(head.begin(), head.end(), said);
    std::copy(body.begin(), body.end(), said + head.size());
    crypto_aead_chacha20poly1305_ietf_encrypt(Raw(said), nullptr, Raw(said), plain, Raw(datagram),
                                              kDatagramClearBytes, nullptr, NonceOf(datagram).data(),
                                              mKey.data());
    batch.sizes.push_back(static_cast<std::uint16_t>(batch.bytes.size() - at));
    return true;
}

bool ReplayWindow::Fresh(std::uint64_t counter) const
{
    if (counter == 0) return false;
    if (counter > mHighest) return true;
    if (mHighest - counter >= kReplayWindow) return false;
    const std::uint64_t word = mSeen[counter % kReplayWindow / kWordBits];
    return (word >> counter % kWordBits & 1) == 0;
}

void ReplayWindow::Mark(std::uint64_t counter)
{
    if (counter > mHighest) {
        const std::uint64_t steps = std::min(counter - mHighest, kReplayWindow);
        for (std::uint64_t back = 0; back < steps; ++back)
            Word(counter - back) &= ~(std::uint64_t{1} << (counter - back) % kWordBits);
        mHighest = counter;
    }
    Word(counter) |= std::uint64_t{1} << counter % kWordBits;
}

std::optional<std::string_view> DatagramOpener::Open(std::string_view datagram, Plain& plain)
{
    if (!DatagramId(datagram)) return std::nullopt;
    const std::uint64_t counter = ReadBigEndian(datagram.substr(kCounterAt, sizeof counter));
    if (!mWindow.Fresh(counter)) return std::nullopt;
    const char* const clear = datagram.data();
    const std::size_t sealed = datagram.size() - kDatagramClearBytes;
    if (crypto_aead_chacha20poly1305_ietf_decrypt(
            Raw(plain.data()), nullptr, nullptr, Raw(clear + kDatagramClearBytes), sealed, Raw(clear),
            kDatagramClearBytes, NonceOf(clear).data(), mKey.data()) != 0)
        return std::nullopt;
    mWindow.Mark(counter);
    return std::string_view(plain.data(), sealed - kDatagramTagBytes);
}

}  // namespace zephyl
