#pragma once
// What relays say to each other about clients that are connected to one and have their seat at another. Words
// are numbered on the way from each relay to each other; whoever misses one ends all tunnels with that relay,
// and their clients come back by Resume. Any thread.

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "service/relay/cluster/engine.h"
#include "service/relay/keepers/words.pb.h"
#include "service/relay/meeting/shared_meetings.h"

namespace spdlog {
class logger;
}

namespace zephyl {

/// One end of a tunnel. Told on a thread of the engine's or of the relay's, one word at a time, in order.
class TunnelEnd {
public:
    virtual ~TunnelEnd() = default;
    /// False: that was the last one.
    virtual bool Take(const words::Word& word, std::string_view bytes) = 0;
    /// No more words come.
    virtual void Lost(const char* why) = 0;
    /// Whoever waits for it will not be told any more. When no thread runs.
    virtual void Drop() = 0;
};

class Lines final : public std::enable_shared_from_this<Lines> {
public:
    using Clock = std::chrono::steady_clock;
    /// Somebody else's client wants a seat here. What it returns takes the words that follow; null: none do.
    using Opened = std::function<std::shared_ptr<TunnelEnd>(const RelayId& from, const words::Word& word,
                                                            std::string_view bytes)>;

    Lines(boost::asio::io_context& io, Engine& engine, spdlog::logger& log, RelayId self);
    /// Once.
    void Start(Opened opened);
    void Stop();
    /// When no thread runs any more.
    void Drop();

    /// A new tunnel: its number.
    std::uint64_t Open(const RelayId& to, const std::shared_ptr<TunnelEnd>& end, words::Word word,
                       std::string_view bytes);
    void Send(const RelayId& to, std::uint64_t tunnel, words::Word word, std::string_view bytes = {});
    /// Its end takes no more words.
    void Forget(std::uint64_t tunnel);
    /// All tunnels with that relay have ended.
    void Gone(const RelayId& relay, const char* why);
    static std::string SubjectOf(const RelayId& relay);

private:
    /// What goes to another relay, and what comes from it.
    struct Line {
        std::mutex sending;
        std::uint64_t out = 0, sent = 0;  // the line's own number, and the words on it
        std::uint64_t in = 0, heard = 0;
        Clock::time_point last{};  // when it was heard
    };
    struct Tunnel {
        RelayId other;
        std::weak_ptr<TunnelEnd> end;
    };
    std::shared_ptr<Line> LineTo(const RelayId& relay);
    void Publish(Line& line, const RelayId& to, words::Word& word, std::string_view bytes);
    void Heard(const std::string& bytes);
    /// False: something is missing in front of it.
    bool InOrder(const RelayId& from, const words::Word& word);
    void Break(const RelayId& relay, const char* why);
    void Tick();

    Engine& mEngine;
    spdlog::logger& mLog;
    const RelayId mSelf;
    boost::asio::steady_timer mTimer;
    Opened mOpened;
    Engine::Ears mEars;
    std::mutex mMutex;  // for the tables
    std::map<RelayId, std::shared_ptr<Line>> mLines;
    std::unordered_map<std::uint64_t, Tunnel> mTunnels;
    std::set<RelayId> mBusy;  // with whom there were tunnels at the last tick
    bool mStopped = false;
};

}  // namespace zephyl
