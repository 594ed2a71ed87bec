#include "platform/linux/local_host.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <unistd.h>

#include <QFile>
#include <array>
#include <memory>

namespace {

QString DottedText(const sockaddr* address)
{
    std::array<char, INET_ADDRSTRLEN> text{};
    inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(address)->sin_addr, text.data(), text.size());
    return QString::fromLatin1(text.data());
}

}  // namespace

std::optional<QString> LinuxLocalHost::Name() const
{
    std::array<char, 256> name{};
    if (::gethostname(name.data(), name.size() - 1) != 0) return std::nullopt;
    return QString::fromLocal8Bit(name.data());
}

std::optional<QStringList> LinuxLocalHost::Resolve(const QString& name) const
{
    addrinfo wanted{};
    wanted.ai_family = AF_INET;
    wanted.ai_socktype = SOCK_STREAM;  // without it each address comes once per socket type
    addrinfo* found = nullptr;
    if (::getaddrinfo(QFile::encodeName(name).constData(), nullptr, &wanted, &found) != 0)
        return std::nullopt;
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(found, &::freeaddrinfo);
    QStringList addresses;
    for (const addrinfo* at = found; at; at = at->ai_next) addresses += DottedText(at->ai_addr);
    return addresses;
}

QStringList LinuxLocalHost::Interfaces() const
{
    ifaddrs* first = nullptr;
    if (::getifaddrs(&first) != 0) return {};
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> owner(first, &::freeifaddrs);
    QStringList addresses;
    for (const ifaddrs* at = first; at; at = at->ifa_next)
        if (at->ifa_addr && at->ifa_addr->sa_family == AF_INET && (at->ifa_flags & IFF_UP))
            addresses += DottedText(at->ifa_addr);
    return addresses;
}
