// What happens to processes.

#include <signal.h>
#include <sqlite3.h>

#include <QFile>
#include <algorithm>
#include <map>

#include "reliability/judge.h"
#include "reliability/saver.h"
#include "service/relay/door/passwords.h"
#include "service/relay/door/sqlite_accounts.h"

using namespace Qt::StringLiterals;

namespace reliability {
namespace {

/// The service dies again and again under four who talk and draw.
void KilledService(Run& run, Outcome& outcome)
{
    const int kills = run.Form(3, 50);
    Daemon daemon(4);
    Crowd crowd = Gather(daemon, 4);
    SetLoad(crowd, {50, 5});
    double slowestStart = 0, slowestReturn = 0;
    for (int i = 0; i < kills; ++i) {
        Sleep(double(300 + run.Below(1500)));
        std::uint64_t returns = 0;
        for (auto& one : crowd) returns += one->returns;
        daemon.End(SIGKILL);
        const Time killed = Clock::now();
        Client& unlucky =
            *crowd[run.Below(crowd.size())];  // somebody else answers its first way back, or nobody
        unlucky.proxy.SilenceOne(run.Below(2000));
        daemon.Start();
        Follow(crowd, daemon);
        slowestStart = std::max(slowestStart, Since(killed));
        const Time listening = Clock::now();
        const auto allBack = [&] {
            std::uint64_t now = 0;
            for (auto& one : crowd) now += one->returns;
            return now >= returns + crowd.size();
        };
        const bool back = WaitFor(allBack, 30);
        outcome.Must(back, u"somebody is not back after kill %1"_s.arg(i + 1));
        if (!back) break;
        slowestReturn = std::max(slowestReturn, Since(listening));
    }
    SetLoad(crowd, {});
    outcome.Must(AtRest(crowd), u"it does not come to rest"_s);
    Demand(outcome, JudgeAll(crowd));
    outcome.Figure(u"%1 kills; listening again after %2 at most, everybody back after %3"_s.arg(kills).arg(
        Milliseconds(slowestStart), Milliseconds(slowestReturn)));
    outcome.Soon(slowestStart <= 2000, u"listening later than 2 s"_s);
    outcome.Soon(slowestReturn <= 5000, u"back later than 5 s"_s);
}

// --- accounts ------------------------------------------------------------------------------------------

struct Known {
    QString password;
    bool permitted = true;
    bool operator==(const Known&) const = default;
};
using KnownAccounts = std::map<QString, Known>;

/// `zephyld user` at work on the folder of a running service.
class AccountClerk {
public:
    AccountClerk(Run& run, const Daemon& daemon) : mRun(run), mDaemon(daemon) {}

    /// Draws a change and begins it; `after` holds what is there when it is done.
    std::unique_ptr<stage::Child> Begin(const KnownAccounts& now, KnownAccounts& after, QString& handle)
    {
        after = now;
        const bool fresh = now.size() < 4 || (now.size() < 12 && mRun.Below(3) == 0);
        handle = fresh ? u"n%1"_s.arg(++mNames)
                       : std::next(now.begin(), std::ptrdiff_t(mRun.Below(now.size())))->first;
        const QStringList verbs{u"password"_s, u"forbid"_s, u"permit"_s, u"remove"_s};
        const QString verb = fresh ? u"add"_s : verbs[qsizetype(mRun.Below(4))];
        QStringList words{u"user"_s, verb, handle, u"--data"_s, mDaemon.Data()};
        if (verb == u"add"_s || verb == u"password"_s) {
            const QString password = u"secret%1"_s.arg(mRun.Below(1'000'000));
            words += {u"--password-file"_s, PasswordFile(password)};
            after[handle].password = password;
        }
        if (verb == u"forbid"_s || verb == u"permit"_s) after[handle].permitted = verb == u"permit"_s;
        if (verb == u"remove"_s) after.erase(handle);
        return std::make_unique<stage::Child>(stage::Programs() + u"/zephyld"_s, words,
                                              std::map<QString, QString>{}, mDaemon.Folder() / "user.log");
    }

private:
    QString PasswordFile(const QString& password)
    {
        QFile file(mDaemon.Folder() / "password");
        if (!file.open(QIODevice::WriteOnly)) throw std::runtime_error("no password file");
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
        file.write(password.toUtf8() + '\n');
        return file.fileName();
    }

