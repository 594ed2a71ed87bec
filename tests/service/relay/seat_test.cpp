// What a seat sends, and where it stands, over a log in memory: no socket, no strand.

#include <gtest/gtest.h>

#include <functional>
#include <limits>

#include "service/relay/log/memory_log.h"
#include "service/relay/meeting/seat.h"

namespace zephyl {
namespace {

/// Answers a read when the test says so.
class LateLog final : public MemoryLog {
public:
    using MemoryLog::MemoryLog;
    void Read(Channel channel, std::uint64_t from, std::size_t bytes, ReadDone done) override
    {
        if (!late) return MemoryLog::Read(channel, from, bytes, std::move(done));
        waiting = [this, channel, from, bytes, done = std::move(done)] {
            MemoryLog::Read(channel, from, bytes, done);
        };
    }
    bool late = false;
    std::function<void()> waiting;
};

class SeatTest : public testing::Test, private SeatSurroundings {
protected:
    static constexpr SeatNumber kOwn = 7, kOther = 8;
    static constexpr std::uint64_t kOwnStream = 70, kOtherStream = 80;

    /// One line of bob's, or an own one; its sequence. `text` may be a receipt, or as long as need be.
    std::uint64_t Line(const std::string& text, std::uint64_t stream = kOtherStream, SeatNumber to = 0,
                       const std::string& sender = {})
    {
        Header header;
        header.mutable_item()->mutable_text();
        LogItem item;
        item.stream = stream;
        item.sender = sender.empty() ? SenderOf(stream) : sender;
        item.everyone = to == 0;
        if (to) item.seats = {to};
        return Put(header, item, text);
    }
    /// Of the board, with its sender's number.
    std::uint64_t Stroke(std::uint64_t number, std::uint64_t stream = kOtherStream, bool refused = false)
    {
        Header header;
        header.mutable_item()->mutable_text();
        LogItem item;
        item.channel = CHANNEL_BOARD;
        item.stream = stream;
        item.sender = SenderOf(stream);
        item.number = number;
        item.everyone = item.kept = !refused;
        item.refused = refused;
        return Put(header, item, "stroke " + std::to_string(number));
    }
    std::uint64_t Presence(const std::string& handle, SeatNumber about)
    {
        Header header;
        header.mutable_item()->mutable_presence()->set_handle(handle);
        LogItem item;
        item.everyone = item.presence = true;
        item.about = about;
        return Put(header, item, "");
    }
    /// What the seat sends when its socket is free: texts, "+handle", "skipped to N: handles", "accepted N".
    std::vector<std::string> Sent(std::size_t limit = 1 << 20)
    {
        std::string batch;
        seat->Fill(batch, limit);
        mFrames.Feed(batch);
        std::vector<std::string> sent;
        while (const auto frame = mFrames.Next()) {
            const Header& header = frame->header;
            if (header.has_skipped())
                sent.push_back("skipped to " + std::to_string(header.skipped().up_to()) + ": " +
                               header.skipped().attendees(0).handle());
            else if (header.has_accepted())
                sent.push_back("accepted " + std::to_string(header.accepted().talk()));
            else if (header.item().has_own_place())
                sent.push_back((header.item().own_place().passed() ? "own up to " : "own ") +
                               std::to_string(header.item().number()));
            else if (const auto item = mItems.Take(*frame))
                sent.push_back(item->header.item().has_text()
                                   ? std::string(item->body)
                                   : '+' + item->header.item().presence().handle());
        }
        return sent;
    }
    void NewConnection()
    {
        mFrames = FrameReader(Way::Down);
        mItems = ItemReader();
    }
    void Read(std::uint64_t talk)
    {
        zephyl::Read read;
        read.set_talk(talk);
        seat->OnRead(read, Seat::Clock::now());
    }
    void Begin(const RelayBounds& bounds)
    {
        log = std::make_unique<LateLog>(bounds);
        session = std::make_shared<Session>(FloodBudget({}, FloodBudget::Clock::now()));
        session->stream = kOwnStream;
        session->key = SenderOf(kOwnStream);
        seat = std::make_unique<Seat>(kOwn, session, nullptr, std::make_shared<StreamMemory>(),
                                      static_cast<SeatSurroundings&>(*this), bounds);
    }

