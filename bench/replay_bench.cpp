// Going back in a meeting of 100,000 strokes of 30 pieces: how long a place anywhere takes, beside drawing
// the meeting from its beginning. usage: bench_replay [ITEMS]
#include <QGuiApplication>
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include "export/meeting_marks.h"
#include "meeting_file/writer.h"
#include "replay/replay.h"
#include "service/link/link_messenger.h"
#include "support/a_meeting.h"

namespace {

constexpr int kPieces = 30, kSeeks = 200, kTakenBackEvery = 20'000;  // items

double Milliseconds(const std::function<void()>& work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

std::string AMeetingFile(int items)
{
    std::string bytes;
    meeting_file::Writer writer({"bench", "", 1}, [&](std::string_view more) { bytes += more; });
    std::mt19937 random(5);
    for (int i = 0; i < items; ++i) {
        if (i % kTakenBackEvery == kTakenBackEvery - 1) {
            Mark taken = *MarkOfRecord({}, QStringLiteral("ann"));
            taken.takesBack = QStringLiteral("bob");
            writer.Add(ItemOf(taken));
            continue;
        }
        const QString author = random() % 8 ? QStringLiteral("ann") : QStringLiteral("bob");
        writer.Add(ItemOf(
            *MarkOfRecord(AStroke(random, 1 + int(random() % 9), random() & 0xffffff, kPieces), author)));
    }
    return bytes + writer.Tail();
}

void Print(const char* what, std::vector<double> times)
{
    std::sort(times.begin(), times.end());
    std::printf("%-44s median %8.1f ms, at most %8.1f ms\n", what, times[times.size() / 2], times.back());
}

}  // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    const int items = argc > 1 ? std::max(1, std::atoi(argv[1])) : 100'000;
    const std::string bytes = AMeetingFile(items);
    const auto pictures = MakePictureReader();

    std::mutex mutex;
    std::condition_variable more;
    std::unique_ptr<Replay> replay;
    const double known = Milliseconds([&] {
        std::unique_lock lock(mutex);
        replay = std::make_unique<Replay>(meeting_file::MemorySource(bytes), *pictures, [&] {
            const std::lock_guard news(mutex);
            more.notify_all();
        });
        more.wait(lock, [&] { return replay->AllKnown(); });
    });
    const double whole = Milliseconds([&] {
        meeting_file::Reader file(meeting_file::MemorySource(bytes));
        ReplayAll(file, *pictures);
    });

    std::mt19937 random(9);
    std::vector<double> anywhere, back;
    for (int i = 0; i < kSeeks; ++i) {
        const std::size_t place = 1 + random() % std::size_t(items);
        anywhere.push_back(Milliseconds([&] { replay->Seek(place); }));
        back.push_back(Milliseconds([&] { replay->Seek(place - 1); }));
    }
    std::printf("%d items, %.1f MB: known after %.1f s; drawn from the beginning in %.1f s\n", items,
                double(bytes.size()) / 1e6, known / 1000, whole / 1000);
    Print("200 places anywhere", anywhere);
    Print("a step back from each", back);
    return 0;
}
