#include "service/relay/password_mail.h"

#include <spdlog/logger.h>

#include <boost/asio/steady_timer.hpp>

#include "service/relay/door/address_group.h"
#include "service/relay/door/login_desk.h"
#include "service/relay/door/passwords.h"
#include "service/relay/door/shared_counts.h"
#include "service/relay/mail/letter.h"
#include "service/relay/mail/mail_address.h"

namespace zephyl {
namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

constexpr std::size_t kUnderWay = 16;
constexpr milliseconds kAnswerWithin = 6s;  // clients give up after ten
constexpr milliseconds kLetterTime = 20s;   // of the mail server, for one letter
constexpr milliseconds kWaiting = 60s;      // of a letter behind others
constexpr milliseconds kBusy = 10s;
constexpr std::size_t kIdBytes = 16;

/// What everybody is told where all are answered alike. Clients know it and translate it.
constexpr char kOnFile[] = "the address on file";

std::int64_t Seconds(std::chrono::system_clock::time_point at)
{
    return std::chrono::duration_cast<std::chrono::seconds>(at.time_since_epoch()).count();
}

}  // namespace

/// Who asked, until the one answer. Whatever comes first answers: the letter's end or the clock.
class PasswordMail::Asker : public std::enable_shared_from_this<Asker> {
public:
    Asker(boost::asio::io_context& io, std::function<void(Answer)> done) : mTimer(io), mDone(std::move(done))
    {
    }

    void Arm()
    {
        mTimer.expires_after(kAnswerWithin);
        mTimer.async_wait([self = shared_from_this()](boost::system::error_code cancelled) {
            if (!cancelled) self->Finish({RESULT_MAIL_WAITS, {}, {}});
        });
    }
    void Finish(Answer answer)
    {
        std::function<void(Answer)> done;
        {
            const std::lock_guard lock(mMutex);
            done.swap(mDone);
        }
        if (done) done(std::move(answer));
    }

private:
    boost::asio::steady_timer mTimer;
    std::mutex mMutex;
    std::function<void(Answer)> mDone;
};

PasswordMail::PasswordMail(boost::asio::io_context& io, const MailOptions& options, Accounts& accounts,
                           LoginDesk& desk, spdlog::logger& log)
    : mIo(io),
      mOptions(options),
      mAccounts(accounts),
      mDesk(desk),
      mLog(log),
      mByAddress(static_cast<double>(options.askedPerAddress)),
      mInAll(static_cast<double>(options.mailsAMinute) / 60, static_cast<double>(options.mailsAMinute),
             Clock::now())
{
    CheckMail(options);
    if (!options.On()) return;
    mServer.emplace(options);
    mThread = std::thread([this] { Run(); });
}

PasswordMail::~PasswordMail()
{
    Stop();
    if (mThread.joinable()) mThread.join();
}

void PasswordMail::Stop()
{
    {
        const std::lock_guard lock(mMutex);
        mStop = true;
    }
    mNews.notify_all();
}

void PasswordMail::Ask(const std::string& handle, const std::string& address,
                       std::function<void(Answer)> done)
{
    if (!mServer) return done({});
    const std::string group = AddressGroup(address);
    const Turn turn = TakeTurn(group);
    if (!turn.place) return done({RESULT_LATER, {}, turn.wait});
    if (mOptions.answersAlike) {
        done({RESULT_OK, kOnFile, {}});
        done = nullptr;
    }
    const auto asker = std::make_shared<Asker>(mIo, std::move(done));
    asker->Arm();
    mDesk.Run([this, handle, group, asker, place = turn.place] {
        try {
            Prepare(handle, group, asker, place);
        } catch (const std::exception& error) {
            mLog.warn("mail: {}", error.what());
            asker->Finish({RESULT_MAIL_FAILED, {}, {}});
        }
    });
}

PasswordMail::Turn PasswordMail::TakeTurn(const std::string& group)
{
    const std::lock_guard lock(mMutex);
    const auto now = Clock::now();
    Allowance& asked = mByAddress.Of(group, now);
    if (const auto wait = asked.WaitFor(1, now); wait.count() > 0) return {wait, nullptr};
    asked.Spend(1, now);
    if (mUnderWay >= kUnderWay) return {kBusy, nullptr};
    ++mUnderWay;
    return {{}, std::shared_ptr<void>(this, [this](void*) {
                const std::lock_guard again(mMutex);
                --mUnderWay;
            })};
}

