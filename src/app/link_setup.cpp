#include "app/link_setup.h"

#include "base/error_trap.h"
#include "platform/neighbours.h"
#include "settings/settings.h"
#include "text/text_rules.h"

using namespace Qt::StringLiterals;

QString StoreServiceSettings::DefaultConfig()
{
    return GetSetting(mState, keys::kDefaultConfig);
}

ServiceChoice StoreServiceSettings::Read(const QString& configName)
{
    const Restore<QString> named(mState.gConfigName, configName);
    ServiceChoice choice;
    choice.service = Trim(GetSetting(mState, keys::kServiceAddress));
    if (FlagSetting(mState, keys::kUseHttp))
        choice.protocol = Protocol::Http;
    else if (FlagSetting(mState, keys::kUseTcpPort))
        choice.protocol = Protocol::Tcp;
    const double interval = NumberSetting(mState, keys::kHttpPollingInterval);
    choice.pollingInterval = std::chrono::seconds(int(std::clamp(interval, 1.0, 3600.0)));
    choice.proxy = Trim(GetSetting(mState, keys::kHttpProxy));
    return choice;
}

std::optional<QString> StoreServiceSettings::PinnedKey(const QString& service)
{
    if (service.isEmpty()) return std::nullopt;  // the door file says whom to trust
    // A pin that cannot be read is not a pin that is not there: any authority could speak for the service
    // then.
    const QString pin = StoredSetting(mState, QLatin1String(keys::kTrustedServices), service, Scoped::No,
                                      QLatin1String(keys::kZephyl));
    return pin.isEmpty() ? std::nullopt : std::optional(pin);
}

void StoreServiceSettings::PinKey(const QString& service, const QString& fingerprint)
{
    SaveSetting(mState, QLatin1String(keys::kTrustedServices), service, fingerprint, Scoped::No,
                QLatin1String(keys::kZephyl));
}

bool PromptTrustQuestion::Ask(const QString& service, const QString& fingerprint)
{
    QString announced;
    if (mState.ports.neighbours)
        for (const NeighbourService& one : mState.ports.neighbours->Found())
            if (one.address.compare(service, Qt::CaseInsensitive) == 0) announced = one.fingerprint;
    return mState.ports.prompts->AskTrust(service, fingerprint, announced);
}
