#include "whiteboard/shared_board.h"

#include <gtest/gtest.h>

#include "whiteboard/marks.h"
#include "whiteboard/records.h"

namespace {

/// Everything that a user can see of it, undo included.
QStringList Everything(Both& both)
{
    QStringList all{both.board.Checksum(), QString::number(both.history.Index()), both.board.FontName()};
    for (int entry = 1; entry <= both.history.Count(); ++entry)
        all << both.history.At(entry).UserHandle + u' ' + SumOf(both.history, entry);
    if (!both.board.KeepsInk()) return all;
    all << InkSum(both.board);
    for (int entry = 1; entry <= both.history.Count(); ++entry)
        all << InkSum(*both.history.At(entry).Picture);
    return all;
}

/// Ann draws, with a hand; others' marks come, hers get their places. What she has must always be the log's
/// and, on top, what waits.
class Ann {
public:
    explicit Ann(bool keepsInk = false) : seen(keepsInk) {}
    Both seen;
    SharedBoard shared{seen.board, seen.history, [this] { return mStroke ? &*mStroke : nullptr; }};
    std::vector<MarkPtr> log;

    void Draws(const MarkPtr& mark)
    {
        shared.BeginOwn();
        if (IsStep(*mark))
            ApplyMark(seen.board, shared.History(), mark);
        else if (!mStroke)
            DrawMark(seen.board, *mark);
        mStroke.reset();
        Add(mark);
    }
    void Begins(const PenRecord& stroke)
    {
        shared.BeginOwn();
        mStroke.emplace().width = stroke.width;
    }
    void Goes(const Segment& segment)
    {
        mStroke->segments.push_back(segment);
        seen.board.Draw({&segment, 1}, mStroke->width);
    }
    void Gets(const MarkPtr& mark)
    {
        shared.Take(mark);
        log.push_back(mark);
    }
    void Placed(std::size_t count = 1)
    {
        for (; count > 0 && !mWaiting.empty(); --count) {
            log.push_back(mWaiting.front().second);
            shared.Placed(mWaiting.front().first);
            mWaiting.erase(mWaiting.begin());
        }
    }
    void Loses(std::size_t which)
    {
        shared.Lost(mWaiting[which].first);
        mWaiting.erase(mWaiting.begin() + long(which));
    }
    /// So many of those that wait will never be on the board.
    void Passes(std::size_t count)
    {
        if (count == 0) return;
        shared.Passed(mWaiting[count - 1].first);
        mWaiting.erase(mWaiting.begin(), mWaiting.begin() + long(count));
    }
    /// So many of those that wait were for the meeting of before.
    void EntersAnother(std::size_t count)
    {
        shared.Begin(count == 0 ? 0 : mWaiting[count - 1].first, u"ann"_s, {});
        mWaiting.erase(mWaiting.begin(), mWaiting.begin() + long(count));
        log.clear();
    }
    std::size_t Waiting() const { return mWaiting.size(); }
    /// As it should be; the stroke in hand is no mark yet.
    Both Should() const
    {
        Both both(seen.board.KeepsInk());
        for (const MarkPtr& mark : log) both.Apply(mark);
        for (const auto& [post, mark] : mWaiting) both.Apply(mark);
        if (mStroke) both.board.Draw(mStroke->segments, mStroke->width);
        return both;
    }
    QString Shows()
    {
        shared.BringUp();
        return seen.board.Checksum();
    }
    void Agrees()
    {
        Both should = Should();
        const SharedBoard::Steps steps = shared.CurrentSteps();
        EXPECT_EQ(steps.index, should.history.Index());
        EXPECT_EQ(steps.count, should.history.Count());
        EXPECT_EQ(Shows(), should.board.Checksum());
        EXPECT_EQ(seen.board.Ink(), should.board.Ink());
    }
    /// Undo is looked at, too.
    void AgreesWhole()
    {
        Both should = Should();
        shared.History();
        EXPECT_EQ(Everything(seen), Everything(should));
    }

private:
    void Add(const MarkPtr& mark)
    {
        shared.AddOwn(mark, ++mLastPost);
        mWaiting.emplace_back(mLastPost, mark);
    }
    std::optional<PenRecord> mStroke;
    std::vector<std::pair<quint64, MarkPtr>> mWaiting;
    quint64 mLastPost = 0;
};

MarkPtr Stroke(int x, int y, int width = 5, int colour = 255)
{
    return Made(u"[[ZUM_WB_PEN]]%1/%2/%3/%4/%3/%5"_s.arg(width).arg(x).arg(y).arg(x + 60).arg(colour));
}

/// Text blends: what is shown of it while it waits may differ by a rounding, what is settled may not.
bool IsText(const MarkPtr& mark)
{
    return mark->record.startsWith(u"[[ZUM_WB_TEXT]]"_s);
}

}  // namespace

