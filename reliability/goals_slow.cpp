// Those who stop, and those whose road is narrow.

#include <signal.h>

#include <QJsonDocument>
#include <mutex>

#include "reliability/judge.h"
#include "service/codec/jpeg_encoder.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace reliability {
namespace {

constexpr std::size_t kNarrow = 250'000;  // bytes a second: 2 Mbit/s

/// `zephyl run` as an attendee that can be stopped by a signal.
class Script {
public:
    Script(const Daemon& daemon, int number)
        : mChild(stage::Programs() + u"/zephyl"_s,
                 {u"run"_s, u"--service"_s, daemon.Address(), u"--trust"_s,
                  QString::fromStdString(daemon.Fingerprint())},
                 {{u"XDG_CONFIG_HOME"_s, daemon.Folder() / "script"}}, daemon.Folder() / "script.log")
    {
        const QString handle = u"c%1"_s.arg(number);
        mChild.Write(R"({"do":"login","handle":")" + handle.toUtf8() + R"(","password":"secret"})");
        mChild.Write(R"({"do":"join","code":"ROOM01"})");
        mThread = std::thread([this] { ReadAll(); });
    }
    ~Script()
    {
        mChild.Signal(SIGCONT);
        mChild.Signal(SIGKILL);
        mThread.join();
    }
    void Signal(int signal) { mChild.Signal(signal); }
    void Ask(const QByteArray& command) { mChild.Write(command); }
    std::size_t Applied()
    {
        const std::lock_guard lock(mMutex);
        return entry.applied[Talk].size() + entry.applied[Board].size();
    }
    QStringList LinkEvents()
    {
        const std::lock_guard lock(mMutex);
        return mLinkEvents;
    }
    QJsonObject Stats()
    {
        const std::lock_guard lock(mMutex);
        return mStats;
    }

    Entry entry;  // to be read while nothing comes

private:
    void ReadAll()
    {
        try {
            for (;;) Take(QJsonDocument::fromJson(mChild.ReadLine(600)).object());
        } catch (const std::exception&) {
            // it has ended
        }
    }
    void Take(const QJsonObject& line)
    {
        const std::lock_guard lock(mMutex);
        const QString event = line[u"event"_s].toString();
        if (event == u"message"_s) entry.Take(line[u"from"_s].toString(), line[u"text"_s].toString());
        if (event == u"status"_s)
            entry.presence.emplace_back(line[u"handle"_s].toString().mid(1).toInt(),
                                        line[u"status"_s].toInt());
        if (event == u"link"_s) mLinkEvents += line[u"state"_s].toString();
        if (line[u"reply"_s] == u"stats"_s) mStats = line;
    }

