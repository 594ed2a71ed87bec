#include "cli/loop.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>
#include <system_error>

namespace {

constexpr qsizetype kReadBytes = 64 * 1024;

int Checked(int descriptor, const char* what)
{
    if (descriptor < 0) throw std::system_error(errno, std::system_category(), what);
    return descriptor;
}

}  // namespace

Loop::Loop() : mWoken(Checked(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd"))
{
    sigset_t caught;
    sigemptyset(&caught);
    sigaddset(&caught, SIGINT);
    sigaddset(&caught, SIGTERM);
    ::sigprocmask(SIG_BLOCK, &caught, nullptr);
    ::signal(SIGPIPE, SIG_IGN);
    mSignals = Checked(::signalfd(-1, &caught, SFD_CLOEXEC | SFD_NONBLOCK), "signalfd");
}

Loop::~Loop()
{
    ::close(mSignals);
    ::close(mWoken);
}

void Loop::Post(std::function<void()> work)
{
    {
        const std::lock_guard lock(mMutex);
        mPosted.push_back(std::move(work));
    }
    ::eventfd_write(mWoken, 1);
}

bool Loop::Wait(PendingAnswer& answer, std::chrono::milliseconds limit)
{
    using SteadyClock = std::chrono::steady_clock;
    const auto deadline = SteadyClock::now() + limit;
    // The answer may come after we gave up and are gone: it wakes a descriptor of its own.
    const std::shared_ptr<int> woken(new int(Checked(::eventfd(0, EFD_CLOEXEC), "eventfd")),
                                     [](int* descriptor) {
                                         ::close(*descriptor);
                                         delete descriptor;
                                     });
    answer.WhenDone([woken] { ::eventfd_write(*woken, 1); });
    while (!answer.Done()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - SteadyClock::now());
        if (left.count() <= 0) return false;
        pollfd one{*woken, POLLIN, 0};
        ::poll(&one, 1, int(left.count()));
    }
    return true;
}

void Loop::ReadLines(std::function<void(const QByteArray&)> line, std::function<void()> end)
{
    mLine = std::move(line);
    mEnd = std::move(end);
}

void Loop::Run(std::function<void()> stop)
{
    mStop = std::move(stop);
    while (!mQuit)
        if (!RunPosted() && !RunLine()) Poll(-1, true);
}

bool Loop::RunPosted()
{
    std::deque<std::function<void()>> work;
    {
        const std::lock_guard lock(mMutex);
        work.swap(mPosted);
    }
    for (const auto& one : work) one();
    return !work.empty();
}

bool Loop::RunLine()
{
    if (!mLine) return false;
    const qsizetype end = mInput.indexOf('\n', mScanned);
    mScanned = end < 0 ? mInput.size() : 0;
    const bool last = end < 0 && mInputEnded;
    if (end < 0 && (!last || mInput.isEmpty())) {
        if (!last || !mEnd) return false;
        std::exchange(mEnd, nullptr)();
        return true;
    }
    const QByteArray line = end < 0 ? mInput : mInput.left(end);
    mInput.remove(0, end < 0 ? mInput.size() : end + 1);
    mLine(line);
    return true;
}

void Loop::Poll(int milliseconds, bool everything)
{
    const bool input = everything && mLine && !mInputEnded;
    std::array<pollfd, 3> watched{
        {{mWoken, POLLIN, 0}, {mSignals, POLLIN, 0}, {input ? STDIN_FILENO : -1, POLLIN, 0}}};
    if (::poll(watched.data(), watched.size(), milliseconds) <= 0) return;
    if (watched[0].revents) {
        eventfd_t count;
        ::eventfd_read(mWoken, &count);
    }
    if (watched[1].revents) {
        signalfd_siginfo info;
        if (::read(mSignals, &info, sizeof info) > 0 && mStop) mStop();
    }
    if (watched[2].revents) ReadInput();
}

void Loop::ReadInput()
{
    const qsizetype held = mInput.size();
    mInput.resize(held + kReadBytes);
    const ssize_t got = ::read(STDIN_FILENO, mInput.data() + held, std::size_t(kReadBytes));
    mInput.resize(held + std::max<ssize_t>(got, 0));
    mInputEnded = got == 0 || (got < 0 && errno != EINTR && errno != EAGAIN);
}
