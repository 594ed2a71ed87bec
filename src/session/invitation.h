#pragma once
// An invitation: which meeting at which service, as one link that may stand in any text.
//
//     zephyl://HOST[:PORT]/CODE[#sha256:FINGERPRINT]
//
// Links come from strangers. What is not exactly one is refused with a sentence for people, never guessed at,
// and never read without the part that could not be read. Pure; any thread.

#include <QString>
#include <QStringView>
#include <optional>

struct Invitation {
    /// HOST[:PORT] as "Service:" takes it: lower case, international names in their ASCII form, IPv6 in
    /// brackets, without the default port.
    QString service;
    QString code;         // 6 to 20 letters A to Z, in any case, and digits
    QString fingerprint;  // "sha256:" and 64 lower-case digits; "": the link names no key
    bool operator==(const Invitation&) const = default;
};

/// `fault` "": `invitation` is there. Otherwise why not, in one sentence.
struct InvitationRead {
    std::optional<Invitation> invitation;
    QString fault;
};

/// Whether there is anything like a link in a text.
bool HoldsInvitation(QStringView text);
/// The one link in a text, such as a pasted mail: to the next blank, quote or bracket, without the
/// punctuation behind it. Two different ones are none.
InvitationRead FindInvitation(const QString& text);

/// Of `service` as somebody typed it. `fingerprint`: "" when authorities vouch for the service's key.
InvitationRead MakeInvitation(const QString& service, const QString& code, const QString& fingerprint);
/// Reads back as the same invitation.
QString LinkOf(const Invitation& invitation);
/// One sentence with the link, for people to pass on.
QString SentenceOf(const Invitation& invitation);

/// Whether this names only the computer itself, so that nobody else can use a link to it.
bool NamesThisComputerOnly(const Invitation& invitation);
