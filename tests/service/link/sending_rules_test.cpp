// Copies into posts, posts into the outbox, posts onto the wire.
#include <gtest/gtest.h>

#include <QSize>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>

#include "service/codec/picture_guard.h"
#include "service/link/jpeg_frame_encoder.h"
#include "service/link/lanes.h"
#include "service/link/post_folder.h"
#include "service/link/remarks.h"
#include "service/link/resolver.h"
#include "service/link/trust.h"
#include "service/wire/limits.h"

namespace zephyl::link {
namespace {

using namespace Qt::StringLiterals;

QStringList List(const char* names)
{
    return QString::fromLatin1(names).split(u' ', Qt::SkipEmptyParts);
}

/// "S:bob:hello" is Send, D Deliver, F a frame whose bytes are the text; "|" is the end of a turn.
/// Gives "text>bob,carl" for every post, in order.
QStringList Fold(const char* calls)
{
    PostFolder folder;
    QStringList posts;
    const auto close = [&] {
        if (const auto post = folder.Close())
            posts += (post->first.picture ? QString::fromUtf8(post->first.data) : post->first.text) + u'>' +
                     post->recipients.join(u',');
    };
    for (const QString& call : List(calls)) {
        if (call == u"|") {
            close();
            continue;
        }
        const QStringList part = call.split(u':');
        Copy copy{part[0] == u"S" ? Road::Send : Road::Deliver, part[1], part[2], {}, {}};
        if (part[0].startsWith(u'F'))
            copy =
                Copy{Road::Frame, part[1], {}, part[2].toUtf8(), PictureShape{part[0].mid(1).toInt(), 0, 0}};
        if (folder.Join(copy)) continue;
        close();
        folder.Open(copy, std::make_shared<const std::string>(), nullptr);
    }
    close();
    return posts;
}

TEST(FoldRule, OneMessageIsOnePostAndTwoEqualOnesStayTwo)
{
    const struct {
        const char* calls;
        const char* posts;
        const char* reason;
    } rows[] = {
        {"D:bob:x D:carl:x D:dora:x", "x>bob,carl,dora", "one walk over the collection"},
        {"D:bob:x D:carl:x D:bob:x D:carl:x", "x>bob,carl x>bob,carl", "the same stroke twice"},
        {"S:bob:x S:bob:x", "x>bob x>bob", "two equal lines to one"},
        {"S:bob:x | S:carl:x", "x>bob x>carl", "a turn of the event loop between"},
        {"S:bob:x S:bob:y S:carl:x", "x>bob y>bob x>carl", "a third may not jump the order"},
        {"S:bob:x D:carl:x", "x>bob x>carl", "another operation"},
        {"D:bob:x D:carl:X", "x>bob X>carl", "nearly equal"},
        {"F1:bob:j F1:carl:j F2:dora:j", "j>bob,carl j>dora", "another position"},
        {"F1:bob:j F1:carl:k", "j>bob k>carl", "another picture"},
        {"", "", "nothing"},
    };
    for (const auto& row : rows) EXPECT_EQ(Fold(row.calls), List(row.posts)) << row.reason;
}

TEST(FoldRule, OnlyWhatWentToAllIsForEveryone)
{
    const struct {
        Road road;
        const char* to;
        const char* others;
        bool everyone;
        const char* reason;
    } rows[] = {
        {Road::Deliver, "bob carl", "bob carl", true, "all"},
        {Road::Frame, "carl bob", "bob carl", true, "all, in another order"},
        {Road::Deliver, "bob", "bob carl", false, "one of two"},
        {Road::Send, "bob", "bob", false, "a whisper to the only other one stays a whisper"},
        {Road::Send, "bob carl", "bob carl", false, "so does a line to all"},
        {Road::Deliver, "bob", "", false, "to somebody who left the list"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.reason);
        const Folded post{Copy{row.road, {}, {}, {}, {}}, List(row.to), {}, {}};
        const Audience audience = AudienceOf(post, List(row.others));
        EXPECT_EQ(audience.everyone, row.everyone);
        EXPECT_EQ(audience.handles.empty(), row.everyone);
    }
}

Outgoing Text(const std::string& text, std::vector<std::string> to = {"bob"})
{
    return {std::make_shared<const std::string>(text), {}, {false, std::move(to)}, {}};
}

/// What leaves on a fresh connection, as "channel number" in order.
std::string Sent(Outbox& outbox)
{
    std::string sent;
    for (const Channel channel : {CHANNEL_TALK, CHANNEL_BOARD})
        while (const auto entry = outbox.Next(channel))
            sent += (channel == CHANNEL_TALK ? "t" : "b") + std::to_string(entry->number) + ' ';
    return sent;
}

TEST(Outbox, KeepsWhatIsNotSafeAndSendsAgainWhatTheLogLacks)
{
    Outbox outbox;
    for (const char* text : {"one", "two", "[[ZUM_WB_PEN]]1", "three"}) outbox.Add(Text(text));
    EXPECT_EQ(Sent(outbox), "t1 t2 t3 b1 ");  // every channel counts for itself
    EXPECT_FALSE(outbox.Waiting());

    outbox.Accepted(1, 0);
    outbox.Resume(2, 0);  // cut: 2 is appended, 3 and the stroke are not
    outbox.Add(Text("four"));
    EXPECT_EQ(Sent(outbox), "t3 t4 b1 ");
    outbox.Resume(2, 1);  // 2 is appended but not safe: it stays, and is not sent again
    EXPECT_EQ(Sent(outbox), "t3 t4 ");

    EXPECT_EQ(outbox.Refused(CHANNEL_TALK, 3)->number, 3u);
    EXPECT_EQ(outbox.Refused(CHANNEL_TALK, 3), nullptr);
    outbox.Resume(0, 0);  // the log lost its end: what is not safe goes again
    EXPECT_EQ(Sent(outbox), "t2 t4 b1 ");
    outbox.Accepted(99, 99);  // a number we never used
    EXPECT_TRUE(outbox.Empty());
    outbox.Add(Text("five"));
    EXPECT_EQ(Sent(outbox), "t5 ");  // numbers never restart
    EXPECT_EQ(outbox.TakeAll().size(), 1u);
    EXPECT_EQ(Sent(outbox), "");
}

TEST(Outbox, LongListsBecomeSeveralPostsThatFitAHeader)
{
    std::vector<std::string> everybody;
    for (int i = 0; i < 200; ++i) everybody.push_back(std::string(28, 'h') + std::to_string(1000 + i));
    Outbox outbox;
    outbox.Add(Text("x", everybody));
    std::vector<std::string> reached;
    while (const auto entry = outbox.Next(CHANNEL_TALK)) {
        EXPECT_LT(PostHeader(*entry).ByteSizeLong(), kHeaderBytesUp);
        reached.insert(reached.end(), entry->what.audience.handles.begin(),
                       entry->what.audience.handles.end());
    }
    EXPECT_EQ(reached, everybody);
}

/// The lanes of the frames in a batch: t, b, l; a first frame in capitals.
std::string Lanes1(const std::string& batch)
{
    FrameReader reader(Way::Up);
    reader.Feed(batch);
    std::string order;
    while (const auto frame = reader.Next()) {
        const bool more = frame->header.has_more();
        const Lane lane = more ? frame->header.more().lane() : LaneOf(frame->header);
        order += std::string_view(more ? "?tbl" : "?TBL")[std::size_t(lane)];
    }
    return order;
}

TEST(Lanes, LinesOvertakeRecordsAndLivePicturesHaveTheirShare)
{
    Outbox outbox;
    Lanes lanes(outbox);
    auto now = std::chrono::steady_clock::now();
    std::string batch;
    outbox.Add(Text("[[ZUM_WB_PEN]]" + std::string(6 * kBodyBytes, '1')));
    lanes.Fill(batch, now);
    EXPECT_EQ(batch, "");  // nobody has entered yet
    lanes.SetOpen(true);
    lanes.Fill(batch, now);
    EXPECT_EQ(Lanes1(batch), "Bbbb");

    outbox.Add(Text("a line"));
    for (const char* picture : {"old", "new"}) {
        Outgoing live = Text(picture);
        live.picture = PictureShape{};
        lanes.SetLive(live);
    }
    batch.clear();
    lanes.Fill(batch, now);
    EXPECT_EQ(Lanes1(batch), "TbbbL");
    EXPECT_TRUE(batch.ends_with("new"));  // the newest wins

    outbox.Resume(1, 0);
    lanes.Reset();
    batch.clear();
    lanes.Fill(batch, now);
    EXPECT_EQ(Lanes1(batch), "Bbbb");  // after a cut the half record begins anew
}

TEST(Lanes, LivePicturesStayBelowWhatTheServiceTakesAndTakeTurns)
{
    Outbox outbox;
    Lanes lanes(outbox);
    lanes.SetOpen(true);
    int sent[2] = {};
    auto now = std::chrono::steady_clock::now(), due = now;
    for (int i = 0; i < 10'000; ++i, now += std::chrono::milliseconds(1)) {
        for (const int type : {0, 1}) {
            Outgoing live = Text(type ? "window" : "camera");
            live.picture = PictureShape{0, 0, type};
            if (i % 41 == 0) lanes.SetLive(live);  // 24 a second
        }
        std::string batch;
        if (i % 41 == 0 || due <= now) due = lanes.Fill(batch, now);
        for (const int type : {0, 1}) sent[type] += batch.find(type ? "window" : "camera") != batch.npos;
    }
    EXPECT_LT(sent[0] + sent[1], 300);
    EXPECT_GT(std::min(sent[0], sent[1]), 130);
}

TEST(JpegFrameEncoder, TakesAsMuchOfQualityAndSizeAsCanBeSent)
{
    JpegFrameEncoder encoder;
    encoder.PrepareFrameFormat(1280, 720);
    encoder.SetQuality(99);
    QByteArray frame(1280 * 720 * 3 / 2, 'x');
    EXPECT_EQ(encoder.EncodeFrame(frame, true), 99);
    unsigned noise = 1;
    for (char& one : frame) one = char((noise = noise * 1664525 + 1013904223) >> 24);
    EXPECT_LT(encoder.EncodeFrame(frame, true), 99);
    EXPECT_LE(encoder.GetBytes().size(), qsizetype(kLiveFrameBytes));
    EXPECT_EQ(encoder.Quality(), 99);
    const struct {
        int width, height;
        QSize sent;
    } rows[] = {
        {9000, 2, {8192, 2}}, {2, 9000, {2, 8192}}, {8192, 3000, {8192, 2048}}, {640, 480, {640, 480}}};
    const std::vector<quint32> pixels(9000 * 3000, 0xff8040);
    PictureLimits patient;
    patient.time = std::chrono::hours(1);
    for (const auto& row : rows) {
        encoder.EncodePicture(
            {row.width, row.height, row.width * 4, reinterpret_cast<const uchar*>(pixels.data()), {}});
        const QByteArray jpeg = encoder.GetBytes();
        const DecodedPicture seen =
            DecodeGuarded({reinterpret_cast<const uint8_t*>(jpeg.data()), size_t(jpeg.size())}, patient);
        EXPECT_EQ(QSize(seen.width, seen.height), row.sent);
        EXPECT_TRUE(seen.pixels) << seen.refusal;
    }
}

TEST(Trust, IsSettledByAuthorityOrPinElseByAsking)
{
    const std::string key = "sha256:aa";
    EXPECT_EQ(Judge(key, true, std::nullopt), Trust::Yes);
    EXPECT_EQ(Judge(key, false, key), Trust::Yes);
    EXPECT_EQ(Judge(key, false, std::nullopt), Trust::Ask);
    EXPECT_EQ(Judge(key, false, "sha256:bb"), Trust::Changed);
    EXPECT_EQ(Judge(key, true, "sha256:bb"), Trust::Changed);  // no authority is asked about a named key
    EXPECT_EQ(Judge("", false, std::nullopt), Trust::Changed);
}

TEST(Trust, AddressesAreReadAsPeopleTypeThem)
{
    const struct {
        const char* text;
        const char* host;
        int port;
        const char* name = "";  // of its pin
    } rows[] = {
        {"meet.example", "meet.example", kDefaultPort, "meet.example"},
        {"Meet.Example:7420", "Meet.Example", kDefaultPort, "meet.example"},
        {" meet.example:81 ", "meet.example", 81, "meet.example:81"},
        {"[::1]:7000", "::1", 7000, "[::1]:7000"},
        {"[0:0::0:1]", "0:0::0:1", kDefaultPort, "[::1]"},
        {"FE80::1", "FE80::1", kDefaultPort, "[fe80::1]"},
        {"h:65535", "h", 65535, "h:65535"},
        {"h:65536", "", 0},
        {"h:0", "", 0},
        {"h:", "", 0},
        {"h:8x", "", 0},
        {":80", "", 0},
        {"  ", "", 0},
        {"[::1", "", 0},
        {"a b", "", 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        const auto address = ReadServiceAddress(row.text);
        EXPECT_EQ(address ? address->host : "", row.host);
        EXPECT_EQ(address ? address->port : 0, row.port);
        EXPECT_EQ(address ? ServiceName(*address) : "", row.name);
    }
}

TEST(Addresses, OfTheServicesOwnComputerMeanItElsewhere)
{
    const struct {
        const char *seen, *service, *here;
    } rows[] = {
        {"127.0.0.1", "10.77.0.1", "10.77.0.1"},
        {"127.0.0.1", "[fe80::1]:81", "fe80::1"},
        {"::1", "meet.example:81", "meet.example"},
        {"10.77.0.9", "10.77.0.1", "10.77.0.9"},
        {"127.0.0.1", "", "127.0.0.1"},  // this computer's own service
        {"127.0.0.1", "localhost:81", "127.0.0.1"},
        {"127.0.0.1", "127.0.0.1:81", "127.0.0.1"},
        {"", "10.77.0.1", ""},
    };
    for (const auto& row : rows) EXPECT_EQ(AddressFromHere(row.seen, row.service), row.here) << row.service;
}

/// What one family leads to is not tried before the other had a chance.
TEST(Opening, TakesTheFamiliesInTurn)
{
    const auto list = [](std::initializer_list<const char*> words) {
        Endpoints all;
        for (const char* word : words) all.emplace_back(boost::asio::ip::make_address(word), 1);
        return all;
    };
    EXPECT_EQ(Interleaved(list({"::1", "::2", "::3", "1.1.1.1"})), list({"::1", "1.1.1.1", "::2", "::3"}));
    EXPECT_EQ(Interleaved(list({"1.1.1.1", "::1"})), list({"1.1.1.1", "::1"}));
    EXPECT_EQ(Interleaved({}), Endpoints());
}

/// The limit nearly always passes first here; either way the asker goes on.
TEST(Opening, ANameThatIsNotAnsweredInTimeHoldsNobody)
{
    boost::asio::io_context io(1);
    int ended = 0;
    for (int i = 0; i < 50; ++i) {
        Resolver resolver;
        boost::asio::co_spawn(io, resolver.Find("localhost", 1, std::chrono::milliseconds(0)),
                              [&](std::exception_ptr, const Endpoints&) { ++ended; });
        io.run();
        io.restart();
    }
    EXPECT_EQ(ended, 50);
}

TEST(Remarks, ComeAFewAtOnceAndThenOneASecond)
{
    Remarks remarks;
    Remarks::Time now{std::chrono::hours(1)};
    unsigned said = 0, kept = 0;
    for (int i = 0; i < 1000; ++i, now += std::chrono::milliseconds(10))
        if (const auto before = remarks.Next(now)) ++said, kept += *before;
    EXPECT_GE(said, 18u);
    EXPECT_LE(said, 20u);
    EXPECT_GE(kept + said, 900u);  // none is kept back without being counted
    EXPECT_EQ(*remarks.Next(now + std::chrono::hours(1)) + kept + said, 1000u);
}

}  // namespace
}  // namespace zephyl::link
