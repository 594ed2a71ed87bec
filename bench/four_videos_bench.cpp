// What a client pays for four videos of 15 frames a second, beside the bare decoding of the same frames:
// processor time of the whole program (network, decoding, board, window) against the library alone, and
// against a program that decodes the same files and draws them in a bare widget. A second client gets the
// same with its ink above them, and ink on each. Needs Xvfb and openbox.
#include <turbojpeg.h>

#include <QApplication>
#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QPaintEvent>
#include <QPainter>
#include <QTimer>
#include <QWidget>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <thread>

#include "demo/stage.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using namespace stage;

namespace {

constexpr int kSenders = 4, kRate = 15, kSeconds = 4, kPictures = 8, kRounds = 5;
constexpr double kSensorNoise = 9;  // grey levels: a frame of 640 x 480 has 40 KiB then, as cameras give them

void AddNoise(QImage& picture, unsigned seed)
{
    std::mt19937 random(seed);
    std::normal_distribution<double> noise(0, kSensorNoise);
    for (int y = 0; y < picture.height(); ++y) {
        auto* row = reinterpret_cast<QRgb*>(picture.scanLine(y));
        for (QRgb& pixel : std::span(row, size_t(picture.width()))) {
            const int more = int(noise(random));
            const auto with = [&](int level) { return std::clamp(level + more, 0, 255); };
            pixel = qRgb(with(qRed(pixel)), with(qGreen(pixel)), with(qBlue(pixel)));
        }
    }
}

QByteArray Jpeg(QSize size, int number, bool camera)
{
    QImage picture(size, QImage::Format_RGB32);
    QLinearGradient light(0, 0, size.width(), size.height());
    light.setColorAt(0, QColor::fromHsv(number * 45, 120, 220));
    light.setColorAt(1, Qt::darkGray);
    QPainter painter(&picture);
    painter.fillRect(picture.rect(), light);
    for (int i = 0; i < 40; ++i)
        painter.fillRect((i * 97 + number * 13) % size.width(), (i * 61) % size.height(), 25, 14,
                         QColor::fromHsv(i * 9, 180, 200));
    painter.end();
    if (camera) AddNoise(picture, unsigned(number));
    QByteArray bytes;
    QBuffer buffer(&bytes);
    picture.save(&buffer, "JPG", 65);
    return bytes;
}

QJsonObject Do(const char* what, QJsonObject fields = {})
{
    fields[u"do"_s] = QLatin1String(what);
    return fields;
}

/// Processor seconds of all threads of a process so far.
double Spent(pid_t process)
{
    double seconds = 0;
    for (const QString& thread :
         QDir(u"/proc/%1/task"_s.arg(process)).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile figures(u"/proc/%1/task/%2/schedstat"_s.arg(process).arg(thread));
        if (figures.open(QIODevice::ReadOnly))
            seconds += figures.readAll().split(' ').first().toDouble() * 1e-9;
    }
    return seconds;
}

/// TurboJPEG into RGB32, and what it has cost this thread so far.
class Reference {
public:
    explicit Reference(QSize size) : mSize(size), mPixels(size_t(size.width()) * size_t(size.height()) * 4) {}
    ~Reference() { tjDestroy(mDecoder); }
    Reference(const Reference&) = delete;
    Reference& operator=(const Reference&) = delete;

