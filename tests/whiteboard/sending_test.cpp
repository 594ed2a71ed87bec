#include "whiteboard/sending.h"

#include "whiteboard/client.h"
#include "whiteboard/marks.h"
#include "whiteboard/tools/picture.h"

using namespace Qt::StringLiterals;

TEST(Sending, EachToolMakesItsExactRecord)
{
    using Points = std::vector<BoardPoint>;
    const struct {
        ToolKey key;
        const char* sub;
        Points points;
        const char* record;
        int entries;
    } rows[] = {
        {ToolKey::Draw, "Pen", {{10, 20}}, "[[ZUM_WB_PEN]]1/10/20/10/20/0/10/20/10/20/0", 2},
        {ToolKey::Draw,
         "Pen",
         {{10, 20}, {30, 25}},
         "[[ZUM_WB_PEN]]1/10/20/10/20/0/10/20/30/25/0/30/25/30/25/0",
         2},
        {ToolKey::Draw, "Line", {{10, 20}, {90, 9}, {30, 25}}, "[[ZUM_WB_PEN]]1/10/20/30/25/0", 2},
        {ToolKey::Draw, "Point", {{10, 21}, {30, 25}}, "[[ZUM_WB_POINTER]]-6/5/14/9/14/9", 1},
        {ToolKey::Erase, "", {{10, 20}}, "[[ZUM_WB_PEN]]32/10/20/10/20/16777215/10/20/10/20/16777215", 2},
        {ToolKey::Shape, "Box", {{30, 25}, {10, 20}}, "[[ZUM_WB_BOX]]1/30/25/10/20/0", 2},
        {ToolKey::Shape, "Circle", {{30, 25}, {10, 20}}, "[[ZUM_WB_CIRCLE]]1/30/25/10/20/0", 2},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.record);
        Client ann;
        ann.Choose(row.key, QLatin1String(row.sub));
        ann.Drag(row.points);
        EXPECT_EQ(ann.Sent(), QString::fromUtf8(row.record));
        EXPECT_EQ(ann.service->texts.size(), 1u);
        EXPECT_EQ(ann.Entries(), row.entries);
        EXPECT_EQ(ann.Status(), LastModifiedText(u"ann"_s, ann.clock.now));
        EXPECT_EQ(ann.screen.band.kind, RubberBand::Kind::None);
    }
}

TEST(Sending, BoardsOfSenderReceiverAndReplayAgreeToThePixel)
{
    Seeded random;
    Client ann, bob(u"bob"_s, {u"ann"_s});
    const struct {
        ToolKey key;
        QString sub;
    } kinds[] = {
        {ToolKey::Draw, u"Pen"_s},  {ToolKey::Draw, u"Line"_s},    {ToolKey::Erase, {}},
        {ToolKey::Shape, u"Box"_s}, {ToolKey::Shape, u"Circle"_s}, {ToolKey::Text, {}},
    };
    QStringList records;
    for (int act = 0; act < 60; ++act) {
        const auto& kind = kinds[std::size_t(act) % std::size(kinds)];
        ann.Choose(kind.key, kind.sub);
        picSelColor_Click(ann.state, int(random() % 16));
        picLineWidth_Click(ann.state, int(random() % 4));
        std::vector<BoardPoint> points;
        for (unsigned i = 0, count = 1 + random() % 20; i < count; ++i)
            points.push_back({float(random() % 700), float(random() % 500)});
        ann.service->texts.clear();
        if (kind.key == ToolKey::Text)
            ann.Write(points[0], u"first, Å\nsecond"_s);
        else
            ann.Drag(points);
        for (const auto& text : ann.service->texts)
            HandleWBMessage(bob.state, u"ann"_s, text.message), records += text.message;
        ASSERT_TRUE(ann.screen.board.Image() == bob.screen.board.Image())
            << "act " << act << " " << ann.Sent().left(200).toStdString();
    }
    Client carol(u"carol"_s, {});
    for (const QString& record : records) HandleWBMessage(carol.state, u"ann"_s, record);
    EXPECT_EQ(carol.Sum(), ann.Sum());
    EXPECT_EQ(bob.Entries(), 11);
}