TEST(SharedBoard, IsTheLogAndTheOwnWorkWhateverCrosses)
{
    Seeded random;
    for (int round = 0; round < 4; ++round) {
        const bool steps = round % 2, ink = round / 2;
        Ann ann(ink);
        bool text = false;
        for (int step = 0; step < 24 && !testing::Test::HasFailure(); ++step) {
            SCOPED_TRACE(step);
            MarkPtr mark = AnyMark(random);
            const bool damaged = mark->record.endsWith(u"255|\u00A5|7"_s);  // the own hand makes none such
            if (!steps && (IsStep(*mark) || damaged)) mark = Stroke(step * 9, 40);
            const auto someWaiting = [&] { return random() % (ann.Waiting() + 1); };
            switch (random() % 7) {
                case 0:
                case 1:
                    if (damaged) break;
                    text |= IsText(mark);
                    ann.Draws(mark);
                    break;
                case 2: ann.Gets(mark); break;
                case 3: ann.Placed(random() % 3); break;
                case 4:
                    if (ann.Waiting() > 0 && random() % 3 == 0) ann.Loses(random() % ann.Waiting());
                    break;
                case 5:
                    if (random() % 4 == 0) ann.Passes(someWaiting());
                    if (random() % 16 == 0) ann.EntersAnother(someWaiting());
                    break;
                default: {  // a stroke that others cross
                    const auto pen = ReadPen(
                        FindRecord(Stroke(int(random() % 900), int(random() % 900))->record)->payload);
                    ann.Begins(pen.value);
                    ann.Goes(pen.value.segments[0]);
                    ann.Gets(mark);
                    if (random() % 2) ann.Placed();
                    if (random() % 8 == 0) ann.EntersAnother(someWaiting());
                    for (const bool keep : {false, true}) ann.shared.KeepInk(ink && keep);
                    if (!text && !IsText(mark)) ann.Agrees();
                    ann.Draws(std::make_shared<Mark>(Mark{WritePen(pen.value), nullptr, {}, u"ann"_s, {}}));
                }
            }
            text = text && ann.Waiting() > 0;
            if (!text) ann.Agrees();
            if (step % 8 == 0) ann.AgreesWhole();
        }
        ann.Placed(ann.Waiting());
        ann.AgreesWhole();
        EXPECT_FALSE(ann.shared.OwnWaits());
        EXPECT_EQ(ann.shared.LogChecksum(), ann.seen.board.Checksum());
    }
}

TEST(SharedBoard, DrawsNothingTwiceWhileNobodyCrosses)
{
    Ann ann;
    for (int i = 0; i < 20; ++i) ann.Draws(Stroke(10 * i, 10 * i));
    ann.seen.board.TakeUnshown();
    ann.Placed(20);
    EXPECT_TRUE(ann.seen.board.TakeUnshown().isEmpty());
    EXPECT_EQ(ann.seen.history.Count(), 11);
    EXPECT_FALSE(ann.shared.OwnWaits());
}