    void Decode(const QByteArray& jpeg)
    {
        const double begin = ThreadSeconds();
        tjDecompress2(mDecoder, reinterpret_cast<const unsigned char*>(jpeg.constData()),
                      static_cast<unsigned long>(jpeg.size()), mPixels.data(), mSize.width(),
                      mSize.width() * 4, mSize.height(), TJPF_BGRX, 0);
        mSeconds += ThreadSeconds() - begin;
    }
    double Seconds() const { return mSeconds; }
    QImage Picture() const
    {
        return QImage(mPixels.data(), mSize.width(), mSize.height(), QImage::Format_RGB32);
    }

private:
    static double ThreadSeconds()
    {
        timespec now{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        return double(now.tv_sec) + double(now.tv_nsec) * 1e-9;
    }
    const QSize mSize;
    std::vector<unsigned char> mPixels;
    tjhandle mDecoder = tjInitDecompress();
    double mSeconds = 0;
};

QPoint Spot(int sender)
{
    return {10 + sender % 2 * 340, 10 + sender / 2 * 260};
}

/// The least that a program with a window of this toolkit can do: decodes and draws, on one thread.
class BareWidget final : public QWidget {
public:
    BareWidget(QSize size, const QStringList& files)
    {
        for (int i = 0; i < kSenders; ++i) mVideos.push_back(std::make_unique<Reference>(size));
        for (const QString& name : files) {
            QFile file(name);
            if (file.open(QIODevice::ReadOnly)) mPictures.push_back(file.readAll());
        }
        setAttribute(Qt::WA_OpaquePaintEvent);
        setFixedSize(1000, 740);
        mTimer.setTimerType(Qt::PreciseTimer);
        connect(&mTimer, &QTimer::timeout, this, [this] { Next(); });
        show();
    }
    /// A round for each line of input, answered by a line.
    void Play()
    {
        mRound = 0;
        mTimer.start(1000 / kRate);
    }

private:
    void Next()
    {
        for (int i = 0; i < kSenders; ++i) {
            mVideos[size_t(i)]->Decode(mPictures[size_t(mRound + i) % mPictures.size()]);
            update(QRect(Spot(i), mVideos[size_t(i)]->Picture().size()));
        }
        if (++mRound < kRate * kSeconds) return;
        mTimer.stop();
        std::cout << "done" << std::endl;
        std::string line;
        if (std::getline(std::cin, line))
            Play();
        else
            QCoreApplication::quit();
    }
    void paintEvent(QPaintEvent* event) override
    {
        QPainter painter(this);
        painter.setClipRegion(event->region());
        for (int i = 0; i < kSenders; ++i) painter.drawImage(Spot(i), mVideos[size_t(i)]->Picture());
    }
    std::vector<std::unique_ptr<Reference>> mVideos;
    std::vector<QByteArray> mPictures;
    QTimer mTimer;
    int mRound = 0;
};

/// Ann sees live pictures as they are defined, Ben beneath the ink.
struct Meeting {
    Folder folder;
    std::map<QString, QString> people{{u"ann"_s, u"a secret"_s}, {u"ben"_s, u"a secret"_s}};
    std::unique_ptr<Service> service;
    std::unique_ptr<Desk> ann, ben;
    std::vector<std::unique_ptr<Script>> senders;

