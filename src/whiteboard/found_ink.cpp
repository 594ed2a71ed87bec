#include "whiteboard/found_ink.h"

#include <algorithm>

#include "whiteboard/apply_mark.h"

namespace {

/// Draws list after list; where one goes on from the last, only what is new.
class InkDrawing {
public:
    explicit InkDrawing(const PictureReader* pictures) : mPictures(pictures) { Begin(nullptr); }

    const Board& Of(const MarkList& list)
    {
        const std::vector<DrawnMark> marks = list.InOrder();
        if (!GoesOn(marks, list.Beneath())) Begin(list.Beneath());
        for (std::size_t next = mDrawn.size(); next < marks.size(); ++next)
            DrawAnew(mBoard, marks[next], mPictures);
        mDrawn = marks;
        return mBoard;
    }
    std::shared_ptr<const InkGrid> GridOf(const MarkList& list)
    {
        Of(list);
        mGrid = InkOf(mBoard, mBoard.TakeInkChanged(), mGrid);
        return mGrid;
    }

private:
    bool GoesOn(const std::vector<DrawnMark>& marks, const std::shared_ptr<const TileGrid>& beneath) const
    {
        const auto same = [](const DrawnMark& a, const DrawnMark& b) { return a.mark == b.mark; };
        return beneath == mBeneath && marks.size() >= mDrawn.size() &&
               std::equal(mDrawn.begin(), mDrawn.end(), marks.begin(), same);
    }
    void Begin(const std::shared_ptr<const TileGrid>& beneath)
    {
        mBoard = Board::Transparent();
        mBoard.KeepInk();
        mBeneath = beneath;
        mDrawn.clear();
        if (beneath) PutGrid(mBoard, *beneath);
    }

    const PictureReader* mPictures;
    Board mBoard;
    std::shared_ptr<const TileGrid> mBeneath;
    std::vector<DrawnMark> mDrawn;
    std::shared_ptr<const InkGrid> mGrid;
};

}  // namespace

void FindInk(WBHistory& history, Board& board, const PictureReader* pictures)
{
    InkDrawing drawing(pictures);
    for (int entry = 1; entry <= history.Count(); ++entry)
        if (const auto& picture = history.At(entry).Picture; picture && !picture->ink)
            history.GiveInk(entry, drawing.GridOf(history.At(entry).Marks));
    board.KeepInk();
    board.TakeInk(drawing.Of(history.Marks()));
}
