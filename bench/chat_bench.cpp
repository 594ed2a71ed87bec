// Chat lines: appended and painted one by one, and ten thousand at once, beside the toolkit's text box in the
// same run, the two in turn. Prints a table of processor time, which is all that one thread without a display
// needs and what others on the machine disturb least.
#include <time.h>

#include <QApplication>
#include <QTextEdit>
#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "messaging/chat_pane.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int kLines = 10'000;
constexpr int kRounds = 5;

QString Said(int number)
{
    return u"line %1 of a meeting in which people say what they have to say"_s.arg(number).left(20 +
                                                                                                number % 45);
}

/// One kind of box behind one face.
struct Box {
    virtual ~Box() = default;
    virtual void Append(int number) = 0;
    virtual QTextEdit& Widget() = 0;
};

struct OursBox final : Box {
    ChatBox box{nullptr};
    void Append(int number) override
    {
        box.Append(LineFor(u"ann"_s, number % 3 ? u"bob"_s : u"ann"_s, Said(number)));
    }
    QTextEdit& Widget() override { return box; }
};

struct ToolkitBox final : Box {
    QTextEdit box;
    ToolkitBox() { box.setReadOnly(true); }
    void Append(int number) override
    {
        box.setTextColor(number % 3 ? Qt::blue : Qt::red);
        box.append((number % 3 ? u"bob: "_s : u"ann: "_s) + Said(number));
    }
    QTextEdit& Widget() override { return box; }
};

std::unique_ptr<Box> Made(bool ours)
{
    std::unique_ptr<Box> box;
    if (ours)
        box = std::make_unique<OursBox>();
    else
        box = std::make_unique<ToolkitBox>();
    box->Widget().resize(216, 400);
    box->Widget().show();
    QApplication::processEvents();
    return box;
}

double Median(std::vector<double> values, double at = 0.5)
{
    std::sort(values.begin(), values.end());
    return values[std::size_t(double(values.size() - 1) * at)];
}

/// Of this thread, in milliseconds.
double ProcessorTime()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

using Boxes = std::array<std::unique_ptr<Box>, 2>;  // ours, the toolkit's
using Times = std::array<std::vector<double>, 2>;   // milliseconds for each piece

/// All lines in pieces of so many, each appended and painted once, the boxes in turn.
Times Filled(const Boxes& boxes, int piece)
{
    Times times;
    for (int first = 0; first < kLines; first += piece)
        for (const std::size_t which : {first / piece % 2, 1 - first / piece % 2}) {
            Box& box = *boxes[which];
            const double begun = ProcessorTime();
            for (int i = first; i < first + piece; ++i) box.Append(i);
            box.Widget().viewport()->repaint();
            times[which].push_back(ProcessorTime() - begun);
            QApplication::processEvents();  // a queue that only grows would be what later lines pay for
        }
    return times;
}

double ResidentMiB()
{
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
        if (word == "VmRSS:") {
            double kib = 0;
            status >> kib;
            return kib / 1024;
        }
    return 0;
}

double Around(const std::vector<double>& times, int line)
{
    return Median({times.begin() + line - 100, times.begin() + line});
}

struct Figures {
    std::vector<double> p50, p99, early, late, atOnce;
};

void Measure(Figures (&figures)[2])
{
    const Times lines = Filled({Made(true), Made(false)}, 1);
    const Times pieces = Filled({Made(true), Made(false)}, 500);
    for (std::size_t which : {0, 1}) {
        Figures& into = figures[which];
        into.p50.push_back(Median(lines[which]));
        into.p99.push_back(Median(lines[which], 0.99));
        into.early.push_back(Around(lines[which], 150));
        into.late.push_back(Around(lines[which], kLines));
        into.atOnce.push_back(std::accumulate(pieces[which].begin(), pieces[which].end(), 0.0));
    }
}

double MemoryOfOurs()
{
    const double before = ResidentMiB();
    const auto box = Made(true);
    for (int i = 0; i < kLines; ++i) {
        box->Append(i);
        box->Widget().viewport()->repaint();
        QApplication::processEvents();
    }
    return ResidentMiB() - before;
}

void Row(const char* what, const std::vector<double>& ours, const std::vector<double>& toolkit,
         const char* unit)
{
    std::printf("| %-42s | %8.3f %s | %8.3f %s | %5.2fx |\n", what, Median(ours), unit, Median(toolkit), unit,
                Median(ours) / Median(toolkit));
}

}  // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    const double memory = MemoryOfOurs();
    Figures figures[2];
    for (int round = 0; round < kRounds; ++round) Measure(figures);
    const Figures &ours = figures[0], &toolkit = figures[1];
    std::printf("| chat lines | ours | the toolkit's text box | ratio |\n| --- | --- | --- | --- |\n");
    Row("a line appended and painted, p50", ours.p50, toolkit.p50, "ms");
    Row("a line appended and painted, p99", ours.p99, toolkit.p99, "ms");
    Row("line 10,000 (ours beside ours at line 100)", ours.late, ours.early, "ms");
    Row("10,000 lines, painted once for each 500", ours.atOnce, toolkit.atOnce, "ms");
    std::printf("memory taken by ours for its first 10,000 lines: %.1f MiB\n", memory);
    return 0;
}
