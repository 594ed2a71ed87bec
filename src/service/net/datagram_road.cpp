#include "service/net/datagram_road.h"

#include <algorithm>
#include <cmath>

#include "service/net/spare_parts.h"

namespace zephyl {
namespace {

using namespace std::chrono_literals;
using Clock = DatagramRoad::Clock;

// Kinds; others are skipped.
constexpr char kPart = 1, kProbe = 2, kAnswer = 3, kReport = 4, kSpare = 5;

// Behind the kind of a word: number, flags, the highest counter that came, how many datagrams, their bytes.
constexpr std::size_t kNumberAt = 1, kFlagsAt = 9, kHighestAt = 10, kDatagramsAt = 18, kBytesAt = 26;
constexpr std::size_t kWordBytes = 34;
constexpr char kGoesFlag = 1;

constexpr auto kProbeEvery = 5s;
constexpr auto kAnswerWithin = 1s;
constexpr auto kDoubtAfter = 1s;  // without news of what was sent
constexpr int kUnansweredMost = 2;
constexpr int kQuickTries = 4;       // at once, then at the usual pace
constexpr auto kReportEvery = 50ms;  // while frames are not whole, or small, which set no pace
constexpr auto kReportWhole = 10ms;  // when a large one is
// Frames made whole of spares, a second: what one client sends, and what it gets. The work is the receiver's.
constexpr double kRestoresOfOne = 60, kRestoresOfAll = 300;
constexpr auto kGoneAfter = 500ms;  // no longer on the way, whether it came or not

constexpr auto kJudgeEvery = 1s;
constexpr double kJudgeDatagrams = 30;  // fewer say nothing
constexpr double kLossMost = 0.05;
constexpr double kByChance = 2;  // standard deviations
constexpr double kHopelessLoss = 0.3;
constexpr int kHopelessMost = 2;
constexpr auto kHopelessFor = 30s;
constexpr double kGrowth = 1.1;
constexpr double kFirstRate = 2 << 20, kLeastRate = 128 << 10, kMostRate = 64 << 20;
constexpr double kMostCredit = kDatagramFrameBytes;

double Seconds(Clock::duration time)
{
    return std::chrono::duration<double>(time).count();
}

Clock::duration TimeOf(double seconds)
{
    return std::chrono::ceil<Clock::duration>(std::chrono::duration<double>(seconds));
}

}  // namespace

DatagramRoad::DatagramRoad(const DatagramKeys& keys, Begins begins, Clock::time_point now)
    : mSealer(keys.id, keys.send),
      mOpener(keys.receive),
      mRestoresEachSecond(begins == Begins::There ? kRestoresOfOne : kRestoresOfAll),
      mRestoresAt(now),
      mMaySpeak(begins == Begins::Here),
      mJudgedAt(now),
      mRate(kFirstRate),
      mCredit(kMostCredit),
      mCreditAt(now)
{
}

// --- what comes --------------------------------------------------------------------------------------

DatagramRoad::Arrived DatagramRoad::Take(std::string_view datagram, Clock::time_point now, DatagramBatch& out)
{
    Arrived arrived;
    DatagramOpener::Plain memory;
    const std::uint64_t highest = mOpener.Highest();
    const auto plain = mOpener.Open(datagram, memory);
    if (!plain) return arrived;
    arrived.authentic = true;
    arrived.newest = mOpener.Highest() > highest;
    ++mDatagrams;
    mBytes += datagram.size();
    const char kind = plain->front();
    if (kind == kPart || kind == kSpare)
        TakePart(*plain, now, out, arrived);
    else if ((kind == kProbe || kind == kAnswer || kind == kReport) && plain->size() >= kWordBytes)
        arrived.news = TakeWord(*plain, now, out);
    if (!mMaySpeak) {
        mMaySpeak = true;
        Probe(now, out);
    }
    SayChange(out);
    return arrived;
}

bool DatagramRoad::MayRestore(Clock::time_point now)
{
    mRestores = std::min(mRestoresEachSecond, mRestores + mRestoresEachSecond * Seconds(now - mRestoresAt));
    mRestoresAt = now;
    return mRestores >= 1;
}

void DatagramRoad::TakePart(std::string_view plain, Clock::time_point now, DatagramBatch& out,
                            Arrived& arrived)
{
    const std::uint64_t restored = mGatherer.Restored();
    if (plain.front() == kPart) {
        arrived.frame = mGatherer.Take(plain.substr(1));
    } else if (MayRestore(now)) {
        arrived.frame = mGatherer.Take(plain.substr(1), PartGatherer::What::Spare);
    }
    mRestores -= double(mGatherer.Restored() - restored);
    const bool large = arrived.frame && arrived.frame->size() > kPartBytes;
    if (now - mReportedAt < (large ? kReportWhole : kReportEvery)) return;
    mReportedAt = now;
    SayWord(out, kReport, 0, kWordBytes);
}

bool DatagramRoad::TakeWord(std::string_view word, Clock::time_point now, DatagramBatch& out)
{
    const auto number = ReadBigEndian(word.substr(kNumberAt, 8));
    Heard heard;
    heard.goes = (word[kFlagsAt] & kGoesFlag) != 0;
    heard.highest = ReadBigEndian(word.substr(kHighestAt, 8));
    heard.datagrams = ReadBigEndian(word.substr(kDatagramsAt, 8));
    heard.bytes = ReadBigEndian(word.substr(kBytesAt, 8));
    bool news = TakeHeard(heard, now);
    if (word.front() == kProbe) SayWord(out, kAnswer, number, kWordBytes);
    if (word.front() == kAnswer && number > mAnswered && number <= mProbe) {
        mAnswered = number;
        if (number == mProbe) {
            mAsked = false;
            mRoundTrip = std::chrono::duration_cast<std::chrono::microseconds>(now - mProbedAt);
        }
        if (now >= mNotBefore) mGoes = true;
        news = true;
    }
    if (news) Passed(now);
    return news;
}

/// True: more of ours has arrived than was known. What cannot be is not believed.
bool DatagramRoad::TakeHeard(const Heard& heard, Clock::time_point now)
{
    if (heard.highest > mSealer.Sent() || heard.datagrams > heard.highest) return false;
    if (heard.highest < mTheirs.highest || heard.datagrams < mTheirs.datagrams) return false;
    const bool news = heard.highest > mTheirs.highest;
    if (heard.bytes > mTheirs.bytes) mAllowance.Answered(heard.bytes - mTheirs.bytes, now);
    mTheirs = heard;
    for (; !mOnTheWay.empty() && mOnTheWay.front().upTo <= heard.highest; mOnTheWay.pop_front())
        mOnTheWayBytes -= mOnTheWay.front().bytes;
    Judge(now);
    return news;
}

// --- whether datagrams pass ----------------------------------------------------------------------------

void DatagramRoad::Passed(Clock::time_point now)
{
    mUnanswered = mTries = 0;
    mDoubted = mOnTheWay.empty() ? std::nullopt : std::optional(now);
}

void DatagramRoad::Failed()
{
    mGoes = false;
    mOnTheWay.clear();
    mOnTheWayBytes = 0;
    mDoubted.reset();
}

/// As large as a datagram can be: a road that is too narrow for those is none. Answers are short.
void DatagramRoad::Probe(Clock::time_point now, DatagramBatch& out)
{
    mProbedAt = now;
    mAsked = true;
    ++mTries;
    SayWord(out, kProbe, ++mProbe, kDatagramPlainBytes);
}

Clock::time_point DatagramRoad::NextProbe() const
{
    if (!mMaySpeak) return Clock::time_point::max();
    if (mAsked) return mProbedAt + kAnswerWithin;
    if (mUnanswered > 0 && mTries < kQuickTries) return mProbedAt;
    if (mTries == 0 && mProbe == 0) return mProbedAt;
    const Clock::time_point usual = mProbedAt + kProbeEvery;
    return mGoes && mDoubted ? std::min(usual, *mDoubted + kDoubtAfter) : usual;
}

Clock::time_point DatagramRoad::Tick(Clock::time_point now, DatagramBatch& out)
{
    if (mAsked && now >= mProbedAt + kAnswerWithin) {
        mAsked = false;
        if (++mUnanswered >= kUnansweredMost) Failed();
    }
    if (!mAsked && now >= NextProbe()) Probe(now, out);
    SayChange(out);
    return NextProbe();
}

/// The other side tells its user.
void DatagramRoad::SayChange(DatagramBatch& out)
{
    if (mMaySpeak && mSaidGoes != mGoes) SayWord(out, kReport, 0, kWordBytes);
}

void DatagramRoad::SayWord(DatagramBatch& out, char kind, std::uint64_t number, std::size_t bytes)
{
    char word[kDatagramPlainBytes] = {};
    word[0] = kind;
    word[kFlagsAt] = mGoes ? kGoesFlag : 0;
    mSaidGoes = mGoes;
    PutBigEndian(word + kNumberAt, number, 8);
    PutBigEndian(word + kHighestAt, mOpener.Highest(), 8);
    PutBigEndian(word + kDatagramsAt, mDatagrams, 8);
    PutBigEndian(word + kBytesAt, mBytes, 8);
    if (!mSealer.Seal(out, std::string_view(word, bytes), {})) Failed();
}

// --- what goes -----------------------------------------------------------------------------------------

void DatagramRoad::Judge(Clock::time_point now)
{
    const double sent = double(mTheirs.highest - mJudged.highest);
    if (now - mJudgedAt < kJudgeEvery || sent < kJudgeDatagrams) return;
    const double lost = sent - double(mTheirs.datagrams - mJudged.datagrams);
    mLoss += (std::max(0.0, lost) / sent - mLoss) / 2;
    if (lost > kLossMost * sent + kByChance * std::sqrt(kLossMost * sent)) {
        const double used = double(mTheirs.bytes - mJudged.bytes) / Seconds(now - mJudgedAt) * sent /
                            std::max(1.0, sent - lost);
        mHopeless = mRate <= kLeastRate && lost > kHopelessLoss * sent ? mHopeless + 1 : 0;
        mRate = std::max(kLeastRate, std::min(mRate, used) / 2);
    } else {
        if (mPressed) mRate = std::min(kMostRate, mRate * kGrowth);
        mHopeless = 0;
    }
    if (mHopeless >= kHopelessMost) {
        Failed();
        mHopeless = 0;
        mNotBefore = now + kHopelessFor;
    }
    mPressed = false;
    mJudged = mTheirs;
    mJudgedAt = now;
}

Clock::time_point DatagramRoad::Free(Clock::time_point now)
{
    mCredit = std::min(kMostCredit, mCredit + mRate * Seconds(now - mCreditAt));
    mCreditAt = now;
    for (; !mOnTheWay.empty() && mOnTheWay.front().since + kGoneAfter <= now; mOnTheWay.pop_front())
        mOnTheWayBytes -= mOnTheWay.front().bytes;
    Clock::time_point free = now;
    if (mCredit < 0) free += TimeOf(-mCredit / mRate);
    mPressed = mPressed || free > now;
    if (mOnTheWayBytes >= mAllowance.Bytes(now)) free = std::max(free, mOnTheWay.front().since + kGoneAfter);
    return free;
}

void DatagramRoad::Put(std::string_view frame, Clock::time_point now, DatagramBatch& out)
{
    const std::size_t before = out.bytes.size();
    const std::size_t parts = PartsOf(frame.size());
    char head[1 + PartHead::kBytes] = {kPart};
    PartHead part{++mFrame, 0, static_cast<std::uint16_t>(parts), static_cast<std::uint32_t>(frame.size())};
    out.bytes.reserve(before + parts * kDatagramBytes);
    for (; part.part < part.parts; ++part.part) {
        part.Write(head + 1);
        if (!mSealer.Seal(out, std::string_view(head, sizeof head),
                          frame.substr(part.part * kPartBytes, kPartBytes)))
            return Failed();
    }
    const std::size_t spares = SparesFor(parts, mLoss);
    head[0] = kSpare;
    for (std::size_t spare = 0; spare < spares; ++spare, ++part.part) {
        part.Write(head + 1);
        if (!mSealer.Seal(out, std::string_view(head, sizeof head), SparePart(frame, spare))) return Failed();
    }
    const std::size_t bytes = out.bytes.size() - before;
    mCredit -= double(bytes);
    mOnTheWay.push_back({mSealer.Sent(), bytes, now});
    mOnTheWayBytes += bytes;
    if (!mDoubted) mDoubted = now;
}

RoadFigures DatagramRoad::Figures() const
{
    RoadFigures figures;
    figures.goes = mGoes;
    figures.comes = mTheirs.goes;
    figures.sent = mTheirs.highest;
    figures.lost = mTheirs.highest - mTheirs.datagrams;
    figures.received = mDatagrams;
    figures.missed = mOpener.Highest() - mDatagrams;
    figures.roundTrip = mRoundTrip;
    return figures;
}

}  // namespace zephyl
