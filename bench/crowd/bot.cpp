#include "crowd/bot.h"

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <charconv>
#include <cstdio>
#include <cstring>

#include "service/wire/content.h"

using namespace zephyl;
using namespace std::chrono_literals;

namespace crowd {
namespace asio = boost::asio;
using asio::ip::tcp;
namespace {

constexpr char kReceipt[] = "[[ZUM_MESSAGE_RECEIVIED]]";
constexpr std::size_t kHead = 16 + 8 + 4;  // when, which, whose
constexpr std::size_t kPattern = 23;
constexpr std::size_t kMostUnsafe = 1000;

struct Look {
    std::string_view front;
    std::size_t bytes;
    Channel channel;
};
// A line as people write them; a usual stroke of 100 segments and a gesture of 20 points as the program sends
// them; 20 ms at 40 kbit/s; a small camera's picture.
constexpr std::array<Look, kKinds> kLooks = {{
    {"line ", 60, CHANNEL_TALK},
    {"[[ZUM_WB_PEN]]", 4150, CHANNEL_BOARD},
    {"[[ZUM_WB_POINTER]]", 300, CHANNEL_BOARD},
    {kReceipt, sizeof kReceipt - 1, CHANNEL_TALK},
    {"", 110, CHANNEL_UNSPECIFIED},
    {"", 8192, CHANNEL_UNSPECIFIED},
}};

const std::string& Pattern()
{
    static const std::string all = [] {
        std::string text(kLooks[Video].bytes + kPattern, ' ');
        for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>('a' + i % kPattern);
        return text;
    }();
    return all;
}

std::string_view Filler(std::uint32_t number, std::size_t bytes)
{
    return std::string_view(Pattern()).substr(number * 7 % kPattern, bytes);
}

std::string Payload(Kind kind, std::uint32_t number, int place)
{
    char head[kHead + 1];
    std::snprintf(head, sizeof head, "%016llx%08x%04x",
                  static_cast<unsigned long long>(Clock::now().time_since_epoch().count()), number,
                  unsigned(place));
    std::string text(kLooks[kind].front);
    text += head;
    text += Filler(number, kLooks[kind].bytes - text.size());
    return text;
}

std::uint64_t Hex(std::string_view digits)
{
    std::uint64_t number = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), number, 16);
    return number;
}

/// 127.1.0.1 and on.
asio::ip::address_v4 AddressOf(int number)
{
    return asio::ip::address_v4(0x7F010001u + unsigned(number / 250) * 256 + unsigned(number % 250));
}

}  // namespace

