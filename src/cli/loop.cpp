#include "cli/loop.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <memory>
#include <system_error>

namespace {

constexpr qsizetype kReadBytes = 64 * 1024;
constexpr int kLastOutput = 200;  // milliseconds that the end waits for whoever reads

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
        std::array<pollfd, 2> watched{{{*woken, POLLIN, 0}, {mSignals, POLLIN, 0}}};
        ::poll(watched.data(), watched.size(), int(left.count()));
        if (watched[1].revents && TakeSignal()) return false;
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
    while (!mQuit) {
        const bool posted = RunPosted();  // each has its turn, however much there is of the other
        const bool line = !mQuit && RunLine();
        if (!mQuit) Poll(posted || line ? 0 : -1);
    }
}

bool Loop::Step(std::chrono::milliseconds longest)
{
    if (!RunPosted()) Poll(int(longest.count()));
    return !mSignalled;
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

void Loop::Poll(int milliseconds)
{
    const bool input =
        mLine && !mInputEnded && mScanned == mInput.size();  // the lines that are there come first
    std::array<pollfd, 3> watched{
        {{mWoken, POLLIN, 0}, {mSignals, POLLIN, 0}, {input ? STDIN_FILENO : -1, POLLIN, 0}}};
    if (::poll(watched.data(), watched.size(), milliseconds) <= 0) return;
    if (watched[0].revents) {
        eventfd_t count;
        ::eventfd_read(mWoken, &count);
    }
    if (watched[1].revents) TakeSignal();
    if (watched[2].revents) ReadInput();
}

bool Loop::TakeSignal()
{
    signalfd_siginfo info;
    if (::read(mSignals, &info, sizeof info) <= 0) return false;
    mSignalled = true;
    if (mStop) mStop();
    return true;
}

void Loop::Write(std::string_view text)
{
    while (!text.empty() && !mOutputStuck) {
        std::array<pollfd, 2> watched{{{STDOUT_FILENO, POLLOUT, 0}, {mSignals, POLLIN, 0}}};
        const int ready = ::poll(watched.data(), watched.size(), mQuit ? kLastOutput : -1);
        if (watched[0].revents) {
            // What a pipe takes whole when it takes something.
            const ssize_t put =
                ::write(STDOUT_FILENO, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
            if (put < 0 && errno != EINTR && errno != EAGAIN) return;  // nobody reads it any more
            text.remove_prefix(std::size_t(std::max<ssize_t>(put, 0)));
        } else if (ready == 0 || (watched[1].revents && TakeSignal())) {
            mOutputStuck = true;
        }
    }
}

void Loop::ReadInput()
{
    const qsizetype held = mInput.size();
    mInput.resize(held + kReadBytes);
    const ssize_t got = ::read(STDIN_FILENO, mInput.data() + held, std::size_t(kReadBytes));
    mInput.resize(held + std::max<ssize_t>(got, 0));
    mInputEnded = got == 0 || (got < 0 && errno != EINTR && errno != EAGAIN);
}
