// What strangers in the same meeting can do to a whole window: it answers its user, one error box at most is
// open, and what comes from others goes on.

#include <turbojpeg.h>

#include <QFile>
#include <QRegularExpression>
#include <algorithm>
#include <atomic>
#include <csignal>
#include <thread>

#include "demo/stage.h"
#include "messaging/record_kinds.h"
#include "reliability/daemon.h"
#include "reliability/goal.h"
#include "reliability/window_probe.h"
#include "support/fake_board_screen.h"
#include "support/fixture.h"
#include "support/injections.h"
#include "text/text_rules.h"
#include "whiteboard/history.h"
#include "whiteboard/records.h"
#include "whiteboard/remote_apply.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using namespace stage;

namespace reliability {
namespace {

constexpr int kStrangers = 8;  // one alone is held to its budgets
constexpr int kPatience = 180;

QJsonObject Do(const char* what, QJsonObject fields = {})
{
    fields[u"do"_s] = QLatin1String(what);
    return fields;
}

/// A window in a meeting with bob, who means well, and strangers.
struct Room {
    stage::Folder folder;
    stage::Service service{folder, People()};
    Desk ann{folder, u"ann"_s};
    std::unique_ptr<Child> companion;
    std::unique_ptr<Script> bob;
    std::vector<std::unique_ptr<Script>> strangers;
    std::unique_ptr<WindowProbe> probe;
    int written = 0;

    Room()
    {
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
        ann.ClickControl(u"txtMessage"_s);
        ann.Type(u"selected"_s);
        ann.Key(u"ctrl+a"_s);
        probe = std::make_unique<WindowProbe>(ann.Display());
        probe->Begin();
    }
    static QString Stranger(int number) { return u"stranger%1"_s.arg(number); }
    static std::map<QString, QString> People()
    {
        std::map<QString, QString> people{{u"ann"_s, u"a secret"_s}, {u"bob"_s, u"a secret"_s}};
        for (int i = 0; i < kStrangers; ++i) people[Stranger(i)] = u"a secret"_s;
        return people;
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
    QString Write(const QByteArray& bytes)
    {
        QFile file(folder.Path() + u"/%1.jpg"_s.arg(written++));
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) < 0)
            throw std::runtime_error("cannot write");
        return file.fileName();
    }

    // --- what they do ---
    static void Say(Script& from, const QString& text)
    {
        from.Ask(Do("deliver", {{u"to"_s, QJsonArray{u"ann"_s}}, {u"text"_s, text}}));
    }
    static void Show(Script& from, const QString& file, int x, int type)
    {
        from.Ask(Do("frame", {{u"to"_s, QJsonArray{u"ann"_s}},
                              {u"file"_s, file},
                              {u"x"_s, x},
                              {u"y"_s, 5},
                              {u"type"_s, type},
                              {u"quality"_s, 65}}));
    }
    /// All in turn, `pace` behind each other; comes back when the service has everything. The trace is read
    /// meanwhile: a window whose trace nobody takes waits.
    void Flood(const QStringList& texts, std::chrono::microseconds pace)
    {
        auto due = Clock::now();
        for (qsizetype i = 0; i < texts.size(); ++i) {
            std::this_thread::sleep_until(due += pace);
            Say(*strangers[std::size_t(i % kStrangers)], texts[i]);
            ann.Lines();
        }
        for (const auto& stranger : strangers)
            for (; stranger->Ask(Do("stats"))[u"outbox"_s].toInt() > 0; std::this_thread::sleep_for(10ms))
                ann.Lines();
    }

