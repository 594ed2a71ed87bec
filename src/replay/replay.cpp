#include "replay/replay.h"

#include <QElapsedTimer>
#include <algorithm>

#include "text/text_rules.h"

using meeting_file::Item;
using meeting_file::Kind;

namespace {

constexpr std::size_t kMostAuthors = 4096;

}  // namespace

Replay::Replay(const meeting_file::Source& source, const PictureReader& pictures, std::function<void()> news,
               std::size_t keyBytes)
    : mPictures(pictures), mNews(std::move(news)), mFile(source), mLearned(source), mKeys(keyBytes)
{
    mProblem = QString::fromStdString(mFile.Problem());
    Begin();
    mThread = std::jthread([this](const std::stop_token& stop) { Learn(stop); });
}

Replay::~Replay() = default;

void Replay::Begin()
{
    mBoard.emplace();
    mHistory.emplace();
    BeginReplay(*mBoard, *mHistory);
    mPosition = 0;
    mKnowsMarks = true;
}

// --- the other thread ------------------------------------------------------------------------------------

void Replay::Learn(const std::stop_token& stop)
{
    Board board;
    WBHistory history;
    BeginReplay(board, history);
    for (std::size_t frame = 0; frame < mLearned.Frames() && !stop.stop_requested(); ++frame) {
        LearnFrame(frame, board, history, stop);
        mNews();
    }
}

void Replay::Note(const Item& item)
{
    const QString author = Utf8Text(QByteArrayView(item.from));
    const std::lock_guard lock(mMutex);
    auto known = std::find(mAuthors.begin(), mAuthors.end(), author);
    if (known == mAuthors.end() && mAuthors.size() < kMostAuthors) known = mAuthors.insert(known, author);
    if (known == mAuthors.end()) --known;
    if (item.kind == Kind::Line) mLines.push_back({mSteps.size(), item});
    mSteps.push_back({item.time, std::uint16_t(known - mAuthors.begin()), item.kind});
}

void Replay::LearnFrame(std::size_t frame, Board& board, WBHistory& history, const std::stop_token& stop)
{
    std::vector<Item> items;
    try {
        items = mLearned.Frame(frame);
    } catch (const meeting_file::BadFile& bad) {
        const std::lock_guard lock(mMutex);
        mProblem = QString::fromUtf8(bad.what());
        mKnown = std::size_t(mLearned.FirstOf(frame + 1));
        mSteps.resize(mKnown);
        return;
    }
    QElapsedTimer sinceKey;
    sinceKey.start();
    std::size_t behindKey = 0, at = std::size_t(mLearned.FirstOf(frame));
    for (const Item& item : items) {
        if (stop.stop_requested()) return;
        const bool remembered = ApplyItem(board, history, item, mPictures);
        Note(item);
        ++at;
        ++behindKey;
        const bool last = at == mLearned.FirstOf(frame + 1);
        const bool takesBack = item.kind == Kind::TakeBack;
        const bool due =
            behindKey >= kKeyItems || sinceKey.elapsed() >= kKeyMilliseconds || last || takesBack;
        const std::lock_guard lock(mMutex);
        if (takesBack) mTakeBacks.push_back(at - 1);
        if (due && remembered) {
            mKeys.Add(at, board, history, double(sinceKey.elapsed()), takesBack);
            behindKey = 0;
            sinceKey.restart();
        }
        mKnown = at;
    }
}

// --- any thread ------------------------------------------------------------------------------------------

std::size_t Replay::Known() const
{
    const std::lock_guard lock(mMutex);
    return mKnown;
}

QString Replay::Problem() const
{
    const std::lock_guard lock(mMutex);
    return mProblem;
}

std::vector<Step> Replay::Steps(std::size_t from, std::size_t most) const
{
    const std::lock_guard lock(mMutex);
    if (from >= mSteps.size()) return {};
    const auto begin = mSteps.begin() + std::ptrdiff_t(from);
    return {begin, begin + std::ptrdiff_t(std::min(most, mSteps.size() - from))};
}

std::vector<QString> Replay::Authors() const
{
    const std::lock_guard lock(mMutex);
    return mAuthors;
}

std::vector<Item> Replay::Lines(std::size_t position, std::size_t most) const
{
    const std::lock_guard lock(mMutex);
    const auto end = std::partition_point(mLines.begin(), mLines.end(),
                                          [&](const Line& line) { return line.at < position; });
    const auto count = std::min(std::ptrdiff_t(most), end - mLines.begin());
    std::vector<Item> lines;
    for (auto line = end - count; line != end; ++line) lines.push_back(line->item);
    return lines;
}

// --- the thread that seeks -------------------------------------------------------------------------------

const std::vector<Item>& Replay::FrameItems(std::size_t frame)
{
    if (frame == mHeldFrame) return mHeld;
    mHeldFrame = frame;
    try {
        mHeld = mFile.Frame(frame);
    } catch (const meeting_file::BadFile&) {
        mHeld.clear();  // said where it was learned
    }
    return mHeld;
}

/// Whether one of the items from `from` on, up to `to`, takes back.
bool Replay::TakesBack(std::size_t from, std::size_t to) const
{
    const auto first = std::lower_bound(mTakeBacks.begin(), mTakeBacks.end(), from);
    return first != mTakeBacks.end() && *first < to;
}

/// Where to play on from. Whose marks a kept board has is not kept: over a taking back it leads from the
/// beginning alone, which happens where the board behind that was let go of.
void Replay::GoNear(std::size_t position)
{
    const bool back = position < mPosition;
    const std::lock_guard lock(mMutex);
    const std::size_t key = mKeys.Nearest(position);
    std::size_t from = back ? key : std::max(key, mPosition);
    const bool knowsMarks = from == 0 || (!back && from == mPosition && mKnowsMarks);
    if (!knowsMarks && TakesBack(from, position)) from = 0;
    if (!back && from == mPosition) return;
    if (from == 0) return Begin();
    mBoard.emplace();
    mHistory.emplace();
    mPosition = mKeys.Restore(position, *mBoard, *mHistory);
    mKnowsMarks = false;
}

void Replay::Seek(std::size_t position)
{
    position = std::min(position, Known());
    if (position != mPosition) GoNear(position);
    while (mPosition < position) {
        const std::size_t frame = mFile.FrameOf(mPosition);
        const std::vector<Item>& items = FrameItems(frame);
        const std::size_t at = mPosition - std::size_t(mFile.FirstOf(frame));
        if (at < items.size()) ApplyItem(*mBoard, *mHistory, items[at], mPictures);
        ++mPosition;
    }
}
