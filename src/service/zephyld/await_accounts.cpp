#include "service/zephyld/await_accounts.h"

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <utility>

#include "service/relay/door/open_accounts.h"
#include "service/zephyld/supervisor.h"

namespace zephyl {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLookAgain{500};
constexpr std::chrono::seconds kSayAgain{30};

/// Also of a process that the system's kernel protects from signals, as the first one of a container.
class EndAtOnce {
public:
    EndAtOnce() : mTerm(std::signal(SIGTERM, End)), mInt(std::signal(SIGINT, End)) {}
    ~EndAtOnce()
    {
        std::signal(SIGTERM, mTerm);
        std::signal(SIGINT, mInt);
    }
    EndAtOnce(const EndAtOnce&) = delete;
    EndAtOnce& operator=(const EndAtOnce&) = delete;

private:
    using Handler = void (*)(int);
    static void End(int) { ::_exit(0); }
    const Handler mTerm, mInt;
};

}  // namespace

void AwaitAccounts(const ClusterOptions& options, spdlog::logger& log)
{
    if (options.accounts.empty()) return;
    const EndAtOnce atOnce;
    std::string said;
    Clock::time_point sayAgain;
    for (std::string why; !(why = AccountsNotYet(options)).empty();) {
        Supervisor().Waiting("Waits for the accounts' database");
        if (why != said || Clock::now() >= sayAgain) {
            log.warn("nobody is served yet, waiting for the accounts in {}", why);
            said = std::move(why);
            sayAgain = Clock::now() + kSayAgain;
        }
        std::this_thread::sleep_for(kLookAgain);
    }
}

}  // namespace zephyl
