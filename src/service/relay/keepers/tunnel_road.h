#pragma once
// The keeper's end of a tunnel: what a client travels on that is connected to another relay. The bytes are
// those of its connection; on their way are at most kTunnelWindow, until they have left for the client.

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "service/relay/keepers/lines.h"
#include "service/relay/meeting/client.h"
#include "service/relay/meeting/session.h"
#include "service/relay/road.h"

namespace zephyl {

/// Each way.
inline constexpr std::size_t kTunnelWindow = 256 * 1024;
/// Of what has been taken is told after so much.
inline constexpr std::size_t kTunnelCredit = kTunnelWindow / 4;

/// A login, for another relay.
words::Who WhoOf(const Session& session);
/// The same, of another relay.
std::shared_ptr<Session> SessionOf(const words::Who& who, const FloodBudget& budget);

class TunnelRoad final : public Road,
                         public LiveRoad,
                         public TunnelEnd,
                         public std::enable_shared_from_this<TunnelRoad> {
public:
    /// What goes by datagrams at the other relay. Called on a thread of the engine's.
    struct Beside {
        std::function<void(std::string frame)> frame;
        std::function<void()> free;  // what could not be put may be now
    };
    /// `open`: what the other relay has sent; `frame`: with it.
    TunnelRoad(std::shared_ptr<Lines> lines, RelayId from, const words::Word& open, std::string_view frame);
    ~TunnelRoad() override;

    // --- of the line ---
    bool Take(const words::Word& word, std::string_view bytes, Pieces pieces) override;
    void Lost(const char* why) override;
    void Drop() override;

    // --- of the connection ---
    /// Once, before anything comes.
    void SetBeside(Beside beside) { mBeside = std::move(beside); }
    /// Puts there what the other relay offers.
    void OfferDatagrams(Place& place) const;
    /// It has its seat: the other relay learns whose it is.
    void Seated(const Session& session);
    /// It has none any more, and these frames are for it. The road ends.
    void GiveBack(std::string_view frames);
    /// The same; another relay keeps that meeting.
    void SendElsewhere();

    /// What is put stays until this is told to send.
    std::shared_ptr<Gathered> Gathering() const { return mLines; }
    /// What the other relay knows of the client.
    const std::string& From() const { return mFrom.name; }
    std::optional<std::chrono::microseconds> Delay() const;

    bool Takes(std::size_t bodyBytes) const override;
    bool Put(std::string_view frame) override;
    void PutVoice(std::string_view frame) override;

    const char* Name() const override { return mName.c_str(); }
    std::size_t LiveFrames(std::size_t most) const override;
    bool InputKept() const override { return false; }
    boost::asio::awaitable<void> Readable() override;
    bool TakeReady(std::string& into) override;
    bool Free() const override;
    bool Put(std::string_view bytes, std::string& sealed) override;
    void Push() override {}
    bool Flush() override { return Free(); }
    std::size_t Backlog() const override;
    void WhenFree(std::function<void()> then) override;
    void Finish() override;
    bool PeerClosed() const override;
    void Close() noexcept override;
    std::chrono::milliseconds Patience(const RelayTimes&) const override { return std::chrono::hours(24); }

private:
    void Send(words::Word word, std::string_view bytes = {});
    void Ring(std::function<void()>& bell);
    void EndNow(const char* why);
    void SendClose(bool goodbye);
    void SendBack(bool elsewhere, std::string_view frames);

    const std::shared_ptr<Lines> mLines;
    const RelayId mFrom;
    const std::uint64_t mTunnel;
    const std::string mName;
    const words::Open mOpen;
    Beside mBeside;
    mutable std::mutex mMutex;
    std::string mIn;
    std::size_t mTaken = 0;     // and not yet told
    std::size_t mUnderWay = 0;  // to the client
    bool mTakesBeside = false;
    std::optional<std::chrono::microseconds> mDelay;
    std::size_t mBesideUnderWay = 0;
    std::function<void()> mReader, mWriter;
    const char* mEnd = nullptr;  // why it has ended; null: it has not
    bool mSaid = false;          // the other relay knows
};

}  // namespace zephyl