    std::mutex mMutex;
    QStringList mLinkEvents;
    QJsonObject mStats;
    stage::Child mChild;
    std::thread mThread;
};

std::size_t SentInAll(const Crowd& crowd)
{
    std::size_t sent = 0;
    for (auto& one : crowd) sent += one->sentCount;
    return sent;
}

/// One of eight is stopped while the others go on.
void StoppedAttendee(Run& run, Outcome& outcome)
{
    const double before = run.Form(3, 20), stopped = run.Form(17, 60);
    Daemon daemon(8);
    Crowd crowd = Gather(daemon, 7);
    Script script(daemon, 7);
    for (auto& one : crowd)
        outcome.Must(one->Until([&] { return one->Attendee().Handles().size() == 8; }), u"no eighth"_s);
    SetLoad(crowd, {20, 2, 400, 60});
    const Time begun = Clock::now();
    Sleep(before * 1000);
    const long memory = daemon.ResidentKiB();
    const int descriptors = daemon.Descriptors();
    script.Signal(SIGSTOP);
    const Time stop = Clock::now();
    long most = memory;
    double detached = 0;
    while (Since(stop) < stopped * 1000) {
        Sleep(100);
        most = std::max(most, daemon.ResidentKiB());
        if (detached == 0 && daemon.Descriptors() < descriptors) detached = Since(stop) / 1000;
    }
    const Time end = Clock::now();
    SetLoad(crowd, {});
    script.Signal(SIGCONT);
    outcome.Must(AtRest(crowd), u"it does not come to rest"_s);
    const bool whole = WaitFor([&] { return script.Applied() >= SentInAll(crowd); }, 60);
    const double caughtUp = Since(end) / 1000;
    script.Ask(R"({"do":"stats"})");
    WaitFor([&] { return !script.Stats().isEmpty(); }, 10);
    Verdict verdict = JudgeAll(crowd);
    JudgeEntry(crowd, 7, script.entry, verdict);
    outcome.Must(whole, u"it does not get everything"_s);
    Demand(outcome, verdict);
    outcome.Must(script.LinkEvents() == QStringList{u"cut"_s, u"resumed"_s},
                 u"the script saw: "_s + script.LinkEvents().join(u", "_s));
    outcome.Must(script.Stats()[u"reconnects"_s].toInt() == 1, u"stats do not know the reconnect"_s);
    const double p99Before = Percentile(Latencies(crowd, Board, begun, stop), 99);
    const double p99During = Percentile(Latencies(crowd, Board, stop, end), 99);
    outcome.Figure(
        u"memory %1 MiB above before, detached after %2 s, p99 of the others %3 before and %4 "
        "meanwhile, everything there %5 s after SIGCONT"_s.arg(double(most - memory) / 1024, 0, 'f', 1)
            .arg(detached, 0, 'f', 1)
            .arg(Milliseconds(p99Before), Milliseconds(p99During))
            .arg(caughtUp, 0, 'f', 1));
    outcome.Must(most - memory <= 48 * 1024, u"more than 48 MiB"_s);
    outcome.Must(detached >= 14 && detached <= 17, u"not detached after 15 s"_s);
    outcome.Soon(p99During <= 1.2 * p99Before, u"p99 above 1.2x"_s);
}

/// A small JPEG filled up to `bytes`, which says when it was made.
QByteArray StampedJpeg(std::size_t bytes)
{
    zephyl::JpegEncoder encoder;
    const std::vector<std::uint8_t> frame(zephyl::Bgr24Bytes(64, 48), 90);
    const auto jpeg = encoder.EncodeBgr24(frame, 64, 48, 50);
    const qint64 now = Clock::now().time_since_epoch().count();
    QByteArray comment = QByteArray::number(now) + ' ';
    comment.resize(qsizetype(bytes - jpeg.size() - 4), 'x');
    const auto length = quint16(comment.size() + 2);
    QByteArray whole(reinterpret_cast<const char*>(jpeg.data()), 2);
    whole += QByteArray("\xff\xfe") + char(length >> 8) + char(length & 0xff) + comment;
    return whole.append(reinterpret_cast<const char*>(jpeg.data()) + 2, qsizetype(jpeg.size()) - 2);
}

Time StampOf(const QByteArray& jpeg)
{
    return Time(Clock::duration(jpeg.mid(6, 24).split(' ').front().toLongLong()));
}

Crowd GatherWithNarrowRoad(const Daemon& daemon)
{
    return Gather(daemon, 2, [](Client& one) {
        if (one.Number() == 1) one.proxy.Throttle(FaultProxy::Way::Down, kNarrow);
    });
}

/// More video than the road holds, beside lines and records.
void NarrowRoadForVideo(Run& run, Outcome& outcome)
{
    const double seconds = run.Form(4, 30);
    Daemon daemon(2);
    std::vector<double> ages;
    std::atomic<int> frames{0};
    Crowd crowd = GatherWithNarrowRoad(daemon);
    crowd[1]->Do([&] {
        crowd[1]->onFrame = [&](const PicturePtr& frame) {
            if (frame) ages.push_back(Since(StampOf(frame->jpeg)));
            ++frames;
        };
    });
    SetLoad(crowd, {5, 5, 200, 60});
    const int count = int(seconds * 15);
    for (int i = 0; i < count; ++i) {
        crowd[0]->Do([&] { crowd[0]->Attendee().Film(StampedJpeg(40 * 1024)); });
        Sleep(1000.0 / 15);
    }
    const int before = frames;
    SetLoad(crowd, {});
    outcome.Must(AtRest(crowd), u"it does not come to rest"_s);
    Sleep(1000);
    const int queued = frames - before;
    Demand(outcome, JudgeAll(crowd));
    const auto [all, newest] = crowd[1]->Do([&] { return std::pair(ages, int(ages.size())); });
    const double p95 = Percentile(all, 95);
    outcome.Figure(u"%1 of %2 frames shown, age p95 %3, %4 came after the last was sent"_s.arg(newest)
                       .arg(count)
                       .arg(Milliseconds(p95))
                       .arg(queued));
    outcome.Must(newest > count / 5, u"hardly any frame arrives"_s);
    // One on the road, one in the slot at the relay, one in the slot of the link.
    outcome.Must(queued <= 3, u"frames were queued"_s);
    outcome.Must(crowd[1]->cuts == 0, u"the receiver was cut off"_s);
    outcome.Soon(p95 <= 500, u"frames are older than 500 ms"_s);
}

/// A record that takes half a minute on its way, and people who go on talking.
void NarrowRoadForARecord(Run& run, Outcome& outcome)
{
    const std::size_t bytes = run.Form<std::size_t>(1 << 20, (8 << 20) - 64);
    Daemon daemon(2);
    Crowd crowd = GatherWithNarrowRoad(daemon);
    SetLoad(crowd, {0, 5});
    Sleep(500);
    const Time begun = Clock::now();
    crowd[0]->SendOne(Board, bytes);
    const bool came = crowd[1]->Until([&] { return !crowd[1]->entries.back().applied[Board].empty(); }, 90);
    const Time end = Clock::now();
    SetLoad(crowd, {});
    outcome.Must(came, u"the record does not arrive"_s);
    outcome.Must(AtRest(crowd), u"it does not come to rest"_s);
    Demand(outcome, JudgeAll(crowd));
    const double p99 = Percentile(Latencies(crowd, Talk, begun, end), 99);
    outcome.Figure(u"the record of %1 bytes took %2 s, chat p99 %3, %4 cuts"_s.arg(bytes)
                       .arg(std::chrono::duration<double>(end - begun).count(), 0, 'f', 1)
                       .arg(Milliseconds(p99))
                       .arg(crowd[0]->cuts + crowd[1]->cuts));
    outcome.Must(crowd[0]->cuts + crowd[1]->cuts == 0, u"a connection was given up"_s);
    outcome.Soon(p99 <= 1000, u"chat waits for more than 1 s"_s);
}

}  // namespace

std::vector<Goal> SlowGoals()
{
    return {{"R4", "one of eight stopped (SIGSTOP) under load", StoppedAttendee},
            {"R5", "15 frames/s of 40 KiB to a receiver at 2 Mbit/s", NarrowRoadForVideo},
            {"R6", "a record of 8 MiB to that receiver, a line every 200 ms", NarrowRoadForARecord}};
}

}  // namespace reliability
