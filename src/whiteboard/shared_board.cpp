#include "whiteboard/shared_board.h"

#include <algorithm>
#include <span>
#include <utility>

#include "whiteboard/found_ink.h"

namespace {

constexpr int kTogetherFrees = 64;

template <class Do>
void ForEach(const TileSet& tiles, Do act)
{
    if (tiles.none()) return;
    for (int tile = 0; tile < kTileCount; ++tile)
        if (tiles[std::size_t(tile)]) act(tile);
}

}  // namespace

SharedBoard::SharedBoard(Board& shown, WBHistory& history, std::function<const PenRecord*()> stroke,
                         const PictureReader* pictures)
    : mShown(shown), mHistory(history), mStroke(std::move(stroke)), mPictures(pictures)
{
}

bool SharedBoard::HasSteps() const
{
    return std::any_of(mOwn.begin(), mOwn.end(), [](const Own& own) { return IsStep(*own.mark); });
}

// --- the own hand --------------------------------------------------------------------------------------

void SharedBoard::BeginOwn()
{
    BringUp();
    if (!mBase) {
        mBehind |= mShown.TakeTouched();  // from here on it is the own hand that touches
        mBase = Base{mHistory, mHistory.Look(mShown), mShown.Unsaved(), mShown.FontName()};
    }
    mInHand = true;
}

void SharedBoard::AddOwn(const MarkPtr& mark, quint64 post)
{
    if (!mBase) BeginOwn();
    const bool beside =
        DrawsNow() && (IsStep(*mark) || DrawsOf(*mark) == Draws::Clear);  // the stroke goes on
    if (!beside && std::exchange(mDisturbed, beside)) DrawMark(mShown, *mark);
    mDisturbed = beside;
    mInHand = beside;
    mStrokeInked = 0;
    if (mFresh && !IsStep(*mark)) {
        NoteDrawn(mHistory, mShown, mark);
        mHistory.Save(&mShown, 0, 0, mark->author, mark->when);
    }
    mOwn.push_back({post, mark, {}, mShown.FontName(), {}});
    if (!mLog)
        mOwn.back().after = mHistory;
    else if (HasSteps())
        DropInk();
    else if (mInk)
        Ink(mOwn.back());
    if (post == 0) Remove([](const Own& own) { return own.post == 0; });
}

void SharedBoard::EndOwn()
{
    if (!mInHand) return;
    Separate();
    mInHand = mDisturbed = false;
    mStrokeInked = 0;
    FollowLog(mApart | mShown.TakeTouched());
    SettleIfPlaced();
}

// --- the others ----------------------------------------------------------------------------------------

Applied SharedBoard::Take(const MarkPtr& mark, const std::function<void()>& between)
{
    if (!mBase) return ApplyMark(mShown, mHistory, mark, between, mPictures);
    Separate();
    const Applied applied = ApplyMark(*mLogBoard, *mLog, mark, between, mPictures);
    FollowLog();
    return applied;
}

void SharedBoard::PaintLive(const std::function<void(Board&)>& paint)
{
    if (!mBase) return paint(mShown);
    Separate();
    paint(*mLogBoard);
    mApart |= mLogBoard->TakeTouched();
    paint(mShown);
}

void SharedBoard::KeepInk(bool keep)
{
    if (keep == mShown.KeepsInk()) return;
    Separate();
    DropInk();
    if (!mLog) mLogBoard.reset();  // made anew when it is needed
    if (!keep) {
        mShown.ForgetInk();
        if (mLogBoard) mLogBoard->ForgetInk();
        return;
    }
    FindInk(mLog ? *mLog : mHistory, mLog ? *mLogBoard : mShown, mPictures);
    if (!mLog) return;
    mShown.KeepInk();
    mShown.TakeInk(*mLogBoard);
    Replay();
}

void SharedBoard::Placed(quint64 post)
{
    Remove([post](const Own& own) { return own.post < post; });
    if (!mOwn.empty() && mOwn.front().post == post) PlaceFirst();
    SettleIfPlaced();
}

void SharedBoard::Passed(quint64 upTo)
{
    Remove([upTo](const Own& own) { return own.post <= upTo; });
}

void SharedBoard::Lost(quint64 post)
{
    Remove([post](const Own& own) { return own.post == post; });
}

