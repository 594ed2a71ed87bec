// How long a client's window leaves its display without an answer while strangers send hostile pictures, and
// while the voice companion hangs. Needs Xvfb and openbox.
//   bench_hostile [SECONDS]     of each flood; 10 without it
#include <turbojpeg.h>
#include <xcb/xcb.h>

#include <QFile>
#include <QRegularExpression>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <thread>

#include "demo/stage.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using namespace stage;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int kStrangers = 8;  // one alone is held to 27 live pictures a second by the link

/// Asks again and again for the text that is selected in the window; its user-interface thread answers.
class Probe {
public:
    explicit Probe(const QString& display) : mX(xcb_connect(display.toLatin1().constData(), nullptr))
    {
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(mX)).data;
        mOwn = xcb_generate_id(mX);
        xcb_create_window(mX, 0, mOwn, screen->root, 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                          screen->root_visual, 0, nullptr);
        mText = Atom("UTF8_STRING");
        mThread = std::thread([this] { Run(); });
    }
    ~Probe()
    {
        mStop = true;
        mThread.join();
        xcb_disconnect(mX);
    }
    Probe(const Probe&) = delete;
    Probe& operator=(const Probe&) = delete;

    void Begin() { mKeep = true; }
    void Report(const char* name)
    {
        mKeep = false;
        std::this_thread::sleep_for(100ms);  // the last answer
        std::ranges::sort(mTimes);
        if (mTimes.empty()) throw std::runtime_error("the window has not answered");
        const size_t late = size_t(std::ranges::count_if(mTimes, [](double ms) { return ms > 50; }));
        std::printf("%-34s %5zu answers: p50 %.2f ms, p99 %.2f ms, worst %.2f ms, %zu above 50 ms\n", name,
                    mTimes.size(), mTimes[mTimes.size() / 2], mTimes[mTimes.size() * 99 / 100], mTimes.back(),
                    late);
        mTimes.clear();
    }

private:
    xcb_atom_t Atom(const char* name)
    {
        auto* reply =
            xcb_intern_atom_reply(mX, xcb_intern_atom(mX, 0, uint16_t(strlen(name)), name), nullptr);
        const xcb_atom_t atom = reply ? reply->atom : 0;
        std::free(reply);
        return atom;
    }
    void Run()
    {
        while (!mStop) {
            const auto asked = Clock::now();
            xcb_convert_selection(mX, mOwn, XCB_ATOM_PRIMARY, mText, mText, XCB_CURRENT_TIME);
            xcb_flush(mX);
            if (!Answered()) return;
            const double ms = std::chrono::duration<double, std::milli>(Clock::now() - asked).count();
            if (mKeep) mTimes.push_back(ms);
            std::this_thread::sleep_for(2ms);
        }
    }
    /// False: nobody has selected anything, so it is not the window that answers.
    bool Answered()
    {
        while (xcb_generic_event_t* event = xcb_wait_for_event(mX)) {
            const auto* answer = reinterpret_cast<xcb_selection_notify_event_t*>(event);
            const bool any = (event->response_type & 0x7f) == XCB_SELECTION_NOTIFY;
            const bool text = any && answer->property == mText;
            std::free(event);
            if (any) return text;
        }
        return false;
    }

    xcb_connection_t* mX;
    xcb_window_t mOwn = 0;
    xcb_atom_t mText = 0;
    std::atomic<bool> mStop = false, mKeep = false;
    std::vector<double> mTimes;
    std::thread mThread;
};

QByteArray Jpeg(int side, int flags, std::mt19937& random)
{
    std::vector<unsigned char> pixels(size_t(side) * size_t(side) * 3);
    for (size_t i = 0; i < pixels.size(); i += 3)
        pixels[i] = side > 1000 ? uchar(i / size_t(side)) : uchar(random() & 0x1f);
    tjhandle encoder = tjInitCompress();
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    tjCompress2(encoder, pixels.data(), side, 0, side, TJPF_RGB, &bytes, &size, TJSAMP_420, 40, flags);
    QByteArray jpeg(reinterpret_cast<char*>(bytes), qsizetype(size));
    tjFree(bytes);
    tjDestroy(encoder);
    return jpeg;
}

QByteArray Damaged(QByteArray jpeg, std::mt19937& random)
{
    for (int i = 0; i < 20; ++i) jpeg[qsizetype(random() % size_t(jpeg.size()))] = char(random());
    return jpeg;
}

