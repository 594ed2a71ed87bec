// What arrives: duplicates, presence, own earlier work, order, pictures.
#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

#include "service/codec/jpeg_encoder.h"
#include "service/link/incoming.h"

namespace zephyl::link {
namespace {

using namespace Qt::StringLiterals;

/// An event queue that a test empties by hand; wakes are awaited, never slept for.
struct Arrivals {
    std::mutex mutex;
    std::condition_variable woken;
    int wakes = 0;
    int reports = 0;
    EventQueue queue{[this] {
                         const std::lock_guard lock(mutex);
                         ++wakes;
                         woken.notify_all();
                     },
                     [this] { ++reports; }, [](const QString&) {}};
    Incoming incoming{queue};
    quint64 entry = 1;

    Arrivals()
    {
        zephyl::Place place;
        for (const char* handle : {"ann", "bob"}) place.add_attendees()->set_handle(handle);
        place.set_own_places(true);
        incoming.Begin(entry, {"ann", 7, 0}, place, 0);
    }
    /// The service says where ann's item stands, or that all up to it do.
    void Place(std::uint64_t number, bool passed = false)
    {
        Header header;
        zephyl::Item& item = *header.mutable_item();
        item.set_channel(CHANNEL_BOARD);
        item.set_sequence(passed ? board : ++board);
        item.set_number(number);
        item.mutable_own_place()->set_passed(passed);
        incoming.OnItem({header, {}});
    }

    void Item(const char* from, std::uint64_t stream, std::uint64_t number, const std::string& text)
    {
        Header header;
        zephyl::Item& item = *header.mutable_item();
        item.set_channel(text.starts_with("[[") ? CHANNEL_BOARD : CHANNEL_TALK);
        item.set_sequence(++(item.channel() == CHANNEL_BOARD ? board : talk));
        item.set_from(from);
        item.set_stream(stream);
        item.set_number(number);
        item.set_taken_ms(takenMs);
        item.mutable_text();
        incoming.OnItem({header, text});
    }

    void Presence(const char* handle, int status)
    {
        Header header;
        zephyl::Item& item = *header.mutable_item();
        item.set_channel(CHANNEL_TALK);
        item.set_sequence(++talk);
        item.mutable_presence()->set_handle(handle);
        item.mutable_presence()->set_status(status);
        incoming.OnItem({header, {}});
    }

    void Live(const char* from, std::uint64_t frame, const std::string& jpeg)
    {
        Header header;
        header.mutable_live()->set_from(from);
        header.mutable_live()->set_frame(frame);
        incoming.OnLive({header, jpeg});
    }

    /// "from:text" or "handle=status" or "from#WxH" for everything that is ready.
    QStringList Take()
    {
        QStringList taken;
        while (const auto ready = queue.Take(entry)) {
            const LinkEvent& event = ready->event;
            if (event.kind == LinkEvent::Kind::Message) taken += event.from + u':' + event.text;
            if (event.kind == LinkEvent::Kind::Begins && event.post) taken += u"begins %1"_s.arg(event.post);
            if (event.kind == LinkEvent::Kind::Placed) taken += u"placed %1"_s.arg(event.post);
            if (event.kind == LinkEvent::Kind::Passed) taken += u"passed %1"_s.arg(event.post);
            if (event.kind == LinkEvent::Kind::Lost) taken += u"lost %1"_s.arg(event.post);
            if (event.kind == LinkEvent::Kind::PlacesEnd) taken += u"no places"_s;
            if (event.kind == LinkEvent::Kind::Status) taken += u"%1=%2"_s.arg(event.from).arg(event.status);
            if (event.kind == LinkEvent::Kind::Frame)
                taken +=
                    event.from + (ready->picture ? u"#%1"_s.arg(ready->picture->pixels.width) : u"#none"_s);
        }
        return taken;
    }

    /// Waits for the decoding thread until so many more are ready.
    QStringList Wait(int count)
    {
        QStringList taken;
        while (true) {
            int seen;
            {
                const std::lock_guard lock(mutex);
                seen = wakes;
            }
            taken += Take();
            if (taken.size() >= count) return taken;
            std::unique_lock lock(mutex);
            if (!woken.wait_for(lock, std::chrono::seconds(20), [&] { return wakes != seen; })) return taken;
        }
    }

