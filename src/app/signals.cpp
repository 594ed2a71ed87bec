#include "app/signals.h"

#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QSocketNotifier>

namespace {

sigset_t EndSignals()
{
    sigset_t asked;
    sigemptyset(&asked);
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&asked, number);
    return asked;
}

}  // namespace

void HoldEndSignals()
{
    const sigset_t asked = EndSignals();
    pthread_sigmask(SIG_BLOCK, &asked, nullptr);
    // Other programs started from here must not inherit that.
    pthread_atfork(nullptr, nullptr, [] {
        const sigset_t held = EndSignals();
        pthread_sigmask(SIG_UNBLOCK, &held, nullptr);
    });
}

void WhenAskedToEnd(std::function<void()> closeRequested)
{
    const sigset_t asked = EndSignals();
    const int file = signalfd(-1, &asked, SFD_CLOEXEC | SFD_NONBLOCK);
    auto* notifier = new QSocketNotifier(file, QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier,
                     [file, closeRequested = std::move(closeRequested)] {
                         signalfd_siginfo which;
                         while (read(file, &which, sizeof which) == sizeof which) continue;
                         closeRequested();
                     });
}
