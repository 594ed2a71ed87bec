// What much costs: a huge stroke, a full board, many attendees. The boards are real, their windows are not.

#include <algorithm>

#include "reliability/judge.h"
#include "support/fake_board_screen.h"
#include "support/fixture.h"
#include "whiteboard/history.h"
#include "whiteboard/remote_apply.h"

using namespace Qt::StringLiterals;

namespace reliability {
namespace {

/// A board with its history, as a meeting window has one.
struct Drawer : Fixture {
    FakeBoardScreen screen;
    FakeToolbarScreen toolbar;

    Drawer()
    {
        meeting.board = &screen;
        meeting.toolbar = &toolbar;
        state.ports.trace = nullptr;  // its checksums read the whole board
        InMeeting(u"here"_s, {});
        SaveWBBuffer(state, u"here"_s, clock.now);
    }
    void Apply(const QString& record) { HandleWBMessage(state, u"there"_s, record); }
    int Steps() const { return state.gWBBuffer->Index() - 1; }
    QString Sum() const { return screen.board.Checksum(); }
};

QString Stroke(Run& run, int segments)
{
    PenRecord pen;
    pen.width = 2;
    BoardPoint at{1000, 700};
    for (int i = 0; i < segments; ++i) {
        const BoardPoint next{float(run.Below(20480)) / 10, float(run.Below(15360)) / 10};
        const bool jump = segments > 1000 && i % 50 == 0;
        const BoardPoint to =
            jump ? next : BoardPoint{at.x + float(run.Below(17)) - 8, at.y + float(run.Below(17)) - 8};
        pen.segments.push_back({at.x, at.y, to.x, to.y, quint32(run.Below(0x1000000))});
        at = to;
    }
    return WritePen(pen);
}

void HugeStroke(Run& run, Outcome& outcome)
{
    const int segments = run.Form(20'000, 100'000);
    const QString record = Stroke(run, segments);
    Daemon daemon(8);
    std::vector<std::unique_ptr<Drawer>> boards;
    for (int i = 0; i < 8; ++i) boards.push_back(std::make_unique<Drawer>());
    std::atomic<int> applied{0};
    Crowd crowd = Gather(daemon, 8, [&](Client& one) {
        one.onText = [&applied, &board = *boards[std::size_t(one.Number())]](int, const QString& text) {
            board.Apply(text);
            ++applied;
        };
    });
    const Time begun = Clock::now();
    crowd[0]->Do([&] { crowd[0]->Attendee().Draw(record); });
    outcome.Must(WaitFor([&] { return applied == 7; }, 30), u"it does not arrive everywhere"_s);
    const double time = Since(begun);
    boards[0]->Apply(record);
    int equal = 0, steps = 0;
    for (std::size_t i = 1; i < 8; ++i) {
        equal += boards[i]->Sum() == boards[0]->Sum();
        steps += boards[i]->Steps() == 1;
    }
    outcome.Figure(
        u"%1 segments, %2 bytes: identical at %3 receivers, one undo step at %4, drawn by the "
        "last after %5"_s.arg(segments)
            .arg(record.toUtf8().size())
            .arg(equal)
            .arg(steps)
            .arg(Milliseconds(time)));
    outcome.Must(equal == 7 && steps == 7, u"boards differ"_s);
    outcome.Must(boards[0]->prompts.boxes.isEmpty(), u"the record is refused"_s);
    outcome.Soon(time <= 3000, u"later than 3 s"_s);
}

void Newcomer(Run& run, Outcome& outcome)
{
    const int strokes = run.Form(500, 5000);
    constexpr int kEach = 250;  // of one painter: no budget stops that many at once
    const int painters = strokes / kEach;
    Daemon daemon(painters + 1);
    Drawer own, newcomer;
    for (int i = 0; i < painters; ++i) {
        Client painter(daemon, i);
        painter.Enter(u"ROOM01"_s, i == 0);
        painter.Do([&] {
            for (int stroke = 0; stroke < kEach; ++stroke) {
                const QString record = Stroke(run, 40);
                own.Apply(record);
                painter.Attendee().link->Keep(record);
            }
        });
        outcome.Must(WaitFor([&] { return painter.Stats().outbox == 0; }, 60), u"it is not all sent"_s);
    }
    std::atomic<int> applied{0};
    Client late(daemon, painters);
    late.onText = [&](int, const QString& text) {
        newcomer.Apply(text);
        ++applied;
    };
    const Time begun = Clock::now();
    late.Enter(u"ROOM01"_s, false);
    const double entered = Since(begun);
    outcome.Must(WaitFor([&] { return applied == strokes; }, 30), u"not all strokes arrive"_s);
    const double time = Since(begun);
    const int progress = late.Do([&] {
        return int(std::count_if(late.states.begin(), late.states.end(), [](const LinkSeen& seen) {
            return seen.state.text.startsWith(u"Receiving the board"_s);
        }));
    });
    outcome.Figure(
        u"%1 strokes of 40 segments: entered after %2, the last pixel after %3, %4 words on the progress"_s
            .arg(strokes)
            .arg(Milliseconds(entered), Milliseconds(time))
            .arg(progress));
    outcome.Must(own.Sum() == newcomer.Sum(), u"another board"_s);
    outcome.Must(own.Steps() == newcomer.Steps(), u"another history"_s);
    outcome.Soon(time <= 2000, u"later than 2 s"_s);
}

/// One upload whatever the number of receivers.
void Uplink(Run&, Outcome& outcome)
{
    std::vector<std::uint64_t> bytes;
    for (const int others : {1, 8, 64}) {
        Daemon daemon(others + 1);
        Crowd crowd = Gather(daemon, others + 1);
        outcome.Must(AtRest(crowd), u"it does not come to rest"_s);
        std::uint64_t least = ~0ull;
        for (int i = 0; i < 5; ++i) {  // a ping or a report may come between
            const std::uint64_t before = crowd[0]->proxy.Carried(FaultProxy::Way::Up);
            crowd[0]->SendOne(Board, 2000);
            outcome.Must(AtRest(crowd), u"it does not come to rest"_s);
            least = std::min(least, crowd[0]->proxy.Carried(FaultProxy::Way::Up) - before);
        }
        bytes.push_back(least);
    }
    outcome.Figure(
        u"a record of 2,000 bytes to 1, 8 and 64 others: %1, %2 and %3 bytes upwards"_s.arg(bytes[0])
            .arg(bytes[1])
            .arg(bytes[2]));
    outcome.Must(bytes[0] == bytes[1] && bytes[1] == bytes[2], u"not constant"_s);
}

}  // namespace

std::vector<Goal> SizeGoals()
{
    return {{"R13", "one stroke of 100,000 segments to seven", HugeStroke},
            {"newcomer", "entering a meeting with 5,000 strokes", Newcomer},
            {"uplink", "bytes that leave a client for one stroke", Uplink}};
}

}  // namespace reliability
