#pragma once
// The board as the meeting's log has it, and above that what the own hand did and what has no place in the
// log yet. While nobody else's work comes in between, the window's board is both. Then the log's board
// becomes one of its own: others' work is drawn there, beneath the own, and the own comes to it when it gets
// its place. A rule: no window, no service. User-interface thread only.

#include <deque>
#include <functional>
#include <memory>
#include <optional>

#include "whiteboard/apply_mark.h"

struct PenRecord;

class SharedBoard {
public:
    /// `shown`, `history`: what the user sees, undo included. `stroke`: the one that is being drawn, null:
    /// none. `pictures`: for those that are drawn anew. All outlive this.
    SharedBoard(Board& shown, WBHistory& history, std::function<const PenRecord*()> stroke = {},
                const PictureReader* pictures = nullptr);

    /// Own work has got its place; others' comes by Take.
    std::function<void(const MarkPtr&)> onPlaced;

    // --- the own hand; numbers as MessengerService::LastBoardPost gives them
    /// Something own is about to be drawn on the shown board.
    void BeginOwn();
    /// It is this mark, posted under this number, and is remembered; a step was done by ApplyMark already. 0:
    /// nobody took it, so it disappears.
    void AddOwn(const MarkPtr& mark, quint64 post);
    /// What was begun and never became a mark disappears.
    void EndOwn();

    // --- the others, in the order of the log
    /// As ApplyMark; own work stays above it, also where the user's marks are taken back: what of them comes
    /// behind that in the log stays.
    Applied Take(const MarkPtr& mark, const std::function<void()>& between = {});
    /// A live picture is painted on what is shown, and on the log's board where that is another one.
    void PaintLive(const std::function<void(Board&)>& paint);
    /// Whether all boards keep their ink by itself from now on, and the history with them. It is found from
    /// the marks. The shown board has to be shown anew.
    void KeepInk(bool keep);
    /// As MessengerEvents has these.
    void Placed(quint64 post);
    void Passed(quint64 upTo);
    void Lost(quint64 post);
    void AllPlaced();
    /// Another meeting: white, and a history of that, under the own handle.
    void Begin(quint64 ownUpTo, const QString& handle, const QDateTime& when);

    // --- what is shown
    /// Some of it is not drawn yet, because an own undo has to be done anew: BringUp before it is looked at.
    bool Due() const { return mDue; }
    void BringUp();
    /// The history that the user sees: the log's, then the own work without a place.
    WBHistory& History();
    /// Of that history.
    struct Steps {
        int index, count;
    };
    Steps CurrentSteps() const;
    /// Own work without a place; it comes last, whatever others do.
    bool OwnWaits() const { return !mOwn.empty(); }
    /// There is such work, or a stroke in the hand: what is shown is more than the log.
    bool OwnIsApart() const { return mBase.has_value(); }

    bool IsOf(const Board& shown, const WBHistory& history) const
    {
        return &shown == &mShown && &history == &mHistory;
    }
    /// What the log has; own work apart.
    QString LogChecksum() const { return mLog ? mLogBoard->Checksum() : mShown.Checksum(); }

private:
    struct Own {
        quint64 post;
        MarkPtr mark;
        std::optional<WBHistory> after;  // while nothing came in between
        QString fontAfter;
        TileSet tiles;  // of its ink
    };
    /// The log at the moment the own hand began; its pixels are those of `grid` where the own hand drew.
    struct Base {
        WBHistory history;
        std::shared_ptr<const TileGrid> grid;
        TileSet unsaved;
        QString font;
    };

    void Separate();
    void MakeLogBoard(const TileSet& own);
    void PlaceFirst();
    void Remove(const std::function<bool(const Own&)>& goes);
    void SettleIfPlaced();
    void BecomeLog();
    void FollowLog(TileSet gone = {});
    bool DrawsNow() const;
    void Replay();
    bool HasSteps() const;

    void MakeInk();
    void Ink(Own& own);
    void InkStroke();
    void RedoInk(const TileSet& tiles);
    void DropInk();

    Board& mShown;
    WBHistory& mHistory;
    const std::function<const PenRecord*()> mStroke;
    const PictureReader* const mPictures;

    std::deque<Own> mOwn;
    bool mInHand = false;     // own ink is on the shown board that is no mark yet
    bool mDisturbed = false;  // an own CLEAR, undo or redo took a part of it
    std::optional<Base> mBase;

    std::optional<WBHistory> mLog;     // none: the shown board and its history are the log's, own work aside
    std::unique_ptr<Board> mLogBoard;  // kept for the next time, where there are many
    int mTogether = 0;                 // posts that needed none, in a row
    TileSet mBehind;     // tiles of the log's board, while it is not needed, that are not up to date
    TileSet mApart;      // tiles of the shown one that may differ from it
    bool mFresh = true;  // the shown history is up to date
    bool mDue = false;

    std::unique_ptr<Board> mInk;  // own work alone, while none of it is a step
    TileSet mInked, mInkOutdated;
    std::size_t mStrokeInked = 0;  // segments
};
