#pragma once
// One attendee: the wire's own frames on a TLS connection of its own, from an address of its own. It says,
// draws and shows what its place in the meeting is there for, and checks what it hears of the others. All
// bots of a meeting are in one process, on one thread.

#include <boost/asio/awaitable.hpp>
#include <boost/asio/io_context.hpp>
#include <chrono>
#include <deque>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "crowd/tally.h"
#include "service/net/tls_stream.h"
#include "service/wire/framing.h"

namespace crowd {

using Clock = std::chrono::steady_clock;

/// What a crowd does. A meeting's first one starts it; the second draws and points, the third speaks and the
/// fourth has a camera, where there is one; all write lines.
struct Plan {
    int attendees = 100, perMeeting = 20;
    std::vector<std::uint16_t> relays;  // ports
    std::string fingerprint, run;
    std::string handles = "quick", password = "secret";
    bool spread = true;                  // a meeting's attendees are at all relays; else where it was started
    int voiceEvery = 0, videoEvery = 0;  // of so many meetings one; 0: none
    double scale = 1;                    // of all that follows, a second
    double lines = 1.0 / 60, strokes = 0.5, pointers = 0.1, voices = 50, frames = 15;

    std::string Handle(int number) const;
};

class Bot;
struct Meeting {
    std::vector<std::unique_ptr<Bot>> bots;
    bool begun = false;
};

class Bot {
public:
    Bot(boost::asio::io_context& io, std::shared_ptr<const zephyl::TlsContext> tls, const Plan& plan,
        Tally& tally, Meeting& meeting, int number);
    /// It comes, and comes back until the phase is Out.
    boost::asio::awaitable<void> Run();
    bool Present() const { return mPresent; }
    /// What is due.
    void Tick(Clock::time_point now);
    /// Counts what of the others' has not come.
    void Miss() const;

private:
    struct Sent {
        zephyl::Channel channel;
        std::uint64_t number;
        std::string frames;
    };
    boost::asio::awaitable<void> Connect(std::uint16_t port);
    boost::asio::awaitable<void> LogIn();
    boost::asio::awaitable<void> Enter();
    boost::asio::awaitable<bool> Resume();
    boost::asio::awaitable<void> Listen();
    boost::asio::awaitable<void> Pause(std::chrono::milliseconds time);
    /// The next answer of this kind; whatever comes in front of it is taken.
    boost::asio::awaitable<zephyl::Header> Await(zephyl::Header::MessageCase kind);
    boost::asio::awaitable<zephyl::FrameView> Next();
    void Take(const zephyl::FrameView& frame);
    void TakeItem(const zephyl::Header& header, std::string_view body);
    void TakePayload(Kind kind, std::string_view payload);
    void Seat(const zephyl::Place& place);
    void TalkToAll();
    void Say(Kind kind);
    void Post(zephyl::Channel channel, const std::string& text, const std::vector<int>& to);
    void SendRead();
    void Send(const zephyl::Header& header, std::string_view body = {});
    void SendBytes(std::string_view bytes);
    void WaitWritable();
    std::size_t Home() const;
    std::size_t Relay() const;
    std::chrono::milliseconds Wait();

    boost::asio::io_context& mIo;
    const std::shared_ptr<const zephyl::TlsContext> mTls;
    const Plan& mPlan;
    Tally& mTally;
    Meeting& mMeeting;
    const int mNumber, mPlace;  // of all, in the meeting
    std::minstd_rand mChance;
    std::uint64_t mStream;
    std::shared_ptr<zephyl::TlsStream> mTlsStream;
    zephyl::FrameReader mReader{zephyl::Way::Down};
    std::unique_ptr<zephyl::ItemReader> mItems;
    std::string mWaiting;  // to be sent
    bool mBusy = false;
    bool mPresent = false;
    std::optional<std::size_t> mHere;  // the relay where it was
    int mTries = 0;                    // since then
    std::uint32_t mCall = 0;
    zephyl::Place mSeat;
    zephyl::Cursor mTaken;
    std::uint64_t mLive = 0;
    int mUnread = 0;
    Clock::time_point mUnreadSince{};
    bool mReturned = false;
    std::uint64_t mTalk = 0, mBoard = 0;  // own numbers
    std::deque<Sent> mUnsafe;             // not yet accepted
    std::array<std::uint32_t, kKinds> mSaid{};
    std::array<Clock::time_point, kKinds> mDue{};
    bool mTalks = false;                                    // has said with whom
    std::vector<std::array<std::uint32_t, kKinds>> mHeard;  // by the sender's place
};

}  // namespace crowd
