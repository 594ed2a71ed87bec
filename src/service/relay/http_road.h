#pragma once
// A connection made of numbered exchanges, which outlives the streams that bring them. Two lanes, each with
// one exchange under way; the last answer of each is kept, so that one whose answer was lost can be asked for
// again and is not applied again.

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>

#include "service/relay/road.h"
#include "service/wire/limits.h"

namespace zephyl {

/// What an exchange is answered with. Status 0: nothing, its stream has been given up for another one.
struct HttpReply {
    int status = 200;
    std::shared_ptr<const std::string> body = {};
};

class HttpRoad final : public Road, public std::enable_shared_from_this<HttpRoad> {
public:
    /// `closed` runs once, from any thread, when the road has been closed.
    explicit HttpRoad(std::function<void()> closed);
    ~HttpRoad() override;

    // --- of the streams that bring exchanges; any thread ---

    /// Answered at once, or when the connection has taken what came before.
    boost::asio::awaitable<HttpReply> Up(std::uint64_t number, std::string body);
    /// Answered as soon as there is something, with nothing after `hold`.
    boost::asio::awaitable<HttpReply> Down(std::uint64_t number, std::chrono::milliseconds hold);
    /// What an `up` may bring.
    std::size_t MostUp() const { return mLoggedIn ? kHttpBodyBytes : kBeforeLoginBytes; }
    bool IsLoggedIn() const { return mLoggedIn; }
    /// A stream of somebody who is logged in brings its exchanges from now on; `end` ends it. Of more than a
    /// few the oldest is ended.
    void BroughtBy(std::function<void()> end);
    /// Whoever waits will not be told any more. When no thread runs.
    void Drop();

    // --- of the connection ---
    const char* Name() const override { return kHttpRoad; }
    bool InputKept() const override { return false; }
    boost::asio::awaitable<void> Readable() override;
    bool TakeReady(std::string& into) override;
    bool Free() const override;
    bool Put(std::string_view bytes, std::string& sealed) override;
    void Push() override;
    bool Flush() override;
    std::size_t Backlog() const override;
    void WhenFree(std::function<void()> then) override;
    std::size_t LiveFrames(std::size_t most) const override
    {
        return std::min(most > 0 ? most : kHttpLiveFramesEachSecond, kHttpLiveFramesEachSecond);
    }
    void LoggedIn() override { mLoggedIn = true; }
    void Finish() override;
    bool PeerClosed() const override;
    void Close() noexcept override;
    Clock::time_point Heard() const override;
    std::chrono::milliseconds Patience(const RelayTimes& times) const override { return times.httpLostAfter; }

private:
    using Teller = std::function<void(HttpReply)>;
    struct Lane {
        std::uint64_t last = 0;
        Teller waiting;  // for the answer to it; none: it was given
        std::shared_ptr<const std::string> answer = {};
    };
    enum class Turn { Next, Again, Refused };

    // With the lock.
    Turn Begin(Lane& lane, std::uint64_t number);
    void Pace();
    void Give(Lane& lane, HttpReply reply);
    void GiveWhatIsThere();
    void EndNow(const char* why);
    void Ring(std::function<void()>& bell);

    boost::asio::awaitable<HttpReply> Wait(Lane& lane, std::uint64_t number);
    void HoldOver(std::uint64_t number);

    const std::function<void()> mClosed;
    mutable std::mutex mMutex;
    std::string mIn, mOut;
    Lane mUp, mDown;
    std::deque<std::function<void()>> mStreams;
    std::function<void()> mReader, mWriter;
    const char* mEnd = nullptr;  // why it has ended; null: it has not
    bool mFinished = false;      // when what is there has been given, it has ended
    bool mOver = false;          // closed by its connection
    Clock::time_point mHeard = Clock::now(),
                      mGiven = {};      // an exchange; the last answer with something in it
    std::size_t mMostDown = 32 * 1024;  // in one answer
    std::atomic<bool> mLoggedIn{false};
};

}  // namespace zephyl
