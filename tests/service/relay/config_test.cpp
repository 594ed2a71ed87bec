// A configuration or a data folder that is not understood keeps the service from starting.

#include "service/relay/config.h"

#include <future>

#include "service/net/tls_context.h"
#include "service/relay/door/identity.h"
#include "service/relay/listen_address.h"
#include "service/relay/relay_fixture.h"

namespace zephyl {
namespace {

// What it refuses is tried at the program itself (reliability, S14).
TEST(Config, TakesWhatItsSampleSays)
{
    RelayOptions options;
    EXPECT_NO_THROW(ReadConfigText(SampleConfig(), "sample", options));
    ReadConfigText("memory_mebibytes = 3\nflood_seconds = 7\nannounce = true", "units", options);
    EXPECT_TRUE(options.announce);
    EXPECT_EQ(options.bounds.memory, 3u << 20);
    EXPECT_EQ(options.times.floodAfter, std::chrono::seconds(7));
    ReadConfigText("[mail]\nserver = \"::1\"\nfrom = \"z@example.org\"\nmails_per_minute = 5", "mail",
                   options);
    EXPECT_EQ(options.mail.mailsAMinute, 5u);
    try {
        RelayOptions read;
        ReadConfigText("[mail]\n\nserver = 1", "file", read);
        ADD_FAILURE() << "accepted";
    } catch (const StartError& error) {
        EXPECT_NE(std::string(error.what()).find("file:3: server"), std::string::npos) << error.what();
    }
    RelayOptions untouched;
    EXPECT_NO_THROW(ReadConfig("/dev/null", untouched));  // an empty file changes nothing
    EXPECT_THROW(ReadConfig("/nowhere/zephyld.toml", options), StartError);
    ReadListen("0.0.0.0:1", options);
    EXPECT_EQ(options.host, "0.0.0.0");
    ReadListen("[::1]:7421", options);
    EXPECT_EQ(options.host, "::1");
    EXPECT_EQ(options.port, 7421);
}

// Who has pinned the key is never asked to believe another one that nobody has decided on.
TEST(Identity, IsAsGoodAsItsKey)
{
    const TemporaryFolder folder;
    const Identity made = PrepareIdentity(folder.path);
    EXPECT_FALSE(made.certified);
    const auto fingerprint = [&] { return TlsContext::Server(made.key, made.certificate)->Fingerprint(); };
    const std::string pinned = fingerprint();
    std::filesystem::remove(made.certificate);  // as after a first start that was interrupted
    EXPECT_TRUE(PrepareIdentity(folder.path).certified);
    EXPECT_EQ(fingerprint(), pinned);

    std::filesystem::rename(made.key, folder.path / "lost");
    try {
        PrepareIdentity(folder.path);
        ADD_FAILURE() << "accepted";
    } catch (const StartError& error) {
        EXPECT_NE(std::string(error.what()).find(kPutKeyBack), std::string::npos) << error.what();
    }
    EXPECT_FALSE(std::filesystem::exists(made.key));
    std::filesystem::rename(folder.path / "lost", made.key);
    EXPECT_FALSE(PrepareIdentity(folder.path).certified);
    EXPECT_EQ(fingerprint(), pinned);

    std::filesystem::remove(made.certificate);
    std::filesystem::resize_file(made.key, 100);
    EXPECT_THROW(PrepareIdentity(folder.path), StartError);
    EXPECT_FALSE(std::filesystem::exists(made.certificate));
    std::filesystem::remove(made.key);
    PrepareIdentity(folder.path);
    EXPECT_NE(fingerprint(), pinned);
}

TEST(Config, ARelayAmongOthersIsNamedSoThatClientsFindIt)
{
    const std::string longName(32, 'n');
    const struct {
        std::string cluster;
        const char* refusal;  // null: taken
    } rows[] = {
        {"name = \"" + longName + "\"", nullptr},
        {"name = \"" + longName + "x\"", "is no name of a relay"},
        {"name = \"a.b\"", "is no name of a relay"},
        {"advertise = \"[::1]:7420\"", nullptr},
        {"advertise = \"::1:7420\"", "names no host"},
        {"advertise = \"meet.example.org\"", "names no port"},
        {"advertise = \"meet.example.org:0\"", "not where clients can go"},
        {"advertise = \"0.0.0.0:7420\"", "is every address"},
        {"advertise = \"a:1\\nb:2\"", "has no port"},
        {"advertise = \"a:1\"\nrelays = [\"a:1\", \"b:1\"]", nullptr},
        {"relays = [\"b:1\"]", "which of them is this one"},
        {"advertise = \"a:1\"\nrelays = [\"b:1\", \"b:1\"]", "named twice"},
        {"advertise = \"a:1\"\nrelays = \"b:1\"", "is a list"},
        {"udp = true", "[cluster]: it stands in front"},  // a line that was added at the file's end
        {"advertise = \"a:1\"\nrelays = [\"b c:1\"]", "file:3: "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.cluster);
        std::string said;
        try {
            RelayOptions read;
            ReadConfigText("[cluster]\n" + row.cluster, "file", read);
        } catch (const StartError& error) {
            said = error.what();
        }
        EXPECT_TRUE(row.refusal ? said.find(row.refusal) != std::string::npos : said.empty()) << said;
    }
}

TEST_P(RelayTest, NewcomersAreToldOfTheOtherRelays)
{
    options.cluster.advertise = "a:1";
    options.cluster.relays = {"a:1", "b:2", "[::1]:3"};
    StartRelay();
    const zephyl::Welcome welcome = Fresh()->Wait(Header::kWelcome).header.welcome();
    EXPECT_EQ(std::vector<std::string>(welcome.relays().begin(), welcome.relays().end()),
              std::vector<std::string>({"b:2", "[::1]:3"}));
}

TEST_P(RelayTest, OnlyAPersonalServiceGoesWhenNobodyIsConnected)
{
    options.times.tick = std::chrono::milliseconds(1);
    options.times.idleEnd = std::chrono::milliseconds(0);
    for (const bool personal : {true, false}) {
        options.personal = personal;
        std::promise<void> idle;
        Relay served(options, SilentLog(), kCheapHash);
        served.Start([&idle] { idle.set_value(); });
        const auto patience = std::chrono::milliseconds(personal ? 20'000 : 100);
        EXPECT_EQ(idle.get_future().wait_for(patience) == std::future_status::ready, personal);
    }
}

}  // namespace
}  // namespace zephyl
