#include "whiteboard/history.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <stdexcept>
#include <string>

#include "base/error_trap.h"
#include "base/meeting_screens.h"
#include "text/qt_line.h"
#include "text/text_rules.h"
#include "text/words.h"
#include "whiteboard/board_screen.h"
#include "whiteboard/toolbar_rules.h"
#include "whiteboard/toolbar_screen.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr std::size_t kPlainKept = 8;

constexpr std::size_t kLineBytes = kTileSide * sizeof(QRgb);

/// Row `row` of a tile.
const QRgb* LineOf(const QImage& image, int tile, int row)
{
    const QPoint corner = TileRect(tile).topLeft();
    return reinterpret_cast<const QRgb*>(image.constScanLine(corner.y() + row)) + corner.x();
}

void CopyTile(const QImage& image, int tile, QRgb* to)
{
    for (int row = 0; row < kTileSide; ++row)
        std::memcpy(to + row * kTileSide, LineOf(image, tile, row), kLineBytes);
}

bool Holds(const QImage& image, int tile, const Tile& kept)
{
    for (int row = 0; row < kTileSide; ++row)
        if (std::memcmp(kept.pixels.data() + row * kTileSide, LineOf(image, tile, row), kLineBytes) != 0)
            return false;
    return true;
}

/// True when all pixels of the tile are equal; most tiles with ink answer after a few rows.
bool OneColour(const QImage& image, int tile)
{
    const QRgb first = *LineOf(image, tile, 0);
    for (int row = 0; row < kTileSide; ++row) {
        const QRgb* line = LineOf(image, tile, row);
        QRgb differing = 0;
        for (int x = 0; x < kTileSide; ++x) differing |= line[x] ^ first;
        if (differing) return false;
    }
    return true;
}

/// Null where there is no ink; `before` where it is the same.
std::shared_ptr<const Tile> InkTile(const QImage& ink, int tile, const std::shared_ptr<const Tile>& before)
{
    Tile now;
    CopyTile(ink, tile, now.pixels.data());
    QRgb any = 0;
    for (const QRgb pixel : now.pixels) any |= pixel;
    if (any == 0) return nullptr;
    return before && before->pixels == now.pixels ? before : std::make_shared<const Tile>(now);
}

}  // namespace

std::shared_ptr<const InkGrid> InkOf(const Board& board, const TileSet& changed,
                                     const std::shared_ptr<const InkGrid>& before)
{
    auto grid = before ? std::make_shared<InkGrid>(*before) : std::make_shared<InkGrid>();
    for (std::size_t tile = 0; tile < kTileCount; ++tile)
        if (changed[tile] || !before) (*grid)[tile] = InkTile(board.Ink(), int(tile), (*grid)[tile]);
    return grid;
}

void PutGrid(Board& board, const TileGrid& grid)
{
    for (std::size_t tile = 0; tile < kTileCount; ++tile) {
        board.PutTile(int(tile), grid[tile]->pixels.data());
        if (!board.KeepsInk()) continue;
        Tile guess;
        const Tile* ink = grid.ink ? (*grid.ink)[tile].get() : &guess;
        if (!grid.ink)
            std::ranges::replace_copy(grid[tile]->pixels, guess.pixels.begin(), qRgb(255, 255, 255), QRgb(0));
        board.PutInk(int(tile), ink ? ink->pixels.data() : nullptr);
    }
}

const WBBufferEntry& WBHistory::At(int index) const
{
    if (index < 1 || index > Count())
        throw std::out_of_range("history entry " + std::to_string(index) + " is outside 1.." +
                                std::to_string(Count()));
    return mEntries[std::size_t(index - 1)];
}

void WBHistory::Save(Board* board, qint16 x, qint16 y, const QString& userHandle, const QDateTime& when)
{
    if (mIndex == kMostEntries) {
        std::rotate(mEntries.begin(), mEntries.begin() + 1, mEntries.end());
    } else {
        ++mIndex;
        mEntries.resize(std::size_t(mIndex));
    }
    WBBufferEntry& entry = mEntries[std::size_t(mIndex - 1)];
    if (board) entry.Picture = mShown = Snapshot(*board, board->TakeUnsaved());
    entry.X = x;
    entry.Y = y;
    entry.UserHandle = userHandle;
    entry.ModifiedAt = when;
    if (entry.Picture) mMarks.Bound(entry.Picture);
    entry.Marks = mMarks;
}

std::shared_ptr<const TileGrid> WBHistory::Look(const Board& board)
{
    if (mShown && board.Unsaved().none() && (mShown->ink || !board.KeepsInk())) return mShown;
    return Snapshot(board, board.Unsaved());
}

std::shared_ptr<const TileGrid> WBHistory::Snapshot(const Board& board, const TileSet& unsaved)
{
    auto grid = mShown ? std::make_shared<TileGrid>(*mShown) : std::make_shared<TileGrid>();
    for (std::size_t tile = 0; tile < kTileCount; ++tile) {
        if (mShown && (!unsaved[tile] || Holds(board.Image(), int(tile), *(*mShown)[tile]))) continue;
        (*grid)[tile] = Keep(board.Image(), int(tile));
    }
    grid->ink = board.KeepsInk() ? InkOf(board, unsaved, grid->ink) : nullptr;
    return grid;
}

