// A log in the engine, from what stands there.

#include <algorithm>
#include <deque>
#include <stdexcept>
#include <utility>

#include "service/relay/cluster/jetstream_log.h"
#include "service/relay/cluster/stored_items.h"
#include "service/relay/log/journal.h"
#include "service/relay/log/stored.h"

namespace zephyl {
namespace {

constexpr int kEpochShift = 32;

std::exception_ptr Why(const std::string& text)
{
    return std::make_exception_ptr(std::runtime_error(text));
}

}  // namespace

LogContents JetStreamLog::Open()
{
    throw std::logic_error("this log is opened later");
}

Replayed JetStreamLog::Replay(const Take&)
{
    throw std::logic_error("this log is replayed later");
}

void JetStreamLog::OpenLater(Opened opened)
{
    mOpened = std::move(opened);
    ++mOpening;
    if (mEngine.Connected())
        MakeChains();
    else
        FailOpening("its servers are away");
}

// Later: whoever finds out may be a chain that goes with it.
void JetStreamLog::FailOpening(const std::string& why)
{
    mWays.post([this, alive = std::weak_ptr<int>(mAlive), why, opening = mOpening] {
        if (!alive.expired() && opening == mOpening && mOpened) FinishOpening(Why(why));
    });
}

void JetStreamLog::FinishOpening(std::exception_ptr trouble)
{
    if (trouble) {
        ++mOpening;
        mSeats.reset();
        for (Side* const side : {&mTalk, &mBoard})
            for (Lane& lane : side->lanes) lane = Lane();
        mRefused = false;
    }
    const Opened opened = std::exchange(mOpened, nullptr);
    opened(trouble, trouble ? LogContents() : std::exchange(mContents, {}));
}

void JetStreamLog::MakeChains()
{
    mContents = {};
    mSeatEntries.clear();
    mSeatsBytes = 0;
    mAround =
        std::make_unique<ChainSurroundings>(ChainSurroundings{mEngine, mEpoch, mWays.post,
                                                              [this] {
                                                                  if (mOpened)
                                                                      FailOpening("another relay keeps it");
                                                                  mWays.lost();
                                                              },
                                                              [this] { OnChanged(); }});
    const auto make = [&](const char* what) {
        return std::make_unique<LogChain>(SubjectOf(mName, what), *mAround);
    };
    for (Side* const side : {&mTalk, &mBoard}) {  // an attempt before may have failed half way
        side->lanes = {};
        side->recent = ItemQueue();
        side->cold = side->readByAll = 0;
        side->state = {0, std::max(side->state.end, mEpoch << kEpochShift), 0};
        side->storedUpTo = side->state.end;
    }
    mSeats = make(kSeatsChain);
    mTalk.lanes[0].chain = make(kTalkChain);
    mBoard.lanes[0].chain = make(kBoardChain);
    mBoard.lanes[1].chain = make(kPassingChain);
    mChainsToOpen = Chains().size();
    const auto note = [this](std::uint64_t& before) {
        return [this, &before](std::uint64_t last) {
            before = last;
            if (--mChainsToOpen == 0) AllOpened();
        };
    };
    mSeats->Open(note(mSeatsBefore));
    mTalk.lanes[0].chain->Open(note(mTalk.lanes[0].before));
    mBoard.lanes[0].chain->Open(note(mBoard.lanes[0].before));
    mBoard.lanes[1].chain->Open(note(mBoard.lanes[1].before));
}

void JetStreamLog::AllOpened()
{
    ReadSeats(std::make_shared<BatchStream>(mEngine, mWays.post, mSeats->Subject(), 1, mSeatsBefore));
}

void JetStreamLog::ReadSeats(const std::shared_ptr<BatchStream>& stream)
{
    stream->Read([this, alive = std::weak_ptr<int>(mAlive), stream, opening = mOpening](
                     EngineResult result, const std::vector<Batch>& batches, bool end) {
        if (alive.expired() || opening != mOpening) return;
        if (result != EngineResult::Ok) return FailOpening("its servers do not answer");
        for (const Batch& batch : batches) {
            mSeatsBytes += batch.bytes.size();
            TakeEntries(batch.bytes, 0, 0,
                        [&](std::string_view payload, std::uint64_t) { LoadSeatsEntry(payload, mContents); });
        }
        if (!end) return ReadSeats(stream);
        for (const SeatEntry& seat : mContents.seats) mSeatEntries[seat.number] = seat;
        mTalk.state.lost = mContents.lost.talk;
        mBoard.state.lost = mContents.lost.board;
        FinishOpening(nullptr);
    });
}

// --- replaying -------------------------------------------------------------------------------------

/// Both channels, one after the other; of each all subjects, merged by the items' sequences.
struct JetStreamLog::Replaying {
    struct Source {
        Lane* lane;
        std::shared_ptr<BatchStream> stream;
        std::deque<std::pair<ItemPtr, std::uint64_t>> items{};  // and where their batch begins
        bool end = false;
    };
    Take take;
    ReplayDone done;
    std::deque<Side*> sides;
    std::vector<Source> sources{};
    Replayed replayed{};
};

void JetStreamLog::ReplayLater(Take take, ReplayDone done)
{
    ReplayOn(std::make_shared<Replaying>(Replaying{std::move(take), std::move(done), {&mTalk, &mBoard}}));
}

void JetStreamLog::ReplayOn(const std::shared_ptr<Replaying>& replaying)
{
    for (;;) {
        if (replaying->sources.empty()) {
            if (replaying->sides.empty()) return replaying->done(nullptr, replaying->replayed);
            for (Lane& lane : replaying->sides.front()->lanes)
                if (lane.chain)
                    replaying->sources.push_back(
                        {&lane, std::make_shared<BatchStream>(mEngine, mWays.post, lane.chain->Subject(), 1,
                                                              lane.before)});
        }
        Side& side = *replaying->sides.front();
        Replaying::Source* next = nullptr;
        for (std::size_t i = 0; i < replaying->sources.size(); ++i) {
            Replaying::Source& source = replaying->sources[i];
            if (source.items.empty() && !source.end) return ReadForReplay(replaying, i);
            if (!source.items.empty() &&
                (!next || source.items.front().first->sequence < next->items.front().first->sequence))
                next = &source;
        }
        if (next) {
            TakeReplayed(*replaying, *next->lane, next->items.front().first, next->items.front().second);
            next->items.pop_front();
            continue;
        }
        Recount(side);
        KeepBound(side);
        for (const Replaying::Source& source : replaying->sources)
            replaying->replayed.skipped += source.stream->Skipped();
        replaying->sources.clear();
        replaying->sides.pop_front();
    }
}

void JetStreamLog::ReadForReplay(const std::shared_ptr<Replaying>& replaying, std::size_t which)
{
    replaying->sources[which].stream->Read(
        [this, alive = std::weak_ptr<int>(mAlive), replaying, which](
            EngineResult result, const std::vector<Batch>& batches, bool end) {
            if (alive.expired()) return;
            if (result != EngineResult::Ok) return replaying->done(Why("its servers do not answer"), {});
            Replaying::Source& source = replaying->sources[which];
            source.end = end;
            for (const Batch& batch : batches)
                for (ItemPtr& item :
                     ItemsIn(replaying->sides.front()->channel, batch, &replaying->replayed.skipped))
                    source.items.emplace_back(std::move(item), batch.first);
            ReplayOn(replaying);
        });
}

void JetStreamLog::TakeReplayed(Replaying& replaying, Lane& lane, const ItemPtr& item, std::uint64_t first)
{
    Side& side = *replaying.sides.front();
    const std::uint64_t last =
        std::max(side.cold, side.recent.Empty() ? 0 : side.recent.Items().back()->sequence);
    if (item->sequence <= last) {
        ++replaying.replayed.skipped;
        return;
    }
    lane.index.Note({item}, first);
    if (item->sequence <= side.state.lost) return;
    side.recent.Add(item);
    side.state.end = side.storedUpTo = std::max(side.state.end, item->sequence);
    replaying.take(*item);
    ShrinkMemory();
}

}  // namespace zephyl
