#include "messaging/chat_links.h"

#include <QUrl>
#include <algorithm>

#include "text/one_line.h"

using namespace Qt::StringLiterals;

namespace {

/// What a line of the chat box has of its own: soft breaks, and isolates around a text.
bool IsOfTheBox(QChar c)
{
    return c.unicode() == 0x2028 || (c.unicode() >= 0x2066 && c.unicode() <= 0x2069);
}

bool EndsAddress(QChar c)
{
    return c.isSpace() || IsOfTheBox(c) || QStringView(u"<>\"`{}|\\^\u00AB\u00BB\u201C\u201D").contains(c);
}

bool IsUnseenIn(QStringView text)
{
    return std::ranges::any_of(text.toUcs4(), [](uint c) { return IsUnseen(c); });
}

/// Without what ends the sentence around it: a full stop, or a bracket that was not opened inside.
QStringView WithoutSentence(QStringView text)
{
    qsizetype round = text.count(u')') - text.count(u'('), square = text.count(u']') - text.count(u'[');
    while (!text.isEmpty()) {
        const QChar last = text.back();
        const bool stray = (last == u')' && round-- > 0) || (last == u']' && square-- > 0);
        if (!stray && !QStringView(u".,;:!?'*_~\u2026").contains(last)) break;
        text.chop(1);
    }
    return text;
}

bool BeginsLink(QStringView text)
{
    for (const QStringView scheme :
         {QStringView(u"http://"), QStringView(u"https://"), QStringView(u"zephyl://")})
        if (text.startsWith(scheme, Qt::CaseInsensitive)) return true;
    return false;
}

/// Where the next link begins that is not the end of a longer word; -1: nowhere.
qsizetype NextScheme(QStringView text, qsizetype from)
{
    for (qsizetype colon = text.indexOf(u"://", from); colon >= 0; colon = text.indexOf(u"://", colon + 1)) {
        qsizetype at = colon;
        while (at > from && text[at - 1].isLetterOrNumber()) --at;
        if (BeginsLink(text.sliced(at))) return at;
    }
    return -1;
}

std::optional<ChatLink> Read(QStringView written)
{
    if (written.size() > kLongestLink || IsUnseenIn(written)) return std::nullopt;
    const QUrl url(written.toString(), QUrl::StrictMode);
    if (!url.isValid() || url.host().isEmpty() || url.authority().contains(u'@')) return std::nullopt;
    const QString address = QString::fromLatin1(url.toEncoded());
    if (address.size() > kLongestLink) return std::nullopt;
    return ChatLink{0, written.size(), address, url.host(QUrl::FullyEncoded)};
}

}  // namespace

std::vector<ChatLink> LinksIn(QStringView text)
{
    std::vector<ChatLink> links;
    for (qsizetype at = NextScheme(text, 0); at >= 0;) {
        const auto end = std::find_if(text.begin() + at, text.end(), EndsAddress) - text.begin();
        if (auto link = Read(WithoutSentence(text.sliced(at, end - at)))) {
            link->from = at;
            links.push_back(*link);
        }
        at = NextScheme(text, end);
    }
    return links;
}

std::optional<ChatLink> LinkAt(QStringView text, qsizetype at)
{
    for (const ChatLink& link : LinksIn(text))
        if (at >= link.from && at < link.from + link.length) return link;
    return std::nullopt;
}
