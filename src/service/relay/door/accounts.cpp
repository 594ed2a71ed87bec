#include "service/relay/door/accounts.h"

namespace zephyl {

bool MailedPassword::Good(std::int64_t now) const
{
    return !hash.empty() && at <= now && now < at + kMailedSeconds;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): others keep it
void Accounts::Watch(std::function<void(const AccountNews&)>) {}

void RefuseHandle(const std::string& handle)
{
    throw AccountError("\"" + handle +
                       "\" is no handle: 1 to 32 letters, digits, inner spaces, \".\", \"_\" or \"-\", "
                       "a letter or a digit first");
}

void RefuseTaken(const std::string& handle, const std::string& like)
{
    throw AccountError("\"" + handle + "\" is taken, or looks like \"" + like + "\"");
}

void RefuseBans()
{
    throw AccountError("there are " + std::to_string(BanList::kMost) +
                       " bans already; ban wider ranges, or lift some");
}

}  // namespace zephyl
