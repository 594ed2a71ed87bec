// Where the database is, as a configuration says it, and whom one believes to be it.

#include <fstream>

#include "service/accounts/test_postgres.h"
#include "service/relay/config.h"
#include "service/relay/door/database_place.h"
#include "service/relay/door/open_accounts.h"
#include "service/relay/relay_fixture.h"

namespace zephyl {
namespace {

/// What is wrong with it; "": nothing.
std::string Fault(const std::function<void()>& work)
{
    try {
        work();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return {};
}

TEST(DatabasePlace, SaysNoPasswordAndWeakensNothing)
{
    const struct {
        const char *uri, *name, *fault;
    } rows[] = {
        {"postgresql://z@db.example.org/zephyl", "zephyl at db.example.org", ""},
        {"postgres://z@db1:5433,[2001:db8::1]:5434/a%20b", "a b at db1, 2001:db8::1", ""},
        {"postgresql:///zephyl", "zephyl at this computer", ""},
        {"postgresql://z@/zephyl?host=%2Frun%2Fpostgresql&port=5433", "zephyl at /run/postgresql", ""},
        {"postgresql://z@%2Frun%2Fpg/zephyl", "zephyl at /run/pg", ""},
        {"", "", ""},
        {"db.example.org", "", "postgresql://USER@HOST/NAME"},
        {"mysql://z@db/zephyl", "", "postgresql://USER@HOST/NAME"},
        {"postgresql://z@db", "", "names no database"},
        {"postgresql://z@db/", "", "names no database"},
        {"postgresql://z:secret@db/zephyl", "", "accounts_password_file"},
        {"postgresql://z:@db/zephyl", "", "accounts_password_file"},
        {"postgresql://z@db/zephyl?password=secret", "", "\"password\" cannot be said"},
        {"postgresql://z@db/zephyl?p%61ssword=secret", "", "\"password\" cannot be said"},
        {"postgresql://z@db/zephyl?sslmode=disable", "", "\"sslmode\" cannot be said"},
        {"postgresql://z@db/zephyl?port=1&hostaddr=192.0.2.1", "", "\"hostaddr\" cannot be said"},
        {"postgresql://z@[::1/zephyl", "", "\"]\""},
        {"postgresql://z@db/a%0", "", "two hexadecimal digits"},
        {"postgresql://z@db/a%00", "", "%00"},
        {"postgresql://z@db/a b", "", "written as %"},
        {"postgresql://z@db/a\nb", "", "written as %"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.uri);
        ClusterOptions options;
        options.accounts = row.uri;
        const std::string fault = Fault([&] { CheckCluster(options); });
        EXPECT_EQ(fault.empty(), !*row.fault) << fault;
        EXPECT_NE(fault.find(row.fault), std::string::npos) << fault;
        EXPECT_EQ(fault.find("secret"), std::string::npos) << fault;
        EXPECT_EQ(*row.name ? DatabaseName(options) : "", row.name);
    }
    EXPECT_NE(Fault([] { CheckCluster({{}, "password", {}}); }), "");
}

TEST(DatabasePlace, ANetworkIsOnlyUsedWithTlsThatProvesWhoThatIs)
{
    for (const auto& [uri, verified] : {std::pair("postgresql://z@db/zephyl", true),
                                        {"postgresql://z@localhost,db/zephyl", true},
                                        {"postgresql://z@db/zephyl?host=%2Frun", true},
                                        {"postgresql://z@/zephyl?host=%2Frun,db", true},
                                        {"postgresql://z@127.0.0.1,[::1]/zephyl", false},
                                        {"postgresql://z@/zephyl?host=%2Frun", false}}) {
        const std::string made = DatabaseUri({uri, {}, {}});
        EXPECT_EQ(made.find("&sslmode=verify-full") != std::string::npos ||
                      made.find("?sslmode=verify-full") != std::string::npos,
                  verified)
            << made;
    }
}

TEST(DatabasePlace, StandsInTheConfiguration)
{
    RelayOptions options;
    ReadConfigText(
        "[cluster]\naccounts = \"postgresql://z@db/zephyl\"\naccounts_password_file = \"/etc/z\"\n"
        "accounts_authorities = \"/etc/ca.pem\"",
        "file", options);
    EXPECT_EQ(options.cluster, (ClusterOptions{"postgresql://z@db/zephyl", "/etc/z", "/etc/ca.pem"}));
    for (const char* wrong : {"[cluster]\naccounts = \"postgresql://z:secret@db/zephyl\"", "[cluster]\nx = 1",
                              "[cluster]\naccounts = 1", "cluster = 1"}) {
        RelayOptions read;
        EXPECT_NE(Fault([&] { ReadConfigText(wrong, "file", read); }), "") << wrong;
    }
}

TEST(DatabasePlace, APasswordStandsInAFileOfItsOwn)
{
    QUORVIA_NEEDS_POSTGRES();
    const TestPostgres& server = TestPostgres::The();
    TestPostgres::NewDatabase();
    const TemporaryFolder folder;
    const auto file = folder.path / "password";
    const ClusterOptions options{server.ByPort("postgres"), file, {}};
    const struct {
        std::string line;
        std::filesystem::perms others;
        const char* fault;
    } rows[] = {
        {std::string(TestPostgres::kPassword) + "\nsecond line\n", {}, ""},
        {std::string(TestPostgres::kPassword) + "\r\n", {}, ""},
        {TestPostgres::kPassword, std::filesystem::perms::others_read, "password"},
        {"wrong\n", {}, "authentication failed"},
        {"", {}, "no password"},
        {"\n", {}, "no password"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.line);
        std::ofstream(file, std::ios::trunc) << row.line;
        std::filesystem::permissions(
            file, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write | row.others);
        const std::string fault = Fault([&] {
            EXPECT_EQ(AccountsNotYet(options), "") << "no use waiting";
            OpenDatabaseAccounts(options);
        });
        EXPECT_EQ(fault.empty(), !*row.fault) << fault;
        EXPECT_NE(fault.find(row.fault), std::string::npos) << fault;
        EXPECT_EQ(fault.find(TestPostgres::kPassword), std::string::npos) << fault;
    }
    EXPECT_NE(Fault([&] { OpenDatabaseAccounts({server.ByPort("postgres"), {}, {}}); }), "");
}

TEST(DatabasePlace, TheServerProvesWhoItIs)
{
    QUORVIA_NEEDS_POSTGRES();
    TestPostgres& server = TestPostgres::The();
    const TemporaryFolder folder;
    const auto made = [&](const char* name, const std::string& subject) {
        const std::string path = (folder.path / name).string();
        const std::string command =
            "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2 -subj /CN=x "
            "-addext subjectAltName=" +
            subject + " -keyout " + path + ".key -out " + path + ".pem 2>/dev/null";
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
        return path;
    };
    const auto text = [](const std::string& path) {
        std::ifstream file(path);
        return std::string(std::istreambuf_iterator<char>(file), {});
    };
    std::ofstream(folder.path / "password") << TestPostgres::kPassword << "\n";
    std::filesystem::permissions(folder.path / "password", std::filesystem::perms(0600));
    const std::string right = made("right", "IP:127.0.0.1"), other = made("other", "IP:127.0.0.1"),
                      named = made("named", "DNS:db.example.org");
    const struct {
        std::string served, believed;
        const char* fault;
    } rows[] = {
        {right, right, ""},
        {right, other, "certificate verify failed"},
        {named, named, "does not match"},
        {"", right, "does not support SSL"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.served + " " + row.believed);
        if (!row.served.empty()) {
            server.Put("server.key", text(row.served + ".key"));
            server.Put("server.pem", text(row.served + ".pem"));
        }
        server.Crash();
        const std::string folderOf = server.Folder().string();
        server.Start(row.served.empty()
                         ? std::vector<std::string>{}
                         : std::vector<std::string>{"ssl=on", "ssl_key_file=" + folderOf + "/server.key",
                                                    "ssl_cert_file=" + folderOf + "/server.pem"});
        const std::string fault = Fault([&] {
            const ClusterOptions options{server.ByPort("postgres"), folder.path / "password",
                                         row.believed + ".pem"};
            EXPECT_EQ(AccountsNotYet(options), "") << "no use waiting";
            OpenDatabaseAccounts(options);
        });
        EXPECT_EQ(fault.empty(), !*row.fault) << fault;
        EXPECT_NE(fault.find(row.fault), std::string::npos) << fault;
    }
    server.Crash();
    server.Start();
}

}  // namespace
}  // namespace zephyl
