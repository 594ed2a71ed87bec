// Who asks for mailed passwords without end, and who guesses them.

#include <QFile>

#include <thread>

#include "reliability/daemon.h"
#include "reliability/goal.h"
#include "reliability/guessers.h"
#include "service/relay/door/sqlite_accounts.h"
#include "service/relay/raw_client.h"
#include "support/mail_stand.h"

using namespace Qt::StringLiterals;

namespace reliability {
namespace {

using namespace zephyl;

/// What the question says, and from where; the answers, counted.
struct Answers {
    std::map<int, int> byResult;
    int addresses = 0;  // told, of who exists
};

void Ask(const Daemon& daemon, const std::string& from, const std::vector<std::string>& handles,
         Answers& answers)
{
    RawClient client(daemon.Port(), "", kProtocolVersion, from);
    for (const std::string& handle : handles) {
        const PasswordSent sent = client.SendPassword(handle);
        ++answers.byResult[sent.result()];
        answers.addresses += !sent.address().empty();
        if (!sent.address().empty() && sent.address().find("***@") == std::string::npos)
            throw std::runtime_error("a whole address is told");
    }
}

/// Handles with an address each; one of them is what no account should have.
void GiveAddresses(const Daemon& daemon, int accounts)
{
    SqliteAccounts store(daemon.Data().toStdString());
    for (int i = 0; i < accounts; ++i)
        store.SetAddress("c" + std::to_string(i), i == 0 ? "evil@example.org\r\nBcc: all@example.org"
                                                         : "c" + std::to_string(i) + "@example.org");
}

void MailsWithoutEnd(Run& run, Outcome& outcome)
{
    const int accounts = run.Form(20, 200), addresses = run.Form(10, 100), asks = 10;
    const int budget = run.Form(8, 60);
    const stage::Folder folder;
    MailStand stand(folder.Path(), "starttls");
    Daemon daemon(accounts, u"connections_per_address = 1000\n"_s + stand.Config() +
                                u"mails_per_minute = %1\n"_s.arg(budget));
    GiveAddresses(daemon, accounts);
    Answers answers;
    const Time begun = Clock::now();
    int asked = 0;
    for (int i = 0; i < addresses; ++i) {
        std::vector<std::string> handles{"c0", "c1\r\nBcc: all@example.org", "c1\nTo: x@example.org",
                                         "nobody"};
        while (int(handles.size()) < asks + 2)
            handles.push_back("c" + std::to_string(1 + run.Below(accounts - 1)));
        Ask(daemon, Address(i), handles, answers);
        asked += int(handles.size());
    }
    const double seconds = Since(begun) / 1000;
    std::map<QString, int> mails;
    int all = 0, odd = 0;
    const QStringList heads{u"Auto-Submitted"_s,
                            u"Content-Transfer-Encoding"_s,
                            u"Content-Type"_s,
                            u"Date"_s,
                            u"From"_s,
                            u"MIME-Version"_s,
                            u"Message-ID"_s,
                            u"Subject"_s,
                            u"To"_s};
    for (const int told = answers.addresses; all < told;) {
        QJsonObject letter;
        try {
            letter = stand.Letter(2);
        } catch (const std::exception&) {
            break;
        }
        ++all;
        const QString to = letter[u"to"_s].toArray()[0].toString();
        ++mails[to];
        odd += letter[u"heads"_s].toVariant().toStringList() != heads ||
               letter[u"to"_s].toArray().size() != 1 || letter[u"head_to"_s].toString() != u'<' + to + u'>' ||
               !to.endsWith(u"@example.org"_s);
    }
    int twice = 0;
    for (const auto& [to, count] : mails) twice += count > 1;
    const int allowed = budget + int(seconds * budget / 60) + 1;
    outcome.Figure(
        u"%1 asked for within %2 s from %3 addresses: %4 mailed (%5 a minute), %6 handles twice, %7 told "
        "to wait, %8 letters with a head of somebody else's"_s.arg(asked)
            .arg(seconds, 0, 'f', 1)
            .arg(addresses)
            .arg(all)
            .arg(budget)
            .arg(twice)
            .arg(answers.byResult[RESULT_LATER])
            .arg(odd));
    outcome.Must(all > 0 && all <= allowed, u"more letters than the budget"_s);
    outcome.Must(twice == 0, u"a handle got two within ten minutes"_s);
    outcome.Must(odd == 0, u"somebody wrote into a letter's head"_s);
    outcome.Must(answers.byResult[RESULT_LATER] > 0, u"nobody had to wait"_s);
}

void GuessesOfAMailedOne(Run& run, Outcome& outcome)
{
    const int addresses = run.Form(10, 200), tries = 50;
    const stage::Folder folder;
    MailStand stand(folder.Path(), "none");
    Daemon daemon(9, stand.Config(), HashCost{});
    GiveAddresses(daemon, 9);
    RawClient owner(daemon.Port(), "", kProtocolVersion, "127.0.0.7");
    owner.device = "";
    outcome.Must(owner.Login("c8", "secret", 9).result() == RESULT_OK, u"no login"_s);
    Answers answers;
    Ask(daemon, "127.0.0.7", {"c8"}, answers);
    const std::string mailed = MailStand::PasswordIn(stand.Letter());
    const Guesses guesses =
        GuessPasswords(daemon, "c8", addresses, tries, std::chrono::milliseconds(run.Form(100, 1000)),
                       [](int number, int guess) {
                           std::mt19937_64 random(std::uint64_t(number * 1000 + guess));
                           std::string drawn = "2345-2345-2345-2345";
                           for (char& c : drawn)
                               if (c != '-') c = "23456789abcdefghjkmnpqrstuvwxyz"[random() % 31];
                           return drawn;
                       });
    const auto comesBack = [&](const std::string& password) {
        RawClient back(daemon.Port(), "", kProtocolVersion, "127.0.0.7");
        back.device = owner.device;
        return back.Login("c8", password, 9).result();
    };
    const Result old = comesBack("secret"), used = comesBack(mailed);
    outcome.Figure(
        u"%1 guesses of a mailed one: %2 accepted, %3 hashed, %4 told to wait; then its owner: old one %5, "
        "mailed one %6"_s.arg(addresses * tries)
            .arg(guesses.accepted)
            .arg(guesses.hashed)
            .arg(guesses.later)
            .arg(old == RESULT_OK ? u"good"_s : u"refused"_s, used == RESULT_OK ? u"good"_s : u"refused"_s));
    outcome.Must(guesses.accepted == 0, u"a guess was accepted"_s);
    outcome.Must(guesses.hashed <= addresses * tries * 4 / 10, u"too many guesses were looked at"_s);
    outcome.Must(old == RESULT_OK && used == RESULT_OK, u"the owner is kept out"_s);
}

void MailedPasswords(Run& run, Outcome& outcome)
{
    MailsWithoutEnd(run, outcome);
    GuessesOfAMailedOne(run, outcome);
}

}  // namespace

std::vector<Goal> MailGoals()
{
    return {{"S6", "password mails asked for without end, and guessed at", MailedPasswords}};
}

}  // namespace reliability
