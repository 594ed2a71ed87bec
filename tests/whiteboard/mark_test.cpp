#include "whiteboard/apply_mark.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "service/wire/content.h"
#include "support/plain_picture.h"
#include "whiteboard/found_ink.h"
#include "whiteboard/marks.h"
#include "whiteboard/seen_board.h"

using namespace Qt::StringLiterals;

namespace {

/// What a list says was drawn, drawn anew.
QString Redrawn(const MarkList& list)
{
    auto [board, history] = Both();
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
    Seeded random;
    auto [board, history] = Both();
    for (int step = 0; step < 60; ++step) ApplyMark(board, history, AnyMark(random));
    for (int entry = 1; entry <= history.Count(); ++entry)
        EXPECT_EQ(Redrawn(history.At(entry).Marks), SumOf(history, entry)) << entry;
    EXPECT_EQ(Redrawn(history.Marks()), board.Checksum());
}

/// A newcomer begins where enough steps are between: one that the service counts and a board does not make
/// would leave it with less to undo than the others.
TEST(Marks, WhatTheServiceCountsIsAStepOnEveryBoard)
{
    Seeded random;
    const QString spoilt[] = {u""_s,     u"-"_s,     u"7"_s,     u"99999999"_s, u"-99999999.999999"_s,
                              u"1e30"_s, u"NaN"_s,   u"true"_s,  u"False"_s,    u".5"_s,
                              u"9999"_s, u"32768"_s, u"\u00A5"_s};
    Board board;
    int counted = 0;
    for (int i = 0; i < 400; ++i) {
        const MarkPtr whole = AnyMark(random);
        if (DrawsOf(*whole) != Draws::Change || whole->picture) continue;
        auto mark = std::make_shared<Mark>(*whole);
        QStringList fields = mark->record.split(QString::fromUtf16(kFieldSeparator));
        if (i % 4 != 0)
            fields[qsizetype(random() % unsigned(fields.size()))] = spoilt[random() % std::size(spoilt)];
        if (i % 8 == 1) fields.removeLast();
        mark->record = fields.join(QString::fromUtf16(kFieldSeparator));
        const bool counts = zephyl::StepOf(mark->record.toStdString()) != zephyl::BoardEffect::None;
        WBHistory history;
        history.Save(&board, 0, 0, {}, {});
        const bool steps = !ApplyMark(board, history, mark).error && history.Count() == 2;
        EXPECT_TRUE(steps || !counts) << mark->record.toStdString();
        EXPECT_TRUE(counts == steps || i % 4 != 0) << mark->record.toStdString();
        counted += counts;
    }
    EXPECT_GT(counted, 50);
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

/// Whoever drew beneath, between and above: what is left is what the others alone would have drawn.
TEST(Marks, TakingBackLeavesWhatTheOthersDrew)
{
    Seeded random;
    auto [board, history] = Both();
    Both without;
    for (int i = 0; i < 40; ++i) {
        MarkPtr mark = AnyMark(random);
        if (IsStep(*mark) || mark->record.contains(u"TEXT"_s))
            continue;  // a font may come from another's text
        ApplyMark(board, history, mark);
        if (mark->author != u"bob"_s || DrawsOf(*mark) == Draws::Clear) without.Apply(mark);
    }
    // What a broken record drew before its fault is no step, and undoing one takes it along: so not as the
    // last.
    const MarkPtr whole = Made(u"[[ZUM_WB_PEN]]3/1/1/50/50/255"_s, u"ann"_s);
    ApplyMark(board, history, whole);
    without.Apply(whole);
    const QString before = board.Checksum(), font = board.FontName();
    const int entries = history.Count();
    EXPECT_TRUE(ApplyMark(board, history, TakenBack(u"bob"_s, u"eve"_s)).remembered);
    EXPECT_EQ(board.Checksum(), without.board.Checksum());
    EXPECT_EQ(board.FontName(), font);
    EXPECT_EQ(SumOf(history, history.Index()), board.Checksum());
    EXPECT_EQ(history.At(history.Index()).UserHandle, u"eve"_s);
    EXPECT_EQ(history.Count(), std::min(entries + 1, WBHistory::kMostEntries));  // one step
    for (const DrawnMark& left : history.Marks().InOrder()) EXPECT_NE(left.mark->author, u"bob"_s);
    EXPECT_EQ(Redrawn(history.Marks()), board.Checksum());
    ApplyMark(board, history, Made(u"[[ZUM_WB_UNDO]]"_s));
    EXPECT_EQ(board.Checksum(), before);
    ApplyMark(board, history, Made(u"[[ZUM_WB_REDO]]"_s));
    EXPECT_EQ(board.Checksum(), without.board.Checksum());
    ApplyMark(board, history, TakenBack(u"nobody"_s));  // a step all the same: the service counts it as one
    EXPECT_EQ(board.Checksum(), without.board.Checksum());
    EXPECT_EQ(history.At(history.Index()).UserHandle, u"ann"_s);
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
    ApplyMark(board, history, Made(u"[[ZUM_WB_PEN]]3/1/15/50/15/255"_s, u"bob"_s));
    EXPECT_THROW(ApplyMark(board, history, TakenBack(u"bob"_s)), std::runtime_error);
    EXPECT_EQ(board.Pixel(10, 15), 0xffff0000);  // nothing half done
    const OnePicture green(PlainPicture(20, 20, 0xff00ff00));
    ApplyMark(board, history, TakenBack(u"bob"_s), {}, &green);
    EXPECT_EQ(board.Pixel(10, 15), 0xff00ff00);
    EXPECT_EQ(board.Pixel(40, 15), 0xffffffff);
}

/// Both ends of the bound, and that what is let go of at once is no call for each mark.
TEST(Marks, AListIsBoundedAndTheOldestBecomeAPicture)
{
    auto [board, history] = Both();
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
    LivePictures none;
    FindInk(history, board, nullptr);  // of the oldest it is what is not white
    const auto seen = [&] {
        return SeenBoard(board, none).At(QRect(0, 0, kBoardWidth, kBoardHeight)).Checksum();
    };
    EXPECT_EQ(seen(), board.Checksum());
    ApplyMark(board, history, Made(u"[[ZUM_WB_PEN]]9/1/1400/90/1400/255"_s, u"bob"_s));
    const QString with = board.Checksum();
    for (int i = 0; i < 3; ++i) ApplyMark(board, history, TakenBack(i == 2 ? u"ann"_s : u"bob"_s));
    EXPECT_NE(board.Checksum(), with);
    EXPECT_EQ(history.Marks().Count(), 0u);
    EXPECT_TRUE(history.Marks().Beneath());  // what became a picture is nobody's any more
    EXPECT_EQ(Redrawn(history.Marks()), board.Checksum());
    EXPECT_EQ(seen(), board.Checksum());
    MarkList endless;
    const MarkPtr one = dot(0);
    for (int i = 0; i < 1'000'000; ++i) endless.Add({one, {}});
    MarkList branch = endless;
    branch.Add({one, {}});
    endless = {};
    EXPECT_EQ(branch.Count(), 1'000'001u);
}
