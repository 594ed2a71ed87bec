#pragma once
// What clients come to: one zephyld, or several that share their meetings.

#include <QByteArray>
#include <cstdint>
#include <string>
#include <vector>

namespace reliability {

class Site {
public:
    virtual ~Site() = default;
    /// Ports on loopback. Whoever connects takes any of them.
    virtual std::vector<std::uint16_t> Doors() const = 0;
    /// One of them.
    virtual std::uint16_t Port() const = 0;
    virtual const std::string& Fingerprint() const = 0;
    /// How often its logs say these words.
    virtual int Logged(const QByteArray& words) const = 0;
};

}  // namespace reliability