milliseconds PasswordMail::TakeMail()
{
    {
        const std::lock_guard lock(mMutex);
        const auto now = Clock::now();
        if (const milliseconds wait = mInAll.WaitFor(1, now); wait.count() > 0) return wait;
        mInAll.Spend(1, now);
    }
    return TakeShared("mails", mOptions.mailsAMinute);
}

milliseconds PasswordMail::TakeShared(const std::string& name, std::size_t aMinute)
{
    SharedCounts* const shared = mAccounts.Shared();
    return shared ? shared->Take({name, static_cast<double>(aMinute)}) : milliseconds(0);
}

// On the desk's threads.
void PasswordMail::Prepare(const std::string& handle, const std::string& group,
                           const std::shared_ptr<Asker>& asker, const std::shared_ptr<void>& place)
{
    if (const auto wait = TakeShared("mails asked from " + group, mOptions.askedPerAddress); wait.count() > 0)
        return asker->Finish({RESULT_LATER, {}, wait});
    const std::optional<Account> account = mAccounts.Find(handle);
    if (!account || account->guest) return asker->Finish({RESULT_OK, {}, {}});
    if (MailAddressFault(account->address)) return asker->Finish({RESULT_NO_ADDRESS, {}, {}});
    const auto now = std::chrono::system_clock::now();
    const std::chrono::seconds wait(mAccounts.TakeMailTurn(account->handle, Seconds(now)));
    if (wait.count() > 0) return asker->Finish({RESULT_LATER, {}, wait});
    if (const milliseconds all = TakeMail(); all.count() > 0) {
        mAccounts.GiveMailTurnBack(account->handle, Seconds(now));
        return asker->Finish({RESULT_LATER, {}, all});
    }
    const std::string password = DrawPassword();
    Job job{asker, place, *account, {mDesk.Hash(password), Seconds(now)}, {}, Seconds(now), Clock::now()};
    job.letter = LetterBytes(PasswordLetter(mOptions.from, account->address, account->handle, password,
                                            now + std::chrono::seconds(kMailedSeconds)),
                             RandomHex(kIdBytes), now);
    {
        const std::lock_guard lock(mMutex);
        mJobs.push_back(std::move(job));
    }
    mNews.notify_one();
}

void PasswordMail::Run()
{
    for (;;) {
        std::optional<Job> job;
        {
            std::unique_lock lock(mMutex);
            mNews.wait(lock, [this] { return mStop || !mJobs.empty(); });
            if (mStop) return;
            job.emplace(std::move(mJobs.front()));
            mJobs.pop_front();
        }
        try {
            Post(*job);
        } catch (const std::exception& error) {
            mLog.warn("mail: {}", error.what());
            job->asker->Finish({RESULT_MAIL_FAILED, {}, {}});
        }
    }
}

// The password is good before the letter goes, so none can come that is not.
void PasswordMail::Post(const Job& job)
{
    MailServer::Outcome outcome{MailServer::Taken::No, "it waited too long behind others"};
    const bool good = mAccounts.SetMailed(job.account.handle, job.account.mailed, job.mailed);
    if (!good) outcome.problem = "the account was changed meanwhile";
    if (good && Clock::now() - job.since < kWaiting)
        outcome = mServer->Send(mOptions.from, job.account.address, job.letter, kLetterTime, mStop);
    if (outcome.taken == MailServer::Taken::No) {
        mAccounts.SetMailed(job.account.handle, job.mailed, job.account.mailed);
        mAccounts.GiveMailTurnBack(job.account.handle, job.turn);
    }
    if (outcome.taken != MailServer::Taken::Yes)
        mLog.warn("mail: {} {}: {}", mOptions.server,
                  outcome.taken == MailServer::Taken::No ? "took none" : "did not say whether it took it",
                  outcome.problem);
    const Result result = outcome.taken == MailServer::Taken::Yes  ? RESULT_OK
                          : outcome.taken == MailServer::Taken::No ? RESULT_MAIL_FAILED
                                                                   : RESULT_MAIL_WAITS;
    job.asker->Finish({result, MaskedAddress(job.account.address), {}});
}

}  // namespace zephyl
