// Start and memory of the client beside a bare window with the same kinds of controls and a board: both are
// processes on one virtual display, started in turn. Prints a table; run it on an idle machine.
#include <signal.h>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QElapsedTimer>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMainWindow>
#include <QMenuBar>
#include <QPainter>
#include <QPushButton>
#include <QScrollBar>
#include <QSlider>
#include <QStatusBar>
#include <QTextEdit>
#include <QTimer>
#include <QToolBar>
#include <QVBoxLayout>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "demo/stage.h"

using namespace Qt::StringLiterals;
using namespace stage;

namespace {

constexpr int kRounds = 9;

// --- the reference: this program itself, started with "bare" --------------------------------------------

class Board : public QWidget {
public:
    explicit Board(QWidget* parent) : QWidget(parent) { mImage.fill(Qt::white); }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter(this).drawImage(0, 0, mImage);
        if (std::exchange(mPainted, true)) return;
        QTimer::singleShot(0, this, [] {  // behind the flush of this paint
            std::puts("painted");
            std::fflush(stdout);
        });
    }

private:
    QImage mImage{2048, 1536, QImage::Format_RGB32};
    bool mPainted = false;
};

/// As many controls as the meeting window has, and those of the login dialog.
int ShowBareWindow(int argc, char** argv)
{
    QApplication application(argc, argv);
    QMainWindow window;
    for (const char* name : {"Meeting", "Tools", "Help"})
        for (int i = 0; i < 6; ++i) window.menuBar()->addMenu(QLatin1String(name))->addAction(u"Entry"_s);
    QToolBar* bar = window.addToolBar(u"Tools"_s);
    for (int i = 0; i < 12; ++i) bar->addAction(u"Tool"_s);
    auto* middle = new QWidget;
    auto* across = new QHBoxLayout(middle);
    auto* left = new QVBoxLayout;
    across->addLayout(left);
    for (QWidget* control : std::initializer_list<QWidget*>{
             new QCheckBox(u"Talk"_s), new QSlider(Qt::Horizontal), new QSlider(Qt::Horizontal),
             new QListWidget, new QTextEdit, new QPushButton(u"Send"_s), new QPushButton(u"Whisper"_s),
             new QTextEdit, new QLineEdit, new QLineEdit, new QComboBox, new QPushButton(u"OK"_s)})
        left->addWidget(control);
    across->addWidget(new Board(middle), 1);
    across->addWidget(new QScrollBar(Qt::Vertical));
    window.setCentralWidget(middle);
    for (int i = 0; i < 4; ++i) window.statusBar()->addWidget(new QLabel(u"Ready"_s));
    window.resize(1000, 700);
    window.show();
    return QApplication::exec();
}

// --- measuring ------------------------------------------------------------------------------------------

double ResidentMiB(pid_t pid)
{
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string word; status >> word;)
        if (word == "VmRSS:") {
            double kib = 0;
            status >> kib;
            return kib / 1024;
        }
    return 0;
}

double Median(std::vector<double> values)
{
    std::ranges::sort(values);
    return values[values.size() / 2];
}

void End(Child& program)
{
    program.Signal(SIGTERM);
    program.WaitForEnd();
}

struct Figures {
    std::vector<double> start, resident;  // ms, MiB
};

void Ours(Desk& desk, const Service& service, Figures& into)
{
    QElapsedTimer clock;
    clock.start();
    desk.StartClient({u"--service"_s, service.Address()});
    desk.Wait("dialog", Is("name", u"frmLogin"_s));
    into.start.push_back(double(clock.nsecsElapsed()) / 1e6);
    desk.Login(u"ann"_s, u"a secret"_s, u"Start%1"_s.arg(into.start.size(), 4, 10, QChar(u'0')), false);
    desk.Wait("window_whole");
    into.resident.push_back(ResidentMiB(desk.Client().Pid()));
    End(desk.Client());
}

void Bare(Desk& desk, const QString& self, Figures& into)
{
    QElapsedTimer clock;
    clock.start();
    const auto window = desk.Start(self, {u"bare"_s});
    window->ReadLine();
    into.start.push_back(double(clock.nsecsElapsed()) / 1e6);
    into.resident.push_back(ResidentMiB(window->Pid()));
    End(*window);
}

void Row(const char* what, const std::vector<double>& ours, const std::vector<double>& bare, const char* unit)
{
    std::printf("| %-44s | %6.1f %s | %6.1f %s | %4.2fx |\n", what, Median(ours), unit, Median(bare), unit,
                Median(ours) / Median(bare));
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc > 1 && qstrcmp(argv[1], "bare") == 0) return ShowBareWindow(argc, argv);
    const Folder folder;
    const Service service(folder, {{u"ann"_s, u"a secret"_s}});
    Desk desk(folder, u"ann"_s);
    desk.Setting(u"Zephyl\\Trusted Services"_s, service.Address(), service.Fingerprint());
    const QString self = Programs() + u"/bench_start"_s;
    Figures ours, bare, unused;
    Ours(desk, service, unused);  // the caches of files are warm for both
    Bare(desk, self, unused);
    for (int round = 0; round < kRounds; ++round) {
        Ours(desk, service, ours);
        Bare(desk, self, bare);
    }
    std::printf("| work | ours | bare window | ratio |\n| --- | --- | --- | --- |\n");
    Row("start to the login dialog, painted", ours.start, bare.start, "ms");
    Row("resident in a meeting, board shown", ours.resident, bare.resident, "MiB");
    return 0;
}
