#include "service/link/connection.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/system/system_error.hpp>

#include "service/net/no_throw.h"

namespace zephyl::link {

namespace asio = boost::asio;
using asio::ip::tcp;
using SteadyClock = std::chrono::steady_clock;

namespace {

constexpr std::chrono::seconds kOneWrite{30};  // a batch that does not leave within this never will

}  // namespace

std::string ProblemText(const std::exception& problem)
{
    const auto* system = dynamic_cast<const boost::system::system_error*>(&problem);
    if (system && system->code() == asio::error::eof) return "the service closed the connection";
    const std::string text = system ? system->code().message() : problem.what();
    return text.empty() ? "no answer" : text;
}

Connection::Connection(std::unique_ptr<ServiceRoad> road)
    : mRoad(std::move(road)),
      mWake(mRoad->GetExecutor(), SteadyClock::time_point::max()),
      mPing(mRoad->GetExecutor()),
      mRead(mRoad->GetExecutor(), SteadyClock::time_point::max())
{
}

Connection::Executor Connection::GetExecutor()
{
    return mRoad->GetExecutor();
}

asio::awaitable<void> Connection::Connect(const tcp::endpoint& address)
{
    mRemote = address;
    return mRoad->Connect(address);
}

asio::awaitable<void> Connection::Handshake()
{
    co_await mRoad->Handshake();
    mPeer = mRoad->Peer();
}

void Connection::Run(ConnectionOwner& owner)
{
    mOwner = &owner;
    mHeard = SteadyClock::now();
    const auto executor = GetExecutor();
    const auto self = shared_from_this();
    asio::co_spawn(
        executor, [self] { return self->ReadLoop(); }, asio::detached);
    asio::co_spawn(
        executor, [self] { return self->WriteLoop(); }, asio::detached);
    asio::co_spawn(
        executor, [self] { return self->PingLoop(); }, asio::detached);
}

void Connection::Control(const Header& header)
{
    if (!mOwner) return;
    AppendFrame(mUrgent, header, {}, Way::Up);
    Wake();
}

void Connection::Wake()
{
    mWake.cancel();
}

void Connection::Close()
{
    mOwner = nullptr;
    mWake.cancel();
    mPing.cancel();
    mRead.cancel();
    mRoad->Close();
}

void Connection::Lost(const std::string& reason)
{
    ConnectionOwner* owner = mOwner;
    Close();
    if (owner) owner->OnLost(reason);
}

asio::awaitable<void> Connection::ReadLoop()
{
    const auto self = shared_from_this();
    std::string problem;
    try {
        FrameReader reader(Way::Down);
        std::string bytes;
        while (mOwner) {
            mHeld = !mOwner->MayRead();
            if (mHeld) {
                co_await mRead.async_wait(kNoThrow);
                mHeard = SteadyClock::now();
                continue;
            }
            bytes.clear();
            co_await mRoad->Read(bytes);
            mHeard = SteadyClock::now();
            mTraffic.bytesIn += bytes.size();
            reader.Feed(bytes);
            while (mOwner) {
                const auto frame = reader.Next();
                if (!frame) break;
                if (!OwnFrame(frame->header)) mOwner->OnFrame(*frame);
            }
            reader.Rest();
            co_await asio::post(GetExecutor(),
                                asio::use_awaitable);  // however much comes, others have a turn
        }
    } catch (const std::exception& e) {
        problem = ProblemText(e);
    }
    Lost(problem);
}

asio::awaitable<void> Connection::WriteLoop()
{
    const auto self = shared_from_this();
    std::string problem;
    try {
        std::string batch;
        while (mOwner) {
            batch.clear();
            batch.swap(mUrgent);
            if (mPong) {
                Header pong;
                pong.mutable_pong()->set_nonce(*std::exchange(mPong, std::nullopt));
                AppendFrame(batch, pong, {}, Way::Up);
            }
            const SteadyClock::time_point again = mOwner->Fill(batch);
            if (batch.empty()) {
                mWake.expires_at(again);
                co_await mWake.async_wait(kNoThrow);
                continue;
            }
            mWriting = SteadyClock::now();
            co_await mRoad->Write(batch);
            mWriting.reset();
            mTraffic.bytesOut += batch.size();
        }
    } catch (const std::exception& e) {
        problem = ProblemText(e);
    }
    Lost(problem);
}

asio::awaitable<void> Connection::PingLoop()
{
    const auto self = shared_from_this();
    while (mOwner) {
        const bool proving = SteadyClock::now() < mProvenAt;
        mPing.expires_after(proving ? mProofSilence / 3 : std::chrono::milliseconds(kPingAfterSilence));
        const auto [again] = co_await mPing.async_wait(kNoThrow);
        const auto now = SteadyClock::now();
        if (!mOwner) co_return;
        if (again) continue;
        const auto silent = now - mHeard;
        if (!mHeld && proving && silent >= mProofSilence)
            co_return Lost("nothing was heard behind the return");
        if (!mHeld && silent >= kLostAfterSilence) co_return Lost("nothing heard for 15 seconds");
        if (mWriting && now - *mWriting >= kOneWrite) co_return Lost("the service takes nothing");
        SendPing();
    }
}

void Connection::SendPing()
{
    Header ping;
    ping.mutable_ping()->set_nonce(++mNonce);
    mPinged = SteadyClock::now();
    Control(ping);
}

void Connection::Prove(std::chrono::milliseconds within, std::chrono::milliseconds aWhile)
{
    mProofSilence = within;
    mHeard = SteadyClock::now();
    mProvenAt = mHeard + aWhile;
    SendPing();
    mPing.cancel();
}

bool Connection::OwnFrame(const Header& header)
{
    if (header.has_ping()) {
        mPong = header.ping().nonce();
        Wake();
        return true;
    }
    if (!header.has_pong()) return false;
    if (header.pong().nonce() == mNonce)
        mTraffic.roundTrip =
            std::chrono::duration_cast<std::chrono::microseconds>(SteadyClock::now() - mPinged);
    return true;
}

}  // namespace zephyl::link
