// What a client may write into its frames that no client of ours writes.

#include <thread>

#include "reliability/daemon.h"
#include "reliability/goal.h"
#include "reliability/linked_attendee.h"
#include "service/relay/raw_client.h"

using namespace Qt::StringLiterals;

namespace reliability {
namespace {

using namespace zephyl;

constexpr char kPrefix[] = "[[ZUM_RESERVED_HANDLE_WHITEBOARD]]";

QString NoLimits()
{
    return u"items_per_second = 0\nlive_frames_per_second = 0\nlive_mebibytes_per_second = 0\n"
           "mebibytes_per_second = 0\nentries_per_account = 10000\nconnections_per_address = 10000\n"_s;
}

/// Logged in under the handle's own stream, and in the meeting.
std::unique_ptr<RawClient> Seated(const Daemon& daemon, const std::string& handle, const std::string& code,
                                  bool create = false, std::uint64_t stream = 0)
{
    auto client = std::make_unique<RawClient>(daemon.Port());
    if (!stream) stream = std::hash<std::string>()(handle) | 1;
    if (client->Login(handle, "secret", stream).result() != RESULT_OK)
        throw std::runtime_error("login refused");
    if (client->Enter(code, create).result() != RESULT_OK) throw std::runtime_error("not let in");
    return client;
}

// --- bytes as nobody's program makes them ----------------------------------------------------------------

std::string Varint(std::uint64_t value)
{
    std::string out;
    for (; value >= 0x80; value >>= 7) out += char((value & 0x7f) | 0x80);
    return out + char(value);
}

/// A field of bytes.
std::string Field(unsigned number, const std::string& bytes)
{
    return Varint(number << 3 | 2) + Varint(bytes.size()) + bytes;
}

std::string FrameOf(const std::string& header, const std::string& body, std::uint64_t length,
                    std::size_t headerLength)
{
    std::string out;
    for (int shift = 24; shift >= 0; shift -= 8) out += char(length >> shift & 0xff);
    out += char(headerLength >> 8 & 0xff);
    out += char(headerLength & 0xff);
    return out + header + body;
}
std::string FrameOf(const std::string& header, const std::string& body = {})
{
    return FrameOf(header, body, 2 + header.size() + body.size(), header.size());
}

/// A name in every field that it might be looked for in; those up to 8 have a meaning of their own.
std::string Claims(const std::string& handle)
{
    std::string out;
    for (unsigned number = 9; number < 40; ++number) out += Field(number, handle);
    return out + Field(3, handle);
}

// --- S1 --------------------------------------------------------------------------------------------------

/// The next forged message of "c0" that claims to be of "c2".
std::string Forgery(Run& run, std::uint64_t number, bool& ends)
{
    const std::string body = run.Below(2) ? "c2: I am c2" : std::string(kPrefix) + "c2";
    Header post = PostHeader(CHANNEL_TALK, number, body.size());
    const std::string plain = post.post().SerializeAsString();
    Header live;
    live.mutable_live()->set_everyone(true);
    live.mutable_live()->set_frame(number);
    live.mutable_live()->set_total(std::uint32_t(body.size()));
    live.mutable_live()->mutable_picture()->set_type(int(run.Below(2)));
    Header item;
    item.mutable_item()->set_from("c2");
    item.mutable_item()->set_channel(CHANNEL_TALK);
    item.mutable_item()->set_sequence(number);
    item.mutable_item()->set_total(std::uint32_t(body.size()));
    item.mutable_item()->mutable_text();
    switch (run.Below(10)) {
        case 0: return FrameOf(Field(15, plain + Claims("c2")), body);
        case 1: return FrameOf(Field(15, plain + plain + Claims("c2") + plain), body);  // everything doubled
        case 2: {
            for (const char* to : {"c1", "c2", "[[ZUM_RESERVED_HANDLE_WHITEBOARD]]c1"})
                post.mutable_post()->mutable_recipients()->add_handles(to);
            return FrameOf(Field(15, post.post().SerializeAsString() + Claims("c2")), body);
        }
        case 3: {
            Header picture = PostHeader(CHANNEL_BOARD, number, body.size());
            picture.mutable_post()->mutable_picture()->set_type(2);
            picture.mutable_post()->mutable_picture()->set_prefixed(true);
            return FrameOf(Field(15, picture.post().SerializeAsString() + Claims("c2")), body);
        }
        case 4: live.mutable_live()->set_from("c2"); return FrameOf(live.SerializeAsString(), body);
        case 5: {
            live.mutable_live()->set_from(std::string(kPrefix) + "c2");
            live.mutable_live()->mutable_picture()->set_prefixed(true);
            return FrameOf(Field(21, live.live().SerializeAsString() + Claims("c2")), body);
        }
        case 6: return FrameOf(Field(18, item.item().SerializeAsString()) + Field(15, plain), body);
        case 7:
            ends = true;
            return FrameOf(Field(15, plain) + Field(18, item.item().SerializeAsString()), body);
        case 8: ends = true; return FrameOf(item.SerializeAsString(), body);
        default: {
            ends = true;
            Header login;
            login.mutable_login()->set_handle("c2");
            login.mutable_login()->set_password("secret");
            return FrameOf(login.SerializeAsString());
        }
    }
}

/// Who hears all of the meeting: how many items came, and under whose name.
struct Hearer {
    explicit Hearer(std::unique_ptr<RawClient> itself) : client(std::move(itself)), thread([this] { Run(); })
    {
    }
    ~Hearer()
    {
        if (thread.joinable()) thread.join();
    }
    void Run()
    try {
        for (;;) {
            const Received next = client->Next();
            const Item& item = next.header.item();
            if (next.header.has_live()) {
                Count(next.header.live().from());
                bytes += next.body.size();
            } else if (next.header.has_item() && (item.has_text() || item.has_picture())) {
                Count(item.from());
                (item.channel() == CHANNEL_TALK ? talk : board) = item.sequence();
                if (next.body == "the end") return;
            }
            client->SendRead(talk, board, bytes);
        }
    } catch (const std::exception& error) {
        failed = error.what();
    }
    void Count(const std::string& from) { ++(from == "c0" ? own : foreign); }