    // --- what is seen ---
    int Resident()
    {
        QFile status(u"/proc/%1/status"_s.arg(ann.Client().Pid()));
        if (!status.open(QIODevice::ReadOnly)) return 0;
        static const QRegularExpression line(u"VmRSS:\\s+(\\d+)"_s);
        return line.match(QString::fromLatin1(status.readAll())).captured(1).toInt() / 1024;
    }
    int Traced(const char* event, const char* field = nullptr, const QString& value = {})
    {
        return int(std::ranges::count_if(ann.Lines(), [&](const QJsonObject& line) {
            return line[u"event"_s] == QLatin1String(event) &&
                   (!field || line[QLatin1String(field)].toString() == value);
        }));
    }
    /// How it answered since it was asked last.
    void Answers(Outcome& outcome, const QString& when, double most)
    {
        const std::vector<double> times = probe->End();
        outcome.Figure(u"%1: %2 answers, p99 %3 ms, %4 ms at most (%5)"_s.arg(when)
                           .arg(times.size())
                           .arg(times[times.size() * 99 / 100], 0, 'f', 1)
                           .arg(times.back(), 0, 'f', 1)
                           .arg(most));
        outcome.Soon(times.back() <= most, when + u": it answered after %1 ms"_s.arg(times.back()));
        probe->Begin();
    }
};

/// The same board without a window.
struct Paper : Fixture {
    FakeBoardScreen screen;
    FakeToolbarScreen toolbar;
    Paper()
    {
        meeting.board = &screen;
        meeting.toolbar = &toolbar;
        state.ports.trace = nullptr;
        InMeeting(u"ann"_s, {});
        SaveWBBuffer(state, u"ann"_s, clock.now);
    }
    /// Its checksum with this on it.
    QString With(const QString& record)
    {
        HandleWBMessage(state, u"bob"_s, record);
        return screen.board.Checksum();
    }
};

const QString kClear = u"[[ZUM_WB_CLEAR]]"_s;
const QString kBox = u"[[ZUM_WB_BOX]]3|¥|100|¥|100|¥|400|¥|300|¥|255"_s;

/// Bob clears the board and draws; afterwards it looks as it should.
void NeedNext(Room& room, Outcome& outcome, const QString& record)
{
    Paper paper;
    paper.With(kClear);
    const QString wanted = paper.With(record);
    for (const QString& text : {kClear, record}) Room::Say(*room.bob, text);
    try {
        room.ann.Wait("record", Both(Is("from", u"bob"_s), Is("board", wanted)), kPatience);
    } catch (const std::exception&) {
        outcome.Must(false, u"what came next was not drawn as it should be"_s);
    }
}

// --- C1 ------------------------------------------------------------------------------------------------

/// What stands behind the tag of each kind when it is whole.
QString Whole(RecordKind kind)
{
    switch (kind) {
        case RecordKind::HScroll:
        case RecordKind::VScroll: return u"100"_s;
        case RecordKind::Resize: return u"0|¥|9000|¥|9000"_s;
        case RecordKind::Pointer: return u"10|¥|10|¥|20|¥|20"_s;
        case RecordKind::Text: return u"5|¥|5|¥|False|¥|False|¥|Arial|¥|10|¥|False|¥|False|¥|255|¥|text"_s;
        case RecordKind::Pen:
        case RecordKind::Box:
        case RecordKind::Circle: return u"2|¥|10|¥|10|¥|90|¥|90|¥|255"_s;
        case RecordKind::VideoFps: return u"5"_s;
        default: return {};
    }
}

/// A record of every kind in every way in which it can be damaged.
QStringList Malformed()
{
    const QString separator = u"|¥|"_s;
    QStringList all;
    for (const RecordRow& row : kRecordRows) {
        QStringList fields = Whole(row.kind).split(separator);
        const QString tag = row.tag.toString();
        const auto with = [&](qsizetype field, const QString& value) {
            QStringList damaged = fields;
            damaged[field] = value;
            all += tag + damaged.join(separator);
        };
        all += tag;
        all += tag + fields.mid(0, fields.size() - 1).join(separator);
        all += tag + fields.join(separator) + separator + u"one more"_s;
        all += tag + fields.join(u"|¥"_s) + u"|¥"_s;
        all += tag + separator.repeated(40);
        for (const QString& value :
             {u"word"_s, u"1e30"_s, u"-1e30"_s, u"NaN"_s, u"inf"_s, u"40000"_s, u""_s, u" 1"_s, u"0x10"_s,
              u"1,5"_s, u"\u0661\u0662"_s, u"9"_s.repeated(10'000), u"\r\n\x1b[2J"_s, u"<b>x</b>"_s})
            for (const qsizetype field : {qsizetype(0), fields.size() / 2, fields.size() - 1})
                with(field, value);
    }
    return all;
}

void MalformedRecords(Run& run, Outcome& outcome)
{
    QStringList texts = Malformed();
    std::ranges::shuffle(texts, run.random);
    texts = texts.mid(0, run.Form(150, 1000));
    Room room;
    room.Flood(texts, run.Form(2ms, 10ms));
    room.Answers(outcome, u"%1 malformed records"_s.arg(texts.size()), 100);
    NeedNext(room, outcome, kBox);
    room.Answers(outcome, u"until the next one was drawn"_s, 100);
    const int boxes = room.Traced("dialog", "name", u"box"_s);
    outcome.Figure(u"%1 error box"_s.arg(boxes));
    outcome.Must(boxes <= 1, u"more than one box"_s);
}

// --- C2 ------------------------------------------------------------------------------------------------

QByteArray Jpeg(int side, int flags, Run& run)
{
    std::vector<unsigned char> pixels(std::size_t(side) * std::size_t(side) * 3);
    for (std::size_t i = 0; i < pixels.size(); i += 3)
        pixels[i] = side > 1000 ? uchar(i / std::size_t(side)) : uchar(run.random() & 0x1f);
    tjhandle encoder = tjInitCompress();
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    tjCompress2(encoder, pixels.data(), side, 0, side, TJPF_RGB, &bytes, &size, TJSAMP_420, 40, flags);
    QByteArray jpeg(reinterpret_cast<char*>(bytes), qsizetype(size));
    tjFree(bytes);
    tjDestroy(encoder);
    return jpeg;
}

QByteArray Damaged(QByteArray jpeg, Run& run)
{
    for (int i = 0; i < 20; ++i) jpeg[qsizetype(run.Below(std::size_t(jpeg.size())))] = char(run.random());
    return jpeg;
}

std::vector<QByteArray> HostilePictures(Run& run)
{
    const QByteArray good = Jpeg(320, 0, run), scans = Jpeg(640, TJFLAG_PROGRESSIVE, run);
    QByteArray lying = good, noise(20'000, 0), many = scans;
    lying.replace(good.indexOf("\xFF\xC0") + 5, 4, "\xFF\xFF\xFF\xFF");
    for (char& byte : noise) byte = char(run.random());
    const QByteArray last = scans.mid(scans.lastIndexOf("\xFF\xDA")).chopped(2);
    many.chop(2);
    for (int i = 0; i < 200; ++i) many += last;
    return {good.left(good.size() / 2),
            Damaged(good, run),
            lying,
            many,
            noise,
            Damaged(scans, run),
            Jpeg(4096, 0, run),
            Jpeg(4096, TJFLAG_PROGRESSIVE, run),
            QByteArray("\xFF\xD8\xFF\xD9")};
}

/// `count` of them, `rate` a second (0: at once). Bob sends ten good frames a second meanwhile.
void FloodWithPictures(Room& room, Outcome& outcome, const QStringList& hostile, const QString& good,
                       int rate, int count)
{
    const int before = room.Resident(), shownBefore = room.Traced("frame", "from", u"bob"_s);
    std::atomic<bool> over = false;
    int sent = 0, most = before;
    std::thread other([&] {
        for (auto due = Clock::now(); !over || sent < 30; std::this_thread::sleep_until(due += 100ms), ++sent)
            Room::Show(*room.bob, good, 400, 0);
    });
    auto due = Clock::now();
    for (int i = 0; i < count; ++i) {
        if (rate) std::this_thread::sleep_until(due += 1'000'000us / rate);
        Room::Show(*room.strangers[std::size_t(i % kStrangers)], hostile[i % hostile.size()], 5, i / 9 % 3);
        most = std::max(most, room.Resident());
        room.ann.Lines();
    }
    over = true;
    other.join();
    room.Answers(outcome, rate ? u"%1 a second"_s.arg(rate) : u"%1 hostile pictures at once"_s.arg(count),
                 50);
    const int grown = std::max(most, room.Resident()) - before;
    const int shown = room.Traced("frame", "from", u"bob"_s) - shownBefore;
    outcome.Figure(
        u"memory grew by %1 MiB at most (96); %2 of %3 frames of another shown"_s.arg(grown).arg(shown).arg(
            sent));
    outcome.Soon(grown <= 96, u"memory grew by %1 MiB"_s.arg(grown));
    outcome.Must(shown > 0, u"nothing of another was shown"_s);
}

void HostilePicturesAtAWindow(Run& run, Outcome& outcome)
{
    Room room;
    QStringList hostile;
    for (const QByteArray& bytes : HostilePictures(run)) hostile += room.Write(bytes);
    const QString good = room.Write(Jpeg(240, 0, run));
    room.probe->Begin();
    FloodWithPictures(room, outcome, hostile, good, 0, run.Form(40, 200));
    FloodWithPictures(room, outcome, hostile, good, 30, run.Form(60, 300));
}

void HangingCompanion(Run& run, Outcome& outcome)
{
    Room room;
    for (const bool dead : {false, true}) {
        room.companion->Signal(dead ? SIGKILL : SIGSTOP);
        room.probe->Begin();
        for (int i = 0; i < run.Form(4, 10); ++i) {
            room.ann.ClickControl(u"chkTalk"_s);
            std::this_thread::sleep_for(50ms);
        }
        room.Answers(
            outcome,
            dead ? u"\"Talk\" switched, the companion died"_s : u"\"Talk\" switched, the companion hangs"_s,
            50);
    }
}

// --- C3 ------------------------------------------------------------------------------------------------

QString WideStroke(Run& run, int segments)
{
    PenRecord pen;
    pen.width = 32767;
    BoardPoint at{1000, 700};
    for (int i = 0; i < segments; ++i) {
        const BoardPoint to{float(run.Below(2048)), float(run.Below(1536))};
        pen.segments.push_back({at.x, at.y, to.x, to.y, quint32(run.Below(0x1000000))});
        at = to;
    }
    return WritePen(pen);
}

void HugeRecords(Run& run, Outcome& outcome)
{
    Room room;
    const auto until = [&](const QString& from, const QString& tag) {
        const auto drawn = [&](const QJsonObject& line) {
            return line[u"from"_s] == from && line[u"tag"_s].toString().contains(tag);
        };
        room.ann.Wait("record", drawn, kPatience);
    };
    const QString wide = WideStroke(run, run.Form(2'000, 100'000));
    NeedNext(room, outcome, wide);
    room.Answers(outcome, u"%1 segments as wide as the board"_s.arg(wide.count(u"|¥|"_s) / 5), 100);

    QString look = u"|¥|False|¥|False|¥|Arial|¥|10|¥|False|¥|False|¥|255|¥|"_s;
    Room::Say(*room.bob, u"[[ZUM_WB_TEXT]]5|¥|5"_s + look + QString(1'000'000, u'x'));
    until(u"bob"_s, u"TEXT"_s);
    room.Answers(outcome, u"a text of 1 MB"_s, 100);

    QStringList numbers;
    for (const QString& number : {u"1e30"_s, u"-1e30"_s, u"NaN"_s, u"3.4e38"_s, u"1e-40"_s}) {
        numbers +=
            u"[[ZUM_WB_TEXT]]5|¥|5"_s + QString(look).replace(u"|10|"_s, u'|' + number + u'|') + u"x"_s;
        numbers += u"[[ZUM_WB_TEXT]]%1|¥|5"_s.arg(number) + look + u"x"_s;
        numbers += u"[[ZUM_WB_RESIZE]]0|¥|%1|¥|%1"_s.arg(number);
        for (const auto& kind : {u"PEN"_s, u"BOX"_s, u"CIRCLE"_s})
            for (const auto& fields :
                 {u"2|¥|%1|¥|5|¥|9|¥|9|¥|0"_s, u"2|¥|%1|¥|%1|¥|9|¥|%1|¥|0"_s, u"%1|¥|1|¥|5|¥|9|¥|9|¥|0"_s})
                numbers += u"[[ZUM_WB_%1]]"_s.arg(kind) + fields.arg(number);
    }
    room.Flood(numbers, 2ms);
    NeedNext(room, outcome, kBox);
    room.Answers(outcome, u"%1 records with 1e30, NaN and their like"_s.arg(numbers.size()), 100);

    const int undos = run.Form(100, 1000);
    room.Flood(QStringList(undos, u"[[ZUM_WB_UNDO]]"_s), 2ms);
    NeedNext(room, outcome, kBox);
    room.Answers(outcome, u"%1 undos"_s.arg(undos), 100);

    QStringList points;
    for (int i = 0; i < run.Form(60, 100'000); ++i) points << QString::number(i % 2000) << u"7"_s;
    Room::Say(*room.bob, u"[[ZUM_WB_POINTER]]"_s + points.join(u"|¥|"_s));
    NeedNext(room, outcome, kBox);
    room.Answers(outcome, u"a pointer with %1 points"_s.arg(points.size() / 2), 100);
    const int boxes = room.Traced("dialog", "name", u"box"_s);
    outcome.Must(boxes <= 1, u"%1 boxes"_s.arg(boxes));
}

// --- C4, C7 --------------------------------------------------------------------------------------------

void Injected(Run& run, Outcome& outcome)
{
    QStringList texts;
    for (const std::string& bytes : Injections())
        texts += u"x"_s + Utf8Text(QByteArrayView(bytes.data(), qsizetype(bytes.size()))).remove(QChar(0));
    texts = texts.mid(0, run.Form(100, 500));
    Room room;
    room.Flood(texts, run.Form(2ms, 10ms));
    Room::Say(*room.bob, u"that is all"_s);
    room.ann.Wait("line", Is("from", u"bob"_s), kPatience);
    room.Answers(outcome, u"%1 injections as lines"_s.arg(texts.size()), 100);
    int lines = 0, own = 0;
    for (const QJsonObject& line : room.ann.Lines()) {
        if (line[u"event"_s] != u"line"_s) continue;
        lines += line[u"from"_s].toString().startsWith(u"stranger"_s);
        own += line[u"own"_s].toBool();
    }
    const int dialogs = room.Traced("dialog", "name", u"box"_s), opened = room.Traced("link_opened");
    outcome.Figure(u"%1 lines of theirs, %2 boxes, nothing opened"_s.arg(lines).arg(dialogs));
    outcome.Must(lines == texts.size() && own == 0, u"%1 lines, %2 of ann's own"_s.arg(lines).arg(own));
    outcome.Must(dialogs == 0 && opened == 0, u"something opened"_s);
}

void ManyLines(Run& run, Outcome& outcome)
{
    const int count = run.Form(1'000, 10'000);
    Room room;
    const int before = room.Resident();
    QStringList texts;
    for (int i = 0; i < count; ++i) texts += u"line %1 of a meeting in which people say much"_s.arg(i);
    room.Flood(texts, 0us);
    Room::Say(*room.bob, u"that is all"_s);
    room.ann.Wait("line", Is("from", u"bob"_s), kPatience);
    room.Answers(outcome, u"%1 chat lines"_s.arg(count), 100);
    const int grown = room.Resident() - before;
    int lines = 0;
    for (const QJsonObject& line : room.ann.Lines()) lines += line[u"event"_s] == u"line"_s;
    outcome.Figure(u"memory grew by %1 MiB (64)"_s.arg(grown));
    outcome.Soon(grown <= 64, u"memory grew by %1 MiB"_s.arg(grown));
    outcome.Must(lines == count + 1, u"%1 lines came"_s.arg(lines));
}

}  // namespace

std::vector<Goal> WindowGoals()
{
    return {{"C1", "malformed records of every kind at a whole window", MalformedRecords},
            {"C2", "hostile pictures at a whole window", HostilePicturesAtAWindow},
            {"companion", "a voice companion that hangs and dies", HangingCompanion},
            {"C3", "huge records at a whole window", HugeRecords},
            {"C4", "injected lines at a whole window", Injected},
            {"C7", "many chat lines at a whole window", ManyLines}};
}

}  // namespace reliability
