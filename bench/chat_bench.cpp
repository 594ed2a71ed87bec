// Chat lines: appended and painted one by one, and ten thousand at once, beside the toolkit's text box in the
// same run, the two in turn. Prints a table; run it with --platform offscreen on an idle machine.
#include <QApplication>
#include <QElapsedTimer>
#include <QTextEdit>
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <memory>
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

/// Microseconds for each line, appended and painted.
std::vector<double> LineByLine(Box& box)
{
    std::vector<double> times;
    QElapsedTimer clock;
    for (int i = 0; i < kLines; ++i) {
        clock.start();
        box.Append(i);
        box.Widget().viewport()->repaint();
        times.push_back(double(clock.nsecsElapsed()) / 1000);
    }
    return times;
}

/// Milliseconds for all of them, painted once for each 500.
double AtOnce(Box& box)
{
    QElapsedTimer clock;
    clock.start();
    for (int i = 0; i < kLines; ++i) {
        box.Append(i);
        if (i % 500 == 499) box.Widget().viewport()->repaint();
    }
    return double(clock.nsecsElapsed()) / 1e6;
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
    std::vector<double> p50, p99, early, late, atOnce, memory;
};

void Measure(bool ours, Figures& into)
{
    const double before = ResidentMiB();
    const auto box = Made(ours);
    const std::vector<double> times = LineByLine(*box);
    into.memory.push_back(ResidentMiB() - before);
    into.p50.push_back(Median(times));
    into.p99.push_back(Median(times, 0.99));
    into.early.push_back(Around(times, 150));
    into.late.push_back(Around(times, kLines));
    into.atOnce.push_back(AtOnce(*Made(ours)));
}

void Row(const char* what, const std::vector<double>& ours, const std::vector<double>& toolkit,
         const char* unit)
{
    std::printf("| %-42s | %8.1f %s | %8.1f %s | %5.2fx |\n", what, Median(ours), unit, Median(toolkit), unit,
                Median(ours) / Median(toolkit));
}

}  // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    Figures ours, toolkit;
    for (int round = 0; round < kRounds; ++round) {
        Measure(round % 2 == 0, round % 2 == 0 ? ours : toolkit);
        Measure(round % 2 != 0, round % 2 != 0 ? ours : toolkit);
    }
    std::printf("| chat lines | ours | the toolkit's text box | ratio |\n| --- | --- | --- | --- |\n");
    Row("a line appended and painted, p50", ours.p50, toolkit.p50, "us");
    Row("a line appended and painted, p99", ours.p99, toolkit.p99, "us");
    Row("line 10,000 (ours beside ours at line 100)", ours.late, ours.early, "us");
    Row("10,000 lines, painted once for each 500", ours.atOnce, toolkit.atOnce, "ms");
    std::printf("memory taken by ours for its first 10,000 lines: %.1f MiB\n", ours.memory.front());
    return 0;
}
