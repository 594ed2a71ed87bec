#include "session/invitation.h"

#include <arpa/inet.h>

#include <QRegularExpression>
#include <QUrl>
#include <algorithm>
#include <array>

#include "session/login_rules.h"
#include "text/one_line.h"
#include "text/text_rules.h"
#include "text/words.h"

using namespace Qt::StringLiterals;

namespace {

constexpr char16_t kScheme[] = u"zephyl://";
constexpr qsizetype kSchemeLength = 9;
constexpr qsizetype kLongestText = 16 * 1024;
constexpr qsizetype kLongestLink = 1024;
constexpr qsizetype kLongestHost = 253;  // of a name, as DNS has it
constexpr qsizetype kLongestLabel = 63;
constexpr qsizetype kLongestZone = 15;  // of a network interface
constexpr int kDefaultServicePort = 7420;

/// Why a link is none; its text is for people.
struct Fault {
    QString text;
};

[[noreturn]] void Refuse(const QString& text)
{
    throw Fault{text};
}

bool IsDigits(const QString& text)
{
    return !text.isEmpty() &&
           std::all_of(text.begin(), text.end(), [](QChar c) { return c >= u'0' && c <= u'9'; });
}

/// "%41" as "A", in UTF-8. Half of one, or what comes out as no text, is refused.
QString Decoded(const QString& part)
{
    if (!part.contains(u'%')) return part;
    const QByteArray bytes = part.toUtf8();
    QByteArray plain;
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        if (bytes[i] != '%') {
            plain += bytes[i];
            continue;
        }
        const QByteArray digits = bytes.mid(i + 1, 2);
        const QByteArray byte = QByteArray::fromHex(digits);
        if (digits.size() != 2 || byte.toHex() != digits.toLower() || byte[0] == '\0')
            Refuse(Ours::tr("The invitation has a \"%\" that stands for nothing."));
        plain += byte;
        i += 2;
    }
    const QString text = QString::fromUtf8(plain);
    if (text.toUtf8() != plain) Refuse(Ours::tr("The invitation has a \"%\" that stands for nothing."));
    return text;
}

/// One spelling of each address; none: it is none of this family.
template <class Address>
std::optional<QString> Number(int family, const QString& text)
{
    Address address{};
    if (::inet_pton(family, text.toLatin1().constData(), &address) != 1) return std::nullopt;
    std::array<char, INET6_ADDRSTRLEN> written{};
    ::inet_ntop(family, &address, written.data(), written.size());
    return QString::fromLatin1(written.data());
}

bool IsLinkLocal(const QString& v6)
{
    static const QRegularExpression form(u"^fe[89ab][0-9a-f]:"_s);
    return form.match(v6).hasMatch();
}

/// "fe80::1%eth0"; in a link the "%" is written as "%25".
QString ReadV6(const QString& inside)
{
    const qsizetype percent = inside.indexOf(u'%');
    const auto number = Number<in6_addr>(AF_INET6, inside.left(percent));
    if (!number) Refuse(Ours::tr("The invitation's host is no IPv6 address."));
    if (percent < 0) return u'[' + *number + u']';
    QString zone = inside.mid(percent + 1);
    if (zone.startsWith(u"25"_s)) zone = zone.mid(2);
    const bool plain =
        !zone.isEmpty() && zone.size() <= kLongestZone && std::all_of(zone.begin(), zone.end(), [](QChar c) {
            return IsAsciiLetterOrDigit(c) || c == u'.' || c == u'_' || c == u'-';
        });
    if (!plain || !IsLinkLocal(*number))
        Refuse(Ours::tr("The invitation's host names no network that there can be."));
    return u'[' + *number + u'%' + zone + u']';
}

bool IsLabel(const QString& label)
{
    return !label.isEmpty() && label.size() <= kLongestLabel && label.front() != u'-' &&
           label.back() != u'-' && std::all_of(label.begin(), label.end(), [](QChar c) {
               return IsAsciiLetterOrDigit(c) || c == u'-';
           });
}

/// A name in its ASCII form, so that one that only looks like another one is told from it.
QString ReadName(const QString& typed)
{
    QString name = QString::fromLatin1(QUrl::toAce(typed)).toLower();
    if (name.endsWith(u'.')) name.chop(1);
    const QStringList labels = name.split(u'.');
    if (name.size() > kLongestHost || !std::all_of(labels.begin(), labels.end(), IsLabel))
        Refuse(Ours::tr("The invitation's host is no name that there can be."));
    // What ends in a number is an IPv4 address, in the one form that all programs read alike.
    const QString& last = labels.back();
    if (!IsDigits(last) && !last.startsWith(u"0x"_s)) return name;
    const auto number = Number<in_addr>(AF_INET, name);
    if (!number) Refuse(Ours::tr("The invitation's host is no IPv4 address."));
    return *number;
}

QString ReadPort(const QString& text)
{
    const int port = IsDigits(text) && text.size() <= 5 ? text.toInt() : 0;
    if (port < 1 || port > 65535) Refuse(Ours::tr("The invitation's port is no number from 1 to 65535."));
    return port == kDefaultServicePort ? QString() : u':' + QString::number(port);
}

