// What a client pays for four videos of 15 frames a second, beside the bare decoding of the same frames:
// processor time of the whole program (network, decoding, board, window) against the library alone. Needs
// Xvfb and openbox.
#include <turbojpeg.h>
#include <unistd.h>

#include <QBuffer>
#include <QFile>
#include <QImage>
#include <QPainter>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <thread>

#include "demo/stage.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using namespace stage;

namespace {

constexpr int kSenders = 4, kRate = 15, kSeconds = 8, kPictures = 8;

QByteArray Jpeg(QSize size, int number)
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

/// Processor seconds of a process so far.
double Spent(pid_t process)
{
    QFile stat(u"/proc/%1/stat"_s.arg(process));
    if (!stat.open(QIODevice::ReadOnly)) return 0;
    const QList<QByteArray> words = stat.readAll().split(')').last().split(' ');
    return (words.at(12).toDouble() + words.at(13).toDouble()) / double(sysconf(_SC_CLK_TCK));
}

double DecodeAlone(QSize size, const std::vector<QByteArray>& pictures, int frames)
{
    const tjhandle decoder = tjInitDecompress();
    std::vector<unsigned char> pixels(size_t(size.width()) * size_t(size.height()) * 4);
    const std::clock_t begin = std::clock();
    for (int i = 0; i < frames; ++i) {
        const QByteArray& jpeg = pictures[size_t(i) % pictures.size()];
        tjDecompress2(decoder, reinterpret_cast<const unsigned char*>(jpeg.constData()),
                      static_cast<unsigned long>(jpeg.size()), pixels.data(), size.width(), size.width() * 4,
                      size.height(), TJPF_BGRX, 0);
    }
    tjDestroy(decoder);
    return double(std::clock() - begin) / CLOCKS_PER_SEC;
}

struct Meeting {
    Folder folder;
    std::map<QString, QString> people{{u"ann"_s, u"a secret"_s}};
    std::unique_ptr<Service> service;
    std::unique_ptr<Desk> ann;
    std::vector<std::unique_ptr<Script>> senders;

    Meeting()
    {
        for (int i = 0; i < kSenders; ++i) people[u"sender%1"_s.arg(i)] = u"a secret"_s;
        service = std::make_unique<Service>(folder, people);
        ann = std::make_unique<Desk>(folder, u"ann"_s);
        ann->Setting(u"Zephyl\\Trusted Services"_s, service->Address(), service->Fingerprint());
        ann->StartClient({u"--service"_s, service->Address()});
        ann->Wait("dialog", Is("name", u"frmLogin"_s));
        ann->Login(u"ann"_s, people[u"ann"_s], u"FourVideos"_s, false);
        ann->Wait("window_whole");
        for (int i = 0; i < kSenders; ++i) Join(u"sender%1"_s.arg(i));
    }
    void Join(const QString& name)
    {
        auto sender = std::make_unique<Script>(*service, folder, name.toLatin1().constData());
        sender->Ask(Do("login", {{u"handle"_s, name}, {u"password"_s, people[name]}}));
        sender->Ask(Do("permission"));
        sender->Ask(Do("join", {{u"code"_s, u"FourVideos"_s}}));
        ann->Wait("attendee", Is("handle", name));
        senders.push_back(std::move(sender));
    }
    void SendRound(const QStringList& files, int round)
    {
        for (int i = 0; i < kSenders; ++i)
            senders[size_t(i)]->Ask(Do("frame", {{u"to"_s, QJsonArray{u"ann"_s}},
                                                 {u"file"_s, files[(round + i) % files.size()]},
                                                 {u"x"_s, 10 + i % 2 * 340},
                                                 {u"y"_s, 10 + i / 2 * 260},
                                                 {u"type"_s, 0},
                                                 {u"quality"_s, 65}}));
    }
};

int Shown(Desk& desk)
{
    return int(std::ranges::count_if(
        desk.Lines(), [](const QJsonObject& line) { return line[u"event"_s].toString() == u"frame"_s; }));
}

}  // namespace

namespace {

bool Measure(Meeting& meeting, QSize size)
{
    std::vector<QByteArray> pictures;
    QStringList files;
    for (int i = 0; i < kPictures; ++i) {
        pictures.push_back(Jpeg(size, i));
        files += meeting.folder.Path() + u"/%1.jpg"_s.arg(i);
        QFile file(files.last());
        if (!file.open(QIODevice::WriteOnly) || file.write(pictures.back()) < 0) return false;
    }
    meeting.SendRound(files, 0);
    const int shownBefore = Shown(*meeting.ann);
    const double before = Spent(meeting.ann->Client().Pid());
    auto due = std::chrono::steady_clock::now();
    for (int round = 0; round < kRate * kSeconds; ++round) {
        std::this_thread::sleep_until(due += 1'000'000us / kRate);
        meeting.SendRound(files, round);
    }
    const double ours = Spent(meeting.ann->Client().Pid()) - before;
    const int shown = Shown(*meeting.ann) - shownBefore, sent = kSenders * kRate * kSeconds;
    const double bare = DecodeAlone(size, pictures, sent);
    std::printf("%d x %d: %d of %d frames shown; client %.2f s, bare decoding %.2f s: %.2fx\n", size.width(),
                size.height(), shown, sent, ours, bare, ours / bare);
    return true;
}

}  // namespace

int main()
{
    Meeting meeting;
    return Measure(meeting, {320, 240}) && Measure(meeting, {640, 480}) ? 0 : 1;
}
