// Where the servers are, as a configuration says it, and whom one believes to be one.

#include <gtest/gtest.h>

#include <future>
#include <mutex>

#include "service/cluster/test_nats.h"
#include "service/relay/cluster/nats_place.h"
#include "service/relay/private_folder.h"

namespace zephyl {
namespace {

TEST(LogPlace, SaysNoPasswordAndWeakensNothing)
{
    const struct {
        const char *uri, *name, *fault;
        bool tls;
    } rows[] = {
        {"nats://z@n1.example.org,n2:4223,[2001:db8::1]:4224", "n1.example.org, n2, 2001:db8::1", "", true},
        {"nats://z@127.0.0.1:4222,localhost:4223,[::1]", "127.0.0.1, localhost, ::1", "", false},
        {"nats://z@127.0.0.1,n2", "127.0.0.1, n2", "", true},  // one elsewhere: all prove who they are
        {"n1.example.org", "", "nats://USER@HOST", true},
        {"http://z@n1", "", "nats://USER@HOST", true},
        {"nats://n1", "", "names no user", true},
        {"nats://@n1", "", "names no user", true},
        {"nats://z@", "", "names no server", true},
        {"nats://z@n1,", "", "names no server", true},
        {"nats://z@n1,,n2", "", "has no name", true},
        {"nats://z:secret@n1", "", "log_password_file", true},
        {"nats://z@n1:0", "", "is no port", true},
        {"nats://z@n1:65535", "n1", "", true},
        {"nats://z@n1:65536", "", "is no port", true},
        {"nats://z@n1:", "", "is no port", true},
        {"nats://z@[::1", "", "\"]\"", true},
        {"nats://z@[::1]4222", "", "\"]\"", true},
        {"nats://z@n1/stream", "", "nothing else", true},
        {"nats://z@n1?tls=no", "", "nothing else", true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.uri);
        TemporaryFolder folder;
        ClusterOptions options = TestNats::Named(folder.path);
        options.log = row.uri;
        std::string fault;
        try {
            CheckLogPlace(options);
            EXPECT_EQ(LogPlaceName(options), row.name);
            for (const NatsServer& server : LogPlace(options).servers) {
                EXPECT_EQ(server.tls, row.tls);
                EXPECT_EQ(server.password, TestNats::kPassword);
            }
        } catch (const StartError& error) {
            fault = error.what();
        }
        EXPECT_EQ(fault.empty(), !*row.fault) << fault;
        EXPECT_NE(fault.find(row.fault), std::string::npos) << fault;
        EXPECT_EQ(fault.find("secret"), std::string::npos) << fault;
    }
}

TEST(LogPlace, AsksForAPasswordAndAsManyServersAsReplicas)
{
    ClusterOptions options;
    options.log = "nats://z@n1,n2,n3";
    EXPECT_THROW(CheckLogPlace(options), StartError);
    options.logPasswordFile = "/nowhere/password";
    EXPECT_NO_THROW(CheckLogPlace(options));
    EXPECT_THROW(LogPlace(options), StartError);
    TemporaryFolder folder;
    options.logPasswordFile = TestNats::Named(folder.path).logPasswordFile;
    EXPECT_EQ(LogPlace(options).replicas, 3u);
    options.logReplicas = 5;
    EXPECT_THROW(CheckLogPlace(options), StartError);
    options.log = "";
    EXPECT_THROW(CheckLogPlace(options), StartError);
}

/// What the engine says of its first trouble, "" for none.
std::string FirstWord(const NatsSite& site)
{
    std::promise<std::string> said;
    std::once_flag once;
    const auto tell = [&](const std::string& trouble) {
        std::call_once(once, [&] { said.set_value(trouble); });
    };
    NatsEngine engine(site, OpenNats, tell);
    const auto ears = engine.WhenChanged([&](bool) { tell(""); });
    if (engine.Connected()) tell("");
    return said.get_future().get();
}

TEST(LogPlace, BelievesOnlyWhoProvesWhoTheyAre)
{
    QUORVIA_NEEDS_NATS();
    TestNats nats(1, TestNats::Tls::Yes);
    NatsSite site = nats.Site();
    NatsServer& server = site.servers.front();
    EXPECT_EQ(FirstWord(site), "");
    server.password += "?";
    EXPECT_NE(FirstWord(site), "");
    server.password = TestNats::kPassword;
    server.host = "127.0.0.1";  // where it is, but not what its certificate names
    EXPECT_NE(FirstWord(site), "");
    server.host = "localhost";
    server.authorities = "/etc/ssl/certs/ca-certificates.crt";
    EXPECT_NE(FirstWord(site), "");
    server.tls = false;
    EXPECT_NE(FirstWord(site), "");
}

}  // namespace
}  // namespace zephyl
