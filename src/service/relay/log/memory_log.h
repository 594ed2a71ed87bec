#pragma once
// A log that lives as long as the process. Everything it has is safe at once.

#include "service/relay/log/item_queue.h"
#include "service/relay/log/meeting_log.h"
#include "service/relay/options.h"

namespace zephyl {

class MemoryLog : public MeetingLog {
public:
    explicit MemoryLog(const RelayBounds& bounds);
    LogContents Open() override { return {}; }
    Replayed Replay(const Take&) override { return {}; }
    void Remove() override {}
    void WhenSynced(Done done) override { done(); }
    void NumbersFrom(AskNumbers) override {}
    std::uint64_t Next(Channel channel) override { return ++Of(channel).state.end; }
    void Append(std::vector<ItemPtr> items, Done done) override;
    void Read(Channel channel, std::uint64_t from, std::size_t bytes, ReadDone done) override;
    void Trim(Channel channel, std::uint64_t before, std::uint64_t readByAll) override;
    void Seat(const SeatEntry&) override {}
    ChannelState State(Channel channel) const override
    {
        return channel == CHANNEL_TALK ? mTalk.state : mBoard.state;
    }
    std::size_t BoardBytes() const override { return mBoard.items.KeptBytes(); }
    LogBytes Bytes() const override
    {
        const std::size_t talk = mTalk.items.Bytes(), board = mBoard.items.Bytes();
        return {talk, board, talk + board, false};
    }
    std::vector<LogPart> Hold() override { return {}; }
    void Release() override {}
    void WhenSafe(Safe safe) override { mSafe = std::move(safe); }

private:
    struct Held {
        ItemQueue items;
        ChannelState state;
        std::size_t bound = 0;
    };
    Held& Of(Channel channel) { return channel == CHANNEL_TALK ? mTalk : mBoard; }

    Held mTalk, mBoard;
    Safe mSafe;
};

}  // namespace zephyl
