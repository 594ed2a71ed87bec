#include "messaging/chat_links.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

TEST(ChatLinks, AreWhatTheyReadAs)
{
    const QString full = u"http://h/"_s + QString(kLongestLink - 9, u'x');
    const struct {
        QString text, address;  // "": no link
    } rows[] = {
        {u"see https://example.org/a?b=c#d"_s, u"https://example.org/a?b=c#d"_s},
        {u"HTTP://Example.ORG"_s, u"http://example.org"_s},
        {u"(http://h/a_(b)), and"_s,
         u"http://h/a_(b)"_s},  // the sentence's own bracket and comma stay outside
        {u"http://h/x...\u201D"_s, u"http://h/x"_s},
        {u"<http://h/>b"_s, u"http://h/"_s},
        {u"\u2068http://h/\u05D0\u2069"_s, u"http://h/%D7%90"_s},  // as the box isolates it
        {u"http://h/a\u2028b"_s, u"http://h/a"_s},
        {u"http://m\u00FCnchen.example/\u00FC"_s, u"http://xn--mnchen-3ya.example/%C3%BC"_s},
        {u"http://\u0430pple.com/"_s, u"http://xn--pple-43d.com/"_s},  // its first letter is Cyrillic
        {u"http://[::1]:8080/"_s, u"http://[::1]:8080/"_s},
        {u"come: zephyl://H:4711/CODE1234#sha256:0a."_s, u"zephyl://h:4711/CODE1234#sha256:0a"_s},
        {full, full},
        {full + u'x', {}},
        {u"https://good.example@evil.example/"_s, {}},  // a user's name in front of the host
        {u"http://good.example\u200B.evil.example/"_s, {}},
        {u"http://good.example/\u202Egpj.exe"_s, {}},
        {u"http://"_s, {}},
        {u"http:///path"_s, {}},
        {u"http://h:99999/"_s, {}},
        {u"http://exa mple"_s, u"http://exa"_s},
        {u"xhttp://h/"_s, {}},
        {u"javascript:alert(1) file:///etc/passwd ftp://h/ www.example.org"_s, {}},
        {u""_s, {}},
    };
    for (const auto& row : rows) {
        const auto links = LinksIn(row.text);
        ASSERT_EQ(links.size(), row.address.isEmpty() ? 0u : 1u) << row.text.left(60).toStdString();
        for (const ChatLink& link : links) EXPECT_EQ(link.address.toStdString(), row.address.toStdString());
    }
    const QString two = u"http://a/ http://b/"_s;
    ASSERT_EQ(LinksIn(two).size(), 2u);
    EXPECT_EQ(LinkAt(two, 18)->host, u"b"_s);
    EXPECT_FALSE(LinkAt(two, 9) || LinkAt(two, 19));  // between them, and behind the last
}
