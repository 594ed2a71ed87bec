#include "whiteboard/apply_mark.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "whiteboard/marks.h"

using namespace Qt::StringLiterals;

namespace {

/// What a list says was drawn, drawn anew.
QString Redrawn(const MarkList& list)
{
    Board board;
    WBHistory history;
    history.Save(&board, 0, 0, {}, {});
    if (list.Beneath())
        for (int tile = 0; tile < kTileCount; ++tile)
            board.PutTile(tile, (*list.Beneath())[std::size_t(tile)]->pixels.data());
    for (const DrawnMark& drawn : list.InOrder()) {
        board.SetFontName(drawn.fontName);
        ApplyMark(board, history, drawn.mark);
    }
    return board.Checksum();
}

}  // namespace

TEST(Marks, EachEntryKnowsWhatDrewIt)
{
    const unsigned seed = std::random_device{}();
    RecordProperty("seed", std::to_string(seed));
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    Board board;
    WBHistory history;
    history.Save(&board, 0, 0, u"ann"_s, {});
    for (int step = 0; step < 60; ++step) ApplyMark(board, history, AnyMark(random));
    for (int entry = 1; entry <= history.Count(); ++entry)
        EXPECT_EQ(Redrawn(history.At(entry).Marks), SumOf(history, entry)) << entry;
    EXPECT_EQ(Redrawn(history.Marks()), board.Checksum());
}

TEST(Marks, UndoClearAndDamageLeaveTheRightOnes)
{
    Board board;
    WBHistory history;
    EXPECT_THROW(ApplyMark(board, history, Made(u"[[ZUM_WB_UNDO]]"_s)), std::out_of_range);
    history.Save(&board, 0, 0, u"ann"_s, {});
    const auto stroke = [](int y) { return Made(u"[[ZUM_WB_PEN]]3/1/%1/50/%1/255"_s.arg(y)); };
    const struct {
        const char* what;
        MarkPtr mark;
        std::size_t marks;
        int entries;
        bool damaged;
    } rows[] = {
        {"a stroke", stroke(10), 1, 2, false},
        {"another", stroke(20), 2, 3, false},
        {"back to the first", Made(u"[[ZUM_WB_UNDO]]"_s), 1, 3, false},
        {"a branch", stroke(30), 2, 3, false},
        {"no whole shape", Made(u"[[ZUM_WB_BOX]]3/1/1/9"_s), 2, 3, true},
        {"a whole segment stays", Made(u"[[ZUM_WB_PEN]]3/1/40/50/40/255/7"_s), 3, 3, true},
        {"nothing to see of it", Made(u"[[ZUM_WB_HSCROLL]]7"_s), 3, 3, false},
        {"a new beginning", Made(u"[[ZUM_WB_CLEAR]]"_s), 0, 4, false},
        {"what was before it", Made(u"[[ZUM_WB_UNDO]]"_s), 2, 4, false},  // the damaged one never was saved
        {"and again", Made(u"[[ZUM_WB_REDO]]"_s), 0, 4, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(ApplyMark(board, history, row.mark).error.has_value(), row.damaged);
        EXPECT_EQ(history.Marks().Count(), row.marks);
        EXPECT_EQ(history.Count(), row.entries);
    }
    EXPECT_EQ(history.At(3).Marks.Last()->mark, rows[3].mark);
}

TEST(Marks, PicturesKeepTheirBytesAndNotTheirPixels)
{
    Board board;
    WBHistory history;
    ApplyMark(board, history, PictureMark(20, 0xff00ff00, {5, 5}, "bytes"));
    EXPECT_EQ(board.Pixel(10, 10), 0xff00ff00);
    const DrawnMark* kept = history.Marks().Last();
    ASSERT_TRUE(kept);
    EXPECT_EQ(kept->mark->picture->jpeg, "bytes");
    EXPECT_TRUE(kept->mark->picture->pixels.IsNull());
    EXPECT_THROW(ApplyMark(board, history, kept->mark), std::runtime_error);
}

/// Both ends of the bound, and that what is let go of at once is no call for each mark.
TEST(Marks, AListIsBoundedAndTheOldestBecomeAPicture)
{
    Board board;
    WBHistory history;
    history.Save(&board, 0, 0, u"ann"_s, {});
    const auto dot = [](std::size_t i) {
        return Made(u"[[ZUM_WB_PEN]]1/%1/%2/%1/%2/%3"_s.arg(i % 2000).arg(i / 2000 * 7).arg(i));
    };
    std::size_t most = 0, fewest = MarkList::kSpanMarks;
    for (std::size_t i = 0; i < 3 * MarkList::kSpanMarks; ++i) {
        ApplyMark(board, history, dot(i));
        most = std::max(most, history.Marks().Count());
        if (i >= MarkList::kSpanMarks) fewest = std::min(fewest, history.Marks().Count());
    }
    EXPECT_LT(most, 2 * MarkList::kSpanMarks);
    EXPECT_GE(fewest, MarkList::kSpanMarks);
    EXPECT_TRUE(history.Marks().Beneath());
    EXPECT_EQ(Redrawn(history.Marks()), board.Checksum());
    EXPECT_EQ(Redrawn(history.At(4).Marks), SumOf(history, 4));
    MarkList endless;
    const MarkPtr one = dot(0);
    for (int i = 0; i < 1'000'000; ++i) endless.Add({one, {}});
    MarkList branch = endless;
    branch.Add({one, {}});
    endless = {};
    EXPECT_EQ(branch.Count(), 1'000'001u);
}