    std::uint64_t talk = 0, board = 0;
    std::uint64_t takenMs = 0;  // of the next items
};

std::string Jpeg(int width)
{
    JpegEncoder encoder;
    const std::vector<std::uint8_t> frame(Bgr24Bytes(width, 8), 90);
    const JpegBytes jpeg = encoder.EncodeBgr24(frame, width, 8, 50);
    return {jpeg.begin(), jpeg.end()};
}

TEST(Arriving, DropsWhatCameBeforeByTheSendersOwnNumber)
{
    Arrivals net;
    net.Item("bob", 1, 1, "one");
    net.Item("bob", 1, 3, "three");  // numbers may jump
    net.Item("bob", 1, 3, "again");  // posted again under a higher sequence
    net.Item("bob", 1, 2, "late");
    net.Item("bob", 1, 1, "[[ZUM_WB_PEN]]");       // the board counts for itself
    net.Item("bob", 2, 1, "other stream");         // bob logged in anew
    net.Item("carl", 1, 1, "\xEF\xBB\xBF[[carl");  // a mark in front must not make a record of a line
    net.Item("ann", 7, 9, "own");                  // the own stream
    EXPECT_EQ(net.Take(), QStringList({u"bob:one"_s, u"bob:three"_s, u"bob:[[ZUM_WB_PEN]]"_s,
                                       u"bob:other stream"_s, u"carl:\uFEFF[[carl"_s}));
    EXPECT_EQ(net.queue.Marks(false).talk, net.talk);  // what was dropped counts as read
}

TEST(Arriving, ForgetsTheOldestOfTooManyStreams)
{
    Arrivals net;
    for (std::uint64_t stream = 1; stream <= 8; ++stream) net.Item("bob", stream, 5, "x");
    net.Item("bob", 1, 6, "x");  // still in use, so another is the oldest
    net.Item("bob", 9, 5, "x");
    net.Take();
    for (const std::uint64_t stream : {9, 3, 1}) net.Item("bob", stream, 5, "known");
    net.Item("bob", 2, 5, "forgotten");
    EXPECT_EQ(net.Take(), QStringList({u"bob:forgotten"_s}));
}

TEST(Arriving, ComparesPresenceWithWhatIsHeld)
{
    Arrivals net;
    net.Presence("bob", 5);   // held already
    net.Presence("ann", 5);   // oneself
    net.Presence("carl", 0);  // never seen
    net.Presence("carl", 5);
    net.Presence("bob", 0);
    Skipped skipped;
    for (const char* handle : {"ann", "dora"}) skipped.add_attendees()->set_handle(handle);
    skipped.set_up_to(40);
    net.incoming.OnSkipped(skipped);
    EXPECT_EQ(net.Take(), QStringList({u"carl=5"_s, u"bob=0"_s, u"carl=0"_s, u"dora=5"_s}));
    EXPECT_EQ(net.queue.Marks(false).talk, 40u);
    net.incoming.End(1);
    EXPECT_EQ(net.Take(), QStringList({u"ann=0"_s, u"dora=0"_s}));
}

TEST(Arriving, OwnEarlierWorkHasANameThatIsNotIgnored)
{
    Arrivals net;
    net.Item("ann", 6, 1, "[[ZUM_WB_PEN]]");
    net.Item("ann", 6, 1, "a line");  // said and shown long ago
    EXPECT_EQ(net.Take(), QStringList({u"ann (earlier):[[ZUM_WB_PEN]]"_s}));

    net.Item("ann", 7, 1, "[[ZUM_WB_PEN]]2");  // came back though it was drawn in this entry
    EXPECT_EQ(net.Take(), QStringList());

    net.entry = 2;
    net.incoming.Begin(2, {"ann", 7, 2}, zephyl::Place(), 5);  // left and entered again, without a new login
    net.Item("ann", 7, 2, "[[ZUM_WB_PEN]]2");
    net.Item("ann", 7, 3, "[[ZUM_WB_PEN]]3");
    EXPECT_EQ(net.Take(), QStringList({u"begins 5"_s,  // what was posted up to then was of before
                                       u"ann (earlier):[[ZUM_WB_PEN]]2"_s}));
}

TEST(Arriving, OwnWorkGetsItsPlaceInOrderAndOnce)
{
    Arrivals net;
    for (std::uint64_t number = 1; number <= 8; ++number) net.incoming.Await(number, 10 * number);
    net.Item("bob", 6, 1, "[[ZUM_WB_PEN]]");
    net.Place(1);
    net.Place(1);                             // again, after a cut
    net.Item("ann", 7, 2, "[[ZUM_WB_PEN]]");  // whole, because the seat had gone meanwhile
    net.Item("bob", 7, 4, "[[ZUM_WB_PEN]]");  // her stream, which each of her items tells him
    net.incoming.Lose(30);
    net.Place(5);  // 4 was wiped and trimmed
    net.Item("bob", 6, 2, "[[ZUM_WB_PEN]]");
    net.Place(6, true);
    net.Place(3, true);
    const QString bobs = u"bob:[[ZUM_WB_PEN]]"_s;
    EXPECT_EQ(net.Take(), QStringList({bobs, u"placed 10"_s, u"placed 20"_s, bobs, u"lost 30"_s,
                                       u"placed 50"_s, bobs, u"passed 60"_s}));
    EXPECT_EQ(net.queue.Marks(false).board, net.board);  // places are read as items are
    zephyl::Place older;
    older.add_attendees()->set_handle("ann");
    older.add_attendees()->set_handle("bob");
    net.incoming.Return(older);  // to a service that knows of no places
    net.Item("ann", 7, 7, "[[ZUM_WB_PEN]]");
    EXPECT_EQ(net.Take(), QStringList({u"no places"_s}));
}

TEST(Arriving, WhatIsOnTheBoardAtEntryIsAsOldAsTheServicesClockSays)
{
    constexpr std::uint64_t kNow = 1'800'000'000'000;
    using std::chrono::hours;
    Arrivals net;
    Place place;
    place.set_entered_at(8);
    place.set_now_ms(kNow);
    const auto before = std::chrono::steady_clock::now();
    net.incoming.Begin(net.entry, {"ann", 7, 0}, place, 0);
    net.Take();
    const auto after = std::chrono::steady_clock::now();
    const struct {
        std::uint64_t takenMs;
        hours age;
    } rows[] = {
        {kNow - 3'600'000, hours(1)},
        {kNow, hours(0)},
        {kNow + 3'600'000, hours(0)},  // its clock was put back meanwhile
        {~0ull, hours(0)},
        {0, hours(0)},                // written when the log had no times
        {978'307'199'999, hours(0)},  // its clock had not been set
        {kNow - 600ull * 24 * 3'600'000, hours(600 * 24)},
    };
    for (std::uint64_t number = 0; const auto& row : rows) {
        net.takenMs = row.takenMs;
        net.Item("bob", 1, ++number, "[[ZUM_WB_PEN]]");
        const auto drawn = net.queue.Take(net.entry)->event.drawn;
        ASSERT_TRUE(drawn) << row.takenMs;
        EXPECT_TRUE(*drawn + row.age >= before && *drawn + row.age <= after) << row.takenMs;
    }
    // A cut in the middle of catching up changes nothing; with the last that stood there it is over.
    net.incoming.Return(place);
    net.Item("bob", 1, 8, "[[ZUM_WB_UNDO]]");
    EXPECT_TRUE(net.queue.Take(net.entry)->event.drawn);
    net.Item("bob", 1, 9, "[[ZUM_WB_UNDO]]");
    net.Item("bob", 1, 1, "a line");
    for (int i = 0; i < 2; ++i) EXPECT_FALSE(net.queue.Take(net.entry)->event.drawn);

    place.set_now_ms(~0ull);  // a service that says anything
    net.incoming.Begin(net.entry, {"ann", 7, 0}, place, 0);
    net.board = 0;
    net.Item("bob", 2, 1, "[[ZUM_WB_PEN]]");
    EXPECT_LT(net.queue.Take(net.entry)->event.drawn, before);
}

TEST(Arriving, EventsOfAnEntryThatWasLeftAreDroppedAndThoseOfTheNextWait)
{
    Arrivals net;
    net.Item("bob", 1, 1, "old");
    net.incoming.Begin(2, {"ann", 7, 0}, Place(), false);
    net.Item("carl", 1, 1, "new");
    EXPECT_EQ(net.Take(), QStringList({u"bob:old"_s}));  // the first is still the one in use
    net.entry = 2;
    net.queue.DropBefore(2);
    EXPECT_EQ(net.Take(), QStringList({u"carl:new"_s}));
}

TEST(Arriving, PicturesComeDecodedAndHoldUpNoLine)
{
    Arrivals net;
    Header header;
    Item& item = *header.mutable_item();
    item.set_channel(CHANNEL_BOARD);
    item.set_sequence(1);
    item.set_from("bob");
    item.set_stream(1);
    item.set_number(1);
    item.mutable_picture()->set_type(2);
    item.mutable_picture()->set_prefixed(true);
    net.board = 1;
    const std::string jpeg = Jpeg(24);
    net.incoming.OnItem({header, jpeg});
    net.Item("bob", 1, 2, "[[ZUM_WB_UNDO]]");
    EXPECT_EQ(net.Wait(2),
              QStringList({u"[[ZUM_RESERVED_HANDLE_WHITEBOARD]]bob#24"_s, u"bob:[[ZUM_WB_UNDO]]"_s}));

    item.set_sequence(++net.board);
    item.set_number(3);
    net.incoming.OnItem({header, "no picture"});
    EXPECT_EQ(net.Wait(1), QStringList({u"[[ZUM_RESERVED_HANDLE_WHITEBOARD]]bob#none"_s}));
}

TEST(Arriving, TheNewestLivePictureWins)
{
    Arrivals net;
    net.Live("stranger", 1, Jpeg(8));  // has no seat
    net.Live("bob", 2, Jpeg(16));
    EXPECT_EQ(net.Wait(1), QStringList({u"bob#16"_s}));
    net.Live("bob", 2, Jpeg(24));  // not newer
    for (int frame = 3; frame <= 40; ++frame) net.Live("bob", std::uint64_t(frame), Jpeg(frame * 8));
    QStringList seen;
    while (!seen.contains(u"bob#320"_s)) seen += net.Wait(1);
    net.Live("bob", 41, Jpeg(8));
    net.Presence("bob", 0);
    EXPECT_EQ(net.Wait(1).last(), u"bob=0"_s);
    EXPECT_EQ(net.Take(), QStringList());  // whoever left shows nothing any more
    EXPECT_EQ(net.incoming.LiveBytes() > 0, true);
}

}  // namespace
}  // namespace zephyl::link
