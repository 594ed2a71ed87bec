#include "service/relay/cluster/jetstream_log.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "service/relay/cluster/stored_items.h"
#include "service/relay/log/stored.h"

namespace zephyl {
namespace {

constexpr std::size_t kGroupBytes = 512 * 1024;      // of items in one batch, or one item
constexpr std::chrono::milliseconds kBatchPause{2};  // from one batch to the next, where several items come
constexpr std::size_t kLostAtOnce = 8;               // the eighth of what is kept, when that is too much
constexpr std::size_t kSeatsKept = 256 * 1024;       // of the seats' subject, before all is written anew
constexpr std::size_t kLeastKept = 64 * 1024;        // of one meeting in memory, however many there are
constexpr std::uint64_t kEverything = ~std::uint64_t{0};

}  // namespace

JetStreamLog::JetStreamLog(const std::string& name, std::uint64_t epoch, const RelayBounds& bounds,
                           LogRoom& room, Engine& engine, JetStreamWays ways)
    : mName(name),
      mEpoch(epoch),
      mMemoryBound(bounds.logInMemory),
      mRoom(room),
      mMemory(room.memory),
      mEngine(engine),
      mWays(std::move(ways)),
      mTalk(CHANNEL_TALK, bounds.talkKept),
      mBoard(CHANNEL_BOARD, bounds.boardKept)
{
    mEars = engine.WhenChanged([post = mWays.post, alive = std::weak_ptr<int>(mAlive), this](bool connected) {
        post([this, alive, connected] {
            if (alive.expired()) return;
            if (connected)
                GoOn();
            else if (mOpened)
                FailOpening("its servers are away");
        });
    });
}

JetStreamLog::~JetStreamLog()
{
    *mMemory -= mCounted;
}

std::vector<LogChain*> JetStreamLog::Chains() const
{
    std::vector<LogChain*> chains;
    for (const auto* const chain :
         {&mSeats, &mTalk.lanes[0].chain, &mBoard.lanes[0].chain, &mBoard.lanes[1].chain})
        if (*chain) chains.push_back(chain->get());
    return chains;
}

void JetStreamLog::GoOn()
{
    for (LogChain* const chain : Chains()) chain->GoOn();
    std::vector<std::function<void()>> reads;
    reads.swap(mReadsToRepeat);
    for (const auto& read : reads) read();
}

void JetStreamLog::OnChanged()
{
    const auto chains = Chains();
    const bool refused =
        std::any_of(chains.begin(), chains.end(), [](const LogChain* chain) { return chain->Refused(); });
    if (std::exchange(mRefused, refused) == refused) return;
    if (mOpened) {
        if (refused) FailOpening("its servers take nothing");
        return;
    }
    mWays.trouble(refused);
}

// --- writing ---------------------------------------------------------------------------------------

void JetStreamLog::Append(std::vector<ItemPtr> items, Done done)
{
    // Whoever appended to both is told once both are there.
    const auto last = std::make_shared<Done>(std::move(done));
    std::array<bool, 2> concerns{};
    for (ItemPtr& item : items) {
        Side& side = Of(item->channel);
        concerns[&side == &mBoard ? 1 : 0] = true;
        side.waitingBytes += item->frames.size();
        ++side.given;
        side.waiting.push_back(std::move(item));
    }
    const auto left = std::make_shared<int>(concerns[0] + concerns[1]);
    for (Side* const side : {&mTalk, &mBoard}) {
        if (!concerns[side == &mBoard ? 1 : 0]) continue;
        side->done.emplace_back(side->given, [last, left] {
            if (--*left == 0 && *last) (*last)();
        });
        Pump(*side);
    }
}

// Most of what a batch costs does not depend on how much is in it. Where much comes the next one waits for a
// moment that nobody notices, and gathers; what comes by itself goes at once.
bool JetStreamLog::Hold(Side& side)
{
    if (side.held) return true;
    const auto now = std::chrono::steady_clock::now();
    if (!side.several || now >= side.sent + kBatchPause) {
        side.sent = now;
        return false;
    }
    side.held = true;
    mWays.later(side.sent + kBatchPause - now, [this, &side, alive = std::weak_ptr<int>(mAlive)] {
        if (alive.expired()) return;
        side.held = false;
        Pump(side);
    });
    return true;
}

// One batch of a channel is under way at a time, so that what is there has no gap. Meanwhile the next one
// gathers.
void JetStreamLog::Pump(Side& side)
{
    if (!side.underWay.empty() || side.waiting.empty() || !side.lanes[0].chain) return;
    if (Hold(side)) return;
    std::string bytes;
    bool passing = side.lanes[1].chain != nullptr;
    for (std::size_t taken = 0; !side.waiting.empty(); side.waiting.pop_front()) {
        const ItemPtr& item = side.waiting.front();
        taken += item->frames.size();
        if (taken > kGroupBytes && !side.underWay.empty()) break;
        StoreItem(bytes, *item);
        passing = passing && !item->kept;
        side.underWay.push_back(item);
    }
    side.several = side.underWay.size() > 1;
    Lane& lane = side.lanes[passing ? 1 : 0];
    const auto batch = std::make_shared<const std::string>(std::move(bytes));
    if (mWays.writes && batch->size() <= kChainPartBytes) mWays.writes(lane.chain->Next(), batch);
    lane.chain->Append(
        *batch, [this, &side, &lane](std::uint64_t first, std::uint64_t) { OnStored(side, lane, first); });
}

void JetStreamLog::OnStored(Side& side, Lane& lane, std::uint64_t first)
{
    const std::vector<ItemPtr> items = std::exchange(side.underWay, {});
    lane.index.Note(items, first);
    for (const ItemPtr& item : items) {
        side.waitingBytes -= item->frames.size();
        side.wanted += item->frames.size();
        side.recent.Add(item);
    }
    side.storedUpTo = items.back()->sequence;
    side.stored += items.size();
    Pump(side);  // the next one leaves before this one is read
    std::vector<Done> done;
    for (; !side.done.empty() && side.done.front().first <= side.stored; side.done.pop_front())
        done.push_back(std::move(side.done.front().second));
    for (const Done& one : done) one();
    KeepBound(side);
    ShrinkMemory();
    if (mSafe) mSafe({mTalk.storedUpTo, mBoard.storedUpTo});
    RunWaiters();
}

void JetStreamLog::Seat(const SeatEntry& entry)
{
    std::string stored;
    StoreSeat(stored, entry);
    mSeatEntries[entry.number] = entry;
    WriteSeats(std::move(stored));
}

void JetStreamLog::WriteSeats(std::string entries)
{
    ++mSeatsGiven;
    mSeatsWaiting.push_back({std::move(entries), false});
    if (mSeatsBytes > kSeatsKept && mNumbers) {
        ++mSeatsGiven;
        mSeatsBytes = 0;
        mSeatsWaiting.push_back({AllSeats(), true});
    }
    PumpSeats();
}

// Of those who are gone only the last one still says something: which numbers were given out; and who may
// not come back.
std::string JetStreamLog::AllSeats()
{
    std::erase_if(mSeatEntries, [&](const auto& one) {
        return one.second.gone && !one.second.barred && one.first != mSeatEntries.rbegin()->first;
    });
    std::string entries;
    for (const auto& [number, seat] : mSeatEntries) StoreSeat(entries, seat);
    for (const NumbersEntry& entry : mNumbers()) StoreNumbers(entries, entry);
    StoreLost(entries, {mTalk.state.lost, mBoard.state.lost});
    return entries;
}

void JetStreamLog::PumpSeats()
{
    if (mSeatsUnderWay > 0 || mSeatsWaiting.empty() || !mSeats) return;
    std::string bytes;
    bool whole = false;
    do {
        whole = mSeatsWaiting.front().whole;
        bytes += mSeatsWaiting.front().bytes;
        mSeatsWaiting.pop_front();
        ++mSeatsUnderWay;
    } while (!whole && !mSeatsWaiting.empty() && !mSeatsWaiting.front().whole && bytes.size() < kGroupBytes);
    mSeatsBytes += bytes.size();
    mSeats->Append(bytes, [this, whole](std::uint64_t first, std::uint64_t) {
        mSeatsStored += std::exchange(mSeatsUnderWay, 0);
        if (whole) mSeats->Purge(first);
        PumpSeats();
        RunWaiters();
    });
}

void JetStreamLog::WhenSynced(Done done)
{
    mWaiters.push_back({mTalk.given, mBoard.given, mSeatsGiven, std::move(done)});
    RunWaiters();
}

void JetStreamLog::RunWaiters()
{
    while (!mWaiters.empty() && mWaiters.front().talk <= mTalk.stored &&
           mWaiters.front().board <= mBoard.stored && mWaiters.front().seats <= mSeatsStored) {
        const Done done = std::move(mWaiters.front().done);
        mWaiters.pop_front();
        done();
    }
}

// --- letting go ------------------------------------------------------------------------------------

// Once a second.
void JetStreamLog::Trim(Channel channel, std::uint64_t before, std::uint64_t readByAll)
{
    Side& side = Of(channel);
    side.state.begin = std::max(side.state.begin, before > 0 ? before - 1 : 0);
    side.readByAll = std::max(side.readByAll, readByAll);
    side.recent.Trim(side.state.begin, side.readByAll);
    DropUnwanted(side);
    LetGo(side);
    Recount(side);
    ShrinkMemory();
    if (channel == CHANNEL_BOARD) GoOn();
}

void JetStreamLog::Recount(Side& side)
{
    side.wanted = 0;
    for (const Lane& lane : side.lanes)
        side.wanted += lane.index.WantedBytes(side.state.begin, side.readByAll);
}

// What must outlive the items that go.
void JetStreamLog::WriteMarks()
{
    std::string entries;
    for (const NumbersEntry& entry : mNumbers()) StoreNumbers(entries, entry);
    StoreLost(entries, {mTalk.state.lost, mBoard.state.lost});
    WriteSeats(std::move(entries));
}

void JetStreamLog::DropUnwanted(Side& side)
{
    for (Lane& lane : side.lanes)
        if (const std::uint64_t rest = lane.index.DropUnwanted(side.state.begin, side.readByAll))
            lane.rest = rest;
}

// Many at a time: to look for them costs the engine as much as many entries do.
void JetStreamLog::LetGo(Side& side)
{
    if (!mNumbers) return;
    std::vector<std::pair<LogChain*, std::uint64_t>> gone;
    for (Lane& lane : side.lanes)
        if (const std::uint64_t rest = std::exchange(lane.rest, 0)) gone.emplace_back(lane.chain.get(), rest);
    if (gone.empty()) return;
    WriteMarks();
    WhenSynced([gone = std::move(gone)] {
        for (const auto& [chain, rest] : gone) chain->Purge(rest);
    });
}

void JetStreamLog::Lose(Side& side, std::uint64_t upTo)
{
    side.state.lost = std::max(side.state.lost, upTo);
    side.state.begin = std::max(side.state.begin, upTo);
    side.readByAll = std::max(side.readByAll, upTo);
    side.recent.Trim(side.state.begin, side.readByAll);
}

void JetStreamLog::KeepBound(Side& side)
{
    if (side.wanted <= side.bound) return;
    Recount(side);
    if (side.wanted <= side.bound) return;
    while (side.wanted > side.bound - side.bound / kLostAtOnce) {
        std::uint64_t oldest = kEverything;
        for (const Lane& lane : side.lanes)
            if (const std::uint64_t end = lane.index.OldestEnd()) oldest = std::min(oldest, end);
        if (oldest == kEverything) break;
        Lose(side, oldest);
        DropUnwanted(side);
        Recount(side);
    }
    if (mNumbers) WriteMarks();
}

void JetStreamLog::ShrinkMemory()
{
    const auto count = [this] {
        const std::size_t now = mTalk.recent.Bytes() + mBoard.recent.Bytes();
        *mMemory += now - mCounted;
        mCounted = now;
    };
    count();
    while (mCounted > mMemoryBound || (mCounted > kLeastKept && *mMemory > mRoom.memoryBound)) {
        Side& side = mTalk.recent.Bytes() > mBoard.recent.Bytes() ? mTalk : mBoard;
        if (side.recent.Empty()) return;
        side.cold = side.recent.DropFront();
        count();
    }
}

std::vector<std::string> JetStreamLog::Subjects(const std::string& name)
{
    std::vector<std::string> subjects;
    for (const char* const what : {kSeatsChain, kTalkChain, kBoardChain, kPassingChain})
        subjects.push_back(SubjectOf(name, what));
    return subjects;
}

void JetStreamLog::End()
{
    for (LogChain* const chain : Chains()) chain->End();
}

void JetStreamLog::Remove()
{
    End();
    for (std::string& subject : Subjects(mName)) mWays.remove(std::move(subject));
}

// --- reading ---------------------------------------------------------------------------------------

struct JetStreamLog::ColdReading {
    Channel channel;
    std::uint64_t from;
    std::uint64_t cold;  // the rest stands in memory
    ReadDone done;
    std::size_t lanes = 0;  // still to come
    bool failed = false;
    std::uint64_t through = 0;  // nothing is missing up to here
    std::vector<ItemPtr> items;
};

void JetStreamLog::Read(Channel channel, std::uint64_t from, std::size_t bytes, ReadDone done)
{
    const Side& side = Of(channel);
    if (from >= side.cold) return done(side.recent.Read(from, bytes));
    ReadCold(std::make_shared<ColdReading>(
        ColdReading{channel, from, side.cold, std::move(done), {}, {}, {}, {}}));
}

void JetStreamLog::ReadCold(const std::shared_ptr<ColdReading>& reading)
{
    Side& side = Of(reading->channel);
    reading->through = reading->cold;
    reading->items.clear();
    reading->failed = false;
    const auto finish = [this, reading] {
        if (reading->lanes > 0) return;
        if (reading->failed) {
            mReadsToRepeat.push_back([this, reading] { ReadCold(reading); });
            return;
        }
        LogChunk chunk{{}, reading->through};
        std::sort(reading->items.begin(), reading->items.end(),
                  [](const ItemPtr& one, const ItemPtr& other) { return one->sequence < other->sequence; });
        for (ItemPtr& item : reading->items)
            if (item->sequence > reading->from && item->sequence <= chunk.upTo)
                chunk.items.push_back(std::move(item));
        reading->done(std::move(chunk));
    };
    std::vector<std::pair<const Lane*, std::uint64_t>> places;
    for (const Lane& lane : side.lanes)
        if (const auto place = lane.index.PlaceFor(reading->from)) places.emplace_back(&lane, *place);
    reading->lanes = places.size();
    if (places.empty()) return finish();
    for (const auto& [lane, place] : places) {
        auto stream =
            std::make_shared<BatchStream>(mEngine, mWays.post, lane->chain->Subject(), place, kEverything);
        ReadOn(reading, std::move(stream), finish);
    }
}

// Until something is behind the cursor, or all that stands in the engine only has been seen.
void JetStreamLog::ReadOn(const std::shared_ptr<ColdReading>& reading,
                          const std::shared_ptr<BatchStream>& stream, const std::function<void()>& finish)
{
    stream->Read([this, alive = std::weak_ptr<int>(mAlive), reading, stream, finish](
                     EngineResult result, const std::vector<Batch>& batches, bool) {
        if (alive.expired()) return;
        std::uint64_t last = 0;
        for (const Batch& batch : batches)
            for (ItemPtr& item : ItemsIn(reading->channel, batch)) {
                last = std::max(last, item->sequence);
                reading->items.push_back(std::move(item));
            }
        if (result == EngineResult::Ok && last <= reading->from) return ReadOn(reading, stream, finish);
        reading->failed = reading->failed || result != EngineResult::Ok;
        reading->through = std::min(reading->through, last);
        --reading->lanes;
        finish();
    });
}

// --- what is told of it ----------------------------------------------------------------------------

std::size_t JetStreamLog::BoardBytes() const
{
    std::size_t bytes = 0;
    for (const Lane& lane : mBoard.lanes) bytes += lane.index.KeptBytes(mBoard.state.begin);
    return bytes;
}

LogBytes JetStreamLog::Bytes() const
{
    return {mTalk.wanted, mBoard.wanted, mTalk.recent.Bytes() + mBoard.recent.Bytes(), mRefused};
}

std::vector<LogPart> JetStreamLog::Hold()
{
    throw std::runtime_error("it stands in the cluster's servers, which have a backup of their own");
}

}  // namespace zephyl
