// Names and passwords that people may have, and what is mailed to them.

#include "service/relay/door/accounts.h"

#include <set>

#include "service/relay/door/handle_rules.h"
#include "service/relay/door/passwords.h"
#include "service/relay/mail/letter.h"
#include "service/relay/mail/mail_address.h"
#include "service/relay/relay_fixture.h"

namespace zephyl {
namespace {

using namespace std::string_literals;

TEST(Handles, AreWhatAPersonReads)
{
    const std::pair<const char*, const char*> rows[] = {
        {"  Bob ", "Bob"},
        {"a.b_c-d 7", "a.b_c-d 7"},
        {"Ju\xCC\x88rgen", "J\xC3\xBCrgen"},  // composed
        {"\xD0\x90\xD0\xBD\xD0\xBD\xD0\xB0", "\xD0\x90\xD0\xBD\xD0\xBD\xD0\xB0"},
        {"12345678901234567890123456789012", "12345678901234567890123456789012"},
        {"123456789012345678901234567890123", nullptr},  // 33
        {"", nullptr},
        {"a\tb", nullptr},
        {"[[ZUM]]", nullptr},
        {"a|b", nullptr},
        {".", nullptr},  // a folder, an option, a mark alone
        {"-x", nullptr},
        {"\xCC\x88u", nullptr},
        {"9-.", "9-."},
        {"a\u200bb", nullptr},  // invisible
        {"a\u202eb", nullptr},  // turns the reading direction
        {"\xFF\xFE", nullptr},  // no text at all
    };
    for (const auto& [given, spelling] : rows) {
        const auto forms = ReadHandle(given);
        ASSERT_EQ(forms.has_value(), spelling != nullptr) << given;
        EXPECT_EQ(forms ? forms->spelling : "", spelling ? spelling : "");
    }
}

TEST(MeetingCodes, AreLettersAndDigits)
{
    const std::pair<std::string, const char*> rows[] = {
        {" ROOM01 ", "room01"},
        {"12345678901234567890", "12345678901234567890"},
        {"123456789012345678901", ""},
        {"Room1", ""},
        {"", ""},
        {"room-01", ""},
        {"r\xC3\xA4um01", ""},
        {"room\u202e01", ""},  // turns the reading direction
        {"room\0001"s, ""},
    };
    for (const auto& [given, key] : rows) EXPECT_EQ(MeetingCodeKey(given), key) << given;
}

TEST(Passwords, DrawnOnesAreTypedAsPeopleType)
{
    StartSodium();
    std::set<std::string> drawn;
    for (int i = 0; i < 1000; ++i) {
        const std::string password = DrawPassword();
        EXPECT_EQ(AsDrawn(password), password);
        EXPECT_FALSE(PasswordFault(password));
        drawn.insert(password.substr(0, 9));
    }
    EXPECT_EQ(drawn.size(), 1000u);
    for (const char* typed :
         {"k7mp-3xwd-q9rt-h2nv", "K7MP3XWDQ9RTH2NV", "k7mp 3xwd q9rt h2nv", "k7m-p3xwd-q9rth2nv-"})
        EXPECT_EQ(AsDrawn(typed), "k7mp-3xwd-q9rt-h2nv") << typed;
    for (const char* other :
         {"", "k7mp-3xwd-q9rt-h2n", "k7mp-3xwd-q9rt-h2nvv", "k7mp-3xwd-q9rt-h2n0", "secret"})
        EXPECT_FALSE(AsDrawn(other)) << other;
}

TEST(MailAddresses, CannotWriteAnythingElseIntoALetter)
{
    const std::string long64(64, 'a');
    for (const std::string& good : {"ann@example.org"s, "a.b+c_d@x"s, long64 + "@example.org"})
        EXPECT_FALSE(MailAddressFault(good)) << good;
    for (const char* bad :
         {"", "ann", "@x", "ann@", "a@b@c", "a b@x", "a@x\r\nBcc: b@x", "a@x\n", "j\u00fcrgen@x",
          "a@\u00fc.org", "<a@x>", "a,b@x", "a@x;b", "a@-x", "a@x..y", "a@x.", "\"a b\"@x"})
        EXPECT_TRUE(MailAddressFault(bad)) << bad;
    for (const std::string& bad : {"a\0@x"s, long64 + "a@example.org", "a@" + std::string(260, 'x')})
        EXPECT_TRUE(MailAddressFault(bad)) << bad;
    for (const auto& [address, masked] : {std::pair("ann@mail.example.org", "a***@m***.org"),
                                          {"a@b.c", "a***@b***.c"},
                                          {"root@localhost", "r***@l***"},
                                          {"ann@.org", "a***@.***"},
                                          {"broken", "***"}})
        EXPECT_EQ(MaskedAddress(address), masked);
    const auto at = std::chrono::system_clock::from_time_t(1'764'028'799);
    const std::string bytes = LetterBytes(
        PasswordLetter("z@x.org", "ann@example.org", "J\xC3\xBCrgen \n.\nx", "k7mp-3xwd-q9rt-h2nv", at), "id",
        at);
    EXPECT_NE(bytes.find("Date: Mon, 24 Nov 2025 23:59:59 +0000\r\n"), std::string::npos) << bytes;
    EXPECT_NE(bytes.find("Hello J=C3=BCrgen"), std::string::npos);
    EXPECT_EQ(bytes.substr(0, bytes.find("\r\n\r\n")).find("rgen"), std::string::npos);
    for (std::size_t at2 = 0; (at2 = bytes.find('\n', at2)) != std::string::npos; ++at2)
        EXPECT_EQ(bytes[at2 - 1], '\r');
    for (const auto& [to, subject] :
         {std::pair("ann@example.org\r\nBcc: b@x", "s"), {"ann@example.org", "s\nBcc: b@x"}})
        EXPECT_THROW(LetterBytes({"z@x.org", to, subject, "t"}, "id", at), std::invalid_argument);
}

TEST(Passwords, AreSuchAsEveryClientCanSend)
{
    for (const char* usable : {"secret", "in side", "\xE2\x82\xAC 100", "M\xC3\xBCller", "\xC5\xB8"})
        EXPECT_FALSE(PasswordFault(usable)) << usable;
    for (const char* refused : {"", " front", "back ", "tab\t", "\xD0\xBF\xD0\xB0", "\xFF", "\xC2\x80"})
        EXPECT_TRUE(PasswordFault(refused)) << refused;
}

}  // namespace
}  // namespace zephyl