std::vector<QByteArray> Hostile(std::mt19937& random)
{
    const QByteArray good = Jpeg(320, 0, random), scans = Jpeg(640, TJFLAG_PROGRESSIVE, random);
    QByteArray lying = good, noise(20'000, 0), many = scans;
    lying.replace(good.indexOf("\xFF\xC0") + 5, 4, "\xFF\xFF\xFF\xFF");
    for (char& byte : noise) byte = char(random());
    const QByteArray last = scans.mid(scans.lastIndexOf("\xFF\xDA")).chopped(2);
    many.chop(2);
    for (int i = 0; i < 200; ++i) many += last;
    return {good.left(good.size() / 2),
            Damaged(good, random),
            lying,
            many,
            noise,
            Damaged(scans, random),
            Jpeg(4096, 0, random),
            Jpeg(4096, TJFLAG_PROGRESSIVE, random),
            QByteArray("\xFF\xD8\xFF\xD9")};
}

QJsonObject Do(const char* what, QJsonObject fields = {})
{
    fields[u"do"_s] = QLatin1String(what);
    return fields;
}

struct Meeting {
    Folder folder;
    Service service{folder, People()};
    Desk ann{folder, u"ann"_s};
    std::unique_ptr<Child> companion;
    std::unique_ptr<Script> bob;
    std::vector<std::unique_ptr<Script>> strangers;
    QStringList hostile;
    QString good;

    explicit Meeting(std::mt19937& random)
    {
        for (const QByteArray& bytes : Hostile(random)) hostile += Write(bytes);
        good = Write(Jpeg(240, 0, random));
        ann.Setting(u"Zephyl\\Trusted Services"_s, service.Address(), service.Fingerprint());
        companion = ann.Start(Programs() + u"/x11_double"_s, {u"VoktalClass"_s, u"Voktal"_s, u"0"_s, u"0"_s,
                                                              u"9"_s, u"9"_s, u"0"_s, u"hidden"_s});
        companion->ReadLine();
        ann.StartClient({u"--service"_s, service.Address()});
        ann.Wait("dialog", Is("name", u"frmLogin"_s));
        ann.Login(u"ann"_s, u"a secret"_s, u"Answers"_s, false);
        ann.Wait("window_whole");
        bob = Join(u"bob"_s);
        for (int i = 0; i < kStrangers; ++i) strangers.push_back(Join(Stranger(i)));
    }
    static QString Stranger(int number) { return u"stranger%1"_s.arg(number); }
    static std::map<QString, QString> People()
    {
        std::map<QString, QString> people{{u"ann"_s, u"a secret"_s}, {u"bob"_s, u"a secret"_s}};
        for (int i = 0; i < kStrangers; ++i) people[Stranger(i)] = u"a secret"_s;
        return people;
    }
    QString Write(const QByteArray& bytes)
    {
        QFile file(folder.Path() + u"/%1.jpg"_s.arg(mWritten++));
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) < 0)
            throw std::runtime_error("cannot write");
        return file.fileName();
    }
    std::unique_ptr<Script> Join(const QString& name)
    {
        auto script = std::make_unique<Script>(service, folder, name.toLatin1().constData());
        script->Ask(Do("login", {{u"handle"_s, name}, {u"password"_s, u"a secret"_s}}));
        script->Ask(Do("permission"));
        script->Ask(Do("join", {{u"code"_s, u"Answers"_s}}));
        ann.Wait("attendee", Is("handle", name));
        return script;
    }
    void Send(Script& from, const QString& file, int x, int type)
    {
        from.Ask(Do("frame", {{u"to"_s, QJsonArray{u"ann"_s}},
                              {u"file"_s, file},
                              {u"x"_s, x},
                              {u"y"_s, 5},
                              {u"type"_s, type},
                              {u"quality"_s, 65}}));
    }
    int Resident()
    {
        QFile status(u"/proc/%1/status"_s.arg(ann.Client().Pid()));
        if (!status.open(QIODevice::ReadOnly)) return 0;
        static const QRegularExpression line(u"VmRSS:\\s+(\\d+)"_s);
        return line.match(QString::fromLatin1(status.readAll())).captured(1).toInt() / 1024;
    }
    int ShownOfBob()
    {
        return int(std::ranges::count_if(ann.Lines(), [](const QJsonObject& line) {
            return line[u"event"_s] == u"frame"_s && line[u"from"_s] == u"bob"_s;
        }));
    }

private:
    int mWritten = 0;
};

/// `rate` a second, for `seconds`; 0: 200 at once. Another sends ten good frames a second meanwhile.
void Flood(Meeting& meeting, Probe& probe, const char* name, int rate, int seconds)
{
    const int before = meeting.Resident(), shownBefore = meeting.ShownOfBob(),
              count = rate ? rate * seconds : 200;
    std::atomic<bool> over = false;
    int sent = 0, most = before;
    std::thread other([&] {
        for (auto due = Clock::now(); !over || sent < 30; std::this_thread::sleep_until(due += 100ms), ++sent)
            meeting.Send(*meeting.bob, meeting.good, 400, 0);
    });
    probe.Begin();
    auto due = Clock::now();
    for (int i = 0; i < count; ++i) {
        if (rate) std::this_thread::sleep_until(due += 1'000'000us / rate);
        meeting.Send(*meeting.strangers[size_t(i % kStrangers)], meeting.hostile[i % meeting.hostile.size()],
                     5, i / 9 % 3);
        most = std::max(most, meeting.Resident());
    }
    over = true;
    other.join();
    probe.Report(name);
    most = std::max(most, meeting.Resident());
    std::printf("    memory grew by %d MiB at most; %d of %d frames of another shown\n", most - before,
                meeting.ShownOfBob() - shownBefore, sent);
}

void Hanging(Meeting& meeting, Probe& probe)
{
    for (const bool dead : {false, true}) {
        meeting.companion->Signal(dead ? SIGKILL : SIGSTOP);
        probe.Begin();
        for (int i = 0; i < 10; ++i) {
            meeting.ann.ClickControl(u"chkTalk"_s);
            std::this_thread::sleep_for(50ms);
        }
        probe.Report(dead ? "talk switched, companion died" : "talk switched, companion hangs");
    }
}

}  // namespace

int main(int count, char** arguments)
{
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const unsigned seed = std::random_device{}();
    const int seconds = count > 1 ? std::atoi(arguments[1]) : 10;
    std::printf("seed %u\n", seed);
    std::mt19937 random(seed);
    Meeting meeting(random);
    meeting.ann.ClickControl(u"txtMessage"_s);
    meeting.ann.Type(u"selected"_s);
    meeting.ann.Key(u"ctrl+a"_s);
    Probe probe(meeting.ann.Display());
    probe.Begin();
    std::this_thread::sleep_for(1s);
    probe.Report("nothing going on");
    Hanging(meeting, probe);
    Flood(meeting, probe, "200 hostile pictures at once", 0, 0);
    Flood(meeting, probe, "hostile pictures, 30 a second", 30, seconds);
}
