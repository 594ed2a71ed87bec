#pragma once
// Who has forgotten a password is mailed another one. It becomes the account's when it is used; until then,
// and without a word from its owner, nothing changes. The mail server is spoken to on a thread of its own: it
// may be slow, silent or gone, and nobody else waits for it.

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "service/relay/door/accounts.h"
#include "service/relay/door/allowance.h"
#include "service/relay/mail/mail_server.h"
#include "service/wire/zephyl.pb.h"

namespace spdlog {
class logger;
}

namespace zephyl {

class LoginDesk;

class PasswordMail {
public:
    using Clock = std::chrono::steady_clock;

    /// Throws StartError when mail is configured and could not leave like that. `io`: for its timers.
    PasswordMail(boost::asio::io_context& io, const MailOptions& options, Accounts& accounts, LoginDesk& desk,
                 spdlog::logger& log);
    /// Ends a conversation with the mail server at once. Behind the desk's end.
    ~PasswordMail();
    PasswordMail(const PasswordMail&) = delete;
    PasswordMail& operator=(const PasswordMail&) = delete;

    struct Answer {
        Result result = RESULT_NO_MAIL;
        std::string address;  // masked; empty: no such handle
        std::chrono::milliseconds wait{};
    };
    /// `done` runs once, on any thread, within seconds whatever the mail server does; a letter that it has
    /// not taken by then is tried a little longer. `address`: by which the relay knows who asks.
    void Ask(const std::string& handle, const std::string& address, std::function<void(Answer)> done);
    /// No more letters; what is under way is given up. Any thread.
    void Stop();

private:
    class Asker;
    struct Turn {
        std::chrono::milliseconds wait;  // when there is none
        std::shared_ptr<void> place;     // of those under way, for as long as it is held
    };
    struct Job {
        std::shared_ptr<Asker> asker;
        std::shared_ptr<void> place;
        Account account;
        MailedPassword mailed;
        std::string letter;
        std::int64_t turn;
        Clock::time_point since;
    };
    Turn TakeTurn(const std::string& group);
    void Prepare(const std::string& handle, const std::string& group, const std::shared_ptr<Asker>& asker,
                 const std::shared_ptr<void>& place);
    /// Of all relays together; 0: taken. Blocks. Throws AccountError.
    std::chrono::milliseconds TakeShared(const std::string& name, std::size_t aMinute);
    /// How long until there may be a mail more; 0: now, and it is counted.
    std::chrono::milliseconds TakeMail();
    void Run();
    void Post(const Job& job);

    boost::asio::io_context& mIo;
    const MailOptions mOptions;
    Accounts& mAccounts;
    LoginDesk& mDesk;
    spdlog::logger& mLog;
    std::optional<MailServer> mServer;  // none: this service sends no mail
    std::atomic<bool> mStop{false};
    std::mutex mMutex;
    std::condition_variable mNews;
    Allowances mByAddress;
    Allowance mInAll;
    std::size_t mUnderWay = 0;  // from the question to the end of its letter
    std::deque<Job> mJobs;
    std::thread mThread;
};

}  // namespace zephyl
