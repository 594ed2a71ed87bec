#pragma once
// The whiteboard's history: at most 11 boards, one after each change, and undo and redo between them.
// Boards share the tiles that do not differ, so an entry costs what was drawn. User-interface thread only.

#include <QDateTime>
#include <QImage>
#include <QString>
#include <memory>
#include <vector>

#include "whiteboard/board.h"
#include "whiteboard/mark_list.h"

struct ProcessState;

struct WBBufferEntry {
    QString UserHandle;
    QDateTime ModifiedAt;
    qint16 X = 0, Y = 0;                      // stored as given; every caller gives 0
    std::shared_ptr<const TileGrid> Picture;  // null: none was stored
    MarkList Marks;                           // what drew it, live pictures aside
};

/// gWBBuffer and gWBBufferIndex. Entries count from 1; entries above the index are those redo can reach.
class WBHistory {
public:
    static constexpr int kMostEntries = 11;

    int Index() const { return mIndex; }  // 0 while empty
    int Count() const { return int(mEntries.size()); }
    /// Throws std::out_of_range outside 1..Count().
    const WBBufferEntry& At(int index) const;

    /// Adds what the board shows now. Entries above the index go; of a full history the oldest.
    void Save(Board* board, qint16 x, qint16 y, const QString& userHandle, const QDateTime& when);
    /// Puts entry `index` on the board, touching only what differs. Throws std::out_of_range. The index
    /// stays.
    void Show(int index, Board& board);
    /// Moves the index one back or forward; it stays at the ends.
    void StepBack();
    void StepForward();

    /// What the board held when it was last saved or shown; null: nothing yet.
    const std::shared_ptr<const TileGrid>& Shown() const { return mShown; }
    /// As Save would keep `board`, but that nothing is kept here or counts as saved.
    std::shared_ptr<const TileGrid> Look(const Board& board);

    /// Entry `index` did not keep its ink: this is it. Throws std::out_of_range.
    void GiveInk(int index, std::shared_ptr<const InkGrid> ink);

    /// The marks on the board as it stands: Save gives them to its entry, Show takes those of its entry.
    const MarkList& Marks() const { return mMarks; }
    void AddMark(DrawnMark drawn) { mMarks.Add(std::move(drawn)); }
    /// These alone are on the board now.
    void SetMarks(MarkList marks) { mMarks = std::move(marks); }
    /// The board was cleared.
    void BeginMarks() { mMarks = {}; }

    /// The whole board of an entry.
    QImage PictureOf(int index) const;
    /// Tiles in memory, each counted once.
    int DistinctTiles() const;

private:
    std::shared_ptr<const TileGrid> Snapshot(const Board& board, const TileSet& unsaved);
    std::shared_ptr<const Tile> Keep(const QImage& image, int tile);
    void ShowInk(const TileGrid& picture, const TileSet& unsaved, Board& board) const;

    std::vector<WBBufferEntry> mEntries;
    int mIndex = 0;
    MarkList mMarks;
    std::shared_ptr<const TileGrid> mShown;           // what the board held when it was last saved or shown
    std::vector<std::shared_ptr<const Tile>> mPlain;  // tiles of one colour, a few of the latest
};

/// The ink that `board` keeps: as `before` has it, but for what `changed` since; null: all did.
std::shared_ptr<const InkGrid> InkOf(const Board& board, const TileSet& changed,
                                     const std::shared_ptr<const InkGrid>& before);

/// Puts all of `grid` on the board, and where that keeps its ink, this, too: of a grid without it what is not
/// white.
void PutGrid(Board& board, const TileGrid& grid);

/// gWBBuffer; made empty when there is none yet.
WBHistory& HistoryOf(ProcessState& state);

/// Adds a snapshot of `board` and sets the Undo and Redo buttons. Trapped: "SaveWBBuffer: ".
void SaveWBBuffer(ProcessState& state, Board* board, qint16 x, qint16 y, const QString& userHandle,
                  const QDateTime& modifiedAt);
/// The same for the meeting window's board.
void SaveWBBuffer(ProcessState& state, const QString& userHandle, const QDateTime& modifiedAt);
/// Shows entry `index`: board, status text of that entry, Undo and Redo buttons. Trapped: "LoadWBBuffer: ".
void LoadWBBuffer(ProcessState& state, qint16 index);

/// "Last Modified: ", the handle and the time, with a blank behind each.
QString LastModifiedText(const QString& userHandle, const QDateTime& when);
/// Puts that text into the panel "WBStatus".
void ShowLastModified(ProcessState& state, const QString& userHandle, const QDateTime& when);

/// Now, on the user's clock.
QDateTime Now(const ProcessState& state);
/// When the event that is being delivered happened: now, or for a newcomer as long ago as the service says.
QDateTime EventTime(const ProcessState& state);
