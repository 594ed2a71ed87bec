#include "service/relay/door/postgres_accounts.h"

#include <boost/asio/post.hpp>
#include <charconv>
#include <utility>

#include "service/relay/door/handle_rules.h"
#include "service/relay/door/passwords.h"
#include "service/relay/door/postgres_schema.h"
#include "service/relay/door/sqlite_accounts.h"

namespace zephyl {
namespace {

using Rows = std::vector<std::vector<std::string>>;
using Lease = DatabasePool::Lease;

constexpr std::size_t kServerKeyBytes = 10;
constexpr std::size_t kBeside = 2;
constexpr char kChannel[] = "zephyl_accounts";
constexpr std::chrono::milliseconds kListening{
    10'000};  // until it is asked whether the server is there still
constexpr std::chrono::milliseconds kPause{1000};
constexpr int kListeningsOfARound = 30;  // then what is over is deleted
constexpr char kColumns[] =
    "SELECT handle, account.hash, address, permitted, generation, "
    "(EXISTS(SELECT 1 FROM guest WHERE guest.key = account.key))::int, coalesce(mailed.hash, ''), "
    "coalesce(mailed.at, 0) FROM account LEFT JOIN mailed USING(key) ";

std::int64_t Number(const std::string& text)
{
    std::int64_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

std::string Text(std::int64_t number)
{
    return std::to_string(number);
}

Account AccountOf(const std::vector<std::string>& row)
{
    return {row[0], row[1], row[2], row[3] != "0", Number(row[4]), row[5] != "0", {row[6], Number(row[7])}};
}

std::string KeyOf(const std::string& handle)
{
    return HandleKey(handle).value_or("");
}

std::string OfBan(const Ban& ban)
{
    return Text(static_cast<std::int64_t>(ban.of));
}

/// What was said by the database as the accounts' own word.
template <class Work>
auto Done(Work work) -> decltype(work())
{
    try {
        return work();
    } catch (const DatabaseAway& away) {
        throw AccountError(std::string("the accounts' database is away: ") + away.what());
    } catch (const DatabaseRefusal& refusal) {
        throw AccountError(std::string("the accounts' database: ") + refusal.what());
    }
}

/// Whoever changes an account, or what belongs to it, takes it first: no two wait for each other.
bool Hold(Lease& lease, const std::string& key)
{
    return !lease.Ask("SELECT 1 FROM account WHERE key = $1 FOR UPDATE", {key}).rows.empty();
}

}  // namespace

PostgresAccounts::PostgresAccounts(const DatabasePool::Open& open, std::string name,
                                   const DatabasePool::Say& say, DatabaseTimes times)
    : mName(std::move(name)), mPool(open, say, times), mBeside(kBeside)
{
    Done([&] {
        Lease lease = mPool.TakeNew();
        BringSchemaTo(lease, NewestSchema());
    });
}

PostgresAccounts::~PostgresAccounts()
{
    EndWatch();
}

std::optional<Account> PostgresAccounts::Find(const std::string& handle) const
{
    const std::string key = KeyOf(handle);
    if (key.empty()) return std::nullopt;
    const Rows rows =
        Done([&] { return mPool.Take().Ask(std::string(kColumns) + "WHERE key = $1", {key}).rows; });
    if (rows.empty()) return std::nullopt;
    return AccountOf(rows.front());
}

std::vector<Account> PostgresAccounts::List() const
{
    const Rows rows = Done([&] { return mPool.Take().Ask(std::string(kColumns) + "ORDER BY key").rows; });
    std::vector<Account> accounts;
    accounts.reserve(rows.size());
    for (const auto& row : rows) accounts.push_back(AccountOf(row));
    return accounts;
}

Account PostgresAccounts::Add(const std::string& handle, const std::string& passwordHash,
                              const std::string& address)
{
    return Insert(handle, passwordHash, address, false);
}

Account PostgresAccounts::AddGuest(const std::string& handle, const std::string& passwordHash)
{
    return Insert(handle, passwordHash, {}, true);
}

Account PostgresAccounts::Insert(const std::string& handle, const std::string& passwordHash,
                                 const std::string& address, bool guest)
{
    const std::optional<HandleForms> forms = ReadHandle(handle);
    if (!forms) RefuseHandle(handle);
    return Done([&]() -> Account {
        Lease lease = mPool.Take();
        lease.Begin();
        const auto added = lease.Ask(
            "INSERT INTO account(key, skeleton, handle, hash, address) VALUES($1, $2, $3, $4, $5) "
            "ON CONFLICT DO NOTHING",
            {forms->key, forms->skeleton, forms->spelling, passwordHash, address});
        if (added.changed == 1) {
            if (guest) lease.Ask("INSERT INTO guest VALUES($1) ON CONFLICT DO NOTHING", {forms->key});
            lease.Commit();
            return {forms->spelling, passwordHash, address, true, 1, guest, {}};
        }
        const Rows like = lease
                              .Ask("SELECT handle FROM account WHERE key = $1 OR skeleton = $2",
                                   {forms->key, forms->skeleton})
                              .rows;
        RefuseTaken(forms->spelling, like.empty() ? "one that is just going" : like[0][0]);
    });
}

std::vector<std::string> PostgresAccounts::RemoveGuests()
{
    const Rows rows = Done([&] {
        return mPool.Take()
            .Ask("DELETE FROM account WHERE key IN (SELECT key FROM guest) RETURNING handle")
            .rows;
    });
    std::vector<std::string> handles;
    for (const auto& row : rows) handles.push_back(row[0]);
    return handles;
}

bool PostgresAccounts::Change(const std::string& sql, const std::string& handle, const std::string& value)
{
    const std::string key = KeyOf(handle);
    if (key.empty()) return false;
    return Done([&] {
        Lease lease = mPool.Take();
        lease.Begin();
        if (!Hold(lease, key)) return false;
        const bool changed = lease.Ask(sql, {key, value}).changed == 1;
        lease.Commit();
        return changed;
    });
}

bool PostgresAccounts::Remove(const std::string& handle)
{
    return Change("DELETE FROM account WHERE key = $1 AND $2 = ''", handle, "");
}

bool PostgresAccounts::SetPassword(const std::string& handle, const std::string& passwordHash)
{
    return Change("UPDATE account SET hash = $2, generation = generation + 1 WHERE key = $1", handle,
                  passwordHash);
}

bool PostgresAccounts::SetPermitted(const std::string& handle, bool permitted)
{
    return Change("UPDATE account SET permitted = $2::bigint WHERE key = $1", handle, permitted ? "1" : "0");
}

bool PostgresAccounts::SetAddress(const std::string& handle, const std::string& address)
{
    return Change("UPDATE account SET address = $2 WHERE key = $1", handle, address);
}

std::int64_t PostgresAccounts::TakeMailTurn(const std::string& handle, std::int64_t now)
{
    const std::string key = KeyOf(handle);
    return Done([&]() -> std::int64_t {
        Lease lease = mPool.Take();
        const auto taken = lease.Ask(
            "INSERT INTO mailed SELECT key, '', 0, $2::bigint FROM account WHERE key = $1 "
            "ON CONFLICT(key) DO UPDATE SET turn = $2::bigint "
            "WHERE mailed.turn > $2::bigint OR mailed.turn <= $2::bigint - $3::bigint",
            {key, Text(now), Text(kMailTurnSeconds)});
        if (taken.changed == 1) return 0;
        const Rows last = lease.Ask("SELECT turn FROM mailed WHERE key = $1", {key}).rows;
        if (last.empty()) throw AccountError("there is no such account");
        return Number(last[0][0]) + kMailTurnSeconds - now;
    });
}

void PostgresAccounts::GiveMailTurnBack(const std::string& handle, std::int64_t now)
{
    Done([&] {
        mPool.Take().Ask("UPDATE mailed SET turn = 0 WHERE key = $1 AND turn = $2::bigint",
                         {KeyOf(handle), Text(now)});
    });
}

bool PostgresAccounts::SetMailed(const std::string& handle, const MailedPassword& before,
                                 const MailedPassword& after)
{
    return Done([&] {
        return mPool.Take()
                   .Ask("UPDATE mailed SET hash = $3, at = $4::bigint WHERE key = $1 AND hash = $2",
                        {KeyOf(handle), before.hash, after.hash, Text(after.at)})
                   .changed == 1;
    });
}

// The account is held by now, and each statement sees what others have done before it: of two relays one
// finds the mailed password gone.
bool PostgresAccounts::UseMailed(const std::string& handle, const std::string& hash)
{
    return Change(
        "UPDATE account SET hash = $2, generation = generation + 1 WHERE key = $1 AND "
        "EXISTS(SELECT 1 FROM mailed WHERE mailed.key = $1 AND mailed.hash = $2)",
        handle, hash);
}

std::vector<std::pair<std::string, std::string>> PostgresAccounts::Devices() const
{
    const Rows rows = Done([&] { return mPool.Take().Ask("SELECT key, text FROM devices").rows; });
    std::vector<std::pair<std::string, std::string>> devices;
    for (const auto& row : rows) devices.emplace_back(row[0], row[1]);
    return devices;
}

std::string PostgresAccounts::DevicesOf(const std::string& key) const
{
    const Rows rows =
        Done([&] { return mPool.Take().Ask("SELECT text FROM devices WHERE key = $1", {key}).rows; });
    return rows.empty() ? std::string() : rows[0][0];
}

void PostgresAccounts::SaveDevices(const std::string& key, const std::string& text)
{
    Done([&] {
        mPool.Take().Ask("INSERT INTO devices VALUES($1, $2) ON CONFLICT(key) DO UPDATE SET text = $2",
                         {key, text});
    });
}

std::vector<Ban> PostgresAccounts::Bans() const
{
    const Rows rows = Done([&] {
        return mPool.Take()
            .Ask(
                "SELECT \"of\", what, shown, until FROM ban WHERE until = 0 OR until > $1::bigint "
                "ORDER BY until, what",
                {Text(BanClock())})
            .rows;
    });
    std::vector<Ban> bans;
    for (const auto& row : rows)
        bans.push_back({row[0] == "0" ? Ban::Of::Address : Ban::Of::Handle, row[1], row[2], Number(row[3])});
    return bans;
}

void PostgresAccounts::SetBan(const Ban& ban)
{
    Done([&] {
        Lease lease = mPool.Take();
        lease.Begin();
        lease.Ask("DELETE FROM ban WHERE until <> 0 AND until <= $1::bigint", {Text(BanClock())});
        lease.Ask(
            "INSERT INTO ban VALUES($1::bigint, $2, $3, $4::bigint) "
            "ON CONFLICT(\"of\", what) DO UPDATE SET shown = $3, until = $4::bigint",
            {OfBan(ban), ban.what, ban.shown, Text(ban.until)});
        const Rows count = lease.Ask("SELECT count(*) FROM ban").rows;
        if (Number(count[0][0]) > static_cast<std::int64_t>(BanList::kMost)) RefuseBans();
        lease.Commit();
    });
}

bool PostgresAccounts::RemoveBan(const Ban& ban)
{
    return Done([&] {
        return mPool.Take()
                   .Ask("DELETE FROM ban WHERE \"of\" = $1::bigint AND what = $2", {OfBan(ban), ban.what})
                   .changed == 1;
    });
}

std::string PostgresAccounts::Image() const
{
    StoredTables tables = SqliteAccounts::NoTables();
    Done([&] {
        Lease lease = mPool.Take();
        lease.Begin("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY; SET LOCAL statement_timeout = 0");
        for (StoredTable& table : tables)
            table.rows = lease.Ask("SELECT " + table.columns + " FROM " + table.name).rows;
        lease.Commit();
    });
    return SqliteAccounts::ImageOf(tables);
}

void PostgresAccounts::Fill(const std::string& image)
{
    const StoredTables tables = SqliteAccounts::TablesOf(image);
    Done([&] {
        Lease lease = mPool.Take();
        lease.Begin("BEGIN; LOCK TABLE account, service IN EXCLUSIVE MODE");
        if (!lease.Ask("SELECT 1 FROM account LIMIT 1").rows.empty())
            throw AccountError("there are accounts in " + mName + " already");
        lease.Run("DELETE FROM service; DELETE FROM ban; DELETE FROM devices; DELETE FROM mailed");
        for (const StoredTable& table : tables)
            for (const auto& row : table.rows) {
                std::string values;
                for (std::size_t i = 1; i <= row.size(); ++i)
                    values += (i == 1 ? "$" : ", $") + std::to_string(i);
                lease.Ask("INSERT INTO " + table.name + "(" + table.columns + ") VALUES(" + values + ")",
                          row);
            }
        lease.Commit();
    });
}

std::string PostgresAccounts::ServerKey()
{
    return Done([&] {
        Lease lease = mPool.Take();
        const Rows there = lease.Ask("SELECT value FROM service WHERE name = 'server key'").rows;
        if (!there.empty()) return there[0][0];
        lease.Ask("INSERT INTO service VALUES('server key', $1) ON CONFLICT DO NOTHING",
                  {RandomHex(kServerKeyBytes)});
        return lease.Ask("SELECT value FROM service WHERE name = 'server key'").rows.at(0).at(0);
    });
}

AccountsHealth PostgresAccounts::Health() const
{
    const DatabasePool::State state = mPool.Now();
    return {mName, state.trouble, state.since.count()};
}

std::string PostgresAccounts::Advice() const
{
    return Done([&]() -> std::string {
        Lease lease = mPool.Take();
        for (const char* setting : {"fsync", "full_page_writes"})
            if (lease.Ask("SELECT current_setting($1)", {setting}).rows.at(0).at(0) == "off")
                return std::string("its server has ") + setting + " = off: a power cut costs accounts";
        return {};
    });
}

void PostgresAccounts::Watch(std::function<void(const AccountNews&)> tell)
{
    mWatch = std::thread([this, tell = std::move(tell)] {
        while (!Pause()) try {
                Listen(tell);
            } catch (const std::exception&) {
                // the pool has said it; what was missed meanwhile is asked for when it is back
            }
    });
}

void PostgresAccounts::EndWatch()
{
    {
        const std::lock_guard lock(mMutex);
        mStop = true;
        if (mEars) mEars->Interrupt();
    }
    mEnd.notify_all();
    if (mWatch.joinable()) mWatch.join();
    mBeside.join();
}

/// True: it is over. At once, or a second after what went wrong the last time.
bool PostgresAccounts::Pause()
{
    std::unique_lock lock(mMutex);
    const bool again = std::exchange(mListened, true);
    return mEnd.wait_for(lock, again ? kPause : std::chrono::milliseconds(0), [this] { return mStop; });
}

void PostgresAccounts::Listen(const std::function<void(const AccountNews&)>& tell)
{
    Lease lease = mPool.TakeNew();
    struct Heard {
        PostgresAccounts& of;
        Heard(PostgresAccounts& accounts, Database* ears) : of(accounts) { Set(ears); }
        ~Heard() { Set(nullptr); }
        void Set(Database* ears)
        {
            const std::lock_guard lock(of.mMutex);
            of.mEars = ears;
            if (ears && of.mStop) ears->Interrupt();
        }
    } const heard(*this, &lease.Connection());
    lease.Heard(kChannel, std::chrono::milliseconds(0));  // from here on nothing is missed
    tell({AccountNews::Of::Anything, {}});
    {
        const std::lock_guard lock(mMutex);
        mListened = false;  // when this one is lost, another is tried at once
    }
    for (int round = 0;; ++round) {
        if (round % kListeningsOfARound == 0) ForgetOld();
        const std::vector<std::string> news = lease.Heard(kChannel, kListening);
        if (news.empty()) {  // a server that only stood still for a while may have nobody else who asks it
            const auto asked = Deadlines::Clock::now();
            lease.Ask("SELECT 1");
            mPool.Answered(asked);
        }
        for (const std::string& one : news) {
            const std::size_t blank = one.find(' ');
            const std::string what = one.substr(0, blank);
            const std::string key = blank == std::string::npos ? "" : one.substr(blank + 1);
            tell({what == "account"   ? AccountNews::Of::Account
                  : what == "devices" ? AccountNews::Of::Devices
                                      : AccountNews::Of::Bans,
                  key});
        }
    }
}

}  // namespace zephyl
