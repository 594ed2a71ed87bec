#include "replay/replay.h"

#include <gtest/gtest.h>

#include "export/meeting_marks.h"
#include "meeting_file/writer.h"
#include "replay/playing.h"
#include "service/link/link_messenger.h"
#include "support/a_meeting.h"
#include "whiteboard/apply_mark.h"

using namespace Qt::StringLiterals;
using meeting_file::Item;

namespace {

/// A meeting of strokes, undos, redos and clears, and what an attendee's board was behind each of its items.
struct Recorded {
    std::unique_ptr<PictureReader> pictures = MakePictureReader();
    std::string bytes;
    QStringList boards;  // by position

    explicit Recorded(int items)
    {
        meeting_file::Writer writer({"standup", "", 1}, [&](std::string_view more) { bytes += more; });
        Board board;
        WBHistory history;
        BeginReplay(board, history);
        boards += board.Checksum();
        std::mt19937 random(11);
        std::vector<MarkPtr> marks = AMeeting(*pictures);
        for (int i = int(marks.size()); i < items; ++i) {
            const char* const steps[] = {"[[ZUM_WB_UNDO]]", "[[ZUM_WB_REDO]]", "[[ZUM_WB_CLEAR]]",
                                         "[[ZUM_WB_BOX]]3/7"};  // damaged
            const unsigned what = random() % 20;
            if (random() % 40 == 0) {  // whose marks these are, a board that was kept does not know
                auto taken = std::make_shared<Mark>(*MarkOfRecord({}, u"eve"_s));
                taken->takesBack = random() % 2 ? u"ann"_s : u"bob"_s;
                marks.push_back(taken);
                continue;
            }
            marks.push_back(
                what < 8 ? MarkOfRecord(QString::fromLatin1(steps[std::array{0, 0, 0, 0, 1, 1, 2, 3}[what]]))
                         : MarkOfRecord(AStroke(random, 1 + int(random() % 9), random() & 0xffffff, 12),
                                        random() % 3 ? u"ann"_s : u"bob"_s));
        }
        for (const MarkPtr& mark : marks) {
            if (mark == marks[marks.size() / 2]) {
                writer.Add(BeginsItem(u"ann"_s, {}));
                board.Clear();
                history = {};
                BeginReplay(board, history);
                boards += board.Checksum();
            }
            writer.Add(ItemOf(*mark));
            ApplyMark(board, history, mark, {}, pictures.get());
            boards += board.Checksum();
        }
        bytes += writer.Tail();
    }
};

/// Until all of the file is known.
struct Known {
    std::mutex mutex;
    std::condition_variable changed;
    Replay replayed;

    explicit Known(const Recorded& recorded)
        : replayed(meeting_file::MemorySource(recorded.bytes), *recorded.pictures, [this] {
              const std::lock_guard lock(mutex);
              changed.notify_all();
          })
    {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return replayed.AllKnown(); });
    }
};

}  // namespace

TEST(Replay, ShowsAtEveryPlaceWhatAttendeesHad)
{
    const Recorded recorded(800);
    Known known(recorded);
    Replay& replay = known.replayed;
    ASSERT_EQ(replay.Items(), std::size_t(recorded.boards.size() - 1));
    for (std::size_t at = 0; at <= replay.Items(); ++at) {
        replay.Seek(at);
        ASSERT_EQ(replay.TheBoard().Checksum(), recorded.boards[qsizetype(at)]) << at;
    }
    std::mt19937 random(5);
    for (int i = 0; i < 60; ++i) {
        const std::size_t at = random() % (replay.Items() + 1);
        replay.Seek(at);
        ASSERT_EQ(replay.TheBoard().Checksum(), recorded.boards[qsizetype(at)]) << at;
        const std::size_t before = at > 0 ? at - 1 : 0;  // a step back
        replay.Seek(before);
        ASSERT_EQ(replay.TheBoard().Checksum(), recorded.boards[qsizetype(before)]) << before;
    }
}

