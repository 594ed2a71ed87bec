#pragma once
// What relays say to each other about clients that are connected to one and have their seat at another. What
// is ready at the same time goes as one parcel, and parcels are numbered on the way from each relay to each
// other; whoever misses one ends all tunnels with that relay, and their clients come back by Resume. Any
// thread.

#include <atomic>
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
#include "service/relay/keepers/overheard.h"
#include "service/relay/keepers/shelf.h"
#include "service/relay/keepers/words.pb.h"
#include "service/relay/meeting/client.h"
#include "service/relay/meeting/shared_meetings.h"

namespace spdlog {
class logger;
}

namespace zephyl {

/// One end of a tunnel. Told on a thread of the engine's or of the relay's, one word at a time, in order.
class TunnelEnd {
public:
    virtual ~TunnelEnd() = default;
    /// `bytes`: what came with it, or else `pieces` is that. False: that was the last one.
    virtual bool Take(const words::Word& word, std::string_view bytes, Pieces pieces) = 0;
    /// No more words come.
    virtual void Lost(const char* why) = 0;
    /// Whoever waits for it will not be told any more. When no thread runs.
    virtual void Drop() = 0;
};

class Lines final : public Gathered, public std::enable_shared_from_this<Lines> {
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
    /// The same, behind what waits for this thread already: what others say until then goes with it.
    void SendSoon(const RelayId& to, std::uint64_t tunnel, words::Word word, std::string_view bytes = {});
    /// The same of whole frames, in `shelved` of that word, when Send is next called, whoever it is for: what
    /// the other relay has of them already is named only.
    void SendLater(const RelayId& to, std::uint64_t tunnel, words::Word& word, words::Shelved& shelved,
                   std::string_view frames);
    /// All that was to go later.
    void Send() override;
    /// Its end takes no more words.
    void Forget(std::uint64_t tunnel);
    /// All tunnels with that relay have ended. If it is there all the same it is told with the next word that
    /// goes there.
    void Gone(const RelayId& relay, const char* why);
    /// A meeting's log is about to write a batch.
    void Writes(const ChainName& entry, std::shared_ptr<const std::string> batch);
    static std::string SubjectOf(const RelayId& relay);
    /// Where a relay hears what it is asked.
    static std::string QuestionsOf(const RelayId& relay) { return SubjectOf(relay) + ".ask"; }

private:
    struct Listening {
        std::uint64_t ask = 0;
        bool told = false;  // that something was heard
        Engine::Ears ears;
    };
    /// What goes to another relay, and what comes from it.
    struct Line {
        std::mutex sending;
        std::uint64_t out = 0, sent = 0;  // the line's own number, and the parcels on it
        std::string waiting;              // words
        bool soon = false;
        ShelfOut shelf;
        OverheardOut overheard;
        std::mutex hearing;
        ShelfIn heardShelf;
        HeardEntries heardEntries;
        std::map<std::string, Listening> logs;  // subjects whose entries it names
        std::uint64_t in = 0, heard = 0;
        Clock::time_point last{};  // when it was heard
    };
    struct Tunnel {
        RelayId other;
        std::weak_ptr<TunnelEnd> end;
    };
    std::shared_ptr<Line> LineTo(const RelayId& relay);
    void Publish(Line& line, const RelayId& to);
    void Heard(std::string_view parcel);
    void HeardWord(Line& line, const RelayId& from, const words::Word& word, std::string_view bytes);
    void ListenTo(Line& line, const RelayId& from, const words::Listen& wanted);
    void Overheard(const RelayId& from, const EngineWord& entry);
    /// False: something is missing in front of it.
    bool InOrder(Line& line, const RelayId& from, const words::Parcel& parcel);
    void Break(const RelayId& relay, const char* why);
    void End(const RelayId& relay, const char* why);
    static void StopListening(Line& line);
    std::vector<std::pair<RelayId, std::shared_ptr<Line>>> AllLines();
    void Tick();
    void Fade();

    boost::asio::io_context& mIo;
    Engine& mEngine;
    spdlog::logger& mLog;
    const RelayId mSelf;
    boost::asio::steady_timer mTimer;
    Opened mOpened;
    Engine::Ears mEars;
    WrittenEntries mWritten;
    std::atomic<bool> mCarries{false};  // frames to other relays, lately
    std::mutex mMutex;                  // for the tables
    std::map<RelayId, std::shared_ptr<Line>> mLines;
    std::unordered_map<std::uint64_t, Tunnel> mTunnels;
    std::set<RelayId> mBusy;  // with whom there were tunnels at the last tick
    bool mStopped = false;
};

}  // namespace zephyl