void WBHistory::Show(int index, Board& board)
{
    const auto picture = At(index).Picture;
    if (!picture) throw std::runtime_error("history entry " + std::to_string(index) + " has no picture");
    const TileSet unsaved = board.TakeUnsaved();
    for (std::size_t tile = 0; tile < kTileCount; ++tile)
        if (unsaved[tile] || (*picture)[tile] != (*mShown)[tile])
            board.PutTile(int(tile), (*picture)[tile]->pixels.data());
    ShowInk(*picture, unsaved, board);
    mShown = picture;
    mMarks = At(index).Marks;
}

void WBHistory::ShowInk(const TileGrid& picture, const TileSet& unsaved, Board& board) const
{
    if (!board.KeepsInk() || !picture.ink) return;
    const InkGrid* before = mShown->ink.get();
    for (std::size_t tile = 0; tile < kTileCount; ++tile) {
        const Tile* ink = (*picture.ink)[tile].get();
        if (unsaved[tile] || !before || (*before)[tile].get() != ink)
            board.PutInk(int(tile), ink ? ink->pixels.data() : nullptr);
    }
}

void WBHistory::GiveInk(int index, std::shared_ptr<const InkGrid> ink)
{
    const auto before = At(index).Picture;
    if (!before) return;
    const auto with = std::make_shared<TileGrid>(*before);
    with->ink = std::move(ink);
    mEntries[std::size_t(index - 1)].Picture = with;
    if (mShown == before) mShown = with;
}

void WBHistory::StepBack()
{
    if (mIndex > 1) --mIndex;
}

void WBHistory::StepForward()
{
    if (mIndex < Count()) ++mIndex;
}

QImage WBHistory::PictureOf(int index) const
{
    Board board;
    const auto picture = At(index).Picture;
    if (!picture) throw std::runtime_error("history entry " + std::to_string(index) + " has no picture");
    PutGrid(board, *picture);
    return board.Image();
}

int WBHistory::DistinctTiles() const
{
    std::set<const Tile*> tiles;
    for (const WBBufferEntry& entry : mEntries)
        if (entry.Picture)
            for (const auto& tile : *entry.Picture) tiles.insert(tile.get());
    return int(tiles.size());
}

std::shared_ptr<const Tile> WBHistory::Keep(const QImage& image, int tile)
{
    const bool plain = OneColour(image, tile);
    if (plain) {
        const QRgb colour = *LineOf(image, tile, 0);
        for (const auto& kept : mPlain)
            if (kept->pixels.front() == colour) return kept;
    }
    auto fresh = std::make_shared_for_overwrite<Tile>();
    CopyTile(image, tile, fresh->pixels.data());
    if (plain) {
        if (mPlain.size() == kPlainKept) mPlain.erase(mPlain.begin());
        mPlain.push_back(fresh);
    }
    return fresh;
}

QString LastModifiedText(const QString& userHandle, const QDateTime& when)
{
    return Defined::tr("Last Modified: %1 %2 ", "handle, time")
        .arg(InSentence(userHandle), GeneralDate(when));
}

void ShowLastModified(ProcessState& state, const QString& userHandle, const QDateTime& when)
{
    if (state.gMeetingForm)
        state.gMeetingForm->Panels().SetPanel(Panel::WBStatus, LastModifiedText(userHandle, when));
}

QDateTime Now(const ProcessState& state)
{
    return state.ports.clock->Now();
}

QDateTime EventTime(const ProcessState& state)
{
    const auto age = state.gMessenger ? state.gMessenger->EventAge() : std::nullopt;
    return Now(state).addDuration(-age.value_or(0ms));
}

WBHistory& HistoryOf(ProcessState& state)
{
    if (!state.gWBBuffer) state.gWBBuffer = std::make_shared<WBHistory>();
    return *state.gWBBuffer;
}

void SaveWBBuffer(ProcessState& state, Board* board, qint16 x, qint16 y, const QString& userHandle,
                  const QDateTime& modifiedAt)
{
    Trapped(state, "SaveWBBuffer", [&] {
        WBHistory& history = HistoryOf(state);
        history.Save(board, x, y, userHandle, modifiedAt);
        if (!state.gMeetingForm) return;
        ToolbarScreen& toolbar = state.gMeetingForm->Toolbar();
        SetSteps(toolbar.Tools(), history.Index(), history.Count());
        toolbar.ShowTools();
    });
}

void SaveWBBuffer(ProcessState& state, const QString& userHandle, const QDateTime& modifiedAt)
{
    SaveWBBuffer(state, &state.gMeetingForm->Board().Image(), 0, 0, userHandle, modifiedAt);
}

void LoadWBBuffer(ProcessState& state, qint16 index)
{
    Trapped(state, "LoadWBBuffer", [&] {
        WBHistory& history = HistoryOf(state);
        const WBBufferEntry& entry = history.At(index);
        MeetingScreens& form = *state.gMeetingForm;
        history.Show(index, form.Board().Image());
        form.Board().Refresh();
        form.Panels().SetPanel(Panel::WBStatus, LastModifiedText(entry.UserHandle, entry.ModifiedAt));
        SetSteps(form.Toolbar().Tools(), index, history.Count());
        form.Toolbar().ShowTools();
    });
}