    Run& mRun;
    const Daemon& mDaemon;
    int mNames = 0;
};

/// Passwords by their hashes, once they were tried: a try takes its time.
using Tried = std::map<std::string, QString>;

/// Nothing when the store is whole and says of every account what `expected` says.
QString Difference(const QString& data, const KnownAccounts& expected, Tried& tried)
{
    zephyl::SqliteAccounts accounts(data.toStdString());
    KnownAccounts there;
    for (const zephyl::Account& account : accounts.List()) {
        const QString handle = QString::fromStdString(account.handle);
        const auto known = expected.find(handle);
        if (known == expected.end()) return handle + u" is there"_s;
        if (account.permitted != known->second.permitted) return handle + u" has another permission"_s;
        const QString& password = known->second.password;
        const auto before = tried.find(account.passwordHash);
        if (before == tried.end() && zephyl::PasswordFits(account.passwordHash, password.toStdString()))
            tried[account.passwordHash] = password;
        else if (before == tried.end() || before->second != password)
            return handle + u" has another password"_s;
        there[handle] = known->second;
    }
    return there.size() == expected.size() ? QString() : u"an account is missing"_s;
}

QString IntegrityOf(const QString& data)
{
    sqlite3* db = nullptr;
    QString answer = u"cannot be opened"_s;
    const auto row = [](void* to, int, char** values, char**) {
        *static_cast<QString*>(to) = QString::fromUtf8(values[0]);
        return 0;
    };
    if (sqlite3_open((data + u"/accounts.sqlite"_s).toUtf8().constData(), &db) == SQLITE_OK)
        sqlite3_exec(db, "PRAGMA integrity_check", row, &answer, nullptr);
    sqlite3_close(db);
    return answer;
}

/// Milliseconds of an undisturbed change: the kills come around its end, where the store is written.
double UsualTime(AccountClerk& clerk, KnownAccounts& now)
{
    const Time begun = Clock::now();
    QString handle;
    KnownAccounts after;
    if (clerk.Begin(now, after, handle)->WaitForEnd() != 0)
        throw std::runtime_error("no account can be added");
    now = after;
    return Since(begun);
}

void KilledAccountChanges(Run& run, Outcome& outcome)
{
    const int wanted = run.Form(4, 100);
    Daemon daemon(0);
    AccountClerk clerk(run, daemon);
    KnownAccounts now;
    const double usual = UsualTime(clerk, now);
    Tried tried;
    int kills = 0, kept = 0, undone = 0;
    for (int round = 0; kills < wanted && round < 4 * wanted && outcome.broken.isEmpty(); ++round) {
        KnownAccounts after;
        QString handle;
        const auto command = clerk.Begin(now, after, handle);
        Sleep(usual * (0.2 + double(run.Below(1000)) / 1000));
        const bool service = run.Below(3) == 0;
        if (service) daemon.End(SIGKILL), ++kills;
        command->Signal(SIGKILL);
        const bool acknowledged = command->WaitForEnd() == 0;
        if (!acknowledged) ++kills;
        if (service) daemon.Start();
        const QString integrity = IntegrityOf(daemon.Data());
        outcome.Must(integrity == u"ok"_s, u"the integrity check says: "_s + integrity);
        const bool done = Difference(daemon.Data(), after, tried).isEmpty();
        outcome.Must(
            done || (!acknowledged && Difference(daemon.Data(), now, tried).isEmpty()),
            u"after kill %1 neither old nor new: "_s.arg(kills) + Difference(daemon.Data(), after, tried));
        (done ? kept : undone) += !acknowledged;
        if (done) now = after;
    }
    outcome.Figure(
        u"%1 kills; of the changes that were not acknowledged %2 were there, %3 were not, none half; "
        "every acknowledged one was"_s.arg(kills)
            .arg(kept)
            .arg(undone));
    outcome.Must(kills >= wanted, u"only %1 kills"_s.arg(kills));
}

// --- the client's files ----------------------------------------------------------------------------------

void KilledClient(Run& run, Outcome& outcome)
{
    const int kills = run.Form(10, 100);
    const stage::Folder folder;
    SavedSoFar saved;
    for (int i = 0; i < kills && outcome.broken.isEmpty(); ++i) {
        stage::Child child(stage::Programs() + u"/reliability"_s,
                           {u"--saver"_s, folder.Path(), u"--generation"_s, QString::number(saved.Next())},
                           {}, folder / "saver.log");
        for (std::size_t acknowledged = 1 + run.Below(20); acknowledged > 0; --acknowledged)
            saved.Told(child.ReadLine());
        Sleep(double(run.Below(10)));
        child.Signal(SIGKILL);
        try {
            for (;;) saved.Told(child.ReadLine(5));
        } catch (const std::exception&) {
            // all that it had said before its end
        }
        outcome.Must(saved.Fault(folder.Path()).isEmpty(), saved.Fault(folder.Path()));
    }
    outcome.Figure(
        u"%1 kills, %2 settings saved, %3 log lines, %4 settings and %5 lines new though not "
        "acknowledged"_s.arg(kills)
            .arg(saved.settings)
            .arg(saved.lines)
            .arg(saved.settingsAhead)
            .arg(saved.linesAhead));
    outcome.Must(saved.settings > kills && saved.lines > 0, u"hardly anything was saved"_s);
}

// --- an orderly end --------------------------------------------------------------------------------------

void OrderlyRestart(Run& run, Outcome& outcome)
{
    const int count = run.Form(16, 50);
    Daemon daemon(count);
    Crowd crowd = Gather(daemon, count);
    SetLoad(crowd, {1, 0.2});
    Sleep(run.Form(1000, 5000));
    const Time asked = Clock::now();
    const int status = daemon.End(SIGTERM, 15);
    const double gone = Since(asked);
    int told = 0;
    for (auto& one : crowd)
        told += one->Until(
            [&] {
                return std::any_of(one->states.begin(), one->states.end(), [](const LinkSeen& seen) {
                    return seen.state.text.contains(u"the service restarts"_s);
                });
            },
            2);
    daemon.Start();
    Follow(crowd, daemon);
    const Time listening = Clock::now();
    outcome.Must(WaitFor(
                     [&] {
                         return std::all_of(crowd.begin(), crowd.end(),
                                            [](auto& one) { return one->returns > 0; });
                     },
                     30),
                 u"somebody does not come back"_s);
    const double back = Since(listening);
    SetLoad(crowd, {});
    outcome.Must(AtRest(crowd), u"it does not come to rest"_s);
    Demand(outcome, JudgeAll(crowd));
    outcome.Figure(u"%1 of %2 told, gone after %3, everybody back after %4"_s.arg(told).arg(count).arg(
        Milliseconds(gone), Milliseconds(back)));
    outcome.Must(status == 0, u"it ended with %1"_s.arg(status));
    outcome.Must(told == count, u"not everybody was told"_s);
    outcome.Must(gone <= 10'000, u"it took more than 10 s"_s);
}

}  // namespace

std::vector<Goal> KillGoals()
{
    return {{"R7", "kill -9 of the service under the load of R1", KilledService},
            {"R8", "kill -9 of service and `zephyld user` while accounts change", KilledAccountChanges},
            {"R9", "kill -9 of a client's stores while they save", KilledClient},
            {"R12", "SIGTERM with 50 sessions", OrderlyRestart}};
}

}  // namespace reliability
