#include "whiteboard/remote_apply.h"

#include "base/error_trap.h"
#include "settings/settings.h"
#include "whiteboard/client.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

TEST(RemoteApply, EachRecordDrawsNotesAndRemembersAsItsKindDoes)
{
    constexpr int kNoInk = -1;
    const struct {
        const char* record;
        int inkX, inkY;
        bool snapshot, status, error;
    } rows[] = {
        {"[[ZUM_WB_PEN]]3/10/10/20/10/255", 15, 10, true, true, false},
        {"[[ZUM_WB_PEN]]3", kNoInk, 0, true, true, false},  // a width alone
        {"[[ZUM_WB_PEN]]3/10/10/20/10/255/20/10/30/10/255/1", 25, 10, false, false,
         true},  // complete groups first
        {"[[ZUM_WB_PEN]]x/10/10/20/10/255", kNoInk, 0, false, false, true},
        {"[[ZUM_WB_BOX]]1/10/10/30/30/0", 10, 20, true, true, false},
        {"[[ZUM_WB_BOX]]1/10/10/30/30", kNoInk, 0, false, false, true},
        {"[[ZUM_WB_CIRCLE]]1/10/10/31/31/0", 20, 10, true, true, false},
        {"[[ZUM_WB_TEXT]]5/5/True/False/Arial/40/False/True/0/HHHH", 30, 35, true, true, false},
        {"[[ZUM_WB_TEXT]]5/5/True/False/Arial/40/False/False/0/", kNoInk, 0, true, true, false},
        {"[[ZUM_WB_TEXT]]5/5/True/False/Arial/40/False/False/0", kNoInk, 0, false, false, true},
        {"[[ZUM_WB_CLEAR]]", kNoInk, 0, true, true, false},
        {"[[ZUM_WB_CLEAR]]and more", kNoInk, 0, true, true, false},
        {"[[ZUM_WB_POINTER]]1.5/2.5/3/4", kNoInk, 0, false, true, false},
        {"[[ZUM_WB_POINTER]]1.5/2.5/3", kNoInk, 0, false, false, true},
        {"[[ZUM_WB_UNDO]]", kNoInk, 0, false, true, false},
        {"[[ZUM_WB_REDO]]", kNoInk, 0, false, true, false},
        {"[[ZUM_WB_HSCROLL]]120", kNoInk, 0, false, false, false},
        {"[[ZUM_WB_VSCROLL]]far", kNoInk, 0, false, false, true},
        {"[[ZUM_WB_RESIZE]]0/0/0/15000/9000", kNoInk, 0, false, false, false},
        {"[[ZUM_WB_RESIZE]]3/0/0/1/1", kNoInk, 0, false, false, true},
        {"[[ZUM_WB_DANCE]]1", kNoInk, 0, false, false, false},  // ignored
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.record);
        Client ann;
        const QString blank = ann.Sum();
        ann.Receive(QString::fromUtf8(row.record));
        EXPECT_EQ(ann.Entries(), row.snapshot ? 2 : 1);
        EXPECT_EQ(ann.Status(), row.status ? LastModifiedText(u"bob"_s, ann.clock.now) : QString());
        EXPECT_EQ(ann.prompts.boxes.size(), row.error ? 1 : 0);
        if (row.error) {
            EXPECT_TRUE(ann.prompts.boxes[0].contains(u"HandleWBMessage: field"_s) ||
                        ann.prompts.boxes[0].contains(u"window state 3 is outside 0..2"_s));
            EXPECT_EQ(ann.prompts.criticalCauses[0], Cause::Remote);  // does not hold the window
        }
        if (row.inkX == kNoInk)
            EXPECT_EQ(ann.Sum(), blank);
        else
            EXPECT_TRUE(ann.Inked(row.inkX, row.inkY));
        EXPECT_FALSE(ann.state.gWBApplyingRemote);
        EXPECT_TRUE(ann.service->texts.empty());
        ann.Receive(u"[[ZUM_WB_PEN]]1/500/500/500/500/0"_s);  // the next one is drawn whatever came before
        EXPECT_TRUE(ann.Inked(500, 500));
    }
}