TEST(SharedBoard, OthersWorkLiesBeneathTheHandThatStillDraws)
{
    Ann ann;
    ann.Begins({5, {}});
    ann.Goes({100, 100, 200, 100, 255});
    ann.seen.board.TakeUnshown();
    ann.Gets(Stroke(120, 100, 5, 0));  // right across
    EXPECT_EQ(ann.seen.board.Pixel(150, 100), 0xffff0000);
    EXPECT_TRUE(ann.seen.board.TakeUnshown().isEmpty());  // nothing of it can be seen, nothing flickers
    ann.Gets(Stroke(120, 102, 5, 0));
    EXPECT_EQ(ann.seen.board.Pixel(150, 104), 0xff000000);
    EXPECT_EQ(ann.seen.board.Pixel(150, 100), 0xffff0000);
    EXPECT_EQ(SumOf(ann.shared.History(), 3), ann.shared.LogChecksum());  // without the hand's ink
}

TEST(SharedBoard, WhatNobodyTookDisappears)
{
    Ann ann;
    ann.Gets(Stroke(10, 10));
    const QString before = ann.Shows();
    ann.Begins({5, {}});
    ann.Goes({100, 100, 200, 100, 255});
    ann.shared.EndOwn();  // an error came in between
    EXPECT_EQ(ann.Shows(), before);
    ann.Draws(Stroke(10, 300));
    ann.Draws(Made(u"[[ZUM_WB_UNDO]]"_s));
    ann.Draws(Stroke(10, 400));
    ann.Loses(0);  // so the undo takes the other's stroke
    ann.AgreesWhole();
    ann.shared.Passed(2);
    ann.shared.AllPlaced();
    EXPECT_EQ(ann.shared.CurrentSteps().count, 3);
    ann.shared.BeginOwn();
    ann.seen.board.Clear();
    ann.shared.AddOwn(Made(u"[[ZUM_WB_CLEAR]]"_s), 0);
    EXPECT_EQ(ann.shared.CurrentSteps().count, 3);
    EXPECT_EQ(ann.seen.board.Pixel(30, 400), 0xffff0000);
}

TEST(SharedBoard, LivePicturesLieOnBothBoardsAndAStrokeWipedInHandComesBack)
{
    Ann ann;
    ann.Draws(Stroke(10, 10));
    ann.shared.PaintLive([](Board& board) { board.Fill({0, 0, 40, 40}, 0x00ff00); });
    EXPECT_EQ(ann.seen.board.Pixel(30, 10), 0xff00ff00);
    ann.Gets(Stroke(300, 300));
    ann.Placed();
    EXPECT_EQ(ann.seen.board.Pixel(5, 35), 0xff00ff00);
    EXPECT_EQ(ann.seen.board.Pixel(30, 10), 0xffff0000);
    ann.Begins({5, {}});
    ann.Goes({100, 100, 200, 100, 255});
    ann.shared.BeginOwn();
    ann.seen.board.Clear();  // by key, in mid-stroke
    ann.shared.AddOwn(Made(u"[[ZUM_WB_CLEAR]]"_s), 100);
    ann.Draws(Made(u"[[ZUM_WB_PEN]]5/100/100/200/100/255"_s));
    EXPECT_EQ(ann.seen.board.Pixel(150, 100), 0xffff0000);  // as the others will draw it
}

