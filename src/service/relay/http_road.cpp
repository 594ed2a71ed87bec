#include "service/relay/http_road.h"

#include <algorithm>
#include <boost/asio/associated_executor.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <stdexcept>
#include <utility>

namespace zephyl {
namespace asio = boost::asio;
namespace {

constexpr std::size_t kFullAnswer = kHttpBodyBytes / 2;  // then it leaves, and the next poll brings the rest

// A client gives an answer up that is not there within a few seconds, so a slow road gets less at a time.
constexpr std::size_t kLeastAnswer = 16 * 1024;
constexpr std::chrono::seconds kQuick{1}, kSlow{3};

constexpr std::size_t kMostStreams = 4;           // two lanes, each maybe made anew just now
constexpr std::chrono::seconds kBetweenPolls{3};  // longer than that nobody waits with the next one

const std::shared_ptr<const std::string> kNothing = std::make_shared<const std::string>();

HttpReply Gone()
{
    return {410, kNothing};
}

/// A coroutine that waits, as something to call once from any thread.
template <class Handler, class... Result>
auto Resumer(Handler handler)
{
    auto shared = std::make_shared<Handler>(std::move(handler));
    return [shared = std::move(shared)](Result... result) {
        auto executor = asio::get_associated_executor(*shared);
        asio::post(executor,
                   [shared, ... result = std::move(result)]() mutable { (*shared)(std::move(result)...); });
    };
}

}  // namespace

HttpRoad::HttpRoad(std::function<void()> closed) : mClosed(std::move(closed)) {}
HttpRoad::~HttpRoad() = default;

// --- exchanges -----------------------------------------------------------------------------------------

HttpRoad::Turn HttpRoad::Begin(Lane& lane, std::uint64_t number)
{
    if (mEnd) return Turn::Refused;
    mHeard = Clock::now();
    if (number == lane.last) return Turn::Again;
    if (mFinished && mOut.empty() && &lane == &mDown && number > lane.last) EndNow("it has ended");
    if (mEnd) return Turn::Refused;
    if (number == lane.last + 1 && !lane.waiting) {
        if (&lane == &mDown) Pace();
        lane.last = number;
        lane.answer.reset();  // whoever asks for the next one has it
        return Turn::Next;
    }
    EndNow("an exchange came out of turn");
    return Turn::Refused;
}

/// Whoever asks for the next answer has the last one.
void HttpRoad::Pace()
{
    const std::size_t size = mDown.answer ? mDown.answer->size() : 0;
    const auto took = mHeard - mGiven;
    if (took <= kQuick && size == mMostDown)
        mMostDown = std::min(size * 2, kHttpBodyBytes);
    else if (took > kSlow && size > kLeastAnswer)
        mMostDown = std::max(size / 2, kLeastAnswer);
}

asio::awaitable<HttpReply> HttpRoad::Up(std::uint64_t number, std::string body)
{
    {
        const std::lock_guard lock(mMutex);
        const Turn turn = Begin(mUp, number);
        if (turn == Turn::Refused) co_return Gone();
        if (turn == Turn::Next) {
            const bool keptUp = mIn.empty();
            if (keptUp)
                mIn = std::move(body);
            else
                mIn += body;
            if (keptUp) mUp.answer = kNothing;
            Ring(mReader);
        }
    }
    co_return co_await Wait(mUp, number);
}

asio::awaitable<HttpReply> HttpRoad::Down(std::uint64_t number, std::chrono::milliseconds hold)
{
    {
        const std::lock_guard lock(mMutex);
        if (Begin(mDown, number) == Turn::Refused) co_return Gone();
    }
    asio::steady_timer timer(co_await asio::this_coro::executor, hold);
    timer.async_wait([weak = weak_from_this(), number](boost::system::error_code stopped) {
        if (const auto self = weak.lock(); self && !stopped) self->HoldOver(number);
    });
    co_return co_await Wait(mDown, number);
}

/// Until the lane's exchange of that number has its answer. One who has waited for it on another stream is
/// sent away: that stream may be dead, and nobody has said so.
asio::awaitable<HttpReply> HttpRoad::Wait(Lane& lane, std::uint64_t number)
{
    const auto initiate = [this, &lane, number](auto handler) {
        Teller tell = Resumer<decltype(handler), HttpReply>(std::move(handler));
        const std::lock_guard lock(mMutex);
        if (mEnd || number != lane.last) return tell(Gone());
        if (lane.answer) return tell({200, lane.answer});
        if (lane.waiting) std::exchange(lane.waiting, nullptr)({0, kNothing});
        lane.waiting = std::move(tell);
        if (&lane == &mUp && mIn.empty()) Give(mUp, {200, kNothing});
        if (&lane != &mDown) return;
        GiveWhatIsThere();
        if (mDown.waiting) Ring(mWriter);
    };
    return asio::async_initiate<const asio::use_awaitable_t<>, void(HttpReply)>(initiate,
                                                                                asio::use_awaitable);
}

void HttpRoad::Give(Lane& lane, HttpReply reply)
{
    lane.answer = reply.body;
    if (lane.waiting) std::exchange(lane.waiting, nullptr)(std::move(reply));
}

void HttpRoad::GiveWhatIsThere()
{
    if (!mDown.waiting || mOut.empty()) return;
    std::string rest;
    if (mOut.size() > mMostDown) {
        rest = mOut.substr(mMostDown);
        mOut.resize(mMostDown);
    }
    mGiven = Clock::now();
    Give(mDown, {200, std::make_shared<const std::string>(std::exchange(mOut, std::move(rest)))});
}

void HttpRoad::HoldOver(std::uint64_t number)
{
    const std::lock_guard lock(mMutex);
    if (mDown.last == number && mDown.waiting && mOut.empty()) Give(mDown, {200, kNothing});
}

void HttpRoad::Ring(std::function<void()>& bell)
{
    if (bell) std::exchange(bell, nullptr)();
}

void HttpRoad::EndNow(const char* why)
{
    if (mEnd) return;
    mEnd = why;
    for (Lane* lane : {&mUp, &mDown})
        if (lane->waiting) std::exchange(lane->waiting, nullptr)(Gone());
    Ring(mReader);
    Ring(mWriter);
}

void HttpRoad::BroughtBy(std::function<void()> end)
{
    const std::lock_guard lock(mMutex);
    mStreams.push_back(std::move(end));
    if (mStreams.size() <= kMostStreams) return;
    mStreams.front()();
    mStreams.pop_front();
}

void HttpRoad::Drop()
{
    std::function<void()> reader, writer;
    Teller up, down;
    const std::lock_guard lock(mMutex);
    reader.swap(mReader);
    writer.swap(mWriter);
    up.swap(mUp.waiting);
    down.swap(mDown.waiting);
}

// --- the connection's end --------------------------------------------------------------------------------

asio::awaitable<void> HttpRoad::Readable()
{
    const auto initiate = [this](auto handler) {
        std::function<void()> wake = Resumer<decltype(handler)>(std::move(handler));
        const std::lock_guard lock(mMutex);
        if (mEnd || !mIn.empty()) return wake();
        mReader = std::move(wake);
    };
    return asio::async_initiate<const asio::use_awaitable_t<>, void()>(initiate, asio::use_awaitable);
}

bool HttpRoad::TakeReady(std::string& into)
{
    const std::lock_guard lock(mMutex);
    if (mEnd) throw std::runtime_error(mEnd);
    if (mIn.empty()) return false;
    if (into.empty())
        into = std::exchange(mIn, {});
    else
        into += std::exchange(mIn, {});
    if (!mUp.answer) Give(mUp, {200, kNothing});
    return true;
}

bool HttpRoad::Free() const
{
    const std::lock_guard lock(mMutex);
    return mDown.waiting && mOut.empty();
}

bool HttpRoad::Put(std::string_view bytes, std::string&)
{
    const std::lock_guard lock(mMutex);
    mOut += bytes;
    if (mOut.size() >= std::min(kFullAnswer, mMostDown)) GiveWhatIsThere();
    return mDown.waiting != nullptr;
}

void HttpRoad::Push()
{
    const std::lock_guard lock(mMutex);
    GiveWhatIsThere();
}

bool HttpRoad::Flush()
{
    Push();
    return Free();
}

std::size_t HttpRoad::Backlog() const
{
    const std::lock_guard lock(mMutex);
    return mOut.size();
}

void HttpRoad::WhenFree(std::function<void()> then)
{
    const std::lock_guard lock(mMutex);
    if (mEnd || mDown.waiting) return then();
    mWriter = std::move(then);
}

void HttpRoad::Finish()
{
    const std::lock_guard lock(mMutex);
    mFinished = true;
}

bool HttpRoad::PeerClosed() const
{
    const std::lock_guard lock(mMutex);
    return mEnd || (!mDown.waiting && Clock::now() - mHeard > kBetweenPolls);
}

void HttpRoad::Close() noexcept
{
    {
        const std::lock_guard lock(mMutex);
        if (std::exchange(mOver, true)) return;
        EndNow("closed");
        mWriter = nullptr;
    }
    mClosed();
}

HttpRoad::Clock::time_point HttpRoad::Heard() const
{
    const std::lock_guard lock(mMutex);
    return mHeard;
}

}  // namespace zephyl
