#include "service/relay/keepers/tunnel_front.h"

#include <algorithm>
#include <boost/asio/associated_executor.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "service/relay/keepers/tunnel_road.h"

namespace zephyl {
namespace asio = boost::asio;
namespace {

constexpr std::size_t kBesideMost = 256;  // frames

}  // namespace

TunnelFront::TunnelFront(std::shared_ptr<Lines> lines, RelayId keeper, Owner owner)
    : mLines(std::move(lines)), mKeeper(std::move(keeper)), mOwner(std::move(owner))
{
}

TunnelFront::~TunnelFront() = default;

void TunnelFront::Open(const Session* who, const std::string& address, const std::string& protocol,
                       const Place& datagrams, std::string_view frame)
{
    words::Word word;
    words::Open& open = *word.mutable_open();
    if (who) *open.mutable_who() = WhoOf(*who);
    open.set_address(address);
    open.set_protocol(protocol);
    open.set_udp_id(datagrams.udp_id());
    open.set_udp_key_up(datagrams.udp_key_up());
    open.set_udp_key_down(datagrams.udp_key_down());
    mTunnel = mLines->Open(mKeeper, shared_from_this(), std::move(word), frame);
}

void TunnelFront::Send(words::Word word, std::string_view bytes)
{
    mLines->Send(mKeeper, mTunnel, std::move(word), bytes);
}

void TunnelFront::SendSoon(words::Word word, std::string_view bytes)
{
    mLines->SendSoon(mKeeper, mTunnel, std::move(word), bytes);
}

TunnelFront::State TunnelFront::Now() const
{
    const std::lock_guard lock(mMutex);
    return mState;
}

words::Who TunnelFront::Who() const
{
    const std::lock_guard lock(mMutex);
    return mWho;
}

bool TunnelFront::Full() const
{
    const std::lock_guard lock(mMutex);
    return mState == State::Seated && mUnderWay >= kTunnelWindow;
}

asio::awaitable<void> TunnelFront::News()
{
    const auto initiate = [this](auto handler) {
        auto shared = std::make_shared<decltype(handler)>(std::move(handler));
        std::function<void()> wake = [shared] {
            asio::post(asio::get_associated_executor(*shared), [shared] { std::move (*shared)(); });
        };
        const std::lock_guard lock(mMutex);
        if (std::exchange(mNews, false) || mOver) return wake();
        mWaiting = std::move(wake);
    };
    return asio::async_initiate<const asio::use_awaitable_t<>, void()>(initiate, asio::use_awaitable);
}

asio::awaitable<TunnelFront::State> TunnelFront::Answered()
{
    State now = Now();
    for (; now == State::Asking; now = Now()) co_await News();
    co_return now;
}

void TunnelFront::Forward(std::string_view frames, Then then)
{
    {
        const std::lock_guard lock(mMutex);
        if (mState != State::Seated) return;
        mUnderWay += frames.size();
        if (then == Then::AwaitAnswer) mState = State::Asking;
    }
    words::Word word;
    word.mutable_frames();
    SendSoon(std::move(word), frames);
}

void TunnelFront::Fill(std::string& batch, std::size_t limit)
{
    const std::size_t before = batch.size();
    while (batch.size() < limit && TakeFrames(batch)) {
    }
    mTaken += batch.size() - before;
    if (mTaken < kTunnelCredit) return;
    words::Word word;
    word.mutable_credit()->set_bytes(std::exchange(mTaken, 0));
    SendSoon(std::move(word));
}

void TunnelFront::ForwardBeside(std::string_view frame)
{
    if (Now() != State::Seated) return;
    words::Word word;
    word.mutable_beside();
    SendSoon(std::move(word), frame);
}

void TunnelFront::TellBeside(bool takes)
{
    if (takes == mTakesBeside && mBesideTaken == 0) return;
    words::Word word;
    word.mutable_beside_state()->set_takes(takes);
    word.mutable_beside_state()->set_left(std::exchange(mBesideTaken, 0));
    mTakesBeside = takes;
    SendSoon(std::move(word));
}

void TunnelFront::TellDelay(std::chrono::microseconds delay)
{
    if (Now() != State::Seated) return;
    words::Word word;
    word.mutable_delay()->set_microseconds(
        static_cast<std::uint64_t>(std::max<std::int64_t>(0, delay.count())));
    Send(std::move(word));
}

// What the road does not take any more is lost, as live frames may be.
void TunnelFront::FillRoad(LiveRoad& road)
{
    const std::lock_guard lock(mMutex);
    for (; !mBeside.empty(); mBeside.pop_front()) {
        const auto& [frame, voice] = mBeside.front();
        const bool takes = road.Takes(FirstBody(frame).size());
        if (takes && voice)
            road.PutVoice(frame);
        else if (takes && !road.Put(frame))
            return;
        mBesideTaken += frame.size();
    }
}

std::string TunnelFront::TakeRest()
{
    std::string rest;
    while (TakeFrames(rest)) {
    }
    return rest;
}

/// Of one word.
bool TunnelFront::TakeFrames(std::string& into)
{
    Pieces pieces;
    {
        const std::lock_guard lock(mMutex);
        if (mFrames.empty()) return false;
        pieces = std::move(mFrames.front());
        mFrames.pop_front();
    }
    for (const Piece& piece : pieces) into += piece.bytes;
    return true;
}

void TunnelFront::Close()
{
    {
        const std::lock_guard lock(mMutex);
        if (mState == State::Asking || mState == State::Seated) mState = State::Lost;
        mOver = true;
        Ring();
        if (std::exchange(mKnown, true)) return;
    }
    words::Word word;
    word.mutable_close();
    Send(std::move(word));
    mLines->Forget(mTunnel);
}

// --- of the line -----------------------------------------------------------------------------------

bool TunnelFront::Take(const words::Word& word, std::string_view bytes, Pieces pieces)
{
    if (!bytes.empty()) pieces.push_back(PieceOf(bytes));
    const std::lock_guard lock(mMutex);
    if (mOver) return false;
    if (word.has_frames()) {
        const bool first = mFrames.empty();
        mFrames.push_back(std::move(pieces));
        if (first) mOwner.frames();
    } else if (word.has_beside()) {
        LiveBytes live{{}, word.beside().voice()};
        for (const Piece& piece : pieces) live.frame += piece.bytes;
        if (live.frame.size() >= kFramePrefixBytes && mBeside.size() < kBesideMost)
            mBeside.push_back(std::move(live));
        mOwner.frames();
    } else if (word.has_credit()) {
        mUnderWay -= std::min<std::size_t>(mUnderWay, word.credit().bytes());
        Ring();
    } else if (word.has_seated()) {
        mWho = word.seated().who();
        mSeated = true;
        if (mState == State::Asking) Become(State::Seated);
    } else if (word.has_back()) {
        mKnown = true;
        mFrames.push_back(std::move(pieces));
        Become(word.back().elsewhere() ? State::Elsewhere : State::Back);
    } else if (word.has_close()) {
        mKnown = true;
        Become(word.close().goodbye() ? State::Ended : State::Lost);
    }
    return !mOver;
}

void TunnelFront::Lost(const char*)
{
    const std::lock_guard lock(mMutex);
    if (!mOver) Become(State::Lost);
}

void TunnelFront::Become(State state)
{
    mState = state;
    mOver = state != State::Seated;
    Ring();
    if (state == State::Ended || (state == State::Lost && mSeated)) mOwner.ended();
}

void TunnelFront::Ring()
{
    mNews = true;
    if (!mWaiting) return;
    mNews = false;
    std::exchange(mWaiting, nullptr)();
}

void TunnelFront::Drop()
{
    std::function<void()> waiting;
    const std::lock_guard lock(mMutex);
    waiting.swap(mWaiting);
}

}  // namespace zephyl
