#include "service/zephyld/announcer.h"

#include "avahi/avahi_library.h"
#include "avahi/service_type.h"

namespace zephyl {
namespace {

/// On Avahi's thread.
class Announcement {
public:
    Announcement(std::uint16_t port, const std::string& fingerprint, std::function<void(std::string)> say)
        : mPort(port), mKey(std::string(kAnnouncedKey) + "=" + fingerprint), mSay(std::move(say))
    {
    }

    void OnState(AvahiClient* client, AvahiClientState state)
    {
        mClient = client;
        if (state == AVAHI_CLIENT_S_RUNNING) return Put();
        // What was announced goes with its client, or waits for the computer's new name.
        if (state == AVAHI_CLIENT_FAILURE || state == AVAHI_CLIENT_CONNECTING)
            mGroup = nullptr;
        else if (mGroup)
            mAvahi.avahi_entry_group_reset(mGroup);
        if (state == AVAHI_CLIENT_CONNECTING) mSay("not announced: no Avahi runs here; waiting for one");
    }

private:
    static void OnGroup(AvahiEntryGroup*, AvahiEntryGroupState state, void* data)
    {
        auto& self = *static_cast<Announcement*>(data);
        if (state == AVAHI_ENTRY_GROUP_COLLISION) self.Rename();
        if (state == AVAHI_ENTRY_GROUP_ESTABLISHED)
            self.mSay("announced on the local network as \"" + self.mName + "\"");
    }

    void Put()
    {
        if (mName.empty()) {
            const char* host = mAvahi.avahi_client_get_host_name(mClient);
            mName = std::string("Zephyl at ") + (host ? host : "this computer");
        }
        if (!mGroup) mGroup = mAvahi.avahi_entry_group_new(mClient, &Announcement::OnGroup, this);
        if (!mGroup || !mAvahi.avahi_entry_group_is_empty(mGroup)) return;
        int failed = 0;
        for (int tries = 0; tries < kTries; ++tries) {
            failed = mAvahi.avahi_entry_group_add_service(mGroup, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, {},
                                                          mName.c_str(), kAnnouncedType, nullptr, nullptr,
                                                          mPort, mKey.c_str(), nullptr);
            if (failed != AVAHI_ERR_COLLISION) break;
            NextName();  // another service of this computer has it
        }
        if (failed == 0) failed = mAvahi.avahi_entry_group_commit(mGroup);
        if (failed != 0) mSay(std::string("not announced: ") + mAvahi.avahi_strerror(failed));
    }

    void NextName()
    {
        char* next = mAvahi.avahi_alternative_service_name(mName.c_str());
        mName = next;
        mAvahi.avahi_free(next);
    }

    void Rename()
    {
        NextName();
        mAvahi.avahi_entry_group_reset(mGroup);
        Put();
    }

    static constexpr int kTries = 20;
    const AvahiLibrary& mAvahi = *AvahiLibrary::Open();
    const std::uint16_t mPort;
    const std::string mKey;
    const std::function<void(std::string)> mSay;
    std::string mName;
    AvahiClient* mClient = nullptr;
    AvahiEntryGroup* mGroup = nullptr;
};

}  // namespace

Announcer::Announcer(std::uint16_t port, const std::string& fingerprint, std::function<void(std::string)> say)
{
    if (!AvahiLibrary::Open()) {
        say("not announced: Avahi's library is not installed");
        return;
    }
    mThread.emplace(
        [announcement = std::make_shared<Announcement>(port, fingerprint, std::move(say))](
            AvahiClient* client, AvahiClientState state) { announcement->OnState(client, state); });
}

}  // namespace zephyl