/// Where boards were forgotten for want of room, it plays from the beginning instead.
TEST(Replay, IsRightWithoutTheBoardsBehindATakingBack)
{
    const Recorded recorded(400);
    Replay replay(
        meeting_file::MemorySource(recorded.bytes), *recorded.pictures, [] {}, 1'000'000);
    while (!replay.AllKnown()) std::this_thread::yield();
    for (const std::size_t at : {399u, 200u, 390u, 150u, 300u, 301u, 400u}) {
        replay.Seek(at);
        EXPECT_EQ(replay.TheBoard().Checksum(), recorded.boards[qsizetype(at)]) << at;
    }
}

TEST(Replay, LeavesADamagedPieceOutAndSaysSo)
{
    Recorded recorded(1500);
    recorded.bytes[recorded.bytes.size() / 2] ^= 1;
    meeting_file::Reader file(meeting_file::MemorySource(recorded.bytes));
    std::size_t damaged = 0;
    for (std::size_t frame = 0; frame < file.Frames(); ++frame) try {
            file.Frame(frame);
        } catch (const meeting_file::BadFile&) {
            damaged = frame;
        }
    ASSERT_GT(damaged, 0u);
    Known known(recorded);
    EXPECT_FALSE(known.replayed.Problem().isEmpty());
    const QString before = recorded.boards[qsizetype(file.FirstOf(damaged))];
    for (const std::size_t at :
         {file.FirstOf(damaged), file.FirstOf(damaged) + 5, file.FirstOf(damaged + 1)}) {
        known.replayed.Seek(at);
        EXPECT_EQ(known.replayed.TheBoard().Checksum(), before) << at;
    }
}

TEST(KeyBoards, ForgetThoseAtTheirBoundThatAreLeastMissed)
{
    KeyBoards keys(2'000'000);
    Board board;
    WBHistory history;
    BeginReplay(board, history);
    std::mt19937 random(2);
    for (std::size_t at = 1; at <= 60; ++at) {
        for (int stroke = 0; stroke < 12; ++stroke)
            ApplyMark(board, history, MarkOfRecord(AStroke(random, 5, random() & 0xffffff, 60)));
        keys.Add(at, board, history, 1, at == 8 || at == 33);
    }
    EXPECT_LE(keys.Bytes(), 2'000'000u);
    EXPECT_LT(keys.Count(), 31u);
    for (const std::size_t needed : {8u, 33u}) EXPECT_EQ(keys.Nearest(needed), needed);
    for (std::size_t at = 1; at <= 60; ++at) EXPECT_LE(at - keys.Nearest(at), 60 / keys.Count() * 3) << at;
    Board again;
    WBHistory restored;
    EXPECT_EQ(keys.Restore(1000, again, restored), 60u);
    EXPECT_EQ(again.Checksum(), board.Checksum());
    EXPECT_EQ(restored.Count(), history.Count());
    for (int entry = 1; entry <= history.Count(); ++entry)
        EXPECT_EQ(restored.PictureOf(entry), history.PictureOf(entry)) << entry;
}

TEST(Playing, GoesAsTheMeetingDidTimesTheSpeedWithoutItsLongPauses)
{
    const std::vector<std::int64_t> times{1000, 1500, 2000, 600'000, 0, 600'100, 500};
    const auto timeOf = [&](int item) { return times[std::size_t(item)]; };
    const struct {
        const char* why;
        int from, elapsed, speed, to;
    } rows[] = {
        {"the first comes at once", 0, 0, 1, 1},
        {"not yet", 1, 499, 1, 1},
        {"now", 1, 500, 1, 2},
        {"sixteen times", 1, 63, 16, 3},
        {"a pause of ten minutes lasts three seconds", 3, 2999, 1, 3},
        {"and is over", 3, 3000, 1, 7},  // behind it nothing says that it came later
    };
    for (const auto& row : rows) {
        Playing playing(timeOf);
        EXPECT_EQ(playing.Next(row.from, int(times.size()), row.elapsed, row.speed), row.to) << row.why;
    }
}
