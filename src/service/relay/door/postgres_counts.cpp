// What relays count together, in PostgreSQL. By the server's clock alone: those of the relays differ.

#include <sodium.h>

#include <boost/asio/post.hpp>
#include <charconv>
#include <cstring>

#include "service/relay/door/postgres_accounts.h"

namespace zephyl {
namespace {

using std::chrono::milliseconds;
using Lease = DatabasePool::Lease;

constexpr int kAccountLock = 1, kAddressLock = 2;
constexpr milliseconds kLongest{
    64'000};  // that BackOff slows anybody down; a clock that was set back adds nothing
// Counts may miss what a crash of the server takes: nobody waits for a disk.
constexpr char kBegin[] = "BEGIN; SET LOCAL synchronous_commit = off; ";

template <class Work>
auto Counted(Work work) -> decltype(work())
{
    try {
        return work();
    } catch (const std::runtime_error& error) {
        throw AccountError(std::string("counts of all relays: ") + error.what());
    }
}

/// Of what may be in it nothing is left that text cannot hold.
std::string Named(const char* kind, std::string name)
{
    for (char& c : name)
        if (c == '\0') c = '\n';
    return std::string(kind) + " " + name;
}

/// A number for a name. Two with the same wait for each other, and nothing worse.
std::string LockOf(int kind, const std::string& name)
{
    std::int32_t number = 0;
    unsigned char hash[crypto_generichash_BYTES];
    crypto_generichash(hash, sizeof hash, reinterpret_cast<const unsigned char*>(name.data()), name.size(),
                       nullptr, 0);
    std::memcpy(&number, hash, sizeof number);
    return "SELECT pg_advisory_xact_lock(" + std::to_string(kind) + ", " + std::to_string(number) + ")";
}

double Real(const std::string& text)
{
    double number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

milliseconds Milliseconds(const std::string& text)
{
    return milliseconds(static_cast<std::int64_t>(Real(text)));
}

std::string Decimal(double number)
{
    char text[64];
    const auto end = std::to_chars(text, text + sizeof text, number);
    return {text, end.ptr};
}

}  // namespace

class PostgresAccounts::HeldTurn final : public SharedCounts::Turn {
public:
    HeldTurn(DatabasePool& pool, const Attempt& attempt)
        : mLease(pool.Take()),
          mKnown(!attempt.device.empty()),
          mAccount(Named("account", attempt.account)),
          mAddress(Named("address", attempt.address)),
          mDevice(Named("device", attempt.account + '\n' + attempt.device))
    {
        mLease.Begin(kBegin + LockOf(kAccountLock, mAccount));
    }

    BackOff::Standing Now() override
    {
        return Counted([&] {
            const auto now = BackOff::Clock::now();
            BackOff::Standing standing;
            // Before the first name that is there, and after the second, there is nothing.
            const auto answer = mLease.Ask(
                "SELECT name, failures, wrong, "
                "round(extract(epoch FROM until - clock_timestamp()) * 1000), "
                "round(extract(epoch FROM clock_timestamp() - last) * 1000) FROM guess WHERE name IN ($1, "
                "$2)",
                mKnown ? std::vector{mDevice, mDevice} : std::vector{mAccount, mAddress});
            for (const auto& row : answer.rows) {
                BackOff::Record& record = row[0] == mDevice    ? standing.device
                                          : row[0] == mAccount ? standing.account
                                                               : standing.address;
                record.failures = static_cast<int>(Real(row[1]));
                record.lastWrong = static_cast<std::size_t>(Real(row[2]));
                record.until = now + std::min(Milliseconds(row[3]), kLongest);
                record.last = now - std::max(Milliseconds(row[4]), milliseconds(0));
            }
            return standing;
        });
    }
    // The account's turn is taken before the address's: nobody waits the other way round.
    BackOff::Standing Alone() override
    {
        Counted([&] { mLease.Run(LockOf(kAddressLock, mAddress)); });
        return Now();
    }
    void Save(const BackOff::Standing& standing) override
    {
        Counted([&] {
            if (mKnown) {
                Put(mDevice, standing.device);
            } else {
                Put(mAccount, standing.account);
                Put(mAddress, standing.address);
            }
            mLease.Commit();
        });
    }

private:
    void Put(const std::string& name, const BackOff::Record& record)
    {
        if (record.failures == 0) {
            mLease.Ask("DELETE FROM guess WHERE name = $1", {name});
            return;
        }
        const auto now = BackOff::Clock::now();
        const auto in = [now](BackOff::Clock::time_point at) {
            return Decimal(std::max(std::chrono::duration<double>(at - now).count(), -3600.0));
        };
        mLease.Ask(
            "INSERT INTO guess VALUES($1, $2::bigint, $3::bigint, clock_timestamp() + $4::float8 * interval "
            "'1 s', "
            "clock_timestamp() + $5::float8 * interval '1 s') ON CONFLICT(name) DO UPDATE SET "
            "failures = excluded.failures, wrong = excluded.wrong, until = excluded.until, last = "
            "excluded.last",
            {name, std::to_string(record.failures), std::to_string(record.lastWrong), in(record.until),
             in(record.last)});
    }

    Lease mLease;
    const bool mKnown;
    const std::string mAccount, mAddress, mDevice;
};

SharedCounts* PostgresAccounts::Shared() const
{
    return const_cast<PostgresAccounts*>(this);
}

std::unique_ptr<SharedCounts::Turn> PostgresAccounts::TakeTurn(const Attempt& attempt)
{
    return Counted([&] { return std::make_unique<HeldTurn>(mPool, attempt); });
}

// Of each name the moment is kept at which nothing of it is used any more.
std::vector<double> PostgresAccounts::Used(const std::vector<Share>& shares)
{
    return Counted([&] {
        std::vector<std::string> names;
        std::string places;
        for (const Share& share : shares) {
            names.push_back(Named("spent", share.name));
            places += (names.size() == 1 ? "$" : ", $") + std::to_string(names.size());
        }
        std::vector<double> used(shares.size());
        const auto answer = mPool.Take().Ask(
            "SELECT name, extract(epoch FROM until - clock_timestamp()) FROM spent WHERE name IN (" + places +
                ")",
            names);
        for (const auto& row : answer.rows)
            for (std::size_t i = 0; i < names.size(); ++i)
                if (names[i] == row[0]) used[i] = std::max(0.0, Real(row[1])) * shares[i].aMinute / 60;
        return used;
    });
}

void PostgresAccounts::Spend(const std::vector<Share>& shares)
{
    Counted([&] {
        Lease lease = mPool.Take();
        lease.Begin(kBegin);
        for (const Share& share : shares)
            lease.Ask(
                "INSERT INTO spent VALUES($1, clock_timestamp() + $2::float8 * interval '1 s') ON "
                "CONFLICT(name) DO UPDATE "
                "SET until = greatest(spent.until, clock_timestamp()) + $2::float8 * interval '1 s'",
                {Named("spent", share.name), Decimal(60 / share.aMinute)});
        lease.Commit();
    });
}

milliseconds PostgresAccounts::Take(const Share& share)
{
    return Counted([&]() -> milliseconds {
        const std::string name = Named("spent", share.name);
        const double each = 60 / share.aMinute;
        const std::string room = Decimal(60 - each);
        Lease lease = mPool.Take();
        lease.Begin(kBegin);
        const auto taken = lease.Ask(
            "INSERT INTO spent VALUES($1, clock_timestamp() + $2::float8 * interval '1 s') ON CONFLICT(name) "
            "DO UPDATE "
            "SET until = greatest(spent.until, clock_timestamp()) + $2::float8 * interval '1 s' "
            "WHERE spent.until <= clock_timestamp() + $3::float8 * interval '1 s'",
            {name, Decimal(each), room});
        milliseconds wait{};
        if (taken.changed == 0) {
            const auto rows = lease.Ask(
                "SELECT ceil(1000 * (extract(epoch FROM until - clock_timestamp()) - $2::float8)) FROM spent "
                "WHERE name = $1",
                {name, room});
            wait = std::max(rows.rows.empty() ? milliseconds(1) : Milliseconds(rows.rows[0][0]),
                            milliseconds(1));
        }
        lease.Commit();
        return wait;
    });
}

void PostgresAccounts::Run(std::function<void()> work)
{
    boost::asio::post(mBeside, std::move(work));
}

// A relay that has nothing to delete has done so with one index.
void PostgresAccounts::ForgetOld() const
{
    Lease lease = mPool.Take();
    lease.Run(
        "DELETE FROM guess WHERE last < clock_timestamp() - interval '15 min';"
        "DELETE FROM spent WHERE until < clock_timestamp()");
}

}  // namespace zephyl