void SharedBoard::AllPlaced()
{
    while (!mOwn.empty()) PlaceFirst();
    SettleIfPlaced();
}

void SharedBoard::PlaceFirst()
{
    Own own = std::move(mOwn.front());
    mOwn.pop_front();
    if (onPlaced) onPlaced(own.mark);
    if (!mLog) {
        mBase->history = std::move(*own.after);
        mBase->grid = mBase->history.Shown();
        mBase->unsaved.reset();
        mBase->font = own.fontAfter;
        return;
    }
    // On the shown board it is already, in this order.
    ApplyMark(*mLogBoard, *mLog, own.mark, {}, mPictures);
    mApart |= mLogBoard->TakeTouched();
    mInkOutdated |= own.tiles;
}

/// It disappears from what is shown.
void SharedBoard::Remove(const std::function<bool(const Own&)>& goes)
{
    if (std::none_of(mOwn.begin(), mOwn.end(), goes)) return;
    Separate();
    TileSet gone;
    for (const Own& own : mOwn)
        if (goes(own)) gone |= own.tiles;
    std::erase_if(mOwn, goes);
    FollowLog(gone);
    SettleIfPlaced();
}

void SharedBoard::Begin(quint64 ownUpTo, const QString& handle, const QDateTime& when)
{
    const auto blank = [&](Board& board, WBHistory& history) {
        board.Clear();
        board.SetFontName(TextLook().fontName);
        history = {};
        history.Save(&board, 0, 0, handle, when);
    };
    std::erase_if(mOwn, [ownUpTo](const Own& own) { return own.post <= ownUpTo; });
    if (mOwn.empty() && !mInHand) {
        DropInk();
        mLog.reset();
        mBase.reset();
        mLogBoard.reset();
        mFresh = true;
        mDue = false;
        return blank(mShown, mHistory);
    }
    Separate();
    blank(*mLogBoard, *mLog);
    DropInk();
    FollowLog();
}

// --- two boards ----------------------------------------------------------------------------------------

/// From here on the log has a board of its own.
void SharedBoard::Separate()
{
    if (mLog || !mBase) return;
    const TileSet own = mShown.TakeTouched();
    MakeLogBoard(own);
    mLogBoard->SetUnsaved(mBase->unsaved);
    mLogBoard->SetFontName(mBase->font);
    mLogBoard->TakeTouched();
    mLogBoard->TakeUnshown();
    mLog = std::move(mBase->history);
    mBase->grid.reset();
    mBase->history = {};
    mBehind.reset();
    mApart = own;
    mTogether = 0;
    for (Own& one : mOwn) one.after.reset();
}

/// What is shown, without what the own hand drew since mBase.
void SharedBoard::MakeLogBoard(const TileSet& own)
{
    if (mLogBoard)
        ForEach(mBehind & ~own, [&](int tile) { mLogBoard->TakeTile(tile, mShown); });
    else
        mLogBoard = std::make_unique<Board>(mShown);
    const InkGrid* ink = mBase->grid->ink.get();
    ForEach(own, [&](int tile) {
        mLogBoard->PutTile(tile, (*mBase->grid)[std::size_t(tile)]->pixels.data());
        const Tile* lay = ink ? (*ink)[std::size_t(tile)].get() : nullptr;
        mLogBoard->PutInk(tile, lay ? lay->pixels.data() : nullptr);
    });
}

bool SharedBoard::DrawsNow() const
{
    return mInHand && mStroke && mStroke();
}

/// The log's board has changed beneath the own work; `gone`: own ink on these tiles is not wanted any more.
void SharedBoard::FollowLog(TileSet gone)
{
    mFresh = false;
    if (HasSteps()) {
        DropInk();
        mDue = true;
        return;
    }
    if (mDue) return;
    const bool anew = !mInk;
    if (anew) MakeInk();
    InkStroke();
    mInkOutdated |= gone;
    TileSet changed = mLogBoard->TakeTouched() | gone;
    if (anew) changed |= mApart | mShown.TakeTouched();
    RedoInk(mInkOutdated & changed);
    ForEach(changed, [&](int tile) {
        mShown.TakeTile(tile, *mLogBoard, mInked[std::size_t(tile)] ? mInk.get() : nullptr);
    });
    mApart |= changed;
}

