// What the relay says, and what people are told of it.

#include <algorithm>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "service/link/session_parts.h"
#include "service/link/words.h"

namespace zephyl::link {

namespace asio = boost::asio;

std::string RefusalText(Result result)
{
    const auto said = [](const QString& text) { return text.toStdString(); };
    switch (result) {
        case RESULT_OK: return {};
        case RESULT_WRONG:
            return said(
                English("The handle or the password is wrong: type both again. Where people choose their "
                        "handles themselves, this one may be taken: choose another one."));
        case RESULT_LATER:
            return said(
                English("The service is busy, or has seen too many wrong tries. Try again in a minute."));
        case RESULT_TAKEN_OVER:
            return said(English("This handle is logged in from another place. Leave there first."));
        case RESULT_IN_USE:
            return said(English("The meeting code is in use. Join that meeting, or choose another code."));
        case RESULT_NOT_FOUND:
            return said(English("No meeting has this code. Check it, or start the meeting."));
        case RESULT_NOT_PERMITTED:
            return said(English("This handle may not enter the meeting. Ask the service's operator."));
        case RESULT_ENDED: return said(English("The meeting has ended. Start it anew, or join another one."));
        case RESULT_FULL: return said(English("The meeting is full. Meet under another code."));
        case RESULT_NO_MAIL:
            return said(English("This service sends no mail. Ask its operator for a new password."));
        case RESULT_NO_ADDRESS:
            return said(
                English("The service has no mail address for this handle. Ask its operator for a new "
                        "password."));
        case RESULT_MAIL_FAILED:
            return said(
                English("The service could not send the mail. Try again later, or ask its operator for "
                        "a new password."));
        case RESULT_MAIL_WAITS:
            return said(
                English("The mail server has not taken the mail yet. Look into your mailbox in a few "
                        "minutes, before you ask again."));
        default: return said(English("The service refused and does not say why. Ask its operator."));
    }
}

std::string MailLaterText(std::chrono::milliseconds wait)
{
    const auto minutes = std::max<std::int64_t>(1, std::chrono::ceil<std::chrono::minutes>(wait).count());
    return English(
               "A password was mailed a short while ago, or too many are asked for. Look into your mailbox; "
               "another one can be asked for in %1 min.")
        .arg(minutes)
        .toStdString();
}

void Session::OnFrame(const FrameView& frame)
{
    const Header& header = frame.header;
    if (header.has_welcome()) return TakeWelcome(header.welcome());
    if (header.has_bye()) return OnBye(header.bye());
    if (header.has_relays())
        return LearnRelays({header.relays().relays().begin(), header.relays().relays().end()});
    if (const std::uint32_t call = AnsweredCall(header)) return mCalls.Answer(call, header);
    // What belongs to a meeting is nothing before the login.
    if (mPhase != Phase::Idle) OnMeetingFrame(frame);
}

void Session::TakeWelcome(const Welcome& welcome)
{
    LearnRelays({welcome.relays().begin(), welcome.relays().end()});
    mLanes.SetLiveLimits(welcome.limits().live_frames_each_second(),
                         welcome.limits().live_bytes_each_second());
    mDatagramPort = welcome.udp_port() <= UINT16_MAX ? std::uint16_t(welcome.udp_port()) : 0;
}

void Session::LearnRelays(std::vector<std::string> named)
{
    if (!mTarget.personal) mRound.Learn(std::move(named), mRandom);
    if (mConnection && !mRound.Alone()) mConnection->OthersMayServe();
}

void Session::OnMeetingFrame(const FrameView& frame)
{
    const Header& header = frame.header;
    if (header.has_item() || header.has_live() || header.has_more()) return OnItem(frame);
    if (mPhase != Phase::Seated) return;
    if (header.has_kept_at()) return GoToKeeper(header.kept_at().relay());
    if (header.has_voice()) return OnVoice(header.voice(), frame.body);
    if (header.has_accepted()) return OnAccepted(header.accepted());
    if (header.has_refused()) return OnRefused(header.refused());
    if (header.has_skipped() && mIncoming.OnSkipped(header.skipped()))
        Say(English("Something is missing: it was too long ago for the service to keep it. Ask the others."));
    // Newer peers may say more.
}

void Session::OnItem(const FrameView& frame)
{
    const auto item = mReader.Take(frame);
    if (!item || mPhase != Phase::Seated) return;
    mProgress = true;
    if (item->header.has_live()) {
        mIncoming.OnLive(*item);
        return ReportRead();
    }
    if (item->header.item().has_notice()) Say(QString::fromStdString(item->header.item().notice().text()));
    mIncoming.OnItem(*item);
    if (item->header.item().has_presence()) OnPresence(item->header.item().presence());
    if (mLeaving) ReportRead();
}

void Session::OnAccepted(const zephyl::Accepted& accepted)
{
    const std::size_t before = mOutbox.Count();
    const std::uint64_t lines = mOutbox.Accepted(accepted.talk(), accepted.board());
    if (mOutbox.Count() < before) mProgress = true;
    if (lines > 0) mQueue.LinesAccepted(lines);
    NotifyChanged();
}

void Session::OnRefused(const Refused& refused)
{
    const OutboxEntryPtr entry = mOutbox.Refused(refused.channel(), refused.number());
    if (entry) {
        // Refusals come one by one, often many behind a return: each remark names all of them.
        if (std::chrono::steady_clock::now() - mRefusedAt > kRemarkStays) mRefused.clear();
        mRefusedAt = std::chrono::steady_clock::now();
        auto named = std::make_shared<OutboxEntry>(*entry);
        named->what.body.reset();
        named->what.room.reset();
        if (entry->what.line > 0) mQueue.LineLost(entry->what.line);
        if (entry->what.post > 0) mIncoming.Lose(entry->what.post);
        mRefused.push_back(std::move(named));
        mRefusedWhy = refused.reason();
        SayRefused();
    }
    NotifyChanged();
}

/// Now, or a moment later with what else is refused until then.
void Session::SayRefused()
{
    mRefusedUnsaid = !mRemarks.May(std::chrono::steady_clock::now());
    if (!mRefusedUnsaid)
        Tell(UndeliveredText(mRefused) + QStringLiteral(" (%1)").arg(QString::fromStdString(mRefusedWhy)));
}

void Session::OnBye(const Bye& bye)
{
    const std::string end = EndText(bye);
    if (!end.empty() && mPhase == Phase::Idle)  // there is no session yet: whoever asks is told
        return mCalls.Fail(std::make_exception_ptr(EndedForGood(end)));
    if (!end.empty()) return End(QString::fromStdString(end));
    const bool elsewhere = bye.reason() == BYE_RESTART && !mRound.Alone();
    if (elsewhere)
        mFirst = RelayRound::First::Elsewhere;  // and no reason to wait
    else
        mAskedWait = AskedWait(bye.wait_ms());
    const std::string reason = bye.text().empty() ? "the service closed the connection" : bye.text();
    CloseConnection(reason);
    OnLost(reason);
}

void Session::TakePlace(const Place& place)
{
    mSeat->meeting = place.meeting();
    mSeat->number = place.seat();
    mSeat->token = place.token();
    mReported = {};
    mBoardToCome = 0;
    mOutbox.Resume(place.have().talk(), place.have().board());
    mLanes.SetOpen(true);
    mReady = true;
    OpenDatagrams(place);
    SayTalkWith();
    TellVoicePeople();
    NotifyChanged();
    mConnection->Wake();
}

void Session::End(const QString& reason)
{
    if (!EndReason().isEmpty() || mPhase == Phase::Idle) return;
    {
        const std::lock_guard lock(mEndMutex);
        mEndReason = reason;
    }
    const QString undelivered = TakeUndelivered();
    if (mPhase == Phase::Seated && !mLeaving) mIncoming.End(mIncoming.Entry());
    Drop();
    State(LinkState::Phase::Ended, undelivered.isEmpty() ? reason : reason + u' ' + undelivered);
}

QString Session::EndReason() const
{
    const std::lock_guard lock(mEndMutex);
    return mEndReason;
}

// --- telling people ------------------------------------------------------------------------------------

/// What the service can make us say, so not without a pause.
void Session::Say(const QString& text)
{
    if (const auto left = mRemarks.Next(std::chrono::steady_clock::now()))
        Tell(*left == 0 ? text : text + QStringLiteral(" (and %1 more remarks)").arg(*left));
}

void Session::Tell(const QString& full)
{
    const QString text = full.left(kRemarkLength);
    mNeeds.log(text);
    LinkState state;
    state.phase = mReady || mUntold ? LinkState::Phase::Connected : LinkState::Phase::Cut;
    state.text = text;
    state.details = Details();
    state.remark = true;
    mQueue.PushState(std::move(state));
}

void Session::State(LinkState::Phase phase, const QString& text, LinkState::Back back)
{
    if (!text.isEmpty() && text != QLatin1String(kNotInMeeting)) {
        mSaid = text;
        mSaidAt = std::chrono::steady_clock::now();
    }
    LinkState state;
    state.phase = phase;
    state.back = back;
    state.text = text;
    state.details = Details();
    mQueue.PushState(std::move(state));
}

/// Which way live pictures take, where they might go by UDP.
static QString RoadText(const LinkStats& stats)
{
    const auto lost = [](std::uint64_t part, std::uint64_t all) {
        return QString::number(all ? 100 * double(part) / double(all) : 0, 'f', 1);
    };
    const char* const road =
        stats.upByUdp && stats.downByUdp ? "TLS over TCP; live pictures by UDP (lost: %1 % up and %2 % down)"
        : stats.upByUdp   ? "TLS over TCP; own live pictures by UDP (lost: %1 % up and %2 % down)"
        : stats.downByUdp ? "TLS over TCP; live pictures of others by UDP (lost: %1 % up and %2 % down)"
                          : "TLS over TCP; live pictures, too: UDP does not pass";
    QString text = English(road);
    if (!stats.upByUdp && !stats.downByUdp) return text;
    return text.arg(lost(stats.datagramsLost, stats.datagramsSent),
                    lost(stats.datagramsMissed, stats.datagramsMissed + stats.datagramsReceived));
}

QString Session::Details() const
{
    const LinkStats stats = Stats();
    const bool exchanges = mTarget.to.protocol == Protocol::Http;
    QString details = mDatagrams  ? RoadText(stats)
                      : exchanges ? English("HTTP inside TLS")
                                  : English("TLS over TCP");
    if (!stats.relay.empty())
        details = English("At the relay %1: %2").arg(QString::fromStdString(stats.relay), details);
    if (stats.roundTripMicroseconds > 0)
        details +=
            QStringLiteral(", round trip %1 ms").arg(double(stats.roundTripMicroseconds) / 1000, 0, 'f', 1);
    return details +
           QStringLiteral(", %1 bytes sent, %2 bytes received").arg(stats.bytesOut).arg(stats.bytesIn);
}

LinkStats Session::Stats() const
{
    const ReadMarks marks = mQueue.Marks(false);
    LinkStats stats;
    stats.outbox = mOutbox.Count();
    stats.numberTalk = mOutbox.Highest(CHANNEL_TALK);
    stats.numberBoard = mOutbox.Highest(CHANNEL_BOARD);
    stats.acceptedTalk = mOutbox.AcceptedUpTo(CHANNEL_TALK);
    stats.acceptedBoard = mOutbox.AcceptedUpTo(CHANNEL_BOARD);
    stats.cursorTalk = marks.talk;
    stats.cursorBoard = marks.board;
    stats.enteredBoard = mIncoming.EnteredBoard();
    stats.boardToCome = marks.boardBytes + kNearlyAll + mBoardToCome / 20 >= mBoardToCome
                            ? 0
                            : mBoardToCome - marks.boardBytes;
    stats.reconnects = mReconnects;
    stats.relay = mRound.Elsewhere();
    const Traffic now = mConnection ? mConnection->Counts() : Traffic{};
    stats.bytesIn = mEarlier.bytesIn + now.bytesIn;
    stats.bytesOut = mEarlier.bytesOut + now.bytesOut;
    stats.roundTripMicroseconds = std::uint64_t(now.roundTrip.count());
    const RoadFigures road = mDatagrams ? mDatagrams->Figures() : RoadFigures{};
    stats.upByUdp = road.goes;
    stats.downByUdp = road.comes;
    stats.datagramsSent = road.sent;
    stats.datagramsLost = road.lost;
    stats.datagramsReceived = road.received;
    stats.datagramsMissed = road.missed;
    return stats;
}

/// What the last panel says while nothing happens: how far a newcomer's board is, else the last remark for a
/// while, else nothing.
QString Session::Standing()
{
    if (mPhase != Phase::Seated) return QLatin1String(kNotInMeeting);
    if (Stats().boardToCome == 0) mBoardToCome = 0;
    if (mBoardToCome > 0)
        return English("Receiving the board: %1 %").arg(mQueue.Marks(false).boardBytes * 100 / mBoardToCome);
    return std::chrono::steady_clock::now() - mSaidAt < kRemarkStays ? mSaid : QString();
}

void Session::ShowStanding()
{
    QString standing = Standing();
    mQueue.PushState(
        {LinkState::Phase::Connected, LinkState::Back::No, std::move(standing), Details(), false});
}

/// Once a second: what was taken meanwhile is reported, and the figures for the tooltip now and then.
asio::awaitable<void> Session::Tick()
{
    const auto self = shared_from_this();
    for (int seconds = 1; mPhase != Phase::Idle; ++seconds) {
        mTick.expires_after(kReadEvery);
        co_await mTick.async_wait(asio::as_tuple(asio::use_awaitable));
        if (mPhase == Phase::Idle) co_return;
        ReportRead();
        if (mRefusedUnsaid) SayRefused();
        if (!mReady) continue;
        if (mBoardToCome > 0 || seconds % kDetailsEverySeconds == 0) ShowStanding();
    }
}

QString Session::TakeUndelivered()
{
    const std::vector<OutboxEntryPtr> left = mOutbox.TakeAll();
    for (const OutboxEntryPtr& entry : left) {
        if (entry->what.line > 0) mQueue.LineLost(entry->what.line);
        if (entry->what.post > 0) mIncoming.Lose(entry->what.post);
    }
    const QString text = UndeliveredText(left);
    if (!text.isEmpty()) mNeeds.log(text);
    return text;
}

QString UndeliveredText(const std::vector<OutboxEntryPtr>& entries)
{
    std::map<std::pair<QString, bool>, int> counts;
    for (const OutboxEntryPtr& entry : entries) {
        QStringList to;
        for (const std::string& handle : entry->what.audience.handles) to += QString::fromStdString(handle);
        const QString whom =
            entry->what.audience.everyone ? QStringLiteral("everyone") : to.join(QStringLiteral(", "));
        ++counts[{whom, entry->channel == CHANNEL_BOARD}];
    }
    QStringList parts;
    for (const auto& [what, count] : counts) {
        const QString noun = what.second ? QStringLiteral("drawing") : QStringLiteral("line");
        parts += QStringLiteral("%1 %2%3 to %4")
                     .arg(count)
                     .arg(noun, count == 1 ? QString() : QStringLiteral("s"), what.first);
    }
    return parts.isEmpty() ? QString()
                           : QStringLiteral("Not delivered: %1.").arg(parts.join(QStringLiteral("; ")));
}

}  // namespace zephyl::link
