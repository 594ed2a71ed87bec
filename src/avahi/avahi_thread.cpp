#include "avahi/avahi_thread.h"

#include <avahi-common/simple-watch.h>
#include <signal.h>

#include <atomic>
#include <thread>

struct AvahiThread::Run {
    explicit Run(Changed whenChanged) : changed(std::move(whenChanged)), poll(avahi_simple_poll_new()) {}
    ~Run()
    {
        if (poll) avahi_simple_poll_free(poll);
    }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    static void OnState(AvahiClient* client, AvahiClientState state, void* data)
    {
        auto& run = *static_cast<Run*>(data);
        run.failed = run.failed || state == AVAHI_CLIENT_FAILURE;
        run.changed(client, state);
    }
    /// One client: until it has failed or nobody wants it any more. False: there is no bus to ask.
    bool Serve()
    {
        failed = false;
        // It asks the machine's bus and may wait there: that is why this is a thread.
        AvahiClient* client =
            avahi_client_new(avahi_simple_poll_get(poll), AVAHI_CLIENT_NO_FAIL, &Run::OnState, this, nullptr);
        if (!client) return false;
        while (!over && !failed && avahi_simple_poll_iterate(poll, -1) == 0) continue;
        avahi_client_free(client);
        return true;
    }
    void Loop()
    {
        if (!poll) return;
        while (!over && Serve())
            if (!over) avahi_simple_poll_iterate(poll, kNextClient);
    }

    static constexpr int kNextClient = 1000;  // milliseconds from one that failed to the next
    const Changed changed;
    AvahiSimplePoll* const poll;
    std::atomic<bool> over{false};
    bool failed = false;
};

AvahiThread::AvahiThread(Changed changed) : mRun(std::make_shared<Run>(std::move(changed)))
{
    sigset_t all, before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_BLOCK, &all, &before);  // signals are for the program's own threads
    std::thread([run = mRun] { run->Loop(); }).detach();
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

AvahiThread::~AvahiThread()
{
    mRun->over = true;
    if (mRun->poll) avahi_simple_poll_wakeup(mRun->poll);
}