void SharedBoard::BringUp()
{
    if (mDue) Replay();
}

WBHistory& SharedBoard::History()
{
    if (!mFresh) Replay();
    return mHistory;
}

/// All own work once more, on the log's board as it is now.
void SharedBoard::Replay()
{
    const TileSet apart = mApart | mInked | mShown.TakeTouched() | mLogBoard->TakeTouched();
    ForEach(apart, [&](int tile) { mShown.TakeTile(tile, *mLogBoard); });
    mShown.SetUnsaved(mLogBoard->Unsaved());
    mShown.SetFontName(mLogBoard->FontName());
    mHistory = *mLog;
    for (const Own& own : mOwn) ApplyMark(mShown, mHistory, own.mark, {}, mPictures);
    mApart = mShown.TakeTouched();
    if (DrawsNow()) mShown.Draw(mStroke()->segments, mStroke()->width);
    mFresh = true;
    mDue = false;
}

void SharedBoard::SettleIfPlaced()
{
    if (!mOwn.empty() || mInHand || !mBase) return;
    if (mLog)
        BecomeLog();
    else if (++mTogether >= kTogetherFrees)
        mLogBoard.reset();
    mBase.reset();
}

void SharedBoard::BecomeLog()
{
    const TileSet apart = mApart | mInked | mShown.TakeTouched() | mLogBoard->TakeTouched();
    ForEach(apart, [&](int tile) { mShown.TakeTile(tile, *mLogBoard); });
    mShown.SetUnsaved(mLogBoard->Unsaved());
    mShown.SetFontName(mLogBoard->FontName());
    mHistory = std::move(*mLog);
    mLog.reset();
    mApart.reset();
    mFresh = true;
    mDue = false;
    DropInk();
}

SharedBoard::Steps SharedBoard::CurrentSteps() const
{
    if (mFresh) return {mHistory.Index(), mHistory.Count()};
    Steps steps{mLog->Index(), mLog->Count()};
    for (const Own& own : mOwn) {
        const Draws what = DrawsOf(*own.mark);
        if (what == Draws::Redo)
            steps.index = std::min(steps.index + 1, steps.count);
        else if (what == Draws::Undo)
            steps.index = std::max(steps.index - 1, 1);
        else
            steps.count = steps.index = std::min(steps.index + 1, WBHistory::kMostEntries);
    }
    return steps;
}

// --- ink -----------------------------------------------------------------------------------------------

void SharedBoard::MakeInk()
{
    mInk = std::make_unique<Board>(Board::Transparent());
    if (mShown.KeepsInk()) mInk->KeepInk();
    mInk->SetFontName(mLogBoard->FontName());
    mInked.reset();
    mInkOutdated.reset();
    mStrokeInked = 0;
    for (Own& own : mOwn) Ink(own);
}

void SharedBoard::Ink(Own& own)
{
    DrawMark(*mInk, *own.mark);
    own.tiles = mInk->TakeTouched();
    mInked |= own.tiles;
}

/// What the stroke in hand has become since it was last here.
void SharedBoard::InkStroke()
{
    const PenRecord* stroke = DrawsNow() ? mStroke() : nullptr;
    if (!stroke || stroke->segments.size() <= mStrokeInked) return;
    mInk->Draw(std::span(stroke->segments).subspan(mStrokeInked), stroke->width);
    mStrokeInked = stroke->segments.size();
    mInked |= mInk->TakeTouched();
}

/// These tiles hold ink of what has its place by now.
void SharedBoard::RedoInk(const TileSet& tiles)
{
    if (tiles.none()) return;
    mInk->Erase(tiles);
    mInk->SetClip(RegionOf(tiles));
    for (const Own& own : mOwn)
        if ((own.tiles & tiles).any()) DrawMark(*mInk, *own.mark);
    if (DrawsNow()) mInk->Draw(mStroke()->segments, mStroke()->width);
    mInk->SetClip({});
    mInk->TakeTouched();
    mInkOutdated &= ~tiles;
}

void SharedBoard::DropInk()
{
    mApart |= mInked;
    mInk.reset();
    mInked.reset();
    mInkOutdated.reset();
    mStrokeInked = 0;
}
