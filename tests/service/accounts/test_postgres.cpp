#include "service/accounts/test_postgres.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <stdexcept>

#include "files/careful_file.h"
#include "support/server_output.h"

namespace zephyl {
namespace fs = std::filesystem;
namespace {

/// Where the server's programs are; empty: nowhere.
fs::path Programs()
{
    std::vector<fs::path> found;
    std::error_code none;
    for (const auto& version : fs::directory_iterator("/usr/lib/postgresql", none))
        if (fs::exists(version.path() / "bin/postgres")) found.push_back(version.path() / "bin");
    return found.empty() ? fs::path() : *std::max_element(found.begin(), found.end());
}

std::vector<pid_t> ChildrenOf(pid_t process)
{
    const std::string id = std::to_string(process);
    std::ifstream list("/proc/" + id + "/task/" + id + "/children");
    std::vector<pid_t> children;
    for (pid_t one = 0; list >> one;) children.push_back(one);
    return children;
}

std::string Escaped(std::string text)
{
    for (std::size_t at = 0; (at = text.find('/', at)) != std::string::npos; at += 3)
        text.replace(at, 1, "%2F");
    return text;
}

}  // namespace

bool TestPostgres::Installed()
{
    return !Programs().empty();
}

TestPostgres& TestPostgres::The()
{
    static TestPostgres the;
    return the;
}

std::string TestPostgres::NewDatabase()
{
    if (!Installed()) return {};
    TestPostgres& the = The();
    const std::string name = "test" + std::to_string(++the.mDatabases);
    AdminOf(the.BySocket("postgres"))->Run("CREATE DATABASE " + name);
    return the.BySocket(name);
}

TestPostgres::TestPostgres()
{
    const passwd* const other = ::geteuid() == 0 ? ::getpwnam("nobody") : ::getpwuid(::geteuid());
    if (!other) throw std::runtime_error("there is no user who could run PostgreSQL");
    mUser = other->pw_uid;
    mGroup = other->pw_gid;
    GiveAway(mFolder.path);
    Put("password", std::string(kPassword) + "\n");
    RunAs({"initdb", "-D", mFolder.path / "data", "-U", kUser, "--pwfile", mFolder.path / "password",
           "--no-sync", "--auth-local=trust", "--auth-host=scram-sha-256", "-E", "UTF8", "--locale=C",
           "--no-instructions"});
    Start();
}

TestPostgres::~TestPostgres()
{
    Thaw();
    Crash();
}

void TestPostgres::GiveAway(const fs::path& file) const
{
    if (::geteuid() == 0 && ::chown(file.c_str(), mUser, mGroup) != 0)
        throw std::runtime_error("cannot give " + file.string() + " away");
}

void TestPostgres::Put(const std::string& name, const std::string& text) const
{
    const fs::path file = mFolder.path / name;
    std::ofstream(file) << text;
    fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write);
    GiveAway(file);
}

std::string TestPostgres::BySocket(const std::string& database) const
{
    return std::string("postgresql://") + kUser + "@/" + database +
           "?host=" + Escaped(mFolder.path.string()) + "&port=" + std::to_string(mPort);
}

std::string TestPostgres::ByPort(const std::string& database) const
{
    return std::string("postgresql://") + kUser + "@127.0.0.1:" + std::to_string(mPort) + "/" + database;
}

pid_t TestPostgres::Spawn(const std::vector<std::string>& words, int output) const
{
    const std::string program = Programs() / words.front();
    std::vector<char*> arguments;
    for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.front() = const_cast<char*>(program.c_str());  // it looks for its other programs beside itself
    arguments.push_back(nullptr);
    const bool other = ::geteuid() == 0;
    const pid_t child = ::fork();
    if (child != 0) return child;
    if (other && (::setgroups(0, nullptr) != 0 || ::setgid(mGroup) != 0 || ::setuid(mUser) != 0))
        ::_exit(127);
    ::prctl(PR_SET_PDEATHSIG, SIGQUIT);  // nothing stays of a test that was killed
    ::dup2(output, STDOUT_FILENO);
    ::dup2(output, STDERR_FILENO);
    if (::chdir("/") == 0) ::execv(program.c_str(), arguments.data());
    ::_exit(127);
}

void TestPostgres::RunAs(const std::vector<std::string>& words) const
{
    const fs::path log = mFolder.path / "log";
    const files::Descriptor output(::open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    int status = 0;
    ::waitpid(Spawn(words, output.Number()), &status, 0);
    if (status == 0) return;
    std::ifstream said(log);
    throw std::runtime_error(words.front() + ": " + std::string(std::istreambuf_iterator<char>(said), {}));
}

void TestPostgres::Start(const std::vector<std::string>& settings)
{
    mPort = mUsual.number;
    StartAt(settings);
}

void TestPostgres::StartElsewhere()
{
    mPort = mOther.number;
    StartAt({});
}

void TestPostgres::StartAt(const std::vector<std::string>& settings)
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    std::vector<std::string> words{"postgres",  "-D", mFolder.path / "data", "-k", mFolder.path, "-h",
                                   "127.0.0.1", "-p", std::to_string(mPort)};
    for (const char* each : {"fsync=off", "shared_buffers=16MB", "max_connections=60", "autovacuum=off"})
        words.insert(words.end(), {"-c", each});
    for (const std::string& each : settings) words.insert(words.end(), {"-c", each});
    mServer = Spawn(words, ends[1]);
    ::close(ends[1]);
    mReader = ReaderOnceItHasSaid(ends[0], "ready to accept connections");
}

void TestPostgres::LetNobodyIn()
{
    ::kill(mServer, SIGTERM);
    try {
        while (true) AdminOf(BySocket("postgres"));
    } catch (const DatabaseAway&) {
    }
}

void TestPostgres::Crash()
{
    if (mServer < 0) return;
    ::kill(mServer, SIGQUIT);
    int status = 0;
    ::waitpid(mServer, &status, 0);
    mServer = -1;
    mReader.join();
}

void TestPostgres::Freeze()
{
    ::kill(mServer, SIGSTOP);  // so that there are no more
    mFrozen = ChildrenOf(mServer);
    for (const pid_t child : mFrozen) ::kill(child, SIGSTOP);
}

void TestPostgres::Thaw()
{
    for (const pid_t child : mFrozen) ::kill(child, SIGCONT);
    if (mServer >= 0) ::kill(mServer, SIGCONT);
    mFrozen.clear();
}

std::unique_ptr<Database> AdminOf(const std::string& database)
{
    return OpenDatabase(database);
}

}  // namespace zephyl