    using Texts = std::vector<std::string>;
    std::unique_ptr<LateLog> log;
    std::shared_ptr<Session> session;
    std::unique_ptr<Seat> seat;
    int wakes = 0;

private:
    MeetingLog& Log() override { return *log; }
    void AddAttendees(google::protobuf::RepeatedPtrField<Attendee>& to) const override
    {
        to.Add()->set_handle("bob");
    }
    void Wake(SeatNumber) override { ++wakes; }
    static std::string SenderOf(std::uint64_t stream) { return stream == kOwnStream ? "ann" : "bob"; }
    std::uint64_t Put(Header& header, LogItem item, const std::string& body)
    {
        if (item.channel == CHANNEL_UNSPECIFIED) item.channel = CHANNEL_TALK;
        item.sequence = log->Next(item.channel);
        header.mutable_item()->set_channel(item.channel);
        header.mutable_item()->set_total(static_cast<std::uint32_t>(body.size()));
        AppendItem(item.frames, header, LANE_TALK, body, Way::Down);
        log->Append({std::make_shared<LogItem>(item)}, {});
        return item.sequence;
    }

    FrameReader mFrames{Way::Down};
    ItemReader mItems;
};

TEST_F(SeatTest, SendsWhatConcernsIt)
{
    Begin({});
    Presence("before", kOther);
    seat->BeginAt({}, {});  // with a list of who is there
    Line("to all");
    Line("own", kOwnStream);
    Line("by a stream that was taken from mine", kOwnStream, 0, "bob");
    Line("to me", kOtherStream, kOwn);
    const std::uint64_t last = Line("to another", kOtherStream, kOther);
    Presence("carol", 9);
    Presence("myself", kOwn);
    EXPECT_EQ(Sent(), (Texts{"to all", "by a stream that was taken from mine", "to me", "+carol"}));
    EXPECT_LT(seat->ReadUpTo().talk, last);
    Read(last + 1);
    EXPECT_EQ(seat->ReadUpTo().talk,
              last + 2);  // nothing on its way: all there is concerns others, or was read
}

TEST_F(SeatTest, StopsAtItsWindowUntilThatIsRead)
{
    RelayBounds bounds;
    const std::string line(30'000, 'x');
    Begin(bounds);
    Line(line);
    log->Read(CHANNEL_TALK, 0, 1,
              [&](const LogChunk& chunk) { bounds.talkWindow = 2 * chunk.items[0]->frames.size(); });
    Begin(bounds);
    seat->BeginAt({}, {});
    std::uint64_t sequences[5];
    for (std::uint64_t& one : sequences) one = Line(line);
    EXPECT_EQ(Sent().size(), 2u);  // as much as the window, to the byte
    EXPECT_EQ(Sent().size(), 0u);
    Read(sequences[0] - 1);
    EXPECT_EQ(Sent().size(), 0u);
    Read(sequences[0]);
    EXPECT_EQ(Sent().size(), 1u);
    Read(std::numeric_limits<std::uint64_t>::max());  // what was not sent was not read
    EXPECT_EQ(seat->ReadUpTo().talk, sequences[2]);
    EXPECT_EQ(Sent().size(), 2u);
}

TEST_F(SeatTest, GoesOnWhereItStandsOrWhereTheClientSays)
{
    const struct {
        const char* what;
        std::uint64_t read, claimed;
        Texts sent;
    } rows[] = {
        {"the client knows less", 2, 1, {"3", "4"}},
        {"the client knows more", 1, 3, {"4"}},
        {"all of it", 0, 4, {}},
        {"more than there is", 0, 1'000'000, {}},
        {"nothing", 0, 0, {"1", "2", "3", "4"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Begin({});
        NewConnection();
        seat->BeginAt({}, {});
        for (const char* line : {"1", "2", "3", "4"}) Line(line);
        Sent();
        Read(row.read);
        seat->GoOnAt({row.claimed, row.claimed});
        EXPECT_EQ(Sent(), row.sent);
        Line("later");
        EXPECT_EQ(Sent(), Texts{"later"});
    }
}

TEST_F(SeatTest, BeginsAnewWithWhatWasHalfSent)
{
    Begin({});
    seat->BeginAt({}, {});
    const std::string line(40'000, 'y');
    Line(line);
    EXPECT_EQ(Sent(1), Texts{});  // its first frame
    NewConnection();
    seat->GoOnAt({});
    EXPECT_EQ(Sent(), Texts{line});
    log->late = true;
    Line("asked for before the cut");
    EXPECT_EQ(Sent(), Texts{});
    const auto late = std::exchange(log->waiting, nullptr);
    seat->GoOnAt({seat->ReadUpTo()});
    late();  // an answer that nobody waits for
    EXPECT_EQ(wakes, 0);
    EXPECT_EQ(Sent(), Texts{});
    log->waiting();
    EXPECT_EQ(wakes, 1);
    EXPECT_EQ(Sent(), (Texts{line, "asked for before the cut"}));  // it had not been read
}

TEST_F(SeatTest, TellsWhatItSkips)
{
    RelayBounds bounds;
    bounds.talkKept = 1000;
    Begin(bounds);
    seat->BeginAt({}, {});
    Line(std::string(300, 'a'));
    EXPECT_EQ(Sent().size(), 1u);
    std::uint64_t gone = 0;
    for (int i = 0; i < 3; ++i) gone = Line(std::string(600, 'b'));
    Presence("carol", 9);  // is in the list that comes with the gap
    const std::uint64_t last = Line("c");
    EXPECT_EQ(Sent(),
              (Texts{std::string(600, 'b'), "c", "skipped to " + std::to_string(gone - 1) + ": bob"}));
    EXPECT_EQ(Sent(), Texts{});
    Read(last);
    EXPECT_EQ(seat->ReadUpTo().talk, last);
    seat->acceptedNews = true;
    EXPECT_EQ(Sent(), Texts{"accepted 0"});
}

TEST_F(SeatTest, SaysWhereTheOwnStrokesStandToWhoAsked)
{
    Begin({});
    seat->BeginAt({}, {});
    Stroke(1, kOwnStream);
    Stroke(1);
    EXPECT_EQ(Sent(), Texts{"stroke 1"});  // did not ask
    NewConnection();
    seat->placesOwn = true;
    seat->numbers->have.board = 1;
    seat->GoOnAt({});
    Stroke(2, kOwnStream);
    Stroke(3, kOwnStream, true);
    Line("own line", kOwnStream);
    // As it had not read them; then that the rest of what was there is through.
    EXPECT_EQ(Sent(), (Texts{"own 1", "stroke 1", "own up to 1", "own 2"}));
    const std::uint64_t end = Stroke(2);
    EXPECT_EQ(Sent(), Texts{"stroke 2"});
    zephyl::Read read;
    read.set_board(end);
    seat->OnRead(read, Seat::Clock::now());
    EXPECT_EQ(seat->LagBytes(), 0u);
    EXPECT_EQ(seat->ReadUpTo().board, end);
    seat->numbers->have.board = 3;
    seat->BeginAt({}, {end, end});  // entered anew after the seat had gone: all of it whole
    EXPECT_EQ(Sent(), (Texts{"stroke 1", "stroke 1", "stroke 2", "stroke 2", "own up to 3"}));
}

// Each line may be answered by a receipt at no cost; a receipt by nothing.
TEST_F(SeatTest, LinesPayForReceiptsAndReceiptsForNothing)
{
    const struct {
        const char* heard;
        int freeReceipts;
    } rows[] = {{"hello", 40}, {"[[ZUM_MESSAGE_RECEIVIED]]", 0}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.heard);
        Begin({});
        NewConnection();
        seat->BeginAt({}, {});
        for (int i = 0; i < 40; ++i) Line(row.heard, kOtherStream, kOwn);
        EXPECT_EQ(Sent().size(), 40u);
        Header receipt;
        receipt.mutable_post()->set_channel(CHANNEL_TALK);
        receipt.mutable_post()->mutable_recipients()->add_handles("bob");
        const auto now = FloodBudget::Clock::now();
        int sent = 0;
        for (; session->budget.Pause(now).count() == 0; ++sent)
            session->budget.Charge({receipt, "[[ZUM_MESSAGE_RECEIVIED]]", 40}, now);
        EXPECT_EQ(sent, 301 + row.freeReceipts);
    }
}

}  // namespace
}  // namespace zephyl
