#include "app/signals.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QSocketNotifier>

void WhenAskedToEnd(std::function<void()> closeRequested)
{
    // Blocked here, before other threads start, so that they inherit it and only the descriptor sees them.
    sigset_t asked;
    sigemptyset(&asked);
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&asked, number);
    pthread_sigmask(SIG_BLOCK, &asked, nullptr);
    const int file = signalfd(-1, &asked, SFD_CLOEXEC | SFD_NONBLOCK);
    auto* notifier = new QSocketNotifier(file, QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier,
                     [file, closeRequested = std::move(closeRequested)] {
                         signalfd_siginfo which;
                         while (read(file, &which, sizeof which) == sizeof which) continue;
                         closeRequested();
                     });
}
