#include "service/relay/door/sqlite_accounts.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

#include "service/relay/door/handle_rules.h"
#include "service/relay/door/passwords.h"

namespace zephyl {
namespace {

constexpr int kBusyMilliseconds = 5000;  // another program's change: `zephyld user` beside the daemon
constexpr int kBusyPause = 10;           // milliseconds
constexpr std::size_t kServerKeyBytes = 10;

constexpr char kSchema[] =
    "CREATE TABLE IF NOT EXISTS account("
    " key TEXT PRIMARY KEY, skeleton TEXT NOT NULL UNIQUE, handle TEXT NOT NULL, hash TEXT NOT NULL,"
    " address TEXT NOT NULL, permitted INTEGER NOT NULL DEFAULT 1, generation INTEGER NOT NULL DEFAULT 1);"
    "CREATE TABLE IF NOT EXISTS devices(key TEXT PRIMARY KEY, text TEXT NOT NULL);"
    "CREATE TABLE IF NOT EXISTS guest(key TEXT PRIMARY KEY);"
    "CREATE TABLE IF NOT EXISTS ban(of INTEGER NOT NULL, what TEXT NOT NULL, shown TEXT NOT NULL,"
    " until INTEGER NOT NULL, PRIMARY KEY(of, what));"
    "CREATE TABLE IF NOT EXISTS service(name TEXT PRIMARY KEY, value TEXT NOT NULL);"
    // `turn`: when the account's last mail was asked for. Whatever changes an account, and whichever version
    // of the program does it, a password that was mailed before is gone.
    "CREATE TABLE IF NOT EXISTS mailed("
    " key TEXT PRIMARY KEY, hash TEXT NOT NULL, at INTEGER NOT NULL, turn INTEGER NOT NULL);"
    "CREATE TRIGGER IF NOT EXISTS mailed_changed AFTER UPDATE OF hash, address ON account"
    " BEGIN UPDATE mailed SET hash = '', at = 0 WHERE key = NEW.key; END;"
    "CREATE TRIGGER IF NOT EXISTS mailed_gone AFTER DELETE ON account"
    " BEGIN DELETE FROM mailed WHERE key = OLD.key; END;";
constexpr char kColumns[] =
    "SELECT handle, account.hash, address, permitted, generation,"
    " EXISTS(SELECT 1 FROM guest WHERE guest.key = account.key), mailed.hash, mailed.at"
    " FROM account LEFT JOIN mailed USING(key) ";

[[noreturn]] void Fail(sqlite3* db, const std::string& what)
{
    throw AccountError(what + ": " + (db ? sqlite3_errmsg(db) : "out of memory"));
}

/// A file without the one beside it: it says so in its head, and whoever opens it goes on from there.
void LeaveWal(std::string& image)
{
    constexpr std::size_t at = 18, head = 100;
    if (image.size() > head) image[at] = image[at + 1] = 1;
}

/// Closes it at the end, whatever happens.
class Closing {
public:
    explicit Closing(sqlite3* db) : mDb(db) {}
    ~Closing() { sqlite3_close_v2(mDb); }
    Closing(const Closing&) = delete;
    Closing& operator=(const Closing&) = delete;

private:
    sqlite3* mDb;
};

std::string BytesOf(sqlite3* db)
{
    sqlite3_int64 bytes = 0;
    const std::unique_ptr<unsigned char, decltype(&sqlite3_free)> image(
        sqlite3_serialize(db, "main", &bytes, 0), &sqlite3_free);
    if (!image) Fail(nullptr, "accounts");
    std::string file(reinterpret_cast<const char*>(image.get()), static_cast<std::size_t>(bytes));
    LeaveWal(file);
    return file;
}

/// In the image's own memory, which outlives `db`.
bool Opened(sqlite3* db, std::string& image)
{
    const auto bytes = static_cast<sqlite3_int64>(image.size());
    return sqlite3_deserialize(db, "main", reinterpret_cast<unsigned char*>(image.data()), bytes, bytes,
                               SQLITE_DESERIALIZE_READONLY) == SQLITE_OK;
}

/// "" for what is no handle.
std::string KeyOf(const std::string& handle)
{
    return HandleKey(handle).value_or("");
}

}  // namespace

/// A prepared statement with its values, from 1 on. Finished by the destructor.
class SqliteAccounts::Statement {
public:
    Statement(sqlite3* db, const std::string& sql) : mDb(db)
    {
        if (sqlite3_prepare_v2(db, sql.c_str(), -1, &mStatement, nullptr) != SQLITE_OK) Fail(db, "accounts");
    }
    ~Statement() { sqlite3_finalize(mStatement); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    Statement& Bind(int at, const std::string& value)
    {
        sqlite3_bind_text(mStatement, at, value.data(), static_cast<int>(value.size()), SQLITE_TRANSIENT);
        return *this;
    }
    Statement& Bind(int at, std::int64_t value)
    {
        sqlite3_bind_int64(mStatement, at, value);
        return *this;
    }
    /// True: a row is there.
    bool Step()
    {
        const int result = sqlite3_step(mStatement);
        if (result == SQLITE_ROW) return true;
        if (result != SQLITE_DONE) Fail(mDb, "accounts");
        return false;
    }
    std::string Text(int column) const
    {
        const auto* text = sqlite3_column_text(mStatement, column);
        return text ? reinterpret_cast<const char*>(text) : "";
    }
    std::int64_t Number(int column) const { return sqlite3_column_int64(mStatement, column); }
    std::vector<std::string> Texts() const
    {
        std::vector<std::string> texts;
        const int count = sqlite3_column_count(mStatement);
        texts.reserve(static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i) texts.push_back(Text(i));
        return texts;
    }
    Account Row() const
    {
        return {Text(0), Text(1), Text(2), Number(3) != 0, Number(4), Number(5) != 0, {Text(6), Number(7)}};
    }

private:
    sqlite3* mDb;
    sqlite3_stmt* mStatement = nullptr;
};

/// Several changes in one: undone on every way out before Commit. Under the lock.
class SqliteAccounts::AllOrNothing {
public:
    explicit AllOrNothing(SqliteAccounts& accounts) : mAccounts(accounts)
    {
        mAccounts.Run("BEGIN IMMEDIATE");
    }
    ~AllOrNothing()
    {
        if (!mDone) sqlite3_exec(mAccounts.mDb, "ROLLBACK", nullptr, nullptr, nullptr);
    }
    AllOrNothing(const AllOrNothing&) = delete;
    AllOrNothing& operator=(const AllOrNothing&) = delete;
    void Commit()
    {
        mAccounts.Run("COMMIT");
        mDone = true;
    }

private:
    SqliteAccounts& mAccounts;
    bool mDone = false;
};

SqliteAccounts::SqliteAccounts(const std::filesystem::path& data)
{
    const std::filesystem::path file = data / "accounts.sqlite";
    // SQLite gives its side files the mode of the file itself, so that is made first.
    const int fd = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) throw AccountError("cannot open " + file.string());
    ::fchmod(fd, 0600);
    ::close(fd);
    if (sqlite3_open_v2(file.c_str(), &mDb.open, SQLITE_OPEN_READWRITE | SQLITE_OPEN_FULLMUTEX, nullptr) !=
        SQLITE_OK)
        Fail(mDb, "cannot open " + file.string());
    sqlite3_busy_timeout(mDb, kBusyMilliseconds);
    Run("PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL;");
    Run(kSchema);
}

SqliteAccounts::~SqliteAccounts() = default;

SqliteAccounts::Handle::~Handle()
{
    sqlite3_close_v2(open);
}

void SqliteAccounts::Run(const char* sql) const
{
    if (sqlite3_exec(mDb, sql, nullptr, nullptr, nullptr) != SQLITE_OK) Fail(mDb, "accounts");
}

std::optional<Account> SqliteAccounts::Find(const std::string& handle) const
{
    const std::optional<HandleForms> forms = ReadHandle(handle);
    if (!forms) return std::nullopt;
    const std::lock_guard lock(mMutex);
    Statement find(mDb, std::string(kColumns).append("WHERE key = ?1"));
    if (!find.Bind(1, forms->key).Step()) return std::nullopt;
    return find.Row();
}

std::vector<Account> SqliteAccounts::List() const
{
    const std::lock_guard lock(mMutex);
    Statement all(mDb, std::string(kColumns).append("ORDER BY key"));
    std::vector<Account> accounts;
    while (all.Step()) accounts.push_back(all.Row());
    return accounts;
}

Account SqliteAccounts::Add(const std::string& handle, const std::string& passwordHash,
                            const std::string& address)
{
    return Insert(handle, passwordHash, address, false);
}

Account SqliteAccounts::AddGuest(const std::string& handle, const std::string& passwordHash)
{
    return Insert(handle, passwordHash, {}, true);
}

Account SqliteAccounts::Insert(const std::string& handle, const std::string& passwordHash,
                               const std::string& address, bool guest)
{
    const std::optional<HandleForms> forms = ReadHandle(handle);
    if (!forms) RefuseHandle(handle);
    const std::lock_guard lock(mMutex);
    AllOrNothing step(*this);
    Statement add(mDb,
                  "INSERT INTO account(key, skeleton, handle, hash, address) VALUES(?1, ?2, ?3, ?4, ?5) "
                  "ON CONFLICT DO NOTHING");
    add.Bind(1, forms->key)
        .Bind(2, forms->skeleton)
        .Bind(3, forms->spelling)
        .Bind(4, passwordHash)
        .Bind(5, address)
        .Step();
    if (sqlite3_changes(mDb) == 1) {
        if (guest) Statement(mDb, "INSERT OR REPLACE INTO guest VALUES(?1)").Bind(1, forms->key).Step();
        step.Commit();
        return {forms->spelling, passwordHash, address, true, 1, guest, {}};
    }
    Statement like(mDb, "SELECT handle FROM account WHERE key = ?1 OR skeleton = ?2");
    like.Bind(1, forms->key).Bind(2, forms->skeleton).Step();
    RefuseTaken(forms->spelling, like.Text(0));
}

std::vector<std::string> SqliteAccounts::RemoveGuests()
{
    const std::lock_guard lock(mMutex);
    std::vector<std::string> handles;
    AllOrNothing step(*this);
    {
        Statement all(mDb, "SELECT handle FROM account WHERE key IN (SELECT key FROM guest)");
        while (all.Step()) handles.push_back(all.Text(0));
    }
    Run("DELETE FROM account WHERE key IN (SELECT key FROM guest); DELETE FROM guest;");
    step.Commit();
    return handles;
}

bool SqliteAccounts::Change(const char* sql, const std::string& handle, const std::string& value)
{
    const std::optional<HandleForms> forms = ReadHandle(handle);
    if (!forms) return false;
    const std::lock_guard lock(mMutex);
    Statement(mDb, sql).Bind(1, forms->key).Bind(2, value).Step();
    return sqlite3_changes(mDb) == 1;
}

bool SqliteAccounts::Remove(const std::string& handle)
{
    const std::string unused;
    Change("DELETE FROM devices WHERE key = ?1", handle, unused);
    Change("DELETE FROM guest WHERE key = ?1", handle, unused);
    return Change("DELETE FROM account WHERE key = ?1", handle, unused);
}

std::vector<std::pair<std::string, std::string>> SqliteAccounts::Devices() const
{
    const std::lock_guard lock(mMutex);
    Statement all(mDb, "SELECT key, text FROM devices");
    std::vector<std::pair<std::string, std::string>> devices;
    while (all.Step()) devices.emplace_back(all.Text(0), all.Text(1));
    return devices;
}

std::string SqliteAccounts::DevicesOf(const std::string& key) const
{
    const std::lock_guard lock(mMutex);
    Statement one(mDb, "SELECT text FROM devices WHERE key = ?1");
    return one.Bind(1, key).Step() ? one.Text(0) : std::string();
}

void SqliteAccounts::SaveDevices(const std::string& key, const std::string& text)
{
    const std::lock_guard lock(mMutex);
    Statement(mDb, "INSERT OR REPLACE INTO devices VALUES(?1, ?2)").Bind(1, key).Bind(2, text).Step();
}

bool SqliteAccounts::SetPassword(const std::string& handle, const std::string& passwordHash)
{
    return Change("UPDATE account SET hash = ?2, generation = generation + 1 WHERE key = ?1", handle,
                  passwordHash);
}

bool SqliteAccounts::SetPermitted(const std::string& handle, bool permitted)
{
    return Change("UPDATE account SET permitted = CAST(?2 AS INTEGER) WHERE key = ?1", handle,
                  permitted ? "1" : "0");
}

std::vector<Ban> SqliteAccounts::Bans() const
{
    const std::lock_guard lock(mMutex);
    Statement all(
        mDb, "SELECT of, what, shown, until FROM ban WHERE until = 0 OR until > ?1 ORDER BY until, what");
    all.Bind(1, BanClock());
    std::vector<Ban> bans;
    while (all.Step())
        bans.push_back({all.Number(0) == 0 ? Ban::Of::Address : Ban::Of::Handle, all.Text(1), all.Text(2),
                        all.Number(3)});
    return bans;
}

void SqliteAccounts::SetBan(const Ban& ban)
{
    const std::lock_guard lock(mMutex);
    AllOrNothing step(*this);
    Statement(mDb, "DELETE FROM ban WHERE until != 0 AND until <= ?1").Bind(1, BanClock()).Step();
    Statement(mDb, "INSERT OR REPLACE INTO ban VALUES(?1, ?2, ?3, ?4)")
        .Bind(1, static_cast<std::int64_t>(ban.of))
        .Bind(2, ban.what)
        .Bind(3, ban.shown)
        .Bind(4, ban.until)
        .Step();
    Statement count(mDb, "SELECT count(*) FROM ban");
    count.Step();
    if (count.Number(0) > static_cast<std::int64_t>(BanList::kMost)) RefuseBans();
    step.Commit();
}

bool SqliteAccounts::RemoveBan(const Ban& ban)
{
    const std::lock_guard lock(mMutex);
    Statement(mDb, "DELETE FROM ban WHERE of = ?1 AND what = ?2")
        .Bind(1, static_cast<std::int64_t>(ban.of))
        .Bind(2, ban.what)
        .Step();
    return sqlite3_changes(mDb) == 1;
}

bool SqliteAccounts::SetAddress(const std::string& handle, const std::string& address)
{
    return Change("UPDATE account SET address = ?2 WHERE key = ?1", handle, address);
}

std::int64_t SqliteAccounts::TakeMailTurn(const std::string& handle, std::int64_t now)
{
    const std::string key = KeyOf(handle);
    const std::lock_guard lock(mMutex);
    Statement(mDb,
              "INSERT INTO mailed SELECT key, '', 0, ?2 FROM account WHERE key = ?1 "
              "ON CONFLICT(key) DO UPDATE SET turn = ?2 WHERE turn > ?2 OR turn <= ?2 - ?3")
        .Bind(1, key)
        .Bind(2, now)
        .Bind(3, kMailTurnSeconds)
        .Step();
    if (sqlite3_changes(mDb) == 1) return 0;
    Statement last(mDb, "SELECT turn FROM mailed WHERE key = ?1");
    if (!last.Bind(1, key).Step()) throw AccountError("there is no such account");
    return last.Number(0) + kMailTurnSeconds - now;
}

void SqliteAccounts::GiveMailTurnBack(const std::string& handle, std::int64_t now)
{
    const std::lock_guard lock(mMutex);
    Statement(mDb, "UPDATE mailed SET turn = 0 WHERE key = ?1 AND turn = ?2")
        .Bind(1, KeyOf(handle))
        .Bind(2, now)
        .Step();
}

bool SqliteAccounts::SetMailed(const std::string& handle, const MailedPassword& before,
                               const MailedPassword& after)
{
    const std::lock_guard lock(mMutex);
    Statement(mDb, "UPDATE mailed SET hash = ?3, at = ?4 WHERE key = ?1 AND hash = ?2")
        .Bind(1, KeyOf(handle))
        .Bind(2, before.hash)
        .Bind(3, after.hash)
        .Bind(4, after.at)
        .Step();
    return sqlite3_changes(mDb) == 1;
}

std::string SqliteAccounts::Image() const
{
    sqlite3* copy = nullptr;
    sqlite3_open(":memory:", &copy);
    const Closing owner(copy);
    if (!copy) Fail(nullptr, "accounts");
    {
        const std::lock_guard lock(mMutex);
        sqlite3_backup* const backup = sqlite3_backup_init(copy, "main", mDb, "main");
        if (!backup) Fail(copy, "accounts");
        int step = SQLITE_BUSY;
        while ((step = sqlite3_backup_step(backup, -1)) == SQLITE_BUSY || step == SQLITE_LOCKED)
            sqlite3_sleep(kBusyPause);
        sqlite3_backup_finish(backup);
        if (step != SQLITE_DONE) Fail(copy, "accounts cannot be copied");
    }
    return BytesOf(copy);
}

std::string SqliteAccounts::FaultOf(std::string image)
{
    LeaveWal(image);
    sqlite3* db = nullptr;
    sqlite3_open(":memory:", &db);
    const Closing owner(db);
    if (!Opened(db, image)) return sqlite3_errmsg(db);
    try {
        Statement check(db, "PRAGMA quick_check(1)");
        if (!check.Step() || check.Text(0) != "ok") return check.Text(0);
        Statement(db, "SELECT count(*) FROM account").Step();
    } catch (const AccountError& error) {
        return error.what();
    }
    return {};
}

StoredTables SqliteAccounts::NoTables()
{
    return {{"account", "key, skeleton, handle, hash, address, permitted, generation", {}},
            {"devices", "key, text", {}},
            {"guest", "key", {}},
            {"ban", "\"of\", what, shown, until", {}},
            {"service", "name, value", {}},
            {"mailed", "key, hash, at, turn", {}}};
}

// An older version's image lacks what came later.
StoredTables SqliteAccounts::TablesOf(std::string image)
{
    LeaveWal(image);
    sqlite3* db = nullptr;
    sqlite3_open(":memory:", &db);
    const Closing owner(db);
    if (!Opened(db, image)) Fail(db, "accounts");
    StoredTables tables = NoTables();
    for (StoredTable& table : tables) {
        Statement there(db, "SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = ?1");
        if (!there.Bind(1, table.name).Step()) continue;
        Statement all(db, "SELECT " + table.columns + " FROM " + table.name);
        while (all.Step()) table.rows.push_back(all.Texts());
    }
    return tables;
}

std::string SqliteAccounts::ImageOf(const StoredTables& tables)
{
    sqlite3* db = nullptr;
    sqlite3_open(":memory:", &db);
    const Closing owner(db);
    if (!db || sqlite3_exec(db, kSchema, nullptr, nullptr, nullptr) != SQLITE_OK) Fail(db, "accounts");
    for (const StoredTable& table : tables)
        for (const auto& row : table.rows) {
            std::string values;
            for (std::size_t i = 0; i < row.size(); ++i) values += i == 0 ? "?" : ", ?";
            Statement put(db, "INSERT INTO " + table.name + "(" + table.columns + ") VALUES(" + values + ")");
            for (std::size_t i = 0; i < row.size(); ++i) put.Bind(static_cast<int>(i + 1), row[i]);
            put.Step();
        }
    return BytesOf(db);
}

bool SqliteAccounts::UseMailed(const std::string& handle, const std::string& hash)
{
    return Change(
        "UPDATE account SET hash = ?2, generation = generation + 1 WHERE key = ?1 AND "
        "EXISTS(SELECT 1 FROM mailed WHERE mailed.key = ?1 AND mailed.hash = ?2)",
        handle, hash);
}

std::string SqliteAccounts::ServerKey()
{
    const std::string hex = RandomHex(kServerKeyBytes);
    const std::lock_guard lock(mMutex);
    Statement(mDb, "INSERT INTO service VALUES('server key', ?1) ON CONFLICT DO NOTHING").Bind(1, hex).Step();
    Statement read(mDb, "SELECT value FROM service WHERE name = 'server key'");
    if (!read.Step()) throw AccountError("accounts: no server key");
    return read.Text(0);
}

}  // namespace zephyl