/// The fields suit every kind that changes the picture; what follows them is read by none, or ends the
/// record.
TEST(RemoteApply, EveryKindThatChangesThePictureIsDrawn)
{
    for (const RecordRow& row : kRecordRows) {
        if (row.draws != Draws::Change) continue;
        Client ann;
        const QString blank = ann.Sum();
        ann.Receive(row.tag.toString() + u"3/10/20/60/70/255/0/0/0/text"_s);
        EXPECT_NE(ann.Sum(), blank) << row.tag.toString().toStdString();
    }
}

TEST(RemoteApply, WhateverIsThrownIsReportedAndTheNextOneIsApplied)
{
    struct Odd {};
    Client ann;
    ann.waits.during = [] { throw Odd(); };
    ann.Receive(u"[[ZUM_WB_POINTER]]1/2"_s);
    EXPECT_TRUE(ann.prompts.boxes.value(0).endsWith(u"HandleWBMessage: unknown error"_s));
    EXPECT_EQ(ann.prompts.criticalCauses[0], Cause::Remote);
    EXPECT_FALSE(ann.state.gWBApplyingRemote);
    ann.waits.during = [] { throw ProcessEnded(); };
    EXPECT_THROW(ann.Receive(u"[[ZUM_WB_POINTER]]1/2"_s), ProcessEnded);
    ann.waits.during = {};
    for (const auto trap : {0, 1, 2}) {
        const auto odd = [] { throw Odd(); };
        if (trap == 0) TrappedAs(ann.state, u"A Log Error: "_s, odd);
        if (trap == 1) TrappedFromAfar(ann.state, "tick", odd);
        if (trap == 2) Silently(ann.state, "passing", odd);
    }
    EXPECT_EQ(ann.prompts.boxes.size(), 3);
}

TEST(RemoteApply, OwnRecordsChangeNothing)
{
    Client ann;
    ann.Receive(u"[[ZUM_WB_PEN]]3/10/10/20/10/255"_s, u"ann"_s);
    EXPECT_FALSE(ann.Inked(15, 10));
    EXPECT_EQ(ann.Status(), QString());
    ann.Receive(u"[[ZUM_WB_PEN]]3/10/10/20/10/255"_s, u"Ann"_s);  // another spelling is another attendee
    EXPECT_TRUE(ann.Inked(15, 10));
}

TEST(RemoteApply, AnUnknownFontKeepsTheBoardsFontButNotItsLooks)
{
    Client ann, bob(u"bob"_s, {u"ann"_s});
    ann.Receive(u"[[ZUM_WB_TEXT]]5/5/0/0/Liberation Mono/x"_s);  // attributes stay, damaged or not
    ann.Receive(u"[[ZUM_WB_TEXT]]5/60/True/0/No Such Font/20/0/0/255/sample"_s);
    bob.Receive(u"[[ZUM_WB_TEXT]]5/60/True/0/Liberation Mono/20/0/0/255/sample"_s, u"ann"_s);
    EXPECT_EQ(ann.Sum(), bob.Sum());
}

