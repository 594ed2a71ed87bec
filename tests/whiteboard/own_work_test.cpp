// Two clients at one board whose records cross: what each does by mouse and keys, in the order of one log.

#include "whiteboard/own_work.h"

#include "media/incoming_frames.h"
#include "support/plain_picture.h"
#include "whiteboard/client.h"
#include "whiteboard/marks.h"
#include "whiteboard/sending.h"

namespace {

struct Person : Client {
    explicit Person(const QString& handle, const QStringList& others) : Client(handle, others)
    {
        service->placesOwn = true;
    }
    /// What was posted since the last call: records; "" for a picture.
    QStringList Posted()
    {
        QStringList posted(qsizetype(service->frames.size()), QString());
        for (const auto& text : service->texts) posted += text.message;
        service->texts.clear();
        service->frames.clear();
        return posted;
    }
    void Gets(const QString& from, const QString& record)
    {
        if (record.isEmpty())
            mZUM_VideoFrame(state, QString::fromUtf16(kWhiteboardHandle) + from, picture, 300, 200, 2);
        else
            HandleWBMessage(state, from, record);
    }
    void Places(quint64 post) { OwnBecame(state, OwnFate::Placed, post); }
    QStringList Steps()
    {
        const WBHistory& history = SharedOf(state).History();
        QStringList steps{Sum(), QString::number(history.Index())};
        for (int entry = 2; entry <= history.Count(); ++entry)
            steps << history.At(entry).UserHandle + u' ' + SumOf(history, entry);
        return steps;
    }
    PicturePtr picture;
    quint64 placed = 0;
};

struct Room {
    Person ann{u"ann"_s, {u"bob"_s}}, bob{u"bob"_s, {u"ann"_s}};
    /// The log takes all that `one` has posted.
    void Log(Person& one, Person& other)
    {
        for (const QString& record : one.Posted()) {
            one.Places(++one.placed);
            other.Gets(one.service->Handle(), record);
        }
    }
    void Agree()
    {
        EXPECT_EQ(ann.Steps(), bob.Steps());
        EXPECT_EQ(ann.tools.undoEnabled, bob.tools.undoEnabled);
        EXPECT_EQ(ann.tools.redoEnabled, bob.tools.redoEnabled);
        EXPECT_FALSE(SharedOf(ann.state).OwnWaits() || SharedOf(bob.state).OwnWaits());
    }
};

}  // namespace

TEST(OwnWork, CrossesAndBothEndAlike)
{
    Room room;
    Person &ann = room.ann, &bob = room.bob;
    ann.Drag({{100, 100}, {200, 100}});
    bob.Drag({{150, 50}, {150, 150}});
    room.Log(ann, bob);
    EXPECT_EQ(bob.Status(), LastModifiedText(u"bob"_s, bob.clock.now));  // the own one waits, and is the last
    room.Log(bob, ann);
    room.Agree();
    EXPECT_EQ(ann.Entries(), 3);

    ann.Press({20, 300});  // still drawing when bob's comes
    picDraw_MouseMove(ann.state, MouseButton::Left, {90, 300});
    bob.Drag({{50, 250}, {50, 350}});
    tool_ButtonClick(bob.state, ToolKey::Undo);
    room.Log(bob, ann);
    EXPECT_TRUE(ann.Inked(60, 300));
    EXPECT_FALSE(ann.Inked(50, 260));
    picDraw_MouseUp(ann.state, {90, 320});
    room.Log(ann, bob);
    room.Agree();
    EXPECT_EQ(ann.tools.redoEnabled, false);

    tool_ButtonClick(ann.state, ToolKey::Undo);  // each takes the other's: by the log, both are gone
    bob.Drag({{400, 100}, {420, 100}});
    tool_ButtonClick(bob.state, ToolKey::Clear);
    room.Log(ann, bob);
    tool_ButtonClick(ann.state, ToolKey::Redo);
    room.Log(bob, ann);
    room.Log(ann, bob);
    room.Agree();
}

TEST(OwnWork, LinesAndPicturesAreWhatTheOthersGet)
{
    Room room;
    Person &ann = room.ann, &bob = room.bob;
    ann.Choose(ToolKey::Text);
    ann.tools.TextFont().fontName = u"No Such Font"_s;
    for (Person* one : {&ann, &bob})
        one->Receive(u"[[ZUM_WB_TEXT]]5/400/0/0/Liberation Mono/20/0/0/0/mono"_s, u"eve"_s);
    ann.Write({30, 30}, u"two\nlines"_s);
    EXPECT_EQ(ann.Entries(), 4);  // an entry each, as at the others'
    bob.Drag({{30, 40}, {90, 40}});
    room.Log(ann, bob);
    room.Log(bob, ann);
    room.Agree();

    QImage grey(30, 20, QImage::Format_RGB32);
    grey.fill(0xff808081);  // as a JPEG made it of the one below
    const OnePicture reader(std::make_shared<Picture>(Picture{"jpeg", PixelsOf(grey)}));
    bob.picture = reader.Read({}, 0, 0);
    ann.state.ports.pictures = &reader;
    grey.fill(0xff808080);
    ann.tools.mInsertPicture = grey;
    PlacePicture(ann.state, grey, 300, 200);
    EXPECT_EQ(ann.screen.board.Pixel(310, 210), 0xff808081);
    bob.Drag({{290, 210}, {340, 210}});
    room.Log(ann, bob);
    room.Log(bob, ann);
    room.Agree();
}

TEST(OwnWork, WhatIsNotTakenLeavesTheBoard)
{
    Room room;
    Person& ann = room.ann;
    const QString before = ann.Sum();
    ann.service->failures[u"Deliver"_s] = u"the outbox is full"_s;
    ann.Drag({{100, 100}, {200, 100}});
    EXPECT_EQ(ann.Sum(), before);
    EXPECT_FALSE(ann.tools.undoEnabled);
    EXPECT_EQ(ann.prompts.boxes.size(), 1);
    ann.service->failures.clear();
    ann.Drag({{100, 100}, {200, 100}});
    EXPECT_TRUE(ann.tools.undoEnabled);
    OwnBecame(ann.state, OwnFate::Lost, ann.service->posts);
    EXPECT_EQ(ann.Sum(), before);
    EXPECT_FALSE(ann.tools.undoEnabled);
    ann.Drag({{100, 100}, {200, 100}});
    OwnBecame(ann.state, OwnFate::AllPlaced, 0);  // the service knows of no places any more
    EXPECT_TRUE(ann.Inked(150, 100));
    BoardBegins(ann.state, ann.service->posts);
    EXPECT_EQ(ann.Sum(), before);
    EXPECT_EQ(ann.Entries(), 1);
    ann.Receive(u"[[ZUM_WB_PEN]]3/10/10/20/10/255"_s, u"ann (earlier)"_s);
    EXPECT_EQ(ann.state.gWBBuffer->At(2).UserHandle, u"ann"_s);
    EXPECT_EQ(ann.Status(), LastModifiedText(u"ann"_s, ann.clock.now));
}
