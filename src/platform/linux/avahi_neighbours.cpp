#include "platform/linux/avahi_neighbours.h"

#include <net/if.h>

#include <QRegularExpression>
#include <algorithm>
#include <array>
#include <map>
#include <mutex>

#include "avahi/avahi_library.h"
#include "avahi/service_type.h"

using namespace Qt::StringLiterals;

namespace {

constexpr std::size_t kMostServices = 32;
constexpr std::size_t kMostResolvers = 64;  // a service has one for each network and kind of address
constexpr qsizetype kLongestName = 63;

/// Where it calls us, it is there.
const AvahiLibrary& Avahi()
{
    return *AvahiLibrary::Open();
}

QString AddressText(const AvahiAddress& address, AvahiIfIndex network, std::uint16_t port)
{
    std::array<char, AVAHI_ADDRESS_STR_MAX> text{};
    Avahi().avahi_address_snprint(text.data(), text.size(), &address);
    QString host = QString::fromLatin1(text.data());
    if (address.proto == AVAHI_PROTO_INET6) {
        std::array<char, IF_NAMESIZE> zone{};
        if (host.startsWith(u"fe80:"_s, Qt::CaseInsensitive) &&
            ::if_indextoname(unsigned(network), zone.data()))
            host += u'%' + QString::fromLatin1(zone.data());
        host = u'[' + host + u']';
    }
    return host + u':' + QString::number(port);
}

/// "" when none is named in the one form that there is.
QString KeyIn(AvahiStringList* texts)
{
    static const QRegularExpression form(u"^sha256:[0-9a-f]{64}$"_s);
    AvahiStringList* found = Avahi().avahi_string_list_find(texts, kAnnouncedKey);
    char *name = nullptr, *value = nullptr;
    if (!found || Avahi().avahi_string_list_get_pair(found, &name, &value, nullptr) != 0) return {};
    const QString key = QString::fromLatin1(value ? value : "");
    Avahi().avahi_free(name);
    Avahi().avahi_free(value);
    return form.match(key).hasMatch() ? key : QString();
}

}  // namespace

/// On Avahi's thread, but where a line says otherwise.
class AvahiNeighbours::Browsing {
public:
    explicit Browsing(QObject* listener) : mListener(listener) {}

    // --- any thread
    void Listen(std::function<void()> changed)
    {
        const std::lock_guard lock(mMutex);
        mChanged = std::move(changed);
    }
    void Leave()
    {
        const std::lock_guard lock(mMutex);
        mListener = nullptr;
        mChanged = nullptr;
    }
    std::vector<NeighbourService> Found()
    {
        const std::lock_guard lock(mMutex);
        std::vector<NeighbourService> services;
        for (const auto& [name, by] : mServices) {
            if (services.size() == kMostServices) break;
            // Its own loopback address is what this computer alone hears of itself.
            const auto best = std::ranges::find_if(by, [](const auto& one) {
                return !one.second.address.startsWith(u"127."_s) &&
                       !one.second.address.startsWith(u"[::1]"_s);
            });
            services.push_back(best == by.end() ? by.begin()->second : best->second);
        }
        return services;
    }

    void OnState(AvahiClient* client, AvahiClientState state)
    {
        mClient = client;
        if (state == AVAHI_CLIENT_S_RUNNING && !mBrowser) {
            mBrowser =
                Avahi().avahi_service_browser_new(client, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, kAnnouncedType,
                                                  nullptr, {}, &Browsing::OnBrowse, this);
        } else if (state == AVAHI_CLIENT_CONNECTING || state == AVAHI_CLIENT_FAILURE) {
            mBrowser = nullptr;  // the client frees its own
            mResolvers.clear();
            Change([this] { mServices.clear(); });
        }
    }

private:
    /// One service is found once for each network and kind of address; IPv4 comes first.
    using Place = std::pair<AvahiProtocol, AvahiIfIndex>;

    static void OnBrowse(AvahiServiceBrowser*, AvahiIfIndex network, AvahiProtocol protocol,
                         AvahiBrowserEvent event, const char* name, const char* type, const char* domain,
                         AvahiLookupResultFlags, void* data)
    {
        auto& self = *static_cast<Browsing*>(data);
        if (event == AVAHI_BROWSER_NEW && self.mResolvers.size() < kMostResolvers) {
            // It goes on telling what changes, until it is freed.
            AvahiServiceResolver* resolver =
                Avahi().avahi_service_resolver_new(self.mClient, network, protocol, name, type, domain,
                                                   protocol, {}, &Browsing::OnResolve, &self);
            if (resolver) self.mResolvers[{{protocol, network}, name}] = resolver;
        } else if (event == AVAHI_BROWSER_REMOVE) {
            const auto gone = self.mResolvers.find({{protocol, network}, name});
            if (gone == self.mResolvers.end()) return;
            Avahi().avahi_service_resolver_free(gone->second);
            self.mResolvers.erase(gone);
            self.Change([&] { self.Forget(name, {protocol, network}); });
        }
    }

    static void OnResolve(AvahiServiceResolver*, AvahiIfIndex network, AvahiProtocol protocol,
                          AvahiResolverEvent event, const char* name, const char*, const char*, const char*,
                          const AvahiAddress* address, std::uint16_t port, AvahiStringList* texts,
                          AvahiLookupResultFlags, void* data)
    {
        auto& self = *static_cast<Browsing*>(data);
        const Place place{protocol, network};
        if (event != AVAHI_RESOLVER_FOUND || port == 0) return self.Change([&] { self.Forget(name, place); });
        const NeighbourService service{QString::fromUtf8(name).left(kLongestName),
                                       AddressText(*address, network, port), KeyIn(texts)};
        self.Change([&] { self.mServices[name][place] = service; });
    }

    void Forget(const std::string& name, const Place& place)
    {
        const auto at = mServices.find(name);
        if (at == mServices.end()) return;
        at->second.erase(place);
        if (at->second.empty()) mServices.erase(at);
    }

    template <class Act>
    void Change(Act act)
    {
        const std::lock_guard lock(mMutex);
        act();
        if (!mListener) return;
        QMetaObject::invokeMethod(
            mListener,
            [this] {
                std::function<void()> changed;
                {
                    const std::lock_guard again(mMutex);
                    changed = mChanged;
                }
                if (changed) changed();
            },
            Qt::QueuedConnection);
    }

    AvahiClient* mClient = nullptr;
    AvahiServiceBrowser* mBrowser = nullptr;
    std::map<std::pair<Place, std::string>, AvahiServiceResolver*> mResolvers;

    std::mutex mMutex;
    QObject* mListener;  // null: nobody is left to tell
    std::function<void()> mChanged;
    std::map<std::string, std::map<Place, NeighbourService>> mServices;
};

AvahiNeighbours::AvahiNeighbours() : mBrowsing(std::make_shared<Browsing>(&mHere)) {}

AvahiNeighbours::~AvahiNeighbours()
{
    mBrowsing->Leave();
}

void AvahiNeighbours::Look(std::function<void()> changed)
{
    const bool listens = changed != nullptr;
    mBrowsing->Listen(std::move(changed));
    if (listens && !mThread)
        mThread = std::make_unique<AvahiThread>(
            [browsing = mBrowsing](AvahiClient* client, AvahiClientState state) {
                browsing->OnState(client, state);
            });
}

std::vector<NeighbourService> AvahiNeighbours::Found() const
{
    return mBrowsing->Found();
}
