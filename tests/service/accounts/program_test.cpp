// The program itself with accounts in a database: two daemons, and what an operator says to one of them.

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <fstream>

#include "files/careful_file.h"
#include "service/accounts/test_postgres.h"
#include "service/relay/door/open_accounts.h"
#include "service/relay/door/sqlite_accounts.h"
#include "service/relay/relay_fixture.h"

namespace zephyl {
namespace {

namespace fs = std::filesystem;

/// A program and what it says, on both outputs.
class Program {
public:
    explicit Program(const std::vector<std::string>& words)
    {
        std::array<int, 2> ends{};
        EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
        const std::string program = fs::read_symlink("/proc/self/exe").parent_path() / "zephyld";
        std::vector<char*> arguments{const_cast<char*>("zephyld")};
        for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
        arguments.push_back(nullptr);
        mProcess = ::fork();
        if (mProcess == 0) {
            ::dup2(ends[1], STDOUT_FILENO);
            ::dup2(ends[1], STDERR_FILENO);
            ::execv(program.c_str(), arguments.data());
            ::_exit(127);
        }
        ::close(ends[1]);
        mSaid = files::Descriptor(ends[0]);
    }
    ~Program()
    {
        if (mProcess > 0) ::kill(mProcess, SIGKILL), ::waitpid(mProcess, nullptr, 0);
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// Up to these words, or its end.
    std::string Until(const std::string& words)
    {
        char c = 0;
        while (mText.find(words) == std::string::npos && ::read(mSaid.Number(), &c, 1) == 1) mText += c;
        return mText;
    }
    /// Its exit code, and all that it said.
    std::pair<int, std::string> Ended()
    {
        char c = 0;
        while (::read(mSaid.Number(), &c, 1) == 1) mText += c;
        int status = 0;
        ::waitpid(std::exchange(mProcess, -1), &status, 0);
        return {WEXITSTATUS(status), mText};
    }
    void Tell(int signal) { ::kill(mProcess, signal); }
    /// Where it serves, once it has said so.
    std::uint16_t Port()
    {
        const std::string line = Until("sha256:");
        const std::size_t at = line.find("ready 127.0.0.1:");
        EXPECT_NE(at, std::string::npos) << line;
        return at == std::string::npos ? 0 : static_cast<std::uint16_t>(std::stoi(line.substr(at + 16)));
    }

private:
    pid_t mProcess = -1;
    files::Descriptor mSaid;
    std::string mText;
};

TEST(AccountsInADatabase, ServeTwoDaemonsAndTheirOperator)
{
    QUORVIA_NEEDS_POSTGRES();
    StartSodium();
    const TemporaryFolder folder;
    const std::string database = TestPostgres::NewDatabase();
    const auto path = [&](const char* name) { return (folder.path / name).string(); };
    const auto write = [&](const char* name, const std::string& text) {
        std::ofstream(path(name)) << text;
        fs::permissions(path(name), fs::perms(0600));
        return path(name);
    };
    const std::string config =
        write("zephyld.toml", "listen = \"127.0.0.1:0\"\n[cluster]\naccounts = \"" + database + "\"\n");
    const std::string password = write("password", "secret\n");
    /// Run on one's data folder; fails unless it says that, and succeeds as expected.
    const auto run = [&](std::vector<std::string> words, const char* says, int code = 0) {
        const auto [ended, said] = Program(words).Ended();
        EXPECT_EQ(ended, code) << words.front() << ": " << said;
        EXPECT_NE(said.find(says), std::string::npos) << words.front() << ": " << said;
    };
    fs::create_directory(path("one"));
    fs::permissions(path("one"), fs::perms(0700));
    SqliteAccounts(path("one")).Add("Ann", HashPassword("secret", kCheapHash), "");
    run({"user", "list", "--data", path("one")}, "Ann");
    run({"user", "import", "--data", path("one")}, "no [cluster]", 1);
    run({"user", "import", "--data", path("one"), "--config", config}, "1 accounts are in");
    run({"user", "import", "--data", path("one"), "--config", config}, "already", 1);

    Program one({"serve", "--config", config, "--data", path("one")});
    Program other({"serve", "--config", config, "--data", path("other")});
    const std::uint16_t ports[] = {one.Port(), other.Port()};
    run({"user", "add", "--data", path("other"), "--password-file", password, "bob"}, "");
    EXPECT_FALSE(fs::exists(path("other") + "/accounts.sqlite")) << "made where nobody looks";
    RawClient ann(ports[1]), bob(ports[0]);
    EXPECT_EQ(ann.Login("ann", "secret", 1).result(), RESULT_OK);
    EXPECT_EQ(bob.Login("bob", "secret", 2).result(), RESULT_OK);
    run({"user", "list", "--data", path("one")}, "bob");
    run({"doctor", "--config", config, "--data", path("one")}, "2 accounts in ");
    run({"doctor", "--data", path("one")}, "fsync = off");
    run({"status", "--data", path("one")}, "accounts in test");
    // Said to one, done by both.
    run({"ban", "--data", path("other"), "bob"}, "");
    EXPECT_EQ(bob.Goodbye(), BYE_KICKED);
    run({"user", "remove", "--data", path("one"), "ann"}, "");
    EXPECT_EQ(ann.Goodbye(), BYE_KICKED);
    run({"unban", "--data", path("one"), "bob"}, "");

    run({"backup", "--data", path("one"), path("running.tar")}, "accounts");
    one.Tell(SIGTERM);
    EXPECT_EQ(one.Ended().first, 0);
    run({"backup", "--data", path("one"), path("stopped.tar")}, "accounts");
    for (const char* archive : {"running.tar", "stopped.tar"}) {
        const std::string to = path("restored ") + archive;
        run({"restore", "--data", to, path(archive)}, "accounts");
        EXPECT_EQ(SqliteAccounts(to).List().at(0).handle, "bob");
    }

    TestPostgres::The().Crash();
    run({"user", "list", "--data", path("other")}, "accounts in test", 1);
    run({"status", "--data", path("other")}, "away for");
    run({"doctor", "--config", config, "--data", path("other")}, "BAD   accounts", 1);
    TestPostgres::The().Start();
    other.Tell(SIGTERM);
    EXPECT_EQ(other.Ended().first, 0);
}

TEST(AccountsInADatabase, AreWaitedForAtTheStart)
{
    QUORVIA_NEEDS_POSTGRES();
    TestPostgres& server = TestPostgres::The();
    const TemporaryFolder folder;
    const std::string database = TestPostgres::NewDatabase(), waiting = "waiting for the accounts in test";
    const auto serve = [&](const std::string& name, const std::string& accounts) {
        const std::string config = (folder.path / name).string();
        std::ofstream(config) << "listen = \"127.0.0.1:0\"\n[cluster]\naccounts = \"" << accounts << "\"\n";
        return Program({"serve", "--config", config, "--data", config + ".data"});
    };
    {
        const auto last = AdminOf(database);
        server.LetNobodyIn();
        Program early = serve("early", database);
        EXPECT_NE(early.Until("shutting down").find(waiting), std::string::npos);
        server.Crash();
        Program ended = serve("ended", database);
        EXPECT_NE(ended.Until(waiting).find(waiting), std::string::npos);
        ended.Tell(SIGTERM);
        EXPECT_EQ(ended.Ended().first, 0);
        server.Start({"default_transaction_read_only=on"});  // as beside one that takes changes
        EXPECT_EQ(early.Until("read-only").find("ready"), std::string::npos);
        server.Crash();
        server.Start();
        EXPECT_NE(early.Port(), 0);
    }
    const auto [code, said] = serve("none", server.BySocket("none")).Ended();
    EXPECT_EQ(code, 1);
    EXPECT_NE(said.find("does not exist"), std::string::npos) << said;
    EXPECT_EQ(said.find("waiting"), std::string::npos) << "for ever: " << said;
}

}  // namespace
}  // namespace zephyl