TEST(Sending, LinesOfTextStandBelowEachOther)
{
    Client ann;
    ann.Choose(ToolKey::Text);
    ann.Write({100, 50}, u"one\r\n\ntwo"_s + QChar(0xD83D));  // half of an emoji
    const int height = ann.screen.board.LineHeight(ann.tools.TextFont());
    ASSERT_EQ(ann.service->texts.size(), 3u);
    const QString head = Client::Fields(u"[[ZUM_WB_TEXT]]100/%1/False/False/Arial/10/False/False/0/%2"_s);
    EXPECT_EQ(ann.service->texts[0].message, head.arg(50).arg(u"one"_s));
    EXPECT_EQ(ann.service->texts[1].message, head.arg(50 + height).arg(u""_s));
    EXPECT_EQ(ann.service->texts[2].message, head.arg(50 + 2 * height).arg(u"two\uFFFD"_s));
    EXPECT_EQ(ann.Entries(), 2);  // one change
    EXPECT_TRUE(ann.screen.typed.isEmpty());
    EXPECT_FALSE(ann.screen.textVisible);
    ann.service->texts.clear();
    EXPECT_TRUE(ann.meeting.notes.empty());
    ann.Write({5, 5}, u"price: |\u00A5| 20"_s);  // whole here, cut at the others: say so
    EXPECT_EQ(ann.meeting.notes.size(), 1);
    ann.service->texts.clear();
    SendWhiteboard(ann.state, 1, 1, 0, 0);  // nothing typed: no record, but status and snapshot
    EXPECT_TRUE(ann.service->texts.empty());
    EXPECT_EQ(ann.Entries(), 4);
}

TEST(Sending, WhoDrawsAloneKeepsItForThoseWhoCome)
{
    Client ann(u"ann"_s, {});
    ann.Drag({{10, 20}});
    ann.tools.mInsertPicture = QImage(8, 6, QImage::Format_RGB32);
    SendWBPic(ann.state, ann.tools.mInsertPicture, 3, 4);
    EXPECT_EQ(ann.service->kept.size(), 2);
    EXPECT_TRUE(ann.service->kept[0].startsWith(u"[[ZUM_WB_PEN]]"_s));
    EXPECT_EQ(ann.Entries(), 2);
}

TEST(Sending, AFailingAttendeeEndsTheSendingButNotTheAction)
{
    Client ann(u"ann"_s, {u"bob"_s, u"carol"_s});
    ann.service->failures[u"Deliver"_s] = u"the outbox is full"_s;
    ann.Drag({{10, 20}});
    EXPECT_EQ(ann.prompts.boxes.size(), 1);
    EXPECT_TRUE(ann.prompts.boxes[0].contains(u"SendWBMessage: the outbox is full"_s));
    EXPECT_EQ(ann.Entries(), 2);
    EXPECT_FALSE(ann.Status().isEmpty());
}

TEST(Sending, PicturesGoOutAsTheBoardShowsThemAtTheSlidersQuality)
{
    Client ann(u"ann"_s, {u"bob"_s, u"carol"_s});
    ann.state.gFrameEncoder = ann.service->MakeFrameEncoder();
    ann.state.gFrameEncoder->SetQuality(77);
    QImage picture(300, 200, QImage::Format_RGB32);
    picture.fill(Qt::darkGreen);
    ann.clipboard.picture = picture;
    ann.Choose(ToolKey::Paste);
    ann.Drag({{2000, 100}});
    ann.Drag({{50, 60}});  // the tool stays armed: once more at every click
    ASSERT_EQ(ann.service->frames.size(), 4u);
    const auto& frame = ann.service->frames[1];
    EXPECT_EQ(frame.to, u"carol"_s);
    EXPECT_EQ(frame.handle, u"[[ZUM_RESERVED_HANDLE_WHITEBOARD]]ann"_s);
    EXPECT_EQ(frame.type, kFrameWhiteboard);
    EXPECT_EQ(frame.data, "jpeg 48x200 77");  // cut at the board's edge
    EXPECT_EQ(std::pair(frame.x, frame.y), std::pair(2000, 100));
    EXPECT_EQ(ann.service->frames[2].data, "jpeg 300x200 77");
    EXPECT_EQ(ann.screen.board.Pixel(2047, 299), picture.pixel(0, 0));
    EXPECT_EQ(ann.Entries(), 3);

    // White shines through a transparent picture, on the own board as at the others'.
    QImage glass(1, 1, QImage::Format_ARGB32);
    glass.fill(Qt::transparent);
    EXPECT_EQ(reinterpret_cast<const QRgb*>(PixelsOf(glass).data)[0] & 0xffffff, 0xffffffu);
    ann.tools.mInsertPicture = glass;
    ann.Drag({{2010, 110}});
    EXPECT_EQ(ann.screen.board.Pixel(2010, 110) & 0xffffff, 0xffffffu);
    ann.tools.mInsertPicture = {};
    ann.Drag({{5, 5}});
    EXPECT_TRUE(ann.prompts.boxes.last().contains(u"SendWhiteboard: there is no picture"_s));
    EXPECT_EQ(ann.Entries(), 4);
}