TEST(RemoteApply, PointerGesturesKeepTheirCadenceForAMinuteAtMost)
{
    Client ann;
    ann.Receive(u"[[ZUM_WB_POINTER]]0.5/1.5/2.5/3.5/10/20"_s);
    EXPECT_EQ(ann.waits.pauses, std::vector(3, 50ms));
    EXPECT_TRUE(ann.screen.pointerVisible);
    EXPECT_EQ(ann.screen.pointer.x, 10);
    QStringList points;
    for (int i = 0; i < 100'000; ++i) points << QString::number(i % 2000) << u"7"_s;
    ann.waits.pauses.clear();
    ann.Receive(u"[[ZUM_WB_POINTER]]"_s + points.join(u'/'));
    EXPECT_EQ(ann.waits.pauses.size(), 1200u);
    EXPECT_EQ(ann.screen.pointer.x, 99'999 % 2000);  // its end is exact
    EXPECT_EQ(ann.Entries(), 1);
}

TEST(RemoteApply, ManyUndosShareTheirSecond)
{
    Client ann;
    ann.Drag({{10, 10}, {50, 50}});
    ann.service->texts.clear();
    for (int i = 0; i < 1000; ++i) ann.Receive(u"[[ZUM_WB_UNDO]]"_s);
    EXPECT_EQ(ann.waits.pauses, std::vector(4, 1000ms));
    EXPECT_EQ(ann.state.gWBBuffer->Index(), 1);
    EXPECT_TRUE(ann.service->texts.empty());
    EXPECT_TRUE(ann.tools.toolbarEnabled);
    EXPECT_TRUE(ann.tools.redoEnabled);
}

TEST(RemoteApply, WhatIsEarlierNeverWaitsAndKeepsItsTime)
{
    Client ann;
    const QDateTime now = ann.clock.now;
    const auto at = [&](std::chrono::seconds ago) {
        return LastModifiedText(u"bob"_s, now.addDuration(-ago));
    };
    ann.service->age = 90min;
    ann.Receive(u"[[ZUM_WB_PEN]]3/10/10/20/10/255"_s);
    EXPECT_EQ(ann.Status(), at(90min));
    ann.service->age = 80min;
    ann.Receive(u"[[ZUM_WB_CLEAR]]"_s);
    for (int i = 0; i < 100; ++i) {
        ann.Receive(i % 2 == 0 ? u"[[ZUM_WB_UNDO]]"_s : u"[[ZUM_WB_REDO]]"_s);
        ann.Receive(u"[[ZUM_WB_POINTER]]1/2/3/4"_s);
    }
    EXPECT_EQ(ann.waits.pauses, std::vector<std::chrono::milliseconds>());
    EXPECT_EQ(ann.Status(), at(80min));
    ann.service->age = 0ms;  // it is not known when: as it comes, and without a wait
    ann.Receive(u"[[ZUM_WB_UNDO]]"_s);
    EXPECT_EQ(ann.Status(), at(0s));
    EXPECT_TRUE(ann.waits.pauses.empty());
    EXPECT_TRUE(ann.Inked(15, 10));

    ann.service->age.reset();  // and now what happens while the user is there
    ann.clock.now = now.addSecs(60);
    ann.Receive(u"[[ZUM_WB_UNDO]]"_s);
    EXPECT_EQ(ann.waits.pauses, std::vector(1, 1000ms));
    tool_ButtonClick(ann.state, ToolKey::Redo);  // shows the entry's own time
    EXPECT_EQ(ann.Status(), at(90min));
}

TEST(RemoteApply, LongDrawingsPaintInSlicesAsOneStep)
{
    Client ann;
    QString record = u"[[ZUM_WB_PEN]]32767"_s;
    for (int i = 0; i < 60; ++i) record += u"/%1/700/%2/800/255"_s.arg(i * 30).arg(i * 30 + 10);
    int slices = 0;
    ann.waits.during = [&] {
        ++slices;
        EXPECT_FALSE(ann.gate.IsOpen());  // nobody else's event comes in between
        EXPECT_TRUE(ann.state.gWBApplyingRemote);
        EXPECT_EQ(ann.Entries(), 1);
    };
    ann.Receive(record);
    EXPECT_GT(slices, 0);
    EXPECT_TRUE(ann.gate.IsOpen());
    EXPECT_EQ(ann.Entries(), 2);
    EXPECT_TRUE(ann.Inked(0, 0) && ann.Inked(2047, 1535));
}

TEST(RemoteApply, OthersControlTheViewWithinBoundsAndOnlyWhenAllowed)
{
    Client ann;
    ann.Receive(u"[[ZUM_WB_HSCROLL]]7.6"_s);
    EXPECT_EQ(ann.screen.scrolls.back(), std::pair(Bar::HScroll, 8));
    ann.Receive(u"[[ZUM_WB_RESIZE]]2/9/9/1/1"_s);  // maximises, does not size
    EXPECT_EQ(ann.meeting.state, WindowState::Maximised);
    EXPECT_EQ(ann.meeting.placement.width, 12000);
    ann.Receive(u"[[ZUM_WB_RESIZE]]0/0/0/1e30/-5"_s);
    EXPECT_EQ(ann.meeting.placement.width, 32767 * 15);
    EXPECT_EQ(ann.meeting.placement.height, 0);
    EXPECT_EQ(ann.meeting.placement.left, 1500);
    for (const QString& no : {u"0"_s, u"False"_s, u" 1"_s, u"no"_s}) {
        SaveSetting(ann.state, keys::kAllowRemoteView, no);
        ann.Receive(u"[[ZUM_WB_VSCROLL]]9"_s);
        ann.Receive(u"[[ZUM_WB_RESIZE]]1/0/0/1/1"_s);
    }
    EXPECT_EQ(ann.screen.scrolls.size(), 1u);
    EXPECT_EQ(ann.meeting.state, WindowState::Normal);
    EXPECT_TRUE(ann.prompts.boxes.empty());
}
