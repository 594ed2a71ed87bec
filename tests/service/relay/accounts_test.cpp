// Accounts: whose name is whose.

#include "service/relay/door/accounts.h"

#include <sys/stat.h>

#include "service/relay/door/handle_rules.h"
#include "service/relay/door/passwords.h"
#include "service/relay/relay_fixture.h"

namespace zephyl {
namespace {

TEST(Handles, AreWhatAPersonReads)
{
    const struct {
        const char* given;
        const char* spelling;
    } rows[] = {
        {"Bob", "Bob"},
        {"  Bob ", "Bob"},
        {"Anna Maria", "Anna Maria"},
        {"a.b_c-d 7", "a.b_c-d 7"},
        {"Ju\xCC\x88rgen", "J\xC3\xBCrgen"},  // composed
        {"\xD0\x90\xD0\xBD\xD0\xBD\xD0\xB0", "\xD0\x90\xD0\xBD\xD0\xBD\xD0\xB0"},
        {"12345678901234567890123456789012", "12345678901234567890123456789012"},
        {"123456789012345678901234567890123", nullptr},  // 33
        {"", nullptr},
        {"   ", nullptr},
        {"a\tb", nullptr},
        {"a:b", nullptr},
        {"[[ZUM]]", nullptr},
        {"a|b", nullptr},
        {".", nullptr},  // a folder, an option, a mark alone
        {"-x", nullptr},
        {" ._", nullptr},
        {"\xCC\x88u", nullptr},
        {"9-.", "9-."},
        {"a\xE2\x80\x8B"
         "b",
         nullptr},  // invisible
        {"a\xE2\x80\xAE"
         "b",
         nullptr},              // turns the reading direction
        {"\xFF\xFE", nullptr},  // no text at all
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.given);
        const auto forms = ReadHandle(row.given);
        ASSERT_EQ(forms.has_value(), row.spelling != nullptr);
        EXPECT_EQ(forms ? forms->spelling : "", row.spelling ? row.spelling : "");
    }
}

TEST(MeetingCodes, AreLettersAndDigits)
{
    const struct {
        std::string given, key;
    } rows[] = {
        {" ROOM01 ", "room01"},
        {"12345678901234567890", "12345678901234567890"},
        {"123456789012345678901", ""},
        {"Room1", ""},
        {"", ""},
        {"room 01", ""},
        {"room-01", ""},
        {"r\xC3\xA4um01", ""},
        {"room\xC2\x9B"
         "01",
         ""},  // a control character beyond ASCII
        {"room\xE2\x80\xA8"
         "01",
         ""},  // a line separator
        {"room\xE2\x80\xAE"
         "01",
         ""},  // turns the reading direction
        {std::string("room\0"
                     "01",
                     7),
         ""},
        {"room01\n", ""},
    };
    for (const auto& row : rows) EXPECT_EQ(MeetingCodeKey(row.given), row.key) << row.given;
}

TEST(AccountStore, OneNamePerPersonsEye)
{
    StartSodium();
    const TemporaryFolder folder;
    Accounts accounts(folder.path);
    accounts.Add("Paul", "hash", "paul@example.org");
    for (const char* taken : {"Paul", "PAUL", " paul ", "P\xD0\xB0ul"})  // the last with a Cyrillic letter
        EXPECT_THROW(accounts.Add(taken, "other", ""), AccountError) << taken;
    EXPECT_EQ(accounts.Find("pAUL")->handle, "Paul");
    EXPECT_FALSE(accounts.Find("P\xD0\xB0ul"));  // alike, but not him
    accounts.SetPassword("paul", "new");
    EXPECT_EQ(accounts.Find("Paul")->generation, 2);
    EXPECT_FALSE(accounts.SetPermitted("nobody", false));
    for (const bool permitted : {false, true})
        EXPECT_TRUE(accounts.SetPermitted("PAUL", permitted) &&
                    accounts.Find("Paul")->permitted == permitted);
    const std::string key = accounts.ServerKey();
    EXPECT_EQ(Accounts(folder.path).ServerKey(), key);  // drawn once
    EXPECT_TRUE(accounts.Remove("PAUL"));
    EXPECT_FALSE(accounts.Remove("Paul"));
    for (const auto& file : std::filesystem::directory_iterator(folder.path)) {
        struct stat info {};
        ::stat(file.path().c_str(), &info);
        EXPECT_EQ(info.st_mode & 0777, 0600u) << file.path();
    }
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
