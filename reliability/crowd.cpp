#include "reliability/crowd.h"

#include <algorithm>

#include "contract/messenger_service.h"
#include "messaging/record_kinds.h"
#include "service/link/link_messenger.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace reliability {
namespace {

const QString kRecord = u"[[ZUM_WB_PEN]]"_s;
const QString kLine = u"line "_s;
const QString kCode = u"ROOM01"_s;
constexpr double kNotBack = 60'000;  // milliseconds

int NumberOf(const QString& handle)
{
    return handle.mid(1).section(u' ', 0, 0).toInt();
}

}  // namespace

QString Payload(Channel channel, int sender, std::uint32_t number, std::size_t bytes)
{
    QString text = (channel == Board ? kRecord : kLine) + u"%1/%2/"_s.arg(number).arg(bytes);
    const std::size_t start = std::size_t(number) * 7 + std::size_t(sender) * 3;
    text.reserve(qsizetype(bytes));
    for (std::size_t i = std::size_t(text.size()); i < bytes; ++i)
        text += QChar(char16_t(u'a' + (start + i) % 23));
    return text;
}

std::optional<Read> ReadPayload(Channel channel, int sender, const QString& text)
{
    const QString& head = channel == Board ? kRecord : kLine;
    if (!text.startsWith(head)) return std::nullopt;
    const QStringList words = text.mid(head.size(), 40).split(u'/');
    if (words.size() < 2) return Read{0, false};
    const Read read{words[0].toUInt(), false};
    return Read{read.number, text == Payload(channel, sender, read.number, words[1].toULongLong())};
}

bool Entry::Take(const QString& fromHandle, const QString& text)
{
    const int sender = NumberOf(fromHandle);
    for (const Channel channel : {Talk, Board}) {
        const auto read = ReadPayload(channel, sender, text);
        if (!read) continue;
        if (!read->whole) ++damaged;
        applied[channel].push_back({sender, read->number, Clock::now()});
        return true;
    }
    return false;
}

void Sleep(double milliseconds)
{
    std::this_thread::sleep_for(std::chrono::duration<double, std::milli>(milliseconds));
}

bool WaitFor(const std::function<bool()>& enough, double seconds)
{
    const Time begun = Clock::now();
    while (!enough()) {
        if (Since(begun) > seconds * 1000) return false;
        Sleep(3);
    }
    return true;
}

Client::Client(const Site& site, int number)
    : proxy(site.Port()),
      mNumber(number),
      mHandle(u"c%1"_s.arg(number)),
      mAttendee(u"127.0.0.1:%1"_s.arg(proxy.Port()), site.Fingerprint())
{
    // Not all of them at the same one.
    std::vector<std::uint16_t> doors = site.Doors();
    std::rotate(doors.begin(), doors.begin() + number % std::ptrdiff_t(doors.size()), doors.end());
    proxy.SetTargets(std::move(doors));
    mAttendee.watcher = this;
    mThread = std::thread([this] {
        while (!mStop) {
            mAttendee.Until([this] { return mStop || Due(); });
            if (!mStop) SendDue();
        }
    });
}

Client::~Client()
{
    mStop = true;
    mAttendee.Post([] {});
    mThread.join();
}

void Client::Enter(const QString& code, bool create)
{
    Do([&] {
        if (!mAttendee.link->LoggedIn() && !mAttendee.Login(mHandle))
            throw std::runtime_error("login refused: " + mAttendee.link->LastRefusal().toStdString());
        const bool in = create ? mAttendee.link->CreateMeeting(code, {}) : mAttendee.link->JoinMeeting(code);
        if (!in) throw std::runtime_error("the meeting is refused");
        entries.emplace_back();
    });
}

void Client::Leave()
{
    Do([&] { mAttendee.link->LeaveMeeting(); });
}

void Client::SetLoad(const Load& load)
{
    Do([&] {
        mLoad = load;
        mNext.fill(Clock::now());
    });
}

void Client::SendOne(Channel channel, std::size_t bytes)
{
    Do([&] { Transmit(channel, bytes); });
}

bool Client::Until(const std::function<bool()>& enough, double seconds)
{
    return WaitFor([&] { return Do(enough); }, seconds);
}

LinkStats Client::Stats()
{
    return Do([&] { return StatsOf(*mAttendee.link); });
}

bool Client::Due() const
{
    const Time now = Clock::now();
    return (mLoad.records > 0 && mNext[Board] <= now) || (mLoad.lines > 0 && mNext[Talk] <= now);
}

