#include "avahi/avahi_thread.h"

#include <signal.h>

#include <atomic>
#include <thread>

#include "avahi/avahi_library.h"

struct AvahiThread::Run {
    explicit Run(Changed whenChanged) : changed(std::move(whenChanged)) {}
    ~Run()
    {
        if (poll) library.avahi_simple_poll_free(poll);
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
        AvahiClient* client = library.avahi_client_new(library.avahi_simple_poll_get(poll),
                                                       AVAHI_CLIENT_NO_FAIL, &Run::OnState, this, nullptr);
        if (!client) return false;
        while (!over && !failed && library.avahi_simple_poll_iterate(poll, -1) == 0) continue;
        library.avahi_client_free(client);
        return true;
    }
    void Loop()
    {
        if (!poll) return;
        while (!over && Serve())
            if (!over) library.avahi_simple_poll_iterate(poll, kNextClient);
    }

    static constexpr int kNextClient = 1000;  // milliseconds from one that failed to the next
    const AvahiLibrary& library = *AvahiLibrary::Open();
    const Changed changed;
    AvahiSimplePoll* const poll = library.avahi_simple_poll_new();
    std::atomic<bool> over{false};
    bool failed = false;
};

AvahiThread::AvahiThread(Changed changed)
{
    if (!AvahiLibrary::Open()) return;
    mRun = std::make_shared<Run>(std::move(changed));
    sigset_t all, before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_BLOCK, &all, &before);  // signals are for the program's own threads
    std::thread([run = mRun] { run->Loop(); }).detach();
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

AvahiThread::~AvahiThread()
{
    if (!mRun) return;
    mRun->over = true;
    if (mRun->poll) mRun->library.avahi_simple_poll_wakeup(mRun->poll);
}
