// A configuration or a data folder that is not understood keeps the service from starting.

#include "service/relay/config.h"

#include <future>

#include "service/relay/relay_fixture.h"

namespace zephyl {
namespace {

// What it refuses is tried at the program itself (reliability, S14).
TEST(Config, TakesWhatItsSampleSays)
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