/// HOST[:PORT] as a link has it.
QString ReadService(const QString& authority)
{
    if (authority.contains(u'@')) Refuse(Ours::tr("An invitation holds no user name or password."));
    if (authority.startsWith(u'[')) {
        const qsizetype end = authority.indexOf(u']');
        const QString behind = end < 0 ? QString() : authority.mid(end + 1);
        if (end < 0 || (!behind.isEmpty() && behind.front() != u':'))
            Refuse(Ours::tr("The invitation's host is no IPv6 address."));
        return ReadV6(authority.mid(1, end - 1)) + (behind.isEmpty() ? QString() : ReadPort(behind.mid(1)));
    }
    const qsizetype colon = authority.indexOf(u':');
    const QString host = Decoded(authority.left(colon));
    if (host.isEmpty()) Refuse(Ours::tr("The invitation names no host."));
    return ReadName(host) + (colon < 0 ? QString() : ReadPort(authority.mid(colon + 1)));
}

QString ReadCode(const QString& code)
{
    if (code.isEmpty()) Refuse(Ours::tr("The invitation names no meeting code."));
    if (code.contains(u' ') || CheckCode(code) != LoginFault::None)
        Refuse(Ours::tr(
            "The invitation's meeting code is none: it must be 6 to 20 letters (A to Z) and digits."));
    return code;
}

QString ReadFingerprint(const QString& text)
{
    static const QRegularExpression form(u"^sha256:[0-9a-f]{64}$"_s);
    const QString fingerprint = text.toLower();
    // Cut off or mistyped: without it the wrong service might be believed.
    if (!form.match(fingerprint).hasMatch())
        Refuse(Ours::tr("The invitation's fingerprint is not whole: it must be \"sha256:\" and 64 digits."));
    return fingerprint;
}

Invitation ReadLink(const QString& link)
{
    if (link.size() > kLongestLink) Refuse(Ours::tr("The invitation is too long to be one."));
    const QString rest = link.mid(kSchemeLength);
    const qsizetype hash = rest.indexOf(u'#');
    const QString place = rest.left(hash);
    const qsizetype slash = place.indexOf(u'/');
    if (slash < 0) Refuse(Ours::tr("The invitation names no meeting code."));
    return {ReadService(place.left(slash)), ReadCode(Decoded(place.mid(slash + 1))),
            hash < 0 ? QString() : ReadFingerprint(rest.mid(hash + 1))};
}

template <class Read>
InvitationRead Attempt(Read read)
{
    try {
        return {read(), QString()};
    } catch (const Fault& fault) {
        return {std::nullopt, fault.text};
    }
}

bool EndsLink(QChar c)
{
    return c.isSpace() || IsUnseen(c.unicode()) ||
           u"<>\"'`|\\^{}()\u201c\u201d\u201e\u00ab\u00bb"_s.contains(c);
}

/// Links in a text, as they stand there.
QStringList LinksIn(const QString& text)
{
    QStringList links;
    const QString scheme = QString::fromUtf16(kScheme);
    for (qsizetype at = 0; (at = text.indexOf(scheme, at, Qt::CaseInsensitive)) >= 0; at += kSchemeLength) {
        const auto begin = text.begin() + at;
        QString link(begin, std::find_if(begin, text.end(), EndsLink) - begin);
        // Not what tells that something was cut off.
        while (link.size() > kSchemeLength && !link.back().isLetterOrNumber() && link.back() != u'#' &&
               link.back() != u'%')
            link.chop(1);
        links += link;
    }
    return links;
}

}  // namespace

bool HoldsInvitation(QStringView text)
{
    return text.contains(kScheme, Qt::CaseInsensitive);
}

InvitationRead FindInvitation(const QString& text)
{
    return Attempt([&] {
        if (text.size() > kLongestText) Refuse(Ours::tr("That is too long to be an invitation."));
        const QStringList links = LinksIn(text);
        if (links.isEmpty()) Refuse(Ours::tr("There is no invitation in it."));
        const Invitation first = ReadLink(links.front());
        for (const QString& link : links)
            if (ReadLink(link) != first)
                Refuse(Ours::tr("There is more than one invitation in it: paste one alone."));
        return first;
    });
}

InvitationRead MakeInvitation(const QString& service, const QString& code, const QString& fingerprint)
{
    return Attempt([&] {
        const QString typed = service.trimmed();
        const bool bareV6 = !typed.startsWith(u'[') && typed.count(u':') > 1;
        return Invitation{ReadService(bareV6 ? u'[' + typed + u']' : typed), ReadCode(code.trimmed()),
                          fingerprint.isEmpty() ? QString() : ReadFingerprint(fingerprint)};
    });
}

QString LinkOf(const Invitation& invitation)
{
    QString service = invitation.service;
    const QString link =
        QString::fromUtf16(kScheme) + service.replace(u'%', u"%25"_s) + u'/' + invitation.code;
    return invitation.fingerprint.isEmpty() ? link : link + u'#' + invitation.fingerprint;
}

QString SentenceOf(const Invitation& invitation)
{
    return Ours::tr(
               "Come into the meeting %1 in Quorvia: open this link, or paste it as the meeting code. %2")
        .arg(invitation.code, LinkOf(invitation));
}

bool NamesThisComputerOnly(const Invitation& invitation)
{
    static const QRegularExpression form(
        u"^(localhost|.*\\.localhost|127\\.[0-9.]+|\\[::1\\]|0\\.0\\.0\\.0|\\[::\\])(:[0-9]+)?$"_s);
    return form.match(invitation.service).hasMatch();
}