    std::unique_ptr<RawClient> client;
    std::uint64_t talk = 0, board = 0, bytes = 0;
    int own = 0, foreign = 0;
    std::string failed;
    std::thread thread;
};

int LinkForgeries(const Daemon& daemon)
{
    LinkedAttendee link(daemon.Address(), daemon.Fingerprint());
    if (!link.Login(u"c0"_s) || !link.link->JoinMeeting(u"ROOM01"_s)) throw std::runtime_error("no meeting");
    const auto item = link.link->Users()->Item(u"c1"_s);
    const QString prefix = QLatin1String(kPrefix);
    int taken = 0;
    const auto tried = [&](auto work) {
        try {
            work();
            ++taken;
        } catch (const std::exception&) {
            // as it should be
        }
    };
    for (const QString& name : {u"c2"_s, u"C0"_s, u"c0 "_s, QString(), prefix + u"c0"_s})
        tried([&] { item->Deliver(name, {}, u"hello"_s, 0); });
    for (const QString& name : {u"c2"_s, prefix + u"c2"_s, prefix + prefix + u"c0"_s, prefix, QString()})
        tried([&] { item->SendVideoFrame("x", name, 0, 0, 2, 50); });
    return taken;
}

void ForgedSenders(Run& run, Outcome& outcome)
{
    const int all = run.Form(500, 10'000);
    Daemon daemon(3, NoLimits());
    auto forger = Seated(daemon, "c0", "ROOM01", true);
    int own = 0, foreign = 0, ended = 0;
    {
        const auto claimed = Seated(daemon, "c2", "ROOM01");
        Hearer hearer(Seated(daemon, "c1", "ROOM01"));
        std::uint64_t stream = 1000;
        for (int i = 1; i <= all; ++i) {
            bool ends = false;
            forger->SendBytes(Forgery(run, std::uint64_t(i), ends));
            if (!ends) continue;
            outcome.Must(forger->Ended(), u"it goes on behind a frame that no client sends"_s);
            ++ended;
            forger = Seated(daemon, "c0", "ROOM01", false, ++stream);
        }
        forger->Post(std::uint64_t(all) + 1, "the end");
        hearer.thread.join();
        outcome.Must(hearer.failed.empty(), QString::fromStdString("who hears it: " + hearer.failed));
        own = hearer.own, foreign = hearer.foreign;
    }
    const int byLink = LinkForgeries(daemon);
    outcome.Figure(
        u"%1 forged senders: %2 came, all but %3 under the sender's own handle; %4 connections ended"_s
            .arg(all)
            .arg(own + foreign)
            .arg(foreign)
            .arg(ended));
    outcome.Figure(u"10 other handles through the link: %1 taken"_s.arg(byLink));
    outcome.Must(foreign == 0, u"something came under a foreign handle"_s);
    outcome.Must(own > all / 3, u"hardly anything came: nothing was tried"_s);
    outcome.Must(byLink == 0, u"the link takes another handle"_s);
}

// --- S2 --------------------------------------------------------------------------------------------------

/// Takes what is there already, and answers pings: who reads nothing for long is cut off. How many lines and
/// live pictures that were.
int Heard(RawClient& client)
{
    int heard = 0;
    while (const auto next = client.Ready())
        heard += next->header.has_live() || (next->header.has_item() && next->header.item().has_text());
    return heard;
}

void ForeignMeetings(Run& run, Outcome& outcome)
{
    const int rounds = run.Form(10, 300);
    Daemon daemon(5, NoLimits());
    auto sender = Seated(daemon, "c0", "ROOM01", true);
    const auto beside = Seated(daemon, "c1", "ROOM01");
    const auto other = Seated(daemon, "c2", "ROOM02", true), another = Seated(daemon, "c3", "ROOM02");
    const std::vector<std::vector<std::string>> rows{{"c2"},
                                                     {"C2"},
                                                     {" c2 "},
                                                     {"c2", "c3"},  // in another meeting
                                                     {"c4"},        // an account, nowhere
                                                     {"nobody"},
                                                     {""},
                                                     {std::string(kPrefix) + "c2"},
                                                     {"c1\n"},
                                                     {std::string("c1\0", 3)},
                                                     {"ROOM02"},
                                                     {"*"},
                                                     {std::string(1000, 'x')}};
    std::uint64_t number = 0, frame = 0;
    int odd = 0, delivered = 0;
    for (int round = 0; round < rounds; ++round) {
        for (const auto& one : {beside.get(), other.get(), another.get()}) delivered += Heard(*one);
        for (const auto& to : rows) {
            sender->Post(++number, "a line that nobody gets", to);
            Header live;
            for (const std::string& handle : to)
                live.mutable_live()->mutable_recipients()->add_handles(handle);
            live.mutable_live()->set_frame(++frame);
            live.mutable_live()->set_total(3);
            live.mutable_live()->mutable_picture()->set_type(int(frame % 2));
            sender->SendItem(live, "abc");
            sender->WaitAccepted(CHANNEL_TALK, number);
            odd += !sender->Quiet(Header::kRefused);
        }
    }
    for (const auto& one : {beside.get(), other.get(), another.get()}) {
        delivered += !one->Quiet(Header::kLive);
        while (!one->Quiet(Header::kItem)) delivered += one->Wait(Header::kItem).header.item().has_text();
    }
    sender->Post(++number, "to one of them", {"c1", "c2", "nobody"});
    const auto texts = beside->Texts(1);
    outcome.Must(texts == std::vector<std::string>{"c0: to one of them"}, u"who is there does not get it"_s);
    outcome.Must(other->Quiet(Header::kItem), u"the other meeting hears it"_s);
    outcome.Figure(
        u"%1 lines and as many live pictures to who is not in the meeting: %2 delivered, %3 answered "
        "otherwise than the rest"_s.arg(number - 1)
            .arg(delivered)
            .arg(odd));
    outcome.Must(delivered == 0, u"something was delivered"_s);
    outcome.Must(odd == 0, u"an answer tells who there is"_s);
}

// --- S11 -------------------------------------------------------------------------------------------------

enum class Then { Ended, Refused, GoesOn, Either };

struct Lie {
    const char* what;
    std::string bytes;
    Then then;
};

std::string PostBytes(std::uint32_t total, const std::string& body, std::uint64_t number = 1)
{
    Header header = PostHeader(CHANNEL_TALK, number, total);
    return FrameOf(header.SerializeAsString(), body);
}

std::string MoreBytes(const std::string& body)
{
    Header header;
    header.mutable_more()->set_lane(LANE_TALK);
    return FrameOf(header.SerializeAsString(), body);
}

/// Groups within groups, of a field that there is not.
std::string Nested(int depth, bool closed)
{
    std::string out;
    for (int i = 0; i < depth; ++i) out += Varint(1000 << 3 | 3);
    for (int i = 0; closed && i < depth; ++i) out += Varint(1000 << 3 | 4);
    return out;
}

std::string PictureBytes(Channel channel, std::int64_t x, std::int64_t type)
{
    Header header = PostHeader(channel, 1, 3);
    header.mutable_post()->mutable_picture()->set_x(int(x));
    header.mutable_post()->mutable_picture()->set_type(int(type));
    return FrameOf(header.SerializeAsString(), "abc");
}

std::string ToMany(std::size_t count, const std::string& handle)
{
    Header header = PostHeader(CHANNEL_TALK, 1, 1);
    for (std::size_t i = 0; i < count; ++i) header.mutable_post()->mutable_recipients()->add_handles(handle);
    return FrameOf(header.SerializeAsString(), "x");
}

std::vector<Lie> Lies()
{
    const std::string post = PostHeader(CHANNEL_TALK, 1, 1).SerializeAsString();
    Header read, live, resume, enter;
    read.mutable_read()->set_talk(~0ULL);
    read.mutable_read()->set_board(~0ULL);
    read.mutable_read()->set_live_bytes(~0ULL);
    live.mutable_live()->set_everyone(true);
    live.mutable_live()->set_total(~0U);
    resume.mutable_resume()->set_token(std::string(4000, 't'));
    enter.mutable_enter()->set_code(std::string(4000, 'R'));
    Header wrongChannel = PostHeader(CHANNEL_TALK, 1, 1), nobody = wrongChannel, nothing = wrongChannel;
    wrongChannel.mutable_post()->set_channel(Channel(99));
    nobody.mutable_post()->clear_to();
    nothing.mutable_post()->clear_content();
    const std::string full(16 * 1024, 'x');
    return {
        {"a length of 0", FrameOf("", "", 0, 0), Then::Ended},
        {"a length of 1", FrameOf("", "", 1, 0), Then::Ended},
        {"a length of 4 GiB", FrameOf("", "", 0xffffffff, 0), Then::Ended},
        {"a length of 2 GiB", FrameOf(post, "", 0x7fffffff, post.size()), Then::Ended},
        {"a header longer than its frame", FrameOf(post, "", post.size(), 60000), Then::Ended},
        {"a header over 4 KiB", FrameOf(Field(999, std::string(4094, 'x'))), Then::Ended},
        {"a header of almost 4 KiB", FrameOf(Field(999, std::string(4080, 'x'))), Then::GoesOn},
        {"a body over 16 KiB", PostBytes(20'000, full + "x"), Then::Ended},
        {"a header that is none", FrameOf(std::string(100, '\xff')), Then::Ended},
        {"a field longer than its header", FrameOf(Varint(15 << 3 | 2) + Varint(1 << 30)), Then::Ended},
        {"a number of eleven bytes", FrameOf(Varint(999 << 3) + std::string(11, '\xff')), Then::Ended},
        {"a tag of 0", FrameOf(std::string(2, '\0')), Then::Ended},
        {"groups 1,900 deep", FrameOf(Nested(1900, false)), Then::Ended},
        {"groups 900 deep, closed", FrameOf(Nested(900, true)), Then::Ended},
        {"groups 50 deep, closed", FrameOf(Nested(50, true)), Then::GoesOn},
        {"a line of 4 GiB", PostBytes(~0U, "x"), Then::Refused},
        {"a line over its bound", PostBytes(40'961, full), Then::Refused},
        {"8 MiB announced, one byte sent", PostBytes(8 << 20, "x"), Then::Refused},  // a line has 40 KiB
        {"less announced than sent", PostBytes(5, "123456"), Then::Ended},
        {"nothing announced", PostBytes(0, "123456"), Then::Ended},
        {"more than announced, later", PostBytes(20'000, full) + MoreBytes(full), Then::Ended},
        {"more of nothing", MoreBytes("x"), Then::Ended},
        {"more by no lane", FrameOf(Field(22, Varint(1 << 3) + Varint(77)), "x"), Then::Ended},
        {"one line within another", PostBytes(20'000, full) + PostBytes(1, "x", 2), Then::Ended},
        {"a picture of 4 GiB", FrameOf(live.SerializeAsString(), "x"), Then::GoesOn},
        {"200 recipients too many", ToMany(400, "c1"), Then::Refused},
        {"2,000 empty recipients", ToMany(2000, ""), Then::Refused},
        {"a recipient that is no text",
         FrameOf(Field(15, nobody.post().SerializeAsString() + Field(4, Field(1, "\xff\xfe"))), "x"),
         Then::Either},
        {"a channel that there is not", FrameOf(wrongChannel.SerializeAsString(), "x"), Then::Ended},
        {"no recipients", FrameOf(nobody.SerializeAsString(), "x"), Then::Refused},
        {"no content", FrameOf(nothing.SerializeAsString(), "x"), Then::Refused},
        {"a place outside 16 bits", PictureBytes(CHANNEL_BOARD, 2'000'000'000, 2), Then::Refused},
        {"a picture of no type", PictureBytes(CHANNEL_BOARD, 0, 2'000'000'000), Then::Refused},
        {"the highest number that there is", PostBytes(1, "x", ~0ULL), Then::GoesOn},
        {"read everything, and more", FrameOf(read.SerializeAsString()), Then::Either},
        {"a token of 4,000 bytes, seated", FrameOf(resume.SerializeAsString()), Then::Ended},
        {"a code of 4,000 letters, seated", FrameOf(enter.SerializeAsString()), Then::Ended},
        {"a message of a later version", FrameOf(Field(1234, "x"), full), Then::GoesOn},
    };
}

Then After(RawClient& liar)
{
    try {
        if (liar.Quiet(Header::kRefused)) return Then::GoesOn;
        return Then::Refused;
    } catch (const NothingCame&) {
        return Then::Either;  // it answers nothing, and stays: nothing that may be
    } catch (const std::exception&) {
        return Then::Ended;
    }
}

/// A good frame with a few bytes of it changed.
std::string Spoilt(Run& run)
{
    std::string bytes = PostBytes(20'000, std::string(16'000, 'x'));
    bytes += MoreBytes(std::string(4000, 'y'));
    for (std::size_t i = 0; i < 1 + run.Below(4); ++i) bytes[run.Below(60)] = char(run.Below(256));
    return bytes;
}

void LyingLengths(Run& run, Outcome& outcome)
{
    Daemon daemon(3, NoLimits());
    const auto teller = Seated(daemon, "c1", "ROOM01", true), hearer = Seated(daemon, "c2", "ROOM01");
    hearer->readAlong = true;
    std::uint64_t told = 0, stream = 10;
    const long before = daemon.ResidentKiB();
    long most = before;
    const auto goesOn = [&](const char* what) {
        for (const auto& one : {teller.get(), hearer.get()}) Heard(*one);
        const std::string line = "line " + std::to_string(++told);
        teller->Post(told, line);
        std::vector<std::string> texts;
        try {
            do texts = hearer->Texts(1);
            while (texts[0].starts_with("c0: "));
        } catch (const std::exception& problem) {
            throw std::runtime_error(std::string("behind \"") + what + "\": " + problem.what());
        }
        outcome.Must(texts[0] == "c1: " + line,
                     u"\"%1\": the meeting does not go on"_s.arg(QLatin1String(what)));
        most = std::max(most, daemon.ResidentKiB());
    };
    const int rounds = run.Form(1, 20), spoilt = run.Form(50, 3000);
    int count = 0;
    for (int round = 0; round < rounds; ++round)
        for (const Lie& lie : Lies()) {
            const auto liar = Seated(daemon, "c0", "ROOM01", false, ++stream);
            try {
                liar->SendBytes(lie.bytes);
            } catch (const std::exception&) {
                // it ended meanwhile
            }
            const Then then = After(*liar);
            const bool right = then == lie.then || (lie.then == Then::Either && then != Then::Refused);
            outcome.Must(right, u"\"%1\": came to %2 instead of %3"_s.arg(QLatin1String(lie.what))
                                    .arg(int(then))
                                    .arg(int(lie.then)));
            goesOn(lie.what);
            ++count;
        }
    for (int i = 0; i < spoilt; ++i) {
        const auto liar = Seated(daemon, "c0", "ROOM01", false, ++stream);
        try {
            liar->SendBytes(Spoilt(run));
            liar->SendBytes(std::string(32, '\0'));  // whatever it waited for, this is none
        } catch (const std::exception&) {
            // it ended meanwhile
        }
        if (i % 10 == 0) goesOn("spoilt bytes");
    }
    outcome.Figure(
        u"%1 lies of %2 kinds and %3 spoilt items: each refused or ended, %4 lines of the meeting all came"_s
            .arg(count)
            .arg(Lies().size())
            .arg(spoilt)
            .arg(told));
    outcome.Figure(u"memory %1 MiB above before at most"_s.arg(double(most - before) / 1024, 0, 'f', 1));
    outcome.Must(most - before < 32 * 1024, u"memory grew"_s);
}

}  // namespace

std::vector<Goal> WireGoals()
{
    return {{"S1", "forged senders", ForgedSenders},
            {"S2", "sends to other meetings and to nobody", ForeignMeetings},
            {"S11", "lying lengths, deep nesting, oversized bodies", LyingLengths}};
}

}  // namespace reliability