    Meeting()
    {
        for (int i = 0; i < kSenders; ++i) people[u"sender%1"_s.arg(i)] = u"a secret"_s;
        service = std::make_unique<Service>(folder, people);
        ann = Sit(u"ann"_s, false);
        ben = Sit(u"ben"_s, true);
        for (int i = 0; i < kSenders; ++i) Join(u"sender%1"_s.arg(i));
    }
    std::unique_ptr<Desk> Sit(const QString& name, bool inkAbove)
    {
        auto desk = std::make_unique<Desk>(folder, name);
        desk->Setting(u"Zephyl\\Trusted Services"_s, service->Address(), service->Fingerprint());
        desk->Setting(u"Zephyl\\Configs\\(System Default)\\Whiteboard"_s, u"Ink Above Live Pictures"_s,
                      QString::number(int(inkAbove)));
        desk->StartClient({u"--service"_s, service->Address()});
        desk->Wait("dialog", Is("name", u"frmLogin"_s));
        desk->Login(name, people[name], u"FourVideos"_s, inkAbove);
        desk->Wait("window_whole");
        return desk;
    }
    void Join(const QString& name)
    {
        auto sender = std::make_unique<Script>(*service, folder, name.toLatin1().constData());
        sender->Ask(Do("login", {{u"handle"_s, name}, {u"password"_s, people[name]}}));
        sender->Ask(Do("permission"));
        sender->Ask(Do("join", {{u"code"_s, u"FourVideos"_s}}));
        for (Desk* desk : {ann.get(), ben.get()}) desk->Wait("attendee", Is("handle", name));
        senders.push_back(std::move(sender));
    }
    /// An ellipse of half the size on each video, and a line across.
    void Draw(QSize size)
    {
        const auto deliver = [&](const QString& record) {
            QString text = record;
            text.replace(u'/', u"|\u00A5|"_s);
            senders[0]->Ask(Do("deliver", {{u"to"_s, QJsonArray{u"ann"_s, u"ben"_s}}, {u"text"_s, text}}));
        };
        const int w = size.width(), h = size.height();
        deliver(u"[[ZUM_WB_CLEAR]]"_s);
        for (int i = 0; i < kSenders; ++i) {
            const QPoint at = Spot(i);
            deliver(u"[[ZUM_WB_CIRCLE]]4/%1/%2/%3/%4/255"_s.arg(at.x() + w / 4)
                        .arg(at.y() + h / 4)
                        .arg(at.x() + w * 3 / 4)
                        .arg(at.y() + h * 3 / 4));
            deliver(u"[[ZUM_WB_PEN]]4/%1/%2/%3/%2/16711680"_s.arg(at.x() + 5)
                        .arg(at.y() + h * 7 / 8)
                        .arg(at.x() + w - 5));
        }
        for (Desk* desk : {ann.get(), ben.get()})
            for (int i = 0; i < 2 * kSenders + 1; ++i) desk->Wait("record", Is("from", u"sender0"_s));
    }
    void SendRound(const QString& to, const QStringList& files, int round)
    {
        for (int i = 0; i < kSenders; ++i)
            senders[size_t(i)]->Ask(Do("frame", {{u"to"_s, QJsonArray{to}},
                                                 {u"file"_s, files[(round + i) % files.size()]},
                                                 {u"x"_s, Spot(i).x()},
                                                 {u"y"_s, Spot(i).y()},
                                                 {u"type"_s, 0},
                                                 {u"quality"_s, 65}}));
    }
};

int Shown(Desk& desk)
{
    return int(std::ranges::count_if(
        desk.Lines(), [](const QJsonObject& line) { return line[u"event"_s].toString() == u"frame"_s; }));
}

struct Figures {
    double client = 0, above = 0, paced = 0, hot = 0, widget = 0;  // processor seconds
};

/// What a client pays for all frames; where the machine was too busy to show each, as those that were shown
/// cost. Meanwhile the reference decodes the same at the pace of the videos, where its tables and pictures
/// have left the caches as they have in the client.
double Play(Meeting& meeting, Desk& desk, const QString& name, Reference& paced,
            const std::vector<QByteArray>& pictures, const QStringList& files)
{
    const int shownBefore = Shown(desk);
    const double before = Spent(desk.Client().Pid());
    auto due = std::chrono::steady_clock::now();
    for (int round = 0; round < kRate * kSeconds; ++round) {
        std::this_thread::sleep_until(due += 1'000'000us / kRate);
        meeting.SendRound(name, files, round);
        for (int i = 0; i < kSenders; ++i) paced.Decode(pictures[size_t(round + i) % pictures.size()]);
    }
    const double spent = Spent(desk.Client().Pid()) - before;
    const int shown = Shown(desk) - shownBefore;  // read, or the client would wait for its trace to be
    return spent * kSenders * kRate * kSeconds / std::max(shown, 1);
}

/// Both clients, in turn the first; then the reference once more, all frames in one go.
Figures Round(Meeting& meeting, int number, Child& widget, QSize size,
              const std::vector<QByteArray>& pictures, const QStringList& files)
{
    Reference paced(size), hot(size);
    Figures figures;
    for (const bool above : {number % 2 == 0, number % 2 != 0}) {
        double& spent = above ? figures.above : figures.client;
        spent = above ? Play(meeting, *meeting.ben, u"ben"_s, paced, pictures, files)
                      : Play(meeting, *meeting.ann, u"ann"_s, paced, pictures, files);
    }
    figures.paced = paced.Seconds() / 2;
    for (int round = 0; round < kRate * kSeconds; ++round)
        for (int i = 0; i < kSenders; ++i) hot.Decode(pictures[size_t(round + i) % pictures.size()]);
    figures.hot = hot.Seconds();
    const double widgetBefore = Spent(widget.Pid());
    widget.Write("go");
    widget.ReadLine();
    figures.widget = Spent(widget.Pid()) - widgetBefore;
    return figures;
}

double Median(std::vector<double> values)
{
    std::ranges::sort(values);
    return values[values.size() / 2];
}

/// `camera`: frames as a camera gives them, with the noise of its sensor; else drawn ones, of a quarter of
/// the bytes, which cost the decoder least.
bool Measure(Meeting& meeting, QSize size, bool camera)
{
    std::vector<QByteArray> pictures;
    QStringList files;
    for (int i = 0; i < kPictures; ++i) {
        pictures.push_back(Jpeg(size, i, camera));
        files += meeting.folder.Path() + u"/%1.jpg"_s.arg(i);
        QFile file(files.last());
        if (!file.open(QIODevice::WriteOnly) || file.write(pictures.back()) < 0) return false;
    }
    const QStringList arguments =
        QStringList{u"widget"_s, QString::number(size.width()), QString::number(size.height())} + files;
    const auto widget = meeting.ann->Start(Programs() + u"/bench_four_videos"_s, arguments);
    widget->ReadLine();  // a round to get warm
    meeting.Draw(size);
    for (const QString& name : {u"ann"_s, u"ben"_s}) meeting.SendRound(name, files, 0);
    const auto shown = [&] { return Shown(*meeting.ann) + Shown(*meeting.ben); };
    const int shownBefore = shown(), sent = 2 * kSenders * kRate * kSeconds * kRounds;
    std::vector<double> client, above, paced, hot, drawn;
    for (int i = 0; i < kRounds; ++i) {
        const Figures figures = Round(meeting, i, *widget, size, pictures, files);
        client.push_back(figures.client);
        above.push_back(figures.above);
        paced.push_back(figures.paced);
        hot.push_back(figures.hot);
        drawn.push_back(figures.widget);
    }
    const double ours = Median(client);
    std::printf(
        "%d x %d, %s, %lld KiB: %d of %d frames shown; client %.3f s; with ink above %.3f s: %.2fx of that; "
        "bare decoding at that pace %.3f s: %.2fx; "
        "in one go %.3f s: %.2fx; with a bare widget %.3f s, which is %.2fx of the decoding\n",
        size.width(), size.height(), camera ? "camera" : "drawn",
        static_cast<long long>(pictures[0].size() / 1024), shown() - shownBefore, sent, ours, Median(above),
        Median(above) / ours, Median(paced), ours / Median(paced), Median(hot), ours / Median(hot),
        Median(drawn), Median(drawn) / Median(paced));
    std::fflush(stdout);
    return true;
}

}  // namespace

int main(int count, char** arguments)
{
    if (count > 4 && arguments[1] == std::string_view("widget")) {
        QApplication application(count, arguments);
        const QStringList given = QCoreApplication::arguments();
        BareWidget widget({given[2].toInt(), given[3].toInt()}, given.sliced(4));
        widget.Play();
        return QApplication::exec();
    }
    const bool large = count > 1 && arguments[1] == std::string_view("640");
    Meeting meeting;
    for (const QSize size : {QSize(320, 240), QSize(640, 480)}) {
        if (large && size.width() < 640) continue;
        for (const bool camera : {false, true})
            if (!Measure(meeting, size, camera)) return 1;
    }
    return 0;
}
