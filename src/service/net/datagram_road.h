#pragma once
// One end of a connection's datagrams: which live frames may go by them at this moment, and what came.
// Probes find out whether datagrams pass; reports say what was received, and set the pace. Pure: no socket,
// the time is passed in. One thread at a time per object.

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

#include "service/net/datagram.h"
#include "service/net/live_parts.h"
#include "service/wire/live_allowance.h"

namespace zephyl {

/// Datagrams of all kinds since the connection began.
struct RoadFigures {
    bool goes = false;                       // our live frames go by datagrams now
    bool comes = false;                      // the other side's do, as it says
    std::uint64_t sent = 0, lost = 0;        // those that the other side must have had by now
    std::uint64_t received = 0, missed = 0;  // the same of what was sent to us
    std::chrono::microseconds roundTrip{0};  // 0: not measured yet
};

class DatagramRoad {
public:
    using Clock = std::chrono::steady_clock;
    /// Who speaks first. The service has no address to send to before it was spoken to.
    enum class Begins { Here, There };

    DatagramRoad(const DatagramKeys& keys, Begins begins, Clock::time_point now);

    struct Arrived {
        bool authentic = false;
        bool newest = false;               // none sent later came before it
        bool news = false;                 // Free may be sooner now, or Takes another answer
        std::optional<std::string> frame;  // whole now
    };
    /// What came, already known to have our id; what it asks for is appended to `out`.
    Arrived Take(std::string_view datagram, Clock::time_point now, DatagramBatch& out);

    /// A picture of so many bytes goes this way now, and not inside TLS.
    bool Takes(std::size_t bodyBytes) const { return mGoes && bodyBytes <= kDatagramPictureBytes; }
    /// When the next frame may be put: `now` at the earliest.
    Clock::time_point Free(Clock::time_point now);
    /// Appends the parts of a frame, all of it, header and body.
    void Put(std::string_view frame, Clock::time_point now, DatagramBatch& out);
    /// Appends the probes that are due. The result: when to ask again.
    Clock::time_point Tick(Clock::time_point now, DatagramBatch& out);

    RoadFigures Figures() const;

private:
    struct Heard {  // what one side tells the other
        bool goes = false;
        std::uint64_t highest = 0, datagrams = 0, bytes = 0;
    };
    struct OnTheWay {
        std::uint64_t upTo;  // the counter of its last datagram
        std::size_t bytes;
        Clock::time_point since;
    };

    void SayWord(DatagramBatch& out, char kind, std::uint64_t number, std::size_t bytes);
    bool TakeWord(std::string_view word, Clock::time_point now, DatagramBatch& out);
    bool TakeHeard(const Heard& heard, Clock::time_point now);
    bool MayRestore(Clock::time_point now);
    void TakePart(std::string_view plain, Clock::time_point now, DatagramBatch& out, Arrived& arrived);
    void Passed(Clock::time_point now);
    void Failed();
    void SayChange(DatagramBatch& out);
    void Judge(Clock::time_point now);
    void Probe(Clock::time_point now, DatagramBatch& out);
    Clock::time_point NextProbe() const;

    DatagramSealer mSealer;
    DatagramOpener mOpener;
    PartGatherer mGatherer;
    const double mRestoresEachSecond;
    double mRestores = 0;  // left; a second's at most
    Clock::time_point mRestoresAt;

    // whether datagrams pass
    bool mMaySpeak;
    bool mGoes = false, mSaidGoes = false;
    std::uint64_t mProbe = 0, mAnswered = 0;  // their numbers
    bool mAsked = false;                      // the newest probe may still be answered
    int mUnanswered = 0;                      // in a row
    int mTries = 0;                           // probes in a row that came to nothing
    Clock::time_point mProbedAt{};
    Clock::time_point mNotBefore{};             // hopeless until then
    std::optional<Clock::time_point> mDoubted;  // since when there is no news of what was sent
    std::chrono::microseconds mRoundTrip{0};

    // what came
    std::uint64_t mDatagrams = 0, mBytes = 0;
    Clock::time_point mReportedAt{};

    // what the other side says it has heard, and had when the pace was judged last
    Heard mTheirs, mJudged;
    Clock::time_point mJudgedAt;
    LiveAllowance mAllowance;
    std::deque<OnTheWay> mOnTheWay;
    std::uint64_t mOnTheWayBytes = 0;
    std::uint64_t mFrame = 0;

    // the pace
    double mLoss = 0;  // the share of datagrams, as it was judged of late
    double mRate;      // bytes a second
    double mCredit;    // bytes; the next frame goes when it is not below 0
    Clock::time_point mCreditAt;
    bool mPressed = false;  // a frame had to wait for the pace since it was judged
    int mHopeless = 0;      // judgements in a row
};

}  // namespace zephyl
