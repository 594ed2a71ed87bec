#pragma once
// Web addresses in what people say. Only what says so itself ("http://", "https://") is one, and only what
// reads as it acts: no unseen characters inside, no name of a user in front of the host. Pure; nothing is
// looked up.

#include <QString>
#include <QStringView>
#include <optional>
#include <vector>

/// A piece of the text, in UTF-16 units, and where it leads.
struct ChatLink {
    qsizetype from = 0, length = 0;
    QString address;  // ASCII alone: escaped, the host in punycode
    QString host;     // the same, without a port
    bool IsInvitation() const { return address.startsWith(QLatin1String("zephyl:")); }
};

inline constexpr qsizetype kLongestLink = 2000;  // of the address; what is longer is no link

std::vector<ChatLink> LinksIn(QStringView text);
/// The link that the character at `at` belongs to.
std::optional<ChatLink> LinkAt(QStringView text, qsizetype at);
