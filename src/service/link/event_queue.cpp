#include "service/link/event_queue.h"

#include <algorithm>

#include "service/link/read_picture.h"
#include "service/wire/limits.h"

namespace zephyl::link {

namespace {

constexpr std::size_t kStatesKept = 64;
// Of what waits in order: twice what a service that keeps to the marks can have under way.
constexpr std::size_t kHeldBytes = 64 * 1024 * 1024;
constexpr std::size_t kFreshLiveBytes = 64 * 1024 * 1024;
constexpr std::size_t kDecodedBytes = 32 * 1024 * 1024;  // live pictures that wait for the window
constexpr std::chrono::seconds kRefusalLogged{1};        // a storm of bad pictures is one line a second

bool IsPicture(const LinkEvent& event)
{
    return event.kind == LinkEvent::Kind::Frame;
}

/// What it takes in memory, about.
std::size_t Weight(const LinkEvent& event)
{
    return 2 * sizeof(LinkEvent) + 2 * std::size_t(event.text.size() + event.from.size()) +
           std::size_t(event.jpeg.size());
}

}  // namespace

EventQueue::EventQueue(std::function<void()> wake, std::function<void()> report,
                       std::function<void(QString)> log)
    : mWake(std::move(wake)),
      mReport(std::move(report)),
      mLog(std::move(log)),
      mDecoder([this] { DecodeLoop(); })
{
}

EventQueue::~EventQueue()
{
    {
        const std::lock_guard lock(mMutex);
        mStop = true;
    }
    mWork.notify_all();
    mDecoder.join();
}

void EventQueue::Push(LinkEvent event)
{
    bool live = false, work = false;
    {
        const std::lock_guard lock(mMutex);
        if (event.entry < mOldest) return;
        Waiting waiting{std::move(event), ++mArrivals};
        if (waiting.event.kind == LinkEvent::Kind::Status && waiting.event.status == kStatusLeft)
            ForgetLive(waiting.event.from);
        switch (waiting.event.line) {
            case Line::Talk: Hold(mTalk, std::move(waiting)); break;
            case Line::Board: Hold(mBoard, std::move(waiting)); break;
            case Line::Live:
                PushLive(std::move(waiting));
                live = true;
                break;
        }
        work = WorkForIdle();
    }
    if (work) mWork.notify_one();
    if (!live) mWake();  // a live picture is nothing for the window before it is decoded
}

void EventQueue::Hold(std::deque<Waiting>& line, Waiting waiting)
{
    mHeld += Weight(waiting.event);
    line.push_back(std::move(waiting));
}

void EventQueue::DropFirst(std::deque<Waiting>& line)
{
    mHeld -= Weight(line.front().event);
    line.pop_front();
}

bool EventQueue::Full()
{
    const std::lock_guard lock(mMutex);
    mWasFull = mHeld >= kHeldBytes;
    return mWasFull;
}

void EventQueue::PushLive(Waiting waiting)
{
    std::size_t fresh = std::size_t(waiting.event.jpeg.size());
    for (const auto& slot : mLive)
        if (slot->fresh) fresh += std::size_t(slot->fresh->event.jpeg.size());
    if (fresh > kFreshLiveBytes) return;  // the newest wins, but not without a bound
    const auto found = std::find_if(mLive.begin(), mLive.end(), [&](const auto& slot) {
        return !slot->gone && slot->from == waiting.event.from && slot->type == waiting.event.type;
    });
    if (found != mLive.end()) {
        (*found)->fresh = std::move(waiting);
        return;
    }
    auto slot = std::make_unique<LiveSlot>();
    slot->from = waiting.event.from;
    slot->type = waiting.event.type;
    slot->fresh = std::move(waiting);
    mLive.push_back(std::move(slot));
}

void EventQueue::ForgetLive(const QString& from)
{
    for (const auto& slot : mLive)
        if (slot->from == from) slot->gone = true;
    std::erase_if(mLive, [](const auto& slot) { return slot->gone && !slot->decoding; });
}

void EventQueue::PushState(LinkState state)
{
    {
        const std::lock_guard lock(mMutex);
        mStates.push_back(std::move(state));
        if (mStates.size() > kStatesKept) mStates.pop_front();
    }
    mWake();
}

std::optional<LinkState> EventQueue::TakeState()
{
    const std::lock_guard lock(mMutex);
    if (mStates.empty()) return std::nullopt;
    LinkState state = std::move(mStates.front());
    mStates.pop_front();
    return state;
}

void EventQueue::LinesAccepted(quint64 upTo)
{
    {
        const std::lock_guard lock(mMutex);
        if (!mLineNews) mLineNews.emplace();
        mLineNews->acceptedUpTo = std::max(mLineNews->acceptedUpTo, upTo);
    }
    mWake();
}

void EventQueue::LineLost(quint64 line)
{
    {
        const std::lock_guard lock(mMutex);
        if (!mLineNews) mLineNews.emplace();
        mLineNews->lost.push_back(line);
    }
    mWake();
}

std::optional<LineNews> EventQueue::TakeLineNews()
{
    const std::lock_guard lock(mMutex);
    return std::exchange(mLineNews, std::nullopt);
}

void EventQueue::BeginEntry(quint64 entry, quint64 talk, quint64 board)
{
    const std::lock_guard lock(mMutex);
    mMarks = ReadMarks{entry, talk, board, 0, 0, 0};
    mReportAsked = false;
}

ReadMarks EventQueue::Marks(bool reported)
{
    const std::lock_guard lock(mMutex);
    const ReadMarks marks = mMarks;
    if (reported) mMarks.items = 0, mMarks.bytes = 0, mReportAsked = false;
    return marks;
}

void EventQueue::DropBefore(quint64 entry)
{
    const std::lock_guard lock(mMutex);
    mOldest = std::max(mOldest, entry);
    Trim(mTalk, mOldest);
    Trim(mBoard, mOldest);
    for (const auto& slot : mLive) {
        if (slot->fresh && slot->fresh->event.entry < mOldest) slot->fresh.reset();
        if (slot->decoded && slot->decoded->event.entry < mOldest)
            slot->decoded.reset(), slot->picture.reset();
    }
}

void EventQueue::Trim(std::deque<Waiting>& line, quint64 entry)
{
    while (!line.empty() && line.front().event.entry < entry) {
        DropFirst(line);
        if (&line == &mBoard) mBoardStage = Stage::None, mBoardPicture.reset();
    }
}

bool EventQueue::BoardReady() const
{
    return !mBoard.empty() && (!IsPicture(mBoard.front().event) || mBoardStage == Stage::Done);
}

std::optional<ReadyEvent> EventQueue::Take(quint64 entry)
{
    bool report = false, work = false;
    std::optional<ReadyEvent> ready;
    {
        const std::lock_guard lock(mMutex);
        Trim(mTalk, entry);
        Trim(mBoard, entry);
        ready = TakeEarliest(entry);
        if (ready) Mark(ready->event);
        const bool due = mMarks.items >= kReadEveryItems || mMarks.bytes >= kReadEveryBytes;
        const bool room = mWasFull && mHeld < kHeldBytes / 2;
        if (room) mWasFull = false;
        report = (due && !std::exchange(mReportAsked, due)) || room;
        work = WorkForIdle();
    }
    if (work) mWork.notify_one();
    if (report) mReport();
    return ready;
}

std::optional<ReadyEvent> EventQueue::TakeEarliest(quint64 entry)
{
    const Waiting* first = nullptr;
    LiveSlot* live = nullptr;
    const auto consider = [&](const Waiting& waiting, LiveSlot* slot) {
        if (waiting.event.entry > entry || (first && first->arrival < waiting.arrival)) return;
        first = &waiting;
        live = slot;
    };
    if (!mTalk.empty()) consider(mTalk.front(), nullptr);
    if (BoardReady()) consider(mBoard.front(), nullptr);
    for (const auto& slot : mLive)
        if (slot->decoded && slot->decoded->event.entry >= entry) consider(*slot->decoded, slot.get());
    if (!first) return std::nullopt;

    ReadyEvent ready{first->event, nullptr};
    if (live) {
        ready.picture = std::move(live->picture);
        live->decoded.reset();
    } else if (first->event.line == Line::Talk) {
        DropFirst(mTalk);
    } else {
        ready.picture = std::move(mBoardPicture);
        mBoardPicture.reset();
        mBoardStage = Stage::None;
        DropFirst(mBoard);
    }
    return ready;
}

void EventQueue::Mark(const LinkEvent& event)
{
    if (event.sequence == 0 || event.entry != mMarks.entry) return;
    quint64& mark = event.line == Line::Board ? mMarks.board : mMarks.talk;
    mark = std::max(mark, event.sequence);
    ++mMarks.items;
    mMarks.bytes += event.bytes;
    if (event.line == Line::Board) mMarks.boardBytes += event.bytes;
}

std::size_t EventQueue::DecodedBytes() const
{
    std::size_t bytes = 0;
    for (const auto& slot : mLive)
        if (slot->picture)
            bytes +=
                std::size_t(slot->picture->pixels.bytesPerLine) * std::size_t(slot->picture->pixels.height);
    return bytes;
}

EventQueue::LiveSlot* EventQueue::NextLive() const
{
    if (DecodedBytes() >= kDecodedBytes) return nullptr;
    LiveSlot* next = nullptr;
    for (const auto& slot : mLive) {
        if (!slot->fresh || slot->decoding || slot->decoded) continue;
        if (!next || slot->fresh->arrival < next->fresh->arrival) next = slot.get();
    }
    return next;
}

bool EventQueue::BoardWaits() const
{
    return !mBoard.empty() && IsPicture(mBoard.front().event) && mBoardStage == Stage::None;
}

/// Waking the decoder for nothing costs both threads a switch.
bool EventQueue::WorkForIdle() const
{
    return mIdle && (BoardWaits() || NextLive());
}

void EventQueue::DecodeLoop()
{
    std::unique_lock lock(mMutex);
    while (!mStop) {
        if (BoardWaits()) {
            DecodeBoard(lock);
        } else if (LiveSlot* slot = NextLive()) {
            DecodeLive(lock, *slot);
        } else {
            mIdle = true;
            mWork.wait(lock);
            mIdle = false;
        }
    }
}

void EventQueue::TellWindow(std::unique_lock<std::mutex>& lock)
{
    lock.unlock();
    mWake();
    lock.lock();
}

void EventQueue::DecodeBoard(std::unique_lock<std::mutex>& lock)
{
    mBoardStage = Stage::Decoding;
    const LinkEvent event = mBoard.front().event;
    const quint64 arrival = mBoard.front().arrival;
    lock.unlock();
    PicturePtr picture = Decode(event);
    lock.lock();
    if (mBoard.empty() || mBoard.front().arrival != arrival) return;  // dropped meanwhile
    mBoardStage = Stage::Done;
    mBoardPicture = std::move(picture);
    TellWindow(lock);
}

void EventQueue::DecodeLive(std::unique_lock<std::mutex>& lock, LiveSlot& slot)
{
    Waiting waiting = std::move(*slot.fresh);
    slot.fresh.reset();
    slot.decoding = true;
    lock.unlock();
    PicturePtr picture = Decode(waiting.event);
    lock.lock();
    slot.decoding = false;
    if (slot.gone) {
        std::erase_if(mLive, [&](const auto& one) { return one.get() == &slot; });
        return;
    }
    if (waiting.event.entry < mOldest) return;
    slot.decoded = std::move(waiting);
    slot.picture = std::move(picture);
    TellWindow(lock);
}

PicturePtr EventQueue::Decode(const LinkEvent& event)
{
    std::shared_ptr<PixelMemory> memory;
    const auto room = [&](std::size_t count) {
        if (event.line == Line::Live) memory = mPool.Take(count * sizeof(std::uint32_t));
        if (!memory) return FreshPixels(count);
        return std::shared_ptr<std::uint32_t[]>(memory, static_cast<std::uint32_t*>(memory->Data()));
    };
    const DecodedPicture decoded = DecodeOnBoard(event.jpeg, event.x, event.y, room);
    if (!decoded.pixels) {
        const auto now = std::chrono::steady_clock::now();
        if (now - mLastRefusal >= kRefusalLogged)
            mLog(QStringLiteral("A picture from %1 is not shown: %2")
                     .arg(event.from, QString::fromStdString(decoded.refusal)));
        mLastRefusal = now;
        return nullptr;
    }
    return PictureOf(event.jpeg, decoded, memory.get());
}

}  // namespace zephyl::link
