// "Send Password!" from the question to the mailbox and back, at a real mail server.
#include <gtest/gtest.h>

#include "service/relay/config.h"
#include "service/relay/relay_fixture.h"
#include "support/mail_stand.h"

namespace zephyl {
namespace {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

class MailTest : public testing::Test, protected RelayRoom {
protected:
    MailTest() : RelayRoom({Logs::Files}) {}

    QString Folder() const { return QString::fromStdString(folder.path.string()); }
    /// Alice has an address, dave has none.
    void Serve(const MailStand& stand, const std::string& more = {})
    {
        RelayOptions read;
        ReadConfigText(stand.Config().toStdString() + more, "mail", read);
        options.mail = read.mail;
        StartRelay();
        relay->TheAccounts().SetAddress("Alice", "alice@mail.example.org");
        relay->TheAccounts().SetAddress("bob", "bob@example.org");
        relay->TheAccounts().SetAddress("carol", "evil@example.org\r\nBcc: all@example.org");
    }
    PasswordSent Asked(const std::string& handle, const std::string& from = "127.0.0.1")
    {
        return RawClient(relay->Port(), "", kProtocolVersion, from).SendPassword(handle);
    }
    Result LogsIn(const std::string& password) { return Fresh()->Login("alice", password, 99).result(); }
};

TEST_F(MailTest, MailsAPasswordThatTakesTheOldOnesPlaceWhenItIsUsed)
{
    for (const char* tls : {"starttls", "tls", "none"}) {
        SCOPED_TRACE(tls);
        relay.reset();
        std::filesystem::remove_all(options.data);
        MailStand stand(Folder(), tls);
        Serve(stand);
        EXPECT_EQ(MailFault(options.mail), std::nullopt);
        const PasswordSent sent = Asked(" ALICE ");
        EXPECT_EQ(sent.result(), RESULT_OK);
        EXPECT_EQ(sent.address(), "a***@m***.org");
        const QJsonObject letter = stand.Letter();
        EXPECT_EQ(letter[u"tls"_s].toBool(), std::string(tls) != "none");
        EXPECT_EQ(letter[u"user"_s].toString(), u"zephyld"_s);
        EXPECT_EQ(letter[u"from"_s].toString(), u"zephyl@meet.example.org"_s);
        EXPECT_EQ(letter[u"to"_s].toArray(), QJsonArray{u"alice@mail.example.org"_s});
        EXPECT_TRUE(letter[u"text"_s].toString().startsWith(u"Hello Alice,"_s));
        const std::string mailed = MailStand::PasswordIn(letter);
        ASSERT_EQ(mailed.size(), 19u);

        EXPECT_EQ(Asked("Alice").result(), RESULT_LATER) << "one in ten minutes";
        StartRelay();
        auto there = LoggedIn("Alice");  // nobody has used the new one
        EXPECT_EQ(Asked("Alice").result(), RESULT_LATER) << "also over a restart";
        std::string typed = mailed;
        std::ranges::transform(typed, typed.begin(), [](unsigned char c) { return std::toupper(c); });
        std::erase(typed, '-');
        EXPECT_EQ(LogsIn(typed), RESULT_OK);
        EXPECT_EQ(there->Goodbye(), BYE_KICKED);
        EXPECT_EQ(LogsIn("secret"), RESULT_WRONG);
        EXPECT_EQ(LogsIn(mailed), RESULT_OK);
        EXPECT_EQ(LogsIn(typed), RESULT_OK);
    }
}

TEST_F(MailTest, SaysWhyNoneIsMailed)
{
    StartRelay();
    EXPECT_EQ(Asked("Alice").result(), RESULT_NO_MAIL);
    MailStand stand(Folder(), "starttls");
    Serve(stand);
    const struct {
        const char* handle;
        Result result;
    } rows[] = {
        {"nobody", RESULT_OK},  // and no address
        {"", RESULT_OK},
        {"Alice\r\nBcc: all@example.org", RESULT_OK},
        {"dave", RESULT_NO_ADDRESS},
        {"carol", RESULT_NO_ADDRESS},  // whatever came into the store: it is none
    };
    for (const auto& row : rows) {
        const PasswordSent sent = Asked(row.handle);
        EXPECT_EQ(sent.result(), row.result) << row.handle;
        EXPECT_EQ(sent.address(), "") << row.handle;
    }
    auto inMeeting = In("bob");
    EXPECT_EQ(inMeeting->SendPassword("bob").address(), "b***@e***.org");
    EXPECT_EQ(stand.Letter()[u"to"_s].toArray(), QJsonArray{u"bob@example.org"_s})
        << "the first letter of all";
    // Ten a minute from one address, whoever is asked for; others are not concerned.
    Result last = RESULT_OK;
    for (int i = 0; i < 10 && last == RESULT_OK; ++i) last = Asked("nobody").result();
    EXPECT_EQ(last, RESULT_LATER);
    EXPECT_EQ(Asked("Alice", "127.0.0.2").result(), RESULT_OK);
}

TEST_F(MailTest, TellsNobodyWhichHandlesThereAre)
{
    MailStand stand(Folder(), "none");
    Serve(stand, "answers_alike = true\n");
    for (const char* handle : {"nobody", "dave", "Alice", "Alice"}) {
        const PasswordSent sent = Asked(handle);
        EXPECT_EQ(sent.result(), RESULT_OK) << handle;
        EXPECT_EQ(sent.address(), "the address on file") << handle;
    }
    EXPECT_EQ(stand.Letter()[u"to"_s].toArray(), QJsonArray{u"alice@mail.example.org"_s});
}

TEST_F(MailTest, AMailServerThatFailsIsNobodyElsesTrouble)
{
    const Wish expired{.fromDays = -2, .toDays = -1}, other{.names = "DNS:mail.example"},
        own{.vouched = false};
    const struct {
        const char* fault;
        const char* tls;
        Wish wish;
        bool knowsUser;
        Result result;
        bool letter;     // it has the letter, and did not say so
        bool atTheDoor;  // seen without a letter, too
    } rows[] = {
        {"refuse", "starttls", {}, true, RESULT_MAIL_FAILED, false, false},
        {"full", "none", {}, true, RESULT_MAIL_FAILED, false, false},
        {"gone", "none", {}, true, RESULT_MAIL_FAILED, false, true},
        {"plain", "starttls", {}, true, RESULT_MAIL_FAILED, false, true},
        {"", "starttls", expired, true, RESULT_MAIL_FAILED, false, true},
        {"", "tls", other, true, RESULT_MAIL_FAILED, false, true},
        {"", "starttls", own, true, RESULT_MAIL_FAILED, false, true},
        {"", "tls", {}, false, RESULT_MAIL_FAILED, false, true},
        {"drop", "tls", {}, true, RESULT_MAIL_WAITS, false, false},
        {"silent", "starttls", {}, true, RESULT_MAIL_WAITS, false, true},
        {"mute", "none", {}, true, RESULT_MAIL_WAITS, false, false},
        {"stay", "none", {}, true, RESULT_OK, false, false},
        {"hold", "starttls", {}, true, RESULT_MAIL_WAITS, true, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.fault) + " " + row.tls);
        relay.reset();
        std::filesystem::remove_all(options.data);
        MailStand stand(Folder(), row.tls, row.fault, row.wish, row.knowsUser);
        Serve(stand);
        EXPECT_EQ(MailFault(options.mail, 1s).has_value(), row.atTheDoor);
        RawClient asker(relay->Port());
        Header question;
        question.mutable_send_password()->set_handle("Alice");
        asker.Send(question);
        auto bob = LoggedIn("bob");
        EXPECT_EQ(bob->Enter("Room01", true).result(), RESULT_OK);
        bob->PostAndWait(1, "others go on");
        // Within ten seconds, which is what clients wait.
        EXPECT_EQ(asker.Wait(Header::kPasswordSent).header.password_sent().result(), row.result);
        EXPECT_EQ(LogsIn("secret"), RESULT_OK);
        // Nothing was mailed: it may be asked for at once.
        if (row.result == RESULT_MAIL_FAILED) {
            EXPECT_EQ(Asked("Alice").result(), RESULT_MAIL_FAILED);
        }
        if (row.letter) {
            stand.Process().Write("go\n");
            EXPECT_EQ(LogsIn(MailStand::PasswordIn(stand.Letter())), RESULT_OK) << "late, and good";
        }
    }
}

}  // namespace
}  // namespace zephyl
