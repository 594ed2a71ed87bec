#pragma once
// A PostgreSQL of the tests' own, for as long as the program runs: started when it is first asked for, on a
// free loopback port and a socket in its own folder, as a user without rights where the tests have all of
// them.

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "service/relay/door/database.h"
#include "service/relay/door/postgres_accounts.h"
#include "service/relay/options.h"
#include "service/relay/temporary_folder.h"
#include "support/held_port.h"

namespace zephyl {

class TestPostgres {
public:
    static constexpr char kUser[] = "tester", kPassword[] = "pass word/%";

    static TestPostgres& The();
    /// Whether there is one on this machine.
    static bool Installed();
    /// A new database of it by the socket; "": none is installed.
    static std::string NewDatabase();

    ~TestPostgres();

    /// The URI of a database by the socket, where nobody is asked for a password.
    std::string BySocket(const std::string& database) const;
    /// By loopback, where one is.
    std::string ByPort(const std::string& database) const;

    void Start(const std::vector<std::string>& settings = {});
    /// Who is there stays, and nobody comes in: as while it starts, but for as long as there is somebody.
    void LetNobodyIn();
    /// As a crash: nothing is written down any more.
    void Crash();
    /// Where nobody who knew it looks, until it is started again.
    void StartElsewhere();
    /// Nobody of it does anything until it is thawed.
    void Freeze();
    void Thaw();

    const std::filesystem::path& Folder() const { return mFolder.path; }
    /// Makes a file there that the server may read.
    void Put(const std::string& name, const std::string& text) const;

private:
    TestPostgres();
    void RunAs(const std::vector<std::string>& words) const;
    pid_t Spawn(const std::vector<std::string>& words, int output) const;
    void StartAt(const std::vector<std::string>& settings);
    void GiveAway(const std::filesystem::path& file) const;

    TemporaryFolder mFolder;
    uid_t mUser;
    gid_t mGroup;
    const HeldPort mUsual, mOther;
    std::uint16_t mPort = 0;
    pid_t mServer = -1;
    std::thread mReader;
    std::vector<pid_t> mFrozen;
    int mDatabases = 0;
};

/// A connection of its own, as an administrator's.
std::unique_ptr<Database> AdminOf(const std::string& database);

/// Skips a test that needs one where there is none.
#define QUORVIA_NEEDS_POSTGRES() \
    if (!TestPostgres::Installed()) GTEST_SKIP() << "no PostgreSQL is installed (package postgresql)"

}  // namespace zephyl
