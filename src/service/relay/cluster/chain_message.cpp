#include "service/relay/cluster/chain_message.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace zephyl {
namespace {

// Little endian, as everything that stands in a meeting's files.
struct Front {
    std::uint32_t mark;
    std::uint32_t kind;
    std::uint64_t epoch, number;
    std::uint32_t part, parts;
};
constexpr std::uint32_t kMark = 0x315a4c47;  // and the format's number
static_assert(sizeof(Front) == 32);

}  // namespace

std::string WriteChainMessage(const ChainMessage& message)
{
    const Front front{kMark,         static_cast<std::uint32_t>(message.kind),
                      message.epoch, message.number,
                      message.part,  message.parts};
    std::string bytes(sizeof front + message.bytes.size(), '\0');
    std::memcpy(bytes.data(), &front, sizeof front);
    std::copy(message.bytes.begin(), message.bytes.end(), bytes.begin() + sizeof front);
    return bytes;
}

std::optional<ChainMessage> ReadChainMessage(std::string_view bytes)
{
    Front front{};
    if (bytes.size() < sizeof front) return std::nullopt;
    std::memcpy(&front, bytes.data(), sizeof front);
    if (front.mark != kMark || front.kind > 2 || front.part >= front.parts) return std::nullopt;
    return ChainMessage{front.epoch, front.number, static_cast<ChainMessage::Kind>(front.kind),
                        front.part,  front.parts,  bytes.substr(sizeof front)};
}

std::optional<Batch> ChainReader::Take(const EngineEntry& entry)
{
    const std::optional<ChainMessage> message = ReadChainMessage(entry.bytes);
    if (!message) {
        ++mSkipped;
        return std::nullopt;
    }
    if (message->epoch < mOpened) return std::nullopt;
    if (message->epoch == mEpoch && message->number <= mNumber) return std::nullopt;
    mEpoch = message->epoch;
    mNumber = message->number;
    if (message->kind == ChainMessage::Kind::Opened) mOpened = std::max(mOpened, message->epoch);
    if (message->part == 0) {
        mBatch = {message->epoch, entry.sequence, 0, message->kind, {}};
        mParts = 0;
    }
    if (message->part != mParts || message->epoch != mBatch.epoch) {  // its front went with a purge
        mParts = ~std::uint32_t{0};
        return std::nullopt;
    }
    mBatch.bytes += message->bytes;
    mBatch.last = entry.sequence;
    if (++mParts < message->parts) return std::nullopt;
    return std::exchange(mBatch, {});
}

}  // namespace zephyl
