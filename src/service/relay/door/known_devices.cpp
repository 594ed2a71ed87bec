#include "service/relay/door/known_devices.h"

#include <sodium.h>

#include <algorithm>
#include <sstream>

#include "service/relay/door/passwords.h"

namespace zephyl {
namespace {

constexpr std::size_t kWordBytes = 32;
constexpr char kAddress = 'a', kWord = 'w';  // in front of each entry in the store

// What is kept of a word: enough to know it again, nothing to log in with.
std::string HashOf(const std::string& word)
{
    unsigned char hash[crypto_generichash_BYTES];
    crypto_generichash(hash, sizeof hash, reinterpret_cast<const unsigned char*>(word.data()), word.size(),
                       nullptr, 0);
    char hex[2 * sizeof hash + 1];
    return sodium_bin2hex(hex, sizeof hex, hash, sizeof hash);
}

bool Has(const std::vector<std::string>& entries, const std::string& entry)
{
    return std::ranges::find(entries, entry) != entries.end();
}

/// To the front. True: it was not there before.
bool Use(std::vector<std::string>& entries, const std::string& entry)
{
    const bool isNew = std::erase(entries, entry) == 0;
    entries.insert(entries.begin(), entry);
    if (entries.size() > KnownDevices::kEach) entries.pop_back();
    return isNew;
}

}  // namespace

KnownDevices::KnownDevices(Accounts& accounts) : mAccounts(accounts)
{
    for (const auto& [account, text] : accounts.Devices()) mKnown[account] = Read(text);
}

KnownDevices::Known KnownDevices::Read(const std::string& text)
{
    std::istringstream entries(text);
    Known known;
    for (std::string entry; entries >> entry;)
        (entry[0] == kWord ? known.words : known.addresses).push_back(entry.substr(1));
    return known;
}

// What is not written yet stays: it goes in front of that.
void KnownDevices::Learn(const std::string& account, const std::string& text)
{
    const std::lock_guard lock(mMutex);
    Known& known = mKnown[account];
    if (!known.changed) {
        known = Read(text);
        if (text.empty()) mKnown.erase(account);
        return;
    }
    const Known theirs = Read(text);
    const auto add = [](std::vector<std::string>& ours, const std::vector<std::string>& others) {
        for (const std::string& one : others)
            if (!Has(ours, one) && ours.size() < kEach) ours.push_back(one);
    };
    add(known.addresses, theirs.addresses);
    add(known.words, theirs.words);
}

std::optional<std::string> KnownDevices::Recognise(const std::string& account, const std::string& address,
                                                   const std::optional<std::string>& word) const
{
    const bool hasWord = word && word->size() == kWordBytes;
    const std::string hash = hasWord ? HashOf(*word) : std::string();
    const std::lock_guard lock(mMutex);
    const auto at = mKnown.find(account);
    if (at == mKnown.end()) return std::nullopt;
    if (hasWord && Has(at->second.words, hash)) return kWord + hash;
    if (Has(at->second.addresses, address)) return kAddress + address;
    return std::nullopt;
}

std::string KnownDevices::Met(const std::string& account, const std::string& address,
                              const std::optional<std::string>& word)
{
    std::string fresh = RandomBytes(kWordBytes);
    const std::lock_guard lock(mMutex);
    Known& known = mKnown[account];
    if (Use(known.addresses, address)) known.changed = true;
    if (!word) return {};
    const std::string hash = HashOf(*word);
    if (Has(known.words, hash)) {
        Use(known.words, hash);
        return {};
    }
    Use(known.words, HashOf(fresh));
    known.changed = true;
    return fresh;
}

void KnownDevices::Save(const std::string& account)
{
    std::string text;
    {
        const std::lock_guard lock(mMutex);
        Known& known = mKnown[account];
        if (!std::exchange(known.changed, false)) return;
        for (const std::string& address : known.addresses) text += kAddress + address + ' ';
        for (const std::string& hash : known.words) text += kWord + hash + ' ';
    }
    try {
        mAccounts.SaveDevices(account, text);
    } catch (const AccountError&) {
        // a full volume: the next login that changes something writes it again
    }
}

}  // namespace zephyl
