#include "service/keepers/posting_client.h"

#include <poll.h>

namespace zephyl {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kBetweenTries{50};
constexpr std::chrono::seconds kGivesUp{60};
constexpr std::size_t kOutbox = 200;

}  // namespace

PostingClient::PostingClient(std::string handle, std::vector<PortOf> relays)
    : mHandle(std::move(handle)), mStream(std::hash<std::string>()(mHandle) | 1), mRelays(std::move(relays))
{
}

PostingClient::~PostingClient()
{
    Stop();
}

Result PostingClient::Enter(const std::string& code, bool create)
{
    mCode = code;
    mClient = std::make_unique<RawClient>(mRelays[mAt]());
    if (const Result result = mClient->Login(mHandle, "secret", mStream).result(); result != RESULT_OK)
        return result;
    const Entered entered = mClient->Enter(code, create);
    if (entered.result() == RESULT_OK) Joined(entered.place());
    return entered.result();
}

void PostingClient::Start(int count, std::chrono::milliseconds pause)
{
    mGoal = std::uint64_t(count);
    mThread = std::thread([this, pause] { Run(pause); });
}

void PostingClient::Stop()
{
    mStop = true;
    if (mThread.joinable()) mThread.join();
}

bool PostingClient::Accepted(int count) const
{
    const auto until = Clock::now() + kGivesUp;
    while (mAccepted < std::uint64_t(count) && Clock::now() < until)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return mAccepted >= std::uint64_t(count);
}

bool PostingClient::Done(const std::vector<std::string>& others, int count)
{
    const auto until = Clock::now() + kGivesUp;
    for (; Clock::now() < until; std::this_thread::sleep_for(std::chrono::milliseconds(5))) {
        const std::lock_guard lock(mMutex);
        bool done = mAccepted >= mGoal;
        for (const std::string& other : others) done = done && mHighest[other] >= std::uint64_t(count);
        if (done) return true;
    }
    return false;
}

void PostingClient::Run(std::chrono::milliseconds pause)
{
    auto next = Clock::now();
    while (!mStop) try {
            if (mMove.exchange(false)) {
                mClient->Kill();
                mClient.reset();
            }
            if (!mClient) ComeBack();
            if (!mClient) return;
            while (Clock::now() >= next && mPosted < mGoal && mOutbox.size() < kOutbox) {
                mOutbox.push_back(++mPosted);
                mClient->Post(mPosted, "line " + std::to_string(mPosted));
                next += pause;
            }
            if (Clock::now() >= next) next = Clock::now();
            pollfd socket{mClient->Socket(), POLLIN, 0};
            ::poll(&socket, 1, 2);
            while (const auto received = mClient->Ready()) Take(*received);
        } catch (const std::exception&) {
            mClient.reset();  // lost
        }
}

void PostingClient::Take(const Received& received)
{
    const Header& header = received.header;
    if (header.has_accepted()) {
        mAccepted = std::max<std::uint64_t>(mAccepted, header.accepted().talk());
        while (!mOutbox.empty() && mOutbox.front() <= mAccepted) mOutbox.pop_front();
    } else if (header.has_refused()) {
        Fault("a line was refused: " + header.refused().reason());
    } else if (header.has_bye()) {
        if (header.bye().reason() != BYE_RESTART && header.bye().reason() != BYE_REPLACED)
            Fault("goodbye " + ByeReason_Name(header.bye().reason()));
        throw NothingCame("goodbye");
    } else if (header.has_skipped()) {
        Fault("items are gone");
    } else if (header.has_item()) {
        const Item& item = header.item();
        mTaken.set_talk(std::max<std::uint64_t>(mTaken.talk(), item.sequence()));
        if (item.has_presence() && item.presence().status() == 0) left.push_back(item.presence().handle());
        if (!item.has_text()) return;
        const std::lock_guard lock(mMutex);
        std::uint64_t& highest = mHighest[item.from()];
        if (item.number() <= highest) return;
        if (item.number() != highest + 1 || received.body != "line " + std::to_string(item.number()))
            Fault(item.from() + " " + std::to_string(item.number()) + " came behind " +
                  std::to_string(highest));
        highest = item.number();
        lines.push_back({item.from(), item.number(), item.sequence()});
    }
}

void PostingClient::ComeBack()
{
    const auto since = Clock::now();
    while (!mStop && Clock::now() < since + kGivesUp) {
        mAt = (mAt + 1) % mRelays.size();
        try {
            if (TryAt(mRelays[mAt]())) {
                longestAway = std::max(
                    longestAway, std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - since));
                return;
            }
        } catch (const std::exception&) {
            // that one is gone, or says so
        }
        mClient.reset();
        std::this_thread::sleep_for(kBetweenTries);
    }
    if (!mStop) Fault("it did not come back");
}

bool PostingClient::TryAt(std::uint16_t port)
{
    mClient = std::make_unique<RawClient>(port);
    const Resumed resumed = mClient->Resume(mPlace, mTaken);
    if (resumed.result() == RESULT_OK) return Joined(resumed.place()), true;
    if (resumed.result() != RESULT_UNKNOWN) return false;
    const LoggedIn in = mClient->Login(mHandle, "secret", mStream, true);
    if (in.result() != RESULT_OK) {
        if (in.result() != RESULT_LATER) Fault("login " + Result_Name(in.result()));
        return false;
    }
    const Entered entered = mClient->Enter(mCode, false, mPlace.meeting());
    if (entered.result() == RESULT_OK) return Joined(entered.place()), true;
    if (entered.result() != RESULT_LATER) Fault("enter " + Result_Name(entered.result()));
    return false;
}

// What the log has is not posted again.
void PostingClient::Joined(const Place& place)
{
    ++connections;
    mPlace = place;
    mClient->readAlong = true;
    for (const std::uint64_t number : mOutbox)
        if (number > place.have().talk()) mClient->Post(number, "line " + std::to_string(number));
}

void PostingClient::Fault(const std::string& what)
{
    faults.push_back(mHandle + ": " + what);
}

}  // namespace zephyl
