#pragma once
// A client that posts numbered lines and goes on at the next relay when its own is lost: Resume first, then
// Login by itself and Enter, and what the log does not have is posted again. On a thread of its own.

#include <atomic>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

#include "service/relay/raw_client.h"

namespace zephyl {

class PostingClient {
public:
    using PortOf = std::function<std::uint16_t()>;

    /// `relays`: where they listen at the moment; it begins with the first.
    PostingClient(std::string handle, std::vector<PortOf> relays);
    ~PostingClient();

    Result Enter(const std::string& code, bool create);
    /// Posts that many lines, one every `pause`, and listens until it is stopped.
    void Start(int lines, std::chrono::milliseconds pause);
    /// Gives its connection up and goes to the next relay. Any thread.
    void Move() { mMove = true; }
    /// So many of its lines are accepted. False: not within a minute.
    bool Accepted(int lines) const;
    /// What it has posted is accepted, and it has that many lines of each of the others. False: not within a
    /// minute.
    bool Done(const std::vector<std::string>& others, int lines);
    /// Ends the thread; what follows may be looked at then.
    void Stop();

    struct Line {
        std::string from;
        std::uint64_t number, sequence;
        bool operator==(const Line&) const = default;
    };
    std::vector<Line> lines;          // as taken, without those that it had already
    std::vector<std::string> faults;  // what no client may ever meet
    std::vector<std::string> left;    // who was seen leaving
    std::atomic<int> connections{0};
    std::chrono::milliseconds longestAway{0};

private:
    void Run(std::chrono::milliseconds pause);
    void ComeBack();
    bool TryAt(std::uint16_t port);
    void Joined(const Place& place);
    void Take(const Received& received);
    void Fault(const std::string& what);

    const std::string mHandle;
    const std::uint64_t mStream;
    const std::vector<PortOf> mRelays;
    std::size_t mAt = 0;
    std::unique_ptr<RawClient> mClient;
    std::string mCode;
    Place mPlace;
    Cursor mTaken;
    std::uint64_t mPosted = 0;
    std::deque<std::uint64_t> mOutbox;  // posted, not accepted
    std::mutex mMutex;                  // for the two that others ask about
    std::map<std::string, std::uint64_t> mHighest;
    std::atomic<std::uint64_t> mAccepted{0};
    std::uint64_t mGoal = 0;
    std::atomic<bool> mMove{false}, mStop{false};
    std::thread mThread;
};

}  // namespace zephyl
