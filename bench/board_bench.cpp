// The board: snapshots beside a copy of the whole board, records beside bare QPainter, repainting beside a
// full repaint, reading beside splitting the text.
#include <benchmark/benchmark.h>

#include <QGuiApplication>
#include <QPainter>
#include <chrono>
#include <cmath>

#include "whiteboard/history.h"
#include "whiteboard/scaled_board.h"
#include "whiteboard/shared_board.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int kStrokes = 200;

/// 100 segments within about 300 x 200 pixels, somewhere in the part that a window of 1100 x 700 shows.
PenRecord UsualStroke(int number)
{
    const float left = float((number * 397) % 560), top = float((number * 211) % 370);
    PenRecord pen{2, {}};
    float x = left, y = top + 100;
    for (int i = 1; i <= 100; ++i) {
        const float toX = left + float(3 * i), toY = top + 100 + 100 * std::sin(float(i + number) / 9);
        pen.segments.push_back({x, y, toX, toY, 0x0000ff});
        x = toX, y = toY;
    }
    return pen;
}

void DrawStroke(Board& board, int number)
{
    const PenRecord pen = UsualStroke(number);
    board.Draw(pen.segments, pen.width);
}

QString LongRecord()
{
    PenRecord pen{2, {}};
    for (int i = 0; i < 100'000; ++i)
        pen.segments.push_back({float(i % 2048), float(i % 1536), float((i + 1) % 2048), 0.5f, 0x0000ff});
    return WritePen(pen);
}

MarkPtr MarkOf(const PenRecord& pen)
{
    return std::make_shared<Mark>(Mark{WritePen(pen), nullptr, {}, u"ann"_s, {}});
}

QStringView PayloadOf(const QString& record)
{
    return FindRecord(record)->payload;
}

}  // namespace

static void SnapshotAfterStroke(benchmark::State& run)
{
    Board board;
    WBHistory history;
    history.Save(&board, 0, 0, u"ann"_s, {});
    int number = 0;
    double worst = 0;
    for (auto _ : run) {
        DrawStroke(board, ++number);
        const auto begin = std::chrono::steady_clock::now();
        history.Save(&board, 0, 0, u"ann"_s, {});
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
        run.SetIterationTime(took.count());
        worst = std::max(worst, took.count());
    }
    run.counters["worst_us"] = worst * 1e6;
}
BENCHMARK(SnapshotAfterStroke)->UseManualTime()->Iterations(kStrokes)->Unit(benchmark::kMicrosecond);

/// An own stroke, piece by piece as the mouse brings it, up to its place in the log; and as it was before
/// there were places: drawn and remembered.
static void OwnStroke(benchmark::State& run, bool shares)
{
    Board board;
    WBHistory history;
    history.Save(&board, 0, 0, u"ann"_s, {});
    SharedBoard shared(board, history);
    int number = 0;
    for (auto _ : run) {
        run.PauseTiming();
        const PenRecord pen = UsualStroke(++number);
        const MarkPtr mark = MarkOf(pen);
        run.ResumeTiming();
        if (shares) shared.BeginOwn();
        for (const Segment& segment : pen.segments) board.Draw({&segment, 1}, pen.width);
        if (shares) {
            shared.AddOwn(mark, quint64(number));
            shared.Placed(quint64(number));
        } else {
            history.Save(&board, 0, 0, u"ann"_s, {});
        }
    }
}
BENCHMARK_CAPTURE(OwnStroke, Before, false)->Iterations(kStrokes)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(OwnStroke, WithItsPlace, true)->Iterations(kStrokes)->Unit(benchmark::kMicrosecond);

/// A record of somebody else that arrives while this many own strokes wait for their place.
static void RecordUnderOwn(benchmark::State& run)
{
    Board board;
    WBHistory history;
    history.Save(&board, 0, 0, u"ann"_s, {});
    SharedBoard shared(board, history);
    for (int number = 1; number <= run.range(0); ++number) {
        shared.BeginOwn();
        DrawStroke(board, number);
        shared.AddOwn(MarkOf(UsualStroke(number)), quint64(number));
    }
    int number = 1000;
    const auto first = std::chrono::steady_clock::now();
    shared.Take(MarkOf(UsualStroke(++number)));
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - first;
    for (auto _ : run) {
        run.PauseTiming();
        const MarkPtr mark = MarkOf(UsualStroke(++number));
        run.ResumeTiming();
        shared.Take(mark);
        benchmark::DoNotOptimize(board.TakeUnshown());
    }
    run.counters["first_us"] = took.count() * 1e6;  // when the log gets a board of its own
}
BENCHMARK(RecordUnderOwn)->Arg(0)->Arg(1)->Arg(200)->Iterations(kStrokes)->Unit(benchmark::kMicrosecond);

