// Meetings into files and out of them again, without a window.
#include <QImage>

#include "cli/zephyl_room.h"
#include "meeting_file/reader.h"
#include "meeting_file/writer.h"
#include "support/a_meeting.h"

namespace zephyl {
namespace {

using Kept = meeting_file::Item;
using meeting_file::Kind;

std::vector<Kept> ItemsOf(const QString& path)
{
    meeting_file::Reader file(meeting_file::FileSource(path.toStdString()));
    EXPECT_EQ(file.Problem(), "");
    std::vector<Kept> items;
    for (std::size_t frame = 0; frame < file.Frames(); ++frame)
        for (Kept& item : file.Frame(frame)) items.push_back(std::move(item));
    return items;
}

/// What was drawn, without who and when.
std::vector<std::string> Drawn(const std::vector<Kept>& items)
{
    std::vector<std::string> drawn;
    for (const Kept& item : items)
        if (item.kind != Kind::Line)
            drawn.push_back(std::to_string(item.x) + " " + std::to_string(item.y) + " " + item.body);
    return drawn;
}

class KeepingTest : public ZephylTest {
protected:
    /// A meeting file of these.
    QString FileOf(const std::vector<Kept>& items)
    {
        std::string bytes;
        meeting_file::Writer writer({"before", "", 0}, [&](std::string_view more) { bytes += more; });
        for (const Kept& item : items) writer.Add(item);
        bytes += writer.Tail();
        return File("before.zmeeting", QByteArray::fromStdString(bytes));
    }
    /// By bob, who makes the meeting "Standup" and stays in it.
    std::unique_ptr<Child> Importer(const QString& file)
    {
        return Start(As(u"import"_s, u"bob"_s, {u"--code"_s, u"Standup"_s, file}));
    }
};

}  // namespace

TEST_F(KeepingTest, WhatWasDrawnGoesOnInAnotherMeetingOnceAndInOrder)
{
    std::mt19937 random(3);
    std::vector<Kept> items;
    for (int i = 0; i < 700; ++i)
        items.push_back({Kind::Record, i % 2 ? "zoe" : "yan", 0, 1000 * i, 0, 0,
                         AStroke(random, 3, 255, 30).toStdString()});
    items[5] = {Kind::Picture, "zoe", 0, 5000, -7, 12, AJpeg(600, 400).toStdString()};
    items[10].body = "[[ZUM_WB_UNDO]]";
    items[11].body = "[[ZUM_WB_CLEAR]]";
    std::vector<Kept> more = items;
    // neither is of the board: what nobody may post, and what somebody said
    more.push_back({Kind::Record, "zoe", 0, 0, 0, 0, "[[ZUM_VIDEO_ON]]"});
    more.push_back({Kind::Line, "zoe", 0, 0, 0, 0, "hello"});
    const QString before = FileOf(more);
    const auto importer = Importer(before);
    EXPECT_EQ(importer->ReadLine(), "700 changes of the board are in the meeting Standup.");
    Script alice = Run(Options());
    EXPECT_TRUE(alice.Ok(R"({"do":"login","handle":"alice","password":"secret"})"));
    EXPECT_TRUE(alice.Ok(R"({"do":"join","code":"Standup"})"));
    // The board's last item is one that no newcomer gets.
    EXPECT_TRUE(alice.Ok(R"({"do":"deliver","to":["bob"],"text":"[[ZUM_WB_HSCROLL]]0"})"));
    const QString after = Path("after.zmeeting");
    EXPECT_EQ(Exit(As(u"export"_s, u"carol"_s, {u"--zmeeting"_s, after, u"Standup"_s})), 0);
    const std::vector<Kept> kept = ItemsOf(after);
    // The service keeps what a newcomer needs: from the CLEAR on, which 20 changes followed.
    EXPECT_EQ(Drawn(kept), Drawn({items.begin() + 11, items.end()}));
    EXPECT_EQ(kept.front().from, "bob");
    EXPECT_GT(kept.front().time, 1'600'000'000'000);

    EXPECT_EQ(Exit({u"export"_s, before, u"--png"_s, Path("a.png"), u"--pdf"_s, Path("a.pdf")}), 0);
    EXPECT_EQ(QImage(Path("a.png")).size(), QSize(kBoardWidth, kBoardHeight));
    EXPECT_EQ(Exit({u"export"_s, after, u"--png"_s, Path("b.png"), u"--all-boards"_s}), 0);
    EXPECT_EQ(QImage(Path("b-11.png")), QImage(Path("a.png")));
}

/// One who posts everything as their own takes back nobody's: what is left goes there, in order.
TEST_F(KeepingTest, OfAMeetingWhereMarksWereTakenBackWhatIsLeftGoesOn)
{
    const auto stroke = [](const char* by, int y) {
        const std::string height = std::to_string(y);
        const std::string record =
            "[[ZUM_WB_PEN]]3|\u00a5|1|\u00a5|" + height + "|\u00a5|90|\u00a5|" + height + "|\u00a5|255";
        return Kept{Kind::Record, by, 0, 0, 0, 0, record};
    };
    const auto step = [](const char* record) { return Kept{Kind::Record, "zoe", 0, 0, 0, 0, record}; };
    const Kept back{Kind::TakeBack, "zoe", 0, 0, 0, 0, "yan"}, undo = step("[[ZUM_WB_UNDO]]");
    const std::vector<Kept> items{stroke("yan", 5),
                                  Kept{Kind::Begins, "zoe", 0, 0, 0, 0, {}},  // zoe had been away
                                  stroke("yan", 10),
                                  step("[[ZUM_WB_CLEAR]]"),
                                  undo,
                                  stroke("zoe", 20),
                                  stroke("yan", 30),
                                  back,  // two go
                                  stroke("zoe", 40),
                                  undo,
                                  undo,  // and they are back
                                  stroke("yan", 50),
                                  stroke("zoe", 60),
                                  back,
                                  stroke("yan", 70)};
    const QString before = FileOf(items);
    const auto importer = Importer(before);
    EXPECT_EQ(importer->ReadLine(), "3 changes of the board are in the meeting Standup.");
    const QString after = Path("after.zmeeting");
    EXPECT_EQ(Exit(As(u"export"_s, u"carol"_s, {u"--zmeeting"_s, after, u"Standup"_s})), 0);
    EXPECT_EQ(Drawn(ItemsOf(after)), Drawn({items[5], items[12], items[14]}));
    for (const QString& meeting : {before, after})
        EXPECT_EQ(Exit({u"export"_s, meeting, u"--png"_s, meeting + u".png"_s}), 0);
    EXPECT_EQ(QImage(before + u".png"_s), QImage(after + u".png"_s));
}

TEST_F(KeepingTest, SaysWhatStandsInTheWay)
{
    const QString noMeeting = File("no.zmeeting", "something else");
    const struct {
        QStringList words;
        const char* why;
    } rows[] = {
        {As(u"export"_s, u"bob"_s, {u"Standup"_s, u"--png"_s, Path("x.png")}), "No meeting has this code"},
        {As(u"export"_s, u"bob"_s, {u"Standup"_s}), "say what to write"},
        {{u"export"_s, u"Standup"_s, u"--png"_s, Path("x.png")}, "--handle is required"},
        {{u"export"_s, noMeeting, u"--png"_s, Path("x.png")}, "this is no meeting file"},
        {{u"export"_s, Path("none.zmeeting"), u"--png"_s, Path("x.png")}, "No such file"},
        {As(u"import"_s, u"bob"_s, {u"--code"_s, u"Standup"_s, noMeeting}), "this is no meeting file"},
    };
    for (const auto& row : rows) {
        ExpectRefusal(row.words, row.why);
        EXPECT_FALSE(QFile::exists(Path("x.png")));
    }
}

}  // namespace zephyl