std::string Plan::Handle(int number) const
{
    return handles + std::to_string(100'000 + number);
}

Bot::Bot(asio::io_context& io, std::shared_ptr<const TlsContext> tls, const Plan& plan, Tally& tally,
         Meeting& meeting, int number)
    : mIo(io),
      mTls(std::move(tls)),
      mPlan(plan),
      mTally(tally),
      mMeeting(meeting),
      mNumber(number),
      mPlace(number % plan.perMeeting),
      mChance(unsigned(number) + 1),
      mStream(std::random_device()() | std::uint64_t(number + 1) << 32),
      mHeard(std::size_t(plan.perMeeting))
{
}

std::size_t Bot::Home() const
{
    return std::size_t(mNumber / mPlan.perMeeting + (mPlan.spread ? mPlace : 0)) % mPlan.relays.size();
}

/// As the program's link does: where it was and each time another one, in an order of its own.
std::size_t Bot::Relay() const
{
    const std::size_t all = mPlan.relays.size(), here = mHere.value_or(Home());
    if (mTries % 2 == 0 || all == 1) return here;
    return (here + 1 + (std::size_t(mNumber) + std::size_t(mTries) / 2) % (all - 1)) % all;
}

/// Twice as long each time when all have had their turn.
std::chrono::milliseconds Bot::Wait()
{
    const std::size_t round = 2 * std::max<std::size_t>(mPlan.relays.size() - 1, 1);
    const int doublings = int(std::min<std::size_t>(std::size_t(std::max(mTries, 0)) / round, 6));
    return std::chrono::milliseconds((250 + int(mChance() % 125)) << doublings);
}

asio::awaitable<void> Bot::Pause(std::chrono::milliseconds time)
{
    asio::steady_timer timer(mIo, time);
    co_await timer.async_wait(asio::use_awaitable);
}

asio::awaitable<void> Bot::Run()
{
    const auto milestone = [](Times& times, Clock::time_point since) {
        times.Add(double(std::chrono::nanoseconds(Clock::now() - since).count()) / 1e3);
    };
    auto away = Clock::now();
    for (bool first = true; mTally.phase < Phase::Out; ++mTries) {
        const std::size_t relay = Relay();
        try {
            co_await Connect(mPlan.relays[relay]);
            bool back = false;
            if (!mSeat.meeting().empty()) back = co_await Resume();
            if (!back) {
                co_await LogIn();
                co_await Enter();
            }
            mPresent = true;
            mHere = relay;
            ++mTally.present;
            milestone(first ? mTally.comingIn : mTally.comingBack, away);
            first = false;
            co_await Listen();
        } catch (const std::exception& error) {
            if (mTally.phase < Phase::Out) {
                ++mTally.lost;
                std::snprintf(mTally.why.data(), mTally.why.size(), "%s", error.what());
            }
        }
        if (mTlsStream) mTlsStream->Close();
        if (std::exchange(mPresent, false)) {
            --mTally.present;
            away = Clock::now();
            mTries = -1;
        }
        if (mTally.phase < Phase::Out) co_await Pause(Wait());
    }
    ++mTally.left;
}

// --- coming in -------------------------------------------------------------------------------------

asio::awaitable<void> Bot::Connect(std::uint16_t port)
{
    tcp::socket socket(mIo, tcp::v4());
    socket.set_option(tcp::socket::reuse_address(true));
    socket.bind({AddressOf(mNumber), 0});
    co_await socket.async_connect({asio::ip::address_v4::loopback(), port}, asio::use_awaitable);
    PrepareSocket(socket);
    mTlsStream = std::make_shared<TlsStream>(std::move(socket), mTls);
    mReader = FrameReader(Way::Down);
    mItems = std::make_unique<ItemReader>();
    mWaiting.clear();
    mBusy = mTalks = false;
    co_await mTlsStream->Handshake();
    if (mTlsStream->Peer().fingerprint != mPlan.fingerprint) throw std::runtime_error("another key");
    Header hello;
    hello.mutable_hello()->set_version(kProtocolVersion);
    Send(hello);
    co_await Await(Header::kWelcome);
}

// Whoever is told to try later does, by a new connection when the wait is long.
asio::awaitable<void> Bot::LogIn()
{
    Header header;
    Login& login = *header.mutable_login();
    login.set_handle(mPlan.Handle(mNumber));
    login.set_password(mPlan.password);
    login.set_stream(mStream);
    login.set_again(!mSeat.meeting().empty());
    for (;;) {
        login.set_call(++mCall);
        Send(header);
        const Header answer = co_await Await(Header::kLoggedIn);
        const Result result = answer.logged_in().result();
        if (result == RESULT_OK) co_return;
        if (result != RESULT_LATER) throw std::runtime_error("login: " + Result_Name(result));
        ++mTally.later;
        co_await Pause(std::chrono::milliseconds(answer.logged_in().wait_ms() + mChance() % 1000));
    }
}

asio::awaitable<void> Bot::Enter()
{
    Header header;
    zephyl::Enter& enter = *header.mutable_enter();
    enter.set_code(mPlan.run + std::to_string(100'000 + mNumber / mPlan.perMeeting));
    enter.set_create(mPlace == 0 && mSeat.meeting().empty());
    enter.set_rejoin(mSeat.meeting());
    *enter.mutable_cursor() = mTaken;
    for (;;) {
        enter.set_call(++mCall);
        Send(header);
        const Header answer = co_await Await(Header::kEntered);
        const Result result = answer.entered().result();
        if (result == RESULT_LATER) {
            co_await Pause(std::chrono::milliseconds(answer.entered().wait_ms() + mChance() % 250));
            continue;
        }
        if (result != RESULT_OK) throw std::runtime_error("enter: " + Result_Name(result));
        Seat(answer.entered().place());
        mMeeting.begun = true;
        co_return;
    }
}

asio::awaitable<bool> Bot::Resume()
{
    Header header;
    zephyl::Resume& resume = *header.mutable_resume();
    resume.set_call(++mCall);
    resume.set_meeting(mSeat.meeting());
    resume.set_seat(mSeat.seat());
    resume.set_token(mSeat.token());
    *resume.mutable_cursor() = mTaken;
    Send(header);
    const Header answer = co_await Await(Header::kResumed);
    const Result result = answer.resumed().result();
    if (result == RESULT_LATER) throw std::runtime_error("resume: later");
    if (result != RESULT_OK) co_return false;
    Seat(answer.resumed().place());
    co_return true;
}

/// What the service has not got is sent again.
void Bot::Seat(const Place& place)
{
    mReturned = !mSeat.meeting().empty();
    mSeat = place;
    const auto has = [&](const Sent& one) {
        return one.number <= (one.channel == CHANNEL_TALK ? place.have().talk() : place.have().board());
    };
    for (const Sent& one : mUnsafe)
        if (!has(one)) SendBytes(one.frames);
}

// --- reading ---------------------------------------------------------------------------------------

asio::awaitable<FrameView> Bot::Next()
{
    for (;;) {
        if (const auto frame = mReader.Next()) co_return *frame;
        mReader.Rest();
        co_await mTlsStream->Read(mReader.Intake());
    }
}

asio::awaitable<Header> Bot::Await(Header::MessageCase kind)
{
    for (;;) {
        const FrameView frame = co_await Next();
        if (frame.header.message_case() == kind) co_return frame.header;
        Take(frame);
    }
}

asio::awaitable<void> Bot::Listen()
{
    for (;;) {
        const FrameView frame = co_await Next();
        if (frame.header.has_left()) co_return;
        Take(frame);
    }
}

void Bot::Take(const FrameView& frame)
{
    const Header& header = frame.header;
    if (ItemReader::IsLaneFrame(header)) {
        if (const auto item = mItems->Take(frame)) TakeItem(item->header, item->body);
    } else if (header.has_voice()) {
        TakePayload(Voice, frame.body);
    } else if (header.has_ping()) {
        Header pong;
        pong.mutable_pong()->set_nonce(header.ping().nonce());
        Send(pong);
    } else if (header.has_accepted()) {
        const auto safe = [&](const Sent& one) {
            return one.number <=
                   (one.channel == CHANNEL_TALK ? header.accepted().talk() : header.accepted().board());
        };
        std::erase_if(mUnsafe, safe);
    } else if (header.has_refused()) {
        ++mTally.refused;
    } else if (header.has_skipped()) {
        ++mTally.skipped;
    } else if (header.has_bye()) {
        throw std::runtime_error("bye: " + ByeReason_Name(header.bye().reason()) + " " + header.bye().text());
    }
}

void Bot::TakeItem(const Header& header, std::string_view body)
{
    if (header.has_live()) {
        mLive += body.size();
        TakePayload(Video, body);
        return SendRead();
    }
    const Item& item = header.item();
    if (item.channel() == CHANNEL_TALK)
        mTaken.set_talk(item.sequence());
    else
        mTaken.set_board(item.sequence());
    if (mUnread++ == 0) mUnreadSince = Clock::now();
    if (mUnread >= kReadEveryItems) SendRead();
    if (!item.has_text()) return;
    if (body == kReceipt) {
        ++mTally.received[Receipt];
        return;
    }
    for (const Kind kind : {Line, Stroke, Pointer})
        if (body.starts_with(kLooks[kind].front)) return TakePayload(kind, body);
    ++mTally.damaged;
}

void Bot::TakePayload(Kind kind, std::string_view payload)
{
    const std::size_t front = kLooks[kind].front.size();
    if (payload.size() != kLooks[kind].bytes) {
        ++mTally.damaged;
        return;
    }
    const std::string_view head = payload.substr(front, kHead), rest = payload.substr(front + kHead);
    const auto number = static_cast<std::uint32_t>(Hex(head.substr(16, 8)));
    const std::uint64_t place = Hex(head.substr(24, 4));
    if (place >= mHeard.size() || rest != Filler(number, rest.size())) {
        ++mTally.damaged;
        return;
    }
    std::uint32_t& last = mHeard[place][kind];
    // Behind a cut what is there already comes once more, and is known by its number.
    if (number <= last && IsKept(kind) && mReturned) return;
    if (number == last)
        ++mTally.twice;
    else if (number < last)
        ++mTally.disorder;
    else if (IsKept(kind) && number != last + 1)
        mTally.missing += number - last - 1;
    last = std::max(last, number);
    const Clock::time_point sent(Clock::duration(std::int64_t(Hex(head.substr(0, 16)))));
    mTally.times[kind].Add(double(std::chrono::nanoseconds(Clock::now() - sent).count()) / 1e3);
    ++mTally.received[kind];
    if (kind == Line) {
        ++mTally.sent[Receipt];
        Post(CHANNEL_TALK, kReceipt, {int(place)});
    }
}

void Bot::Miss() const
{
    for (const auto& other : mMeeting.bots)
        for (const Kind kind : {Line, Stroke, Pointer})
            if (other.get() != this)
                mTally.missing += other->mSaid[kind] - mHeard[std::size_t(other->mPlace)][kind];
}

// --- sending ---------------------------------------------------------------------------------------

void Bot::Tick(Clock::time_point now)
{
    if (!mPresent) return;
    if (mUnread > 0 && now - mUnreadSince >= kReadEvery) SendRead();
    if (mTally.phase == Phase::Out && std::exchange(mPresent, false)) {
        --mTally.present;
        Header leave;
        leave.mutable_leave()->set_call(++mCall);
        return Send(leave);
    }
    if (mTally.phase != Phase::Load || mUnsafe.size() > kMostUnsafe) return;
    const int meeting = mNumber / mPlan.perMeeting;
    const auto one = [&](int every) { return every > 0 && meeting % every == 0; };
    if (one(mPlan.voiceEvery) && !std::exchange(mTalks, true)) TalkToAll();
    const std::array<double, kKinds> paces = {mPlan.lines,
                                              mPlace == 1 ? mPlan.strokes : 0,
                                              mPlace == 1 ? mPlan.pointers : 0,
                                              0,
                                              mPlace == 2 && one(mPlan.voiceEvery) ? mPlan.voices : 0,
                                              mPlace == 3 && one(mPlan.videoEvery) ? mPlan.frames : 0};
    for (int kind = 0; kind < kKinds; ++kind) {
        if (paces[std::size_t(kind)] <= 0) continue;
        const auto every =
            std::chrono::duration_cast<Clock::duration>(1s / (paces[std::size_t(kind)] * mPlan.scale));
        Clock::time_point& due = mDue[std::size_t(kind)];
        if (due == Clock::time_point())
            due =
                now + Clock::duration(std::int64_t(double(every.count()) * double(mChance() % 1000) / 1000));
        for (; due <= now; due += every) Say(Kind(kind));
    }
}

void Bot::TalkToAll()
{
    Header header;
    for (int other = 0; other < mPlan.perMeeting; ++other)
        if (other != mPlace) header.mutable_voice_to()->add_handles(mPlan.Handle(mNumber - mPlace + other));
    Send(header);
}

void Bot::Say(Kind kind)
{
    const std::uint32_t number = ++mSaid[kind];
    ++mTally.sent[kind];
    const std::string payload = Payload(kind, number, mPlace);
    if (IsKept(kind)) {
        std::vector<int> to;
        for (int other = 0; kind == Line && other < mPlan.perMeeting; ++other)
            if (other != mPlace) to.push_back(other);
        return Post(kLooks[kind].channel, payload, to);
    }
    Header header;
    if (kind == Voice) {
        header.mutable_voice()->set_frame(number);
        header.mutable_voice()->set_level(20);
        return Send(header, payload);
    }
    header.mutable_live()->set_everyone(true);
    header.mutable_live()->mutable_picture()->set_type(kVideoFrame);
    header.mutable_live()->set_frame(number);
    header.mutable_live()->set_total(std::uint32_t(payload.size()));
    std::string bytes;
    AppendItem(bytes, header, LANE_LIVE, payload, Way::Up);
    SendBytes(bytes);
}

void Bot::Post(Channel channel, const std::string& text, const std::vector<int>& to)
{
    Header header;
    zephyl::Post& post = *header.mutable_post();
    post.set_channel(channel);
    post.set_number(channel == CHANNEL_TALK ? ++mTalk : ++mBoard);
    post.mutable_text();
    post.set_total(std::uint32_t(text.size()));
    const int first = mNumber - mPlace;
    for (const int other : to) post.mutable_recipients()->add_handles(mPlan.Handle(first + other));
    if (to.empty()) post.set_everyone(true);
    std::string bytes;
    AppendItem(bytes, header, LaneOf(header), text, Way::Up);
    mUnsafe.push_back({channel, post.number(), bytes});
    if (mPresent) SendBytes(bytes);
}

void Bot::SendRead()
{
    mUnread = 0;
    Header header;
    header.mutable_read()->set_talk(mTaken.talk());
    header.mutable_read()->set_board(mTaken.board());
    header.mutable_read()->set_live_bytes(mLive);
    Send(header);
}

void Bot::Send(const Header& header, std::string_view body)
{
    std::string bytes;
    AppendFrame(bytes, header, body, Way::Up);
    SendBytes(bytes);
}

void Bot::SendBytes(std::string_view bytes)
{
    if (mBusy) {
        mWaiting += bytes;
        return;
    }
    try {
        if (!mTlsStream->Put(bytes)) WaitWritable();
    } catch (const std::exception&) {
        mTlsStream->Close();  // whoever reads hears of it
    }
}

void Bot::WaitWritable()
{
    mBusy = true;
    mTlsStream->Tcp().async_wait(tcp::socket::wait_write,
                                 [this, stream = mTlsStream](boost::system::error_code error) {
                                     if (error || stream != mTlsStream) return;
                                     try {
                                         if (!stream->Flush()) return WaitWritable();
                                     } catch (const std::exception&) {
                                         return stream->Close();
                                     }
                                     mBusy = false;
                                     if (!mWaiting.empty()) SendBytes(std::exchange(mWaiting, {}));
                                 });
}

}  // namespace crowd
