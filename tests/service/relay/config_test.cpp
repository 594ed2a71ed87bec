// A configuration or a data folder that is not understood keeps the service from starting.

#include "service/relay/config.h"

#include <sys/stat.h>

#include <future>

#include "service/relay/relay_fixture.h"

namespace zephyl {
namespace {

TEST(Config, TakesWhatItsSampleSaysAndRefusesTheRest)
{
    RelayOptions options;
    EXPECT_NO_THROW(ReadConfigText(SampleConfig(), "sample", options));
    EXPECT_EQ(options.port, kDefaultPort);
    EXPECT_FALSE(options.announce);
    ReadConfigText("memory_mebibytes = 3\nflood_seconds = 7\nannounce = true", "units", options);
    EXPECT_TRUE(options.announce);
    EXPECT_EQ(options.bounds.memory, 3u << 20);
    EXPECT_EQ(options.times.floodAfter, std::chrono::seconds(7));
    ReadConfigText(
        "threads = 2\n[mail]\nserver = \"::1\"\nfrom = \"z@example.org\"\ntls = \"none\"\nport = 26\n"
        "answers_alike = true\nmails_per_minute = 5",
        "mail", options);
    EXPECT_EQ(options.mail.port, 26u);
    EXPECT_EQ(options.mail.mailsAMinute, 5u);
    EXPECT_TRUE(options.mail.answersAlike && options.mail.tls == MailOptions::Tls::None);
    options.mail = {};
    const struct {
        const char* text;
        const char* mentions;
    } rows[] = {
        {"listn = \"x\"", "listn"},
        {"grace_seconds = -1", "grace_seconds"},
        {"grace_seconds = 601", "0 to 600"},
        {"grace_seconds = \"60\"", "whole number"},
        {"grace_seconds = 1.5", "whole number"},
        {"threads = true", "threads"},
        {"memory_mebibytes = 1.5", "whole number"},
        {"talk_kept_mebibytes = 0", "1 to 1024"},
        {"announce = 1", "true or false"},
        {"listen = 7420", "quotes"},
        {"listen = \"host:99999\"", "port"},
        {"listen = \":1\"", "host"},
        {"listen = \"127.0.0.1\"", "no port"},
        {"key = \"/a\"", "belong together"},
        {"log_level = \"loud\"", "log_level"},
        {"grace_seconds = 1\ngrace_seconds = 2", "2"},
        {"[listen]\nport = 1", "listen"},
        {"grace_seconds =", "1"},
        {"[mail]\n\nserver = 1", "file:3: server"},
        {"[mail]\nserver = \"mail.example.org\"\nfrom = \"z@example.org\"\ntls = \"none\"",
         "this computer only"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        RelayOptions read;
        try {
            ReadConfigText(row.text, "file", read);
            ADD_FAILURE() << "accepted";
        } catch (const StartError& error) {
            EXPECT_NE(std::string(error.what()).find(row.mentions), std::string::npos) << error.what();
        }
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

TEST_P(RelayTest, GuardsItsDataFolder)
{
    StartRelay();
    const std::string fingerprint = relay->Fingerprint();
    EXPECT_THROW(Relay(options, SilentLog(), kCheapHash), StartError);  // somebody serves it
    relay.reset();
    StartRelay();
    EXPECT_EQ(relay->Fingerprint(), fingerprint);  // clients have pinned it
    relay.reset();
    ::chmod((options.data / "key.pem").c_str(), 0640);
    EXPECT_THROW(StartRelay(), StartError);
    std::filesystem::rename(options.data / "key.pem",
                            folder.path / "own.pem");  // the same for a key named by people
    options.key = folder.path / "own.pem", options.certificate = options.data / "certificate.pem";
    EXPECT_THROW(StartRelay(), StartError);
    ::chmod(options.key.c_str(), 0600);
    StartRelay();
    relay.reset();
    std::filesystem::rename(options.key, options.data / "key.pem");
    options.key = options.certificate = "";
    std::filesystem::remove(options.data / "certificate.pem");
    EXPECT_THROW(StartRelay(), StartError);  // never a new key behind people's backs
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
