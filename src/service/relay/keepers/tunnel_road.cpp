#include "service/relay/keepers/tunnel_road.h"

#include <algorithm>
#include <boost/asio/associated_executor.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <stdexcept>

#include "service/net/live_parts.h"
#include "service/wire/limits.h"

namespace zephyl {
namespace asio = boost::asio;

words::Who WhoOf(const Session& session)
{
    words::Who who;
    who.set_handle(session.handle);
    who.set_key(session.key);
    who.set_address(session.address);
    who.set_stream(session.stream);
    who.set_generation(session.generation);
    who.set_permitted(session.permitted);
    return who;
}

std::shared_ptr<Session> SessionOf(const words::Who& who, const FloodBudget& budget)
{
    auto session = std::make_shared<Session>(budget);
    session->handle = who.handle();
    session->key = who.key();
    session->address = who.address();
    session->stream = who.stream();
    session->generation = who.generation();
    session->permitted = who.permitted();
    return session;
}

TunnelRoad::TunnelRoad(std::shared_ptr<Lines> lines, RelayId from, const words::Word& open,
                       std::string_view frame)
    : mLines(std::move(lines)),
      mFrom(std::move(from)),
      mTunnel(open.tunnel()),
      mName(open.open().protocol()),
      mOpen(open.open()),
      mIn(frame)
{
}

TunnelRoad::~TunnelRoad() = default;

void TunnelRoad::Send(words::Word word, std::string_view bytes)
{
    mLines->Send(mFrom, mTunnel, std::move(word), bytes);
}

// --- of the line -----------------------------------------------------------------------------------

bool TunnelRoad::Take(const words::Word& word, std::string_view bytes, Pieces pieces)
{
    const std::lock_guard lock(mMutex);
    if (mEnd) return false;
    if (word.has_frames()) {
        mIn += bytes;
        for (const Piece& piece : pieces) mIn += piece.bytes;
        Ring(mReader);
    } else if (word.has_credit()) {
        mUnderWay -= std::min<std::size_t>(mUnderWay, word.credit().bytes());
        if (mUnderWay < kTunnelWindow) Ring(mWriter);
    } else if (word.has_beside()) {
        if (mBeside.frame) mBeside.frame(std::string(bytes));
    } else if (word.has_beside_state()) {
        mTakesBeside = word.beside_state().takes();
        mBesideUnderWay -= std::min<std::size_t>(mBesideUnderWay, word.beside_state().left());
        if (mBeside.free) mBeside.free();
    } else if (word.has_delay()) {
        mDelay = std::chrono::microseconds(word.delay().microseconds());
    } else if (word.has_close()) {
        mSaid = true;
        EndNow("the other end has closed");
        return false;
    }
    return true;
}

void TunnelRoad::Lost(const char* why)
{
    const std::lock_guard lock(mMutex);
    EndNow(why);
}

void TunnelRoad::Drop()
{
    std::function<void()> reader, writer;
    const std::lock_guard lock(mMutex);
    reader.swap(mReader);
    writer.swap(mWriter);
}

void TunnelRoad::Ring(std::function<void()>& bell)
{
    if (bell) std::exchange(bell, nullptr)();
}

void TunnelRoad::EndNow(const char* why)
{
    if (!mEnd) mEnd = why;
    Ring(mReader);
    Ring(mWriter);
}

// --- of the connection -----------------------------------------------------------------------------

void TunnelRoad::Seated(const Session& session)
{
    words::Word word;
    *word.mutable_seated()->mutable_who() = WhoOf(session);
    Send(std::move(word));
}

void TunnelRoad::GiveBack(std::string_view frames)
{
    SendBack(false, frames);
}

void TunnelRoad::SendElsewhere()
{
    SendBack(true, {});
}

void TunnelRoad::SendBack(bool elsewhere, std::string_view frames)
{
    {
        const std::lock_guard lock(mMutex);
        if (std::exchange(mSaid, true)) return;
        EndNow("given back");
    }
    words::Word word;
    word.mutable_back()->set_elsewhere(elsewhere);
    Send(std::move(word), frames);
}

void TunnelRoad::OfferDatagrams(Place& place) const
{
    if (mOpen.udp_id() == 0) return;
    place.set_udp_id(mOpen.udp_id());
    place.set_udp_key_up(mOpen.udp_key_up());
    place.set_udp_key_down(mOpen.udp_key_down());
}

std::optional<std::chrono::microseconds> TunnelRoad::Delay() const
{
    const std::lock_guard lock(mMutex);
    return mDelay;
}

std::size_t TunnelRoad::LiveFrames(std::size_t most) const
{
    const bool http = mName == kHttpRoad;
    return http ? std::min(most > 0 ? most : kHttpLiveFramesEachSecond, kHttpLiveFramesEachSecond) : most;
}

bool TunnelRoad::Takes(std::size_t bodyBytes) const
{
    const std::lock_guard lock(mMutex);
    return mTakesBeside && bodyBytes <= kDatagramPictureBytes;
}

bool TunnelRoad::Put(std::string_view frame)
{
    {
        const std::lock_guard lock(mMutex);
        if (mEnd || mBesideUnderWay >= kTunnelWindow / 2) return false;
        mBesideUnderWay += frame.size();
    }
    words::Word word;
    mLines->SendLater(mFrom, mTunnel, word, *word.mutable_beside()->mutable_shelved(), frame);
    return true;
}

void TunnelRoad::PutVoice(std::string_view frame)
{
    words::Word word;
    word.mutable_beside()->set_voice(true);
    mLines->SendLater(mFrom, mTunnel, word, *word.mutable_beside()->mutable_shelved(), frame);
}

asio::awaitable<void> TunnelRoad::Readable()
{
    const auto initiate = [this](auto handler) {
        auto shared = std::make_shared<decltype(handler)>(std::move(handler));
        std::function<void()> wake = [shared] {
            asio::post(asio::get_associated_executor(*shared), [shared] { std::move (*shared)(); });
        };
        const std::lock_guard lock(mMutex);
        if (mEnd || !mIn.empty()) return wake();
        mReader = std::move(wake);
    };
    return asio::async_initiate<const asio::use_awaitable_t<>, void()>(initiate, asio::use_awaitable);
}

bool TunnelRoad::TakeReady(std::string& into)
{
    std::size_t credit = 0;
    {
        const std::lock_guard lock(mMutex);
        if (mIn.empty() && mEnd) throw std::runtime_error(mEnd);
        if (mIn.empty()) return false;
        mTaken += mIn.size();
        into += std::exchange(mIn, {});
        if (mTaken >= kTunnelCredit) credit = std::exchange(mTaken, 0);
    }
    if (credit > 0) {
        words::Word word;
        word.mutable_credit()->set_bytes(credit);
        mLines->SendSoon(mFrom, mTunnel, std::move(word));
    }
    return true;
}

bool TunnelRoad::Free() const
{
    const std::lock_guard lock(mMutex);
    return mUnderWay < kTunnelWindow;
}

bool TunnelRoad::Put(std::string_view bytes, std::string&)
{
    bool more = false;
    {
        const std::lock_guard lock(mMutex);
        if (mEnd || mSaid) return true;
        mUnderWay += bytes.size();
        more = mUnderWay < kTunnelWindow;
    }
    words::Word word;
    mLines->SendLater(mFrom, mTunnel, word, *word.mutable_frames()->mutable_shelved(), bytes);
    return more;
}

std::size_t TunnelRoad::Backlog() const
{
    const std::lock_guard lock(mMutex);
    return mUnderWay < kTunnelWindow ? 0 : mUnderWay;
}

void TunnelRoad::WhenFree(std::function<void()> then)
{
    const std::lock_guard lock(mMutex);
    if (mEnd || mUnderWay < kTunnelWindow) return then();
    mWriter = std::move(then);
}

void TunnelRoad::SendClose(bool goodbye)
{
    {
        const std::lock_guard lock(mMutex);
        if (std::exchange(mSaid, true)) return;
    }
    words::Word word;
    word.mutable_close()->set_goodbye(goodbye);
    Send(std::move(word));
}

void TunnelRoad::Finish()
{
    SendClose(true);
}

bool TunnelRoad::PeerClosed() const
{
    const std::lock_guard lock(mMutex);
    return mEnd != nullptr;
}

void TunnelRoad::Close() noexcept
{
    {
        const std::lock_guard lock(mMutex);
        EndNow("closed");
        mWriter = nullptr;
    }
    SendClose(false);
    mLines->Forget(mTunnel);
}

}  // namespace zephyl