void Client::SendDue()
{
    const Time now = Clock::now();
    const auto catchUp = [&](Channel channel, double pace, std::size_t bytes) {
        for (; pace > 0 && mNext[channel] <= now;
             mNext[channel] += std::chrono::duration_cast<Clock::duration>(1s / pace)) {
            if (mAttendee.link->SendingIsTight())
                ++heldBack;
            else
                Transmit(channel, bytes);
        }
    };
    catchUp(Board, mLoad.records, mLoad.recordBytes);
    catchUp(Talk, mLoad.lines, mLoad.lineBytes);
}

void Client::Transmit(Channel channel, std::size_t bytes)
{
    MessengerService& link = *mAttendee.link;
    const auto items = link.Users()->Items();
    if (items.size() < 2 && channel == Talk) return;  // nobody to talk to
    const std::uint32_t number = ++mNumbers[channel];
    const QString text = Payload(channel, mNumber, number, bytes);
    sent[channel].push_back({number, Clock::now()});
    if (items.size() < 2)
        link.Keep(text);
    else if (channel == Board)
        mAttendee.Draw(text);
    else
        for (const auto& item : items)
            if (item->Handle() != mHandle) link.Send(item->Handle(), text);
    ++sentCount;
}

void Client::NewMessage(const QString& fromHandle, const QString& message)
{
    if (onText) onText(NumberOf(fromHandle), message);
    if (!entries.empty() && entries.back().Take(fromHandle, message)) ++appliedCount;
}

void Client::StatusChanged(const QString& userHandle, qint32 newStatus)
{
    if (!entries.empty()) entries.back().presence.emplace_back(NumberOf(userHandle), newStatus);
}

void Client::VideoFrame(const QString&, const PicturePtr& frame, int, int, qint32)
{
    if (onFrame) onFrame(frame);
}

void Client::LinkChanged(const LinkState& state)
{
    const bool wasCut = !states.empty() && states.back().state.phase == LinkState::Phase::Cut;
    if (state.phase == LinkState::Phase::Cut && !wasCut) ++cuts;
    if (state.phase == LinkState::Phase::Ended) ++ends;
    if (state.back != LinkState::Back::No) ++returns;
    states.push_back({state, Clock::now()});
}

Crowd Gather(const Site& site, int count, const std::function<void(Client&)>& prepare)
{
    Crowd crowd;
    for (int i = 0; i < count; ++i) {
        crowd.push_back(std::make_unique<Client>(site, i));
        if (prepare) prepare(*crowd.back());
        crowd.back()->Enter(kCode, i == 0);
    }
    for (auto& one : crowd)
        if (!one->Until([&] { return int(one->Attendee().Handles().size()) == count; }))
            throw std::runtime_error("not everybody holds everybody");
    for (auto& one : crowd) one->Do([&] { one->entries.back().presence.clear(); });
    return crowd;
}

void SetLoad(const Crowd& crowd, const Load& load)
{
    for (auto& one : crowd) one->SetLoad(load);
}

void Follow(const Crowd& crowd, const Site& site)
{
    for (auto& one : crowd) one->proxy.SetTargets(site.Doors());
}

bool AtRest(const Crowd& crowd, double seconds)
{
    return WaitFor(
        [&] {
            std::uint64_t all = 0;
            for (auto& one : crowd) all += one->sentCount;
            for (auto& one : crowd)
                if (one->appliedCount < all - one->sentCount) return false;
            for (auto& one : crowd)
                if (one->Stats().outbox > 0) return false;
            return true;
        },
        seconds);
}

double UntilBack(Client& client, const Crowd& crowd)
{
    const Time begun = Clock::now();
    std::uint64_t sent = 0;
    for (const auto& one : crowd) sent += one.get() == &client ? 0 : one->sentCount.load();
    const LinkStats own = client.Stats();
    const bool back = WaitFor(
        [&] {
            if (client.appliedCount < sent) return false;
            const LinkStats now = client.Stats();
            return now.acceptedTalk >= own.numberTalk && now.acceptedBoard >= own.numberBoard;
        },
        kNotBack / 1000);
    return back ? Since(begun) : kNotBack;
}

double UntilAllBack(const Crowd& crowd)
{
    std::vector<std::future<double>> waits;
    for (const auto& one : crowd)
        waits.push_back(std::async(std::launch::async, [&] { return UntilBack(*one, crowd); }));
    double slowest = 0;
    for (auto& wait : waits) slowest = std::max(slowest, wait.get());
    return slowest;
}

}  // namespace reliability
