#pragma once
// Speaking to this computer's Avahi on a thread of its own, so that nobody waits for it: not at the start,
// not where there is none or it hangs, and not at the end.

#include <avahi-client/client.h>

#include <functional>
#include <memory>

class AvahiThread {
public:
    /// `changed` runs on that thread with each new state of the client; an Avahi that comes later, or comes
    /// back, is found then, and what was made before has to be made anew. It may run once more when this is
    /// gone already, so it owns what it refers to. Never where Avahi's library is not installed.
    using Changed = std::function<void(AvahiClient* client, AvahiClientState state)>;
    explicit AvahiThread(Changed changed);
    ~AvahiThread();
    AvahiThread(const AvahiThread&) = delete;
    AvahiThread& operator=(const AvahiThread&) = delete;

private:
    struct Run;
    std::shared_ptr<Run> mRun;  // null without the library
};
