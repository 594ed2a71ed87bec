#include "service/link/number_filter.h"

#include <algorithm>

#include "service/wire/limits.h"

namespace zephyl::link {

namespace {

// Two who come back after so many others in one meeting: a duplicate of theirs may be shown.
constexpr std::size_t kHandlesRemembered = 4096;

bool Rise(std::uint64_t& highest, std::uint64_t number)
{
    if (number <= highest) return false;
    highest = number;
    return true;
}

}  // namespace

bool NumberFilter::Take(const Item& item)
{
    const bool board = item.channel() == CHANNEL_BOARD;
    if (item.stream() == 0) return Rise(board ? mRelayBoard : mRelayTalk, item.sequence());
    Stream& stream = Of(item.from(), item.stream());
    return Rise(board ? stream.board : stream.talk, item.number());
}

NumberFilter::Stream& NumberFilter::Of(const std::string& from, std::uint64_t stream)
{
    if (mStreams.size() >= kHandlesRemembered && !mStreams.contains(from)) mStreams.erase(mStreams.begin());
    std::vector<Stream>& known = mStreams[from];
    const auto found =
        std::find_if(known.begin(), known.end(), [&](const Stream& one) { return one.stream == stream; });
    if (found != known.end()) {
        std::rotate(found, found + 1, known.end());
    } else {
        if (known.size() >= std::size_t(kStreamsPerHandle)) known.erase(known.begin());
        known.push_back({stream, 0, 0});
    }
    return known.back();
}

bool NumberFilter::TakeLive(const std::string& from, int type, std::uint64_t frame)
{
    return Rise(mLive[{from, type}], frame);
}

void NumberFilter::ForgetLive(const std::string& from)
{
    std::erase_if(mLive, [&](const auto& one) { return one.first.first == from; });
}

void NumberFilter::Reset()
{
    mStreams.clear();
    mLive.clear();
    mRelayTalk = mRelayBoard = 0;
}

}  // namespace zephyl::link