TEST(Input, TheStoredColourIsTheOneLastUsed)
{
    Client ann(u"ann"_s, {u"bob"_s});
    picSelColor_Click(ann.state, 4);
    picLineWidth_Click(ann.state, 2);
    ann.Choose(ToolKey::Erase);
    ann.Drag({{5, 5}});  // has a colour and a width of its own
    ann.Choose(ToolKey::Draw, u"Point"_s);
    ann.Drag({{5, 5}});
    EXPECT_NE(ann.tools.mColorIndex, 4);
    EXPECT_NE(ann.tools.mWidthIndex, 2);
    ann.Choose(ToolKey::Draw, u"Pen"_s);
    ann.Drag({{5, 5}});
    EXPECT_EQ(ann.tools.mColorIndex, 4);
    EXPECT_EQ(ann.tools.mWidthIndex, 2);
}

TEST(Input, AnActionEndsHoweverItsReleaseIsLost)
{
    const QString whole = u"[[ZUM_WB_PEN]]1/10/20/10/20/0/10/20/30/25/0/30/25/30/25/0"_s;
    const QString further = u"[[ZUM_WB_PEN]]1/10/20/10/20/0/10/20/30/25/0/30/25/31/25/0/31/25/31/25/0"_s;
    using Loss = std::function<void(Client&)>;
    const Loss right = [](Client& c) { picDraw_MouseDown(c.state, MouseButton::Other, {40, 40}); };
    const Loss anew = [](Client& c) { c.Press({9, 9}), c.tools.action.reset(); };
    const Loss elsewhere = [](Client& c) { picDraw_MouseUp(c.state, {31, 25}); };
    const auto cleared = [](Client& c) {
        c.Receive(u"[[ZUM_WB_CLEAR]]"_s), picDraw_MouseUp(c.state, {30, 25});
    };
    const auto drawn = [](Client& c) { c.Receive(u"[[ZUM_WB_PEN]]8/1/1/2/2/255"_s), LoseRelease(c.state); };
    const struct {
        const char* how;
        Loss lose;
        QString sent;  // "": a shape, which is abandoned
        int menus;
    } rows[] = {
        {"right press", right, whole, 1},
        {"right press, a shape", right, {}, 0},
        {"hidden", [](Client& c) { LoseRelease(c.state); }, whole, 0},
        {"pressed anew", anew, whole, 0},
        {"released elsewhere", elsewhere, further, 0},
        {"cleared meanwhile", cleared, whole, 0},
        {"another's pen meanwhile", drawn, whole, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.how);
        Client ann;
        if (row.sent.isEmpty()) ann.Choose(ToolKey::Shape);
        ann.Press({10, 20});
        picDraw_MouseMove(ann.state, MouseButton::Left, {30, 25});
        EXPECT_EQ(ann.screen.band.kind == RubberBand::Kind::Box, row.sent.isEmpty());
        row.lose(ann);
        EXPECT_EQ(ann.screen.band.kind, RubberBand::Kind::None);
        EXPECT_EQ(ann.Sent(), row.sent);
        EXPECT_EQ(ann.screen.menus, row.menus);
        picDraw_MouseUp(ann.state, {90, 90});  // a release without a press
        EXPECT_EQ(ann.service->texts.size(), row.sent.isEmpty() ? 0u : 1u);
        EXPECT_TRUE(ann.Entries() == 1 || !row.sent.isEmpty());
    }
}

TEST(Input, NothingIsBegunWhileMuchWaitsToBeSent)
{
    Client ann;
    ann.service->tight = true;
    ann.Drag({{10, 10}, {30, 30}});
    EXPECT_FALSE(ann.Inked(10, 10));
    EXPECT_TRUE(ann.service->texts.empty());
    EXPECT_EQ(ann.meeting.notes.size(), 1);
    ann.tools.mSelectedTool = ToolKey::Paste;
    ann.tools.mInsertPicture = QImage(8, 8, QImage::Format_RGB32);
    ann.Drag({{10, 10}});
    EXPECT_EQ(ann.meeting.notes.size(), 2);
    EXPECT_EQ(ann.Entries(), 1);
    ann.service->tight = false;
    ann.Choose(ToolKey::Draw);
    ann.Drag({{10, 10}, {30, 30}});
    EXPECT_EQ(ann.service->texts.size(), 1u);
}

TEST(Input, APressOnThePointerImageDrawsAtImageCoordinatesAndIsNotSent)
{
    Client ann;
    imgSelPointer_MouseDown(ann.state, MouseButton::Left, {7, 8});
    imgSelPointer_MouseUp(ann.state);
    EXPECT_TRUE(ann.Inked(7, 8));
    EXPECT_TRUE(ann.service->texts.empty());
    EXPECT_EQ(ann.tools.action, nullptr);
}