TEST(SharedBoard, WhatWaitsStaysWhereItsAuthorsMarksAreTakenBack)
{
    Ann ann;
    ann.Draws(Stroke(10, 10));
    ann.Placed();
    ann.Draws(Stroke(10, 100));  // on its way
    ann.Gets(TakenBack(u"ann"_s, u"eve"_s));
    EXPECT_EQ(ann.Shows(), ann.Should().board.Checksum());
    EXPECT_EQ(ann.seen.board.Pixel(30, 10), 0xffffffff);
    EXPECT_EQ(ann.seen.board.Pixel(30, 100), 0xffff0000);
    ann.Placed();
    ann.AgreesWhole();
    ann.Draws(TakenBack(u"bob"_s));  // she had seen nothing of his
    ann.Gets(std::make_shared<Mark>(*Made(u"[[ZUM_WB_PEN]]5/10/200/70/200/0"_s, u"bob"_s)));
    EXPECT_EQ(ann.Shows(), ann.Should().board.Checksum());  // his came in front of it: gone at once
    EXPECT_EQ(ann.seen.board.Pixel(30, 200), 0xffffffff);
    ann.Loses(0);
    EXPECT_EQ(ann.Shows(), ann.Should().board.Checksum());
    EXPECT_EQ(ann.seen.board.Pixel(30, 200), 0xff000000);
    const QString before = ann.Shows();
    ann.Begins({5, {}});
    ann.Goes({100, 300, 200, 300, 255});
    ann.shared.BeginOwn();  // by key, in mid-stroke, of one who drew nothing
    const MarkPtr nobodys = TakenBack(u"nobody"_s);
    ApplyMark(ann.seen.board, ann.shared.History(), nobodys);
    ann.shared.AddOwn(nobodys, 100);
    ann.shared.Placed(100);
    EXPECT_EQ(SumOf(ann.shared.History(), ann.seen.history.Index()), before);
}

TEST(SharedBoard, KeepsTheInkThatLivePicturesWipe)
{
    Ann ann;
    const auto live = [&] {
        ann.shared.PaintLive([](Board& board) {
            board.Fill({0, 0, 200, 200}, kWhite);
            board.PaintLive(QImage(100, 100, QImage::Format_RGB32), {0, 0});
        });
    };
    const auto sees = [&](int x, int y) { return qAlpha(ann.seen.board.Ink().pixel(x, y)) == 0; };
    ann.Gets(Stroke(10, 10));
    live();
    ann.Gets(Stroke(10, 50, 5, int(kWhite)));  // white ink is ink
    ann.Draws(Stroke(10, 70));
    ann.shared.KeepInk(true);  // with own work on its way: all of it is found
    EXPECT_FALSE(sees(30, 10) || sees(30, 50) || sees(30, 70));
    live();
    ann.Gets(Stroke(10, 10, kEraseWidth, int(kWhite)));
    EXPECT_TRUE(sees(30, 10));
    EXPECT_FALSE(sees(30, 50) || sees(30, 70));
    ann.Draws(Stroke(10, 50, kEraseWidth, int(kWhite)));  // the border between what lies beneath and what not
    ann.Gets(Stroke(30, 52));
    EXPECT_TRUE(sees(60, 50));  // others' work lies beneath the own, which rubbed it out
    live();
    ann.Placed(2);
    for (const bool undone : {true, false}) {
        ann.Gets(Made(undone ? u"[[ZUM_WB_UNDO]]"_s : u"[[ZUM_WB_REDO]]"_s));
        live();
        EXPECT_EQ(sees(60, 50), !undone);
    }
    ann.Gets(Made(u"[[ZUM_WB_CLEAR]]"_s));
    EXPECT_TRUE(sees(30, 70) && sees(60, 52));
    ann.shared.Begin(0, u"ann"_s, {});
    EXPECT_EQ(ann.seen.board.Ink(), Both(true).board.Ink());
}

TEST(SharedBoard, AnotherMeetingHasItsOwnHistory)
{
    Ann ann;
    ann.Gets(Stroke(10, 10));
    ann.Draws(Stroke(10, 30));
    ann.shared.Begin(1, u"ann"_s, {});
    EXPECT_EQ(ann.shared.CurrentSteps().count, 1);
    EXPECT_EQ(ann.Shows(), Board().Checksum());
    ann.Draws(Stroke(10, 30));          // its place comes from the new one
    ann.shared.Begin(1, u"ann"_s, {});  // before that the window had not heard of it
    EXPECT_EQ(ann.seen.board.Pixel(30, 30), 0xffff0000);
    EXPECT_EQ(ann.shared.CurrentSteps().count, 2);
    ann.shared.Placed(2);
    EXPECT_EQ(ann.seen.history.Count(), 2);
}