/// Every other one of so many strokes goes; beside that, drawing those that stay.
static void TakingBack(benchmark::State& run, bool all)
{
    const int strokes = int(run.range(0));
    Board board;
    WBHistory history;
    history.Save(&board, 0, 0, u"ann"_s, {});
    std::vector<MarkPtr> stay;
    for (int i = 1; i <= strokes; ++i) {
        auto mark = std::make_shared<Mark>(*MarkOf(UsualStroke(i)));
        if (i % 2) mark->author = u"bob"_s;
        if (i % 2 == 0) stay.push_back(mark);
        ApplyMark(board, history, mark);
    }
    auto back = std::make_shared<Mark>();
    back->takesBack = u"bob"_s;
    for (auto _ : run) {
        run.PauseTiming();
        Board on(board);
        WBHistory of(history);
        run.ResumeTiming();
        if (all)
            ApplyMark(on, of, back);
        else
            for (const MarkPtr& mark : stay) DrawMark(on, *mark);
    }
}
BENCHMARK_CAPTURE(TakingBack, Half, true)->Arg(200)->Arg(2000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(TakingBack, OnlyDrawing, false)->Arg(200)->Arg(2000)->Unit(benchmark::kMillisecond);

static void WholeBoardCopy(benchmark::State& run)
{
    const Board board;
    for (auto _ : run) {
        QImage copy = board.Image().copy();
        benchmark::DoNotOptimize(copy.bits());
    }
}
BENCHMARK(WholeBoardCopy)->Iterations(kStrokes)->Unit(benchmark::kMicrosecond);

/// Memory of eleven boards as a part of eleven whole ones: after usual strokes, and after clears.
static void HistoryMemory(benchmark::State& run)
{
    const auto part = [](const WBHistory& history) {
        return double(history.DistinctTiles()) / (WBHistory::kMostEntries * kTileCount);
    };
    for (auto _ : run) {
        Board board;
        WBHistory history;
        for (int i = 0; i < kStrokes; ++i) DrawStroke(board, i), history.Save(&board, 0, 0, u"ann"_s, {});
        run.counters["after_strokes"] = part(history);
        for (int i = 0; i < WBHistory::kMostEntries; ++i)
            board.Clear(), history.Save(&board, 0, 0, u"ann"_s, {});
        run.counters["after_clears"] = part(history);
    }
}
BENCHMARK(HistoryMemory)->Iterations(1);

static void ApplyRecordOf100(benchmark::State& run)
{
    Board board;
    const QString record = WritePen(UsualStroke(3));
    for (auto _ : run) {
        const auto read = ReadPen(PayloadOf(record));
        board.Draw(read.value.segments, read.value.width);
    }
}
BENCHMARK(ApplyRecordOf100)->Unit(benchmark::kMicrosecond);

static void BareDrawLine100(benchmark::State& run)
{
    QImage image(kBoardWidth, kBoardHeight, QImage::Format_RGB32);
    image.fill(Qt::white);
    const PenRecord pen = UsualStroke(3);
    for (auto _ : run) {
        QPainter painter(&image);
        painter.setPen(QPen(Qt::red, pen.width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        for (const Segment& s : pen.segments) painter.drawLine(QPointF(s.x1, s.y1), QPointF(s.x2, s.y2));
    }
}
BENCHMARK(BareDrawLine100)->Unit(benchmark::kMicrosecond);

/// Painting to a window of 1920 x 1080 what one stroke changed, or all of it.
static void Repaint(benchmark::State& run, bool whole)
{
    Board board;
    board.TakeUnshown();
    DrawStroke(board, 3);
    const QRegion window(0, 0, 1920, 1080);
    const QRegion changed = whole ? window : board.TakeUnshown() & window;
    QImage screen(1920, 1080, QImage::Format_RGB32);
    ScaledBoard scaled;
    for (auto _ : run) {
        QPainter painter(&screen);
        scaled.Paint(painter, board, changed, 1);
    }
}
BENCHMARK_CAPTURE(Repaint, AfterStroke, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(Repaint, Whole, true)->Unit(benchmark::kMicrosecond);

static void ReadLongRecord(benchmark::State& run)
{
    const QString record = LongRecord();
    for (auto _ : run) benchmark::DoNotOptimize(ReadPen(PayloadOf(record)).value.segments.data());
    run.SetBytesProcessed(run.iterations() * record.size());
}
BENCHMARK(ReadLongRecord)->Unit(benchmark::kMillisecond);

static void SplitLongRecord(benchmark::State& run)
{
    const QString record = LongRecord();
    for (auto _ : run) {
        const QStringList fields = PayloadOf(record).toString().split(u"|\u00A5|"_s);
        float sum = 0;
        for (const QString& field : fields) sum += field.toFloat();
        benchmark::DoNotOptimize(sum);
    }
    run.SetBytesProcessed(run.iterations() * record.size());
}
BENCHMARK(SplitLongRecord)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
