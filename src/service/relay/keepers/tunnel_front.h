#pragma once
// The end of a tunnel at the relay that the client is connected to: its frames go to the meeting's keeper,
// and what comes from there is pulled when its socket is free. On the connection's strand but for what the
// line calls.

#include <boost/asio/awaitable.hpp>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "service/relay/keepers/lines.h"
#include "service/relay/meeting/client.h"
#include "service/relay/meeting/session.h"

namespace zephyl {

class TunnelFront final : public BatchSource,
                          public TunnelEnd,
                          public std::enable_shared_from_this<TunnelFront> {
public:
    enum class State {
        Asking,     // no answer yet, or none to the last frame
        Seated,     // frames go through
        Back,       // it has no seat there (any more), and what it asked was answered
        Elsewhere,  // nothing was answered: another relay keeps that meeting now
        Ended,      // the frames that are left say why
        Lost,       // the client is to come back
    };
    /// From any thread.
    struct Owner {
        std::function<void()> frames;  // there is something to pull
        std::function<void()> ended;   // it is Ended, or was Seated and is Lost
    };

    TunnelFront(std::shared_ptr<Lines> lines, RelayId keeper, Owner owner);
    ~TunnelFront() override;

    /// `who`: null, it resumes. Once.
    /// `datagrams`: what it is offered.
    void Open(const Session* who, const std::string& address, const std::string& protocol,
              const Place& datagrams, std::string_view frame);
    State Now() const;
    const RelayId& Keeper() const { return mKeeper; }
    /// Waits until it is not Asking.
    boost::asio::awaitable<State> Answered();
    /// Whose seat it is.
    words::Who Who() const;
    /// So much is on its way to the keeper that nothing more is to be read.
    bool Full() const;
    /// Waits until that may have changed.
    boost::asio::awaitable<void> News();
    enum class Then { GoOn, AwaitAnswer };
    void Forward(std::string_view frames, Then then = Then::GoOn);
    /// A live frame that came by datagrams.
    void ForwardBeside(std::string_view frame);
    /// Whether datagrams reach the client, and what of theirs has left.
    void TellBeside(bool takes);
    /// How long it takes to the client and back.
    void TellDelay(std::chrono::microseconds delay);
    /// All that is left to pull.
    std::string TakeRest();
    /// The client has gone.
    void Close();

    void Fill(std::string& batch, std::size_t limit) override;
    void FillRoad(LiveRoad& road) override;

    bool Take(const words::Word& word, std::string_view bytes, Pieces pieces) override;
    void Lost(const char* why) override;
    void Drop() override;

private:
    void Send(words::Word word, std::string_view bytes = {});
    void SendSoon(words::Word word, std::string_view bytes = {});
    bool TakeFrames(std::string& into);
    void Become(State state);
    void Ring();

    const std::shared_ptr<Lines> mLines;
    const RelayId mKeeper;
    const Owner mOwner;
    std::uint64_t mTunnel = 0;
    std::size_t mTaken = 0;        // and not yet told
    std::size_t mBesideTaken = 0;  // the same
    bool mTakesBeside = false;     // as told
    mutable std::mutex mMutex;     // for what follows
    State mState = State::Asking;
    words::Who mWho;
    std::deque<Pieces> mFrames;  // whole frames each
    struct LiveBytes {
        std::string frame;
        bool voice = false;
    };
    std::deque<LiveBytes> mBeside;  // no more than the keeper may have under way
    std::size_t mUnderWay = 0;      // to the keeper
    std::function<void()> mWaiting;
    bool mNews = false;
    bool mSeated = false;  // at some time
    bool mOver = false;    // nothing more is taken
    bool mKnown = false;   // by the keeper
};

}  // namespace zephyl
