// Backups: of a service that runs, put back whole, and archives that nobody should trust.
#include <fcntl.h>
#include <unistd.h>

#include <fstream>

#include "files/careful_file.h"
#include "service/relay/admin_socket.h"
#include "service/relay/backup/archive.h"
#include "service/relay/backup/restore.h"
#include "service/relay/door/sqlite_accounts.h"
#include "service/relay/relay_fixture.h"

namespace zephyl {
namespace {

namespace fs = std::filesystem;

class BackupTest : public testing::Test, protected RelayRoom {
protected:
    BackupTest() : RelayRoom({Logs::Files}) { options.times.grace = std::chrono::minutes(1); }
    fs::path Write(const std::string& bytes)
    {
        const fs::path path = folder.path / ("archive" + std::to_string(++mFiles));
        std::ofstream(path) << bytes;
        return path;
    }
    static files::Descriptor Open(const fs::path& path)
    {
        return files::OpenRegular(path, O_RDONLY, files::Owner::Anybody);
    }
    /// What the running service gives.
    std::string Taken()
    {
        auto daemon = OpenDaemon(options.data, "backup");
        while (daemon && daemon->first == "busy") daemon = OpenDaemon(options.data, "backup");
        EXPECT_TRUE(daemon && daemon->first == "ok");
        std::string all;
        char some[64 * 1024];
        for (ssize_t got = 0; (got = ::read(daemon->second.Number(), some, sizeof some)) > 0;)
            all.append(some, static_cast<std::size_t>(got));
        return all;
    }
    /// Into another folder, which `options` names from then on.
    void PutBack(const std::string& archive)
    {
        const files::Descriptor file = Open(Write(archive));
        ASSERT_NO_THROW(CheckBackup(file.Number()));
        options.data = folder.path / ("restored" + std::to_string(mFiles));
        Restore(file.Number(), options.data);
    }

private:
    int mFiles = 0;
};

std::string FileName(const std::string& id, const char* file)
{
    return "meetings/" + id + "/" + file;
}

// Small segments, so that files are closed, thinned and written over while they are copied.
TEST_F(BackupTest, OfAMeetingUnderLoadLosesNothingThatWasAccepted)
{
    options.bounds.talkKept = 1 << 20;
    options.bounds.boardKept = 16 << 20;
    auto bob = In("bob");
    auto alice = In("Alice");
    const Place alices = place;
    const std::string stroke = "[[ZUM_WB_PEN]]|¥|1|¥|" + std::string(8000, '7');
    std::atomic<bool> over{false};
    std::atomic<std::uint64_t> accepted{0};
    std::thread load([&] {
        for (std::uint64_t number = 1; !over; ++number) {
            bob->Post(number, stroke + std::to_string(number));
            bob->SendRead(~0u, ~0u);
            if (number % 20 == 0) bob->WaitAccepted(CHANNEL_BOARD, number), accepted = number;
        }
    });
    while (accepted < 200) std::this_thread::yield();
    {
        const auto hung = OpenDaemon(options.data, "backup");  // takes nothing of it, and then goes
        ASSERT_TRUE(hung && hung->first == "ok");
        EXPECT_EQ(OpenDaemon(options.data, "backup")->first, "busy");
        for (const std::uint64_t then = accepted; accepted < then + 40;) std::this_thread::yield();
    }
    const std::uint64_t before = accepted;
    std::string first = Taken();
    const std::string second = Taken();
    over = true;
    load.join();
    const std::uint64_t after = accepted;
    relay.reset();
    PutBack(first);
    StartRelay();
    const Resumed back = Fresh()->Resume(alices);
    EXPECT_EQ(back.result(), RESULT_OK) << "whoever was there goes on";
    EXPECT_GE(back.place().attendees_size(), 2);
    auto carol = In("carol");
    std::uint64_t expected = 1;
    for (; expected <= before; ++expected) {
        const Received item = carol->Wait(Header::kItem);
        if (!item.header.item().has_text()) {
            --expected;
            continue;
        }
        ASSERT_EQ(item.body, stroke + std::to_string(expected));
        carol->SendRead(0, item.header.item().sequence());
    }
    relay.reset();
    PutBack(second);
    EXPECT_GE(after, before);
}

// Clients have seen what came after the backup: nothing new may hide behind that.
TEST_F(BackupTest, PutBackItGivesOutSequencesThatNobodyHasSeen)
{
    auto bob = In("bob");
    auto alice = In("Alice");
    const std::string archive = Taken();
    for (int starts = 0; starts < 3; ++starts) {
        StartRelay();
        bob = In("bob");
    }
    bob->PostAndWait(1, "seen");
    alice = In("Alice");
    const Place seen = place;
    relay.reset();
    PutBack(archive);
    StartRelay();
    alice = In("Alice");
    bob = In("bob");
    bob->Post(2, "new");
    for (;;) {
        const Received item = alice->Wait(Header::kItem);
        if (item.body != "new") continue;
        EXPECT_GT(item.header.item().sequence(), seen.position().talk());
        break;
    }
}

std::string Small(const std::function<void(ArchiveWriter&)>& more, bool accounts = true)
{
    std::string out;
    ArchiveWriter archive(out);
    archive.Put(kBackupNote, BackupNote("1.0.0"));
    const TemporaryFolder folder;
    if (accounts) archive.Put("accounts.sqlite", SqliteAccounts(folder.path).Image());
    if (more) more(archive);
    archive.Close();
    return out;
}

TEST_F(BackupTest, TrustsNoArchiveThatItsWriterDidNotMake)
{
    const std::string id(32, 'a');
    const auto with = [](const std::string& name) {
        return Small([&](ArchiveWriter& archive) { archive.Put(name, "x"); });
    };
    const std::string good = with(FileName(id, "head"));
    EXPECT_NO_THROW(CheckBackup(Open(Write(good)).Number()));
    const auto retyped = [&](std::size_t at, char c) {  // in the head of the first file, its check made right
        std::string bytes = good;
        bytes[at] = c;
        unsigned sum = 0;
        for (std::size_t i = 0; i < 512; ++i)
            sum += i >= 148 && i < 156 ? ' ' : static_cast<unsigned char>(bytes[i]);
        std::snprintf(bytes.data() + 148, 7, "%06o", sum);
        return bytes;
    };
    std::vector<std::pair<std::string, std::string>> rows{
        {"nothing", ""},
        {"text", std::string(2048, 'x')},
        {"zeros", std::string(2048, '\0')},
        {"a link", retyped(156, '2')},
        {"a folder", retyped(156, '5')},
        {"a device", retyped(156, '3')},
        {"a long name", retyped(156, 'L')},
        {"a prefix", retyped(345, '.')},
        {"a huge size", retyped(124, '7')},
        {"a size that is none", retyped(124, '-')},
        {"something behind it", good + std::string(512, 'x')},
        {"half a block behind it", good + std::string(100, '\0')},
        {"two of a name", Small([](ArchiveWriter& archive) {
             archive.Put("key.pem", "x");
             archive.Put("key.pem", "x");
         })},
        {"no accounts", Small({}, false)},
    };
    for (const std::string& name : std::vector<std::string>{
             "../accounts.sqlite", "/etc/passwd", "meetings/../key.pem", FileName(id, "../../key.pem"),
             FileName(id, ".."), FileName(id, "head.new"), FileName("../" + id.substr(3), "head"),
             FileName(std::string(32, 'A'), "head"), FileName(id, "talk-1-1.log"), "lock", "admin.sock",
             "restoring", "accounts.sqlite-wal", "key.pem/x", "", "key.pem\nx"})
        rows.emplace_back(name, with(name));
    for (std::size_t cut = 0; cut < good.size(); cut += 211)
        rows.emplace_back("cut off", good.substr(0, cut));
    for (std::size_t at = 0; at + 1024 < good.size(); at += 97) {
        rows.emplace_back("a bit at " + std::to_string(at), good);
        rows.back().second[at] ^= 4;
    }
    for (const auto& [what, bytes] : rows) {
        const files::Descriptor file = Open(Write(bytes));
        EXPECT_THROW(CheckBackup(file.Number()), ArchiveError) << what;
    }
}

TEST_F(BackupTest, RestoresOnlyWhereNothingIsAndAllOrNothing)
{
    StartRelay();
    const std::string archive = Taken();
    const files::Descriptor file = Open(Write(archive));
    const std::string fingerprint = relay->Fingerprint();
    relay.reset();
    const fs::path data = folder.path / "new";
    fs::create_directory(data);
    fs::create_symlink(options.data / "key.pem", data / "key.pem");
    EXPECT_THROW(Restore(file.Number(), data), StartError) << "somebody's link";
    fs::remove(data / "key.pem");
    const files::Descriptor cut = Open(Write(archive.substr(0, archive.size() / 2)));
    EXPECT_THROW(Restore(cut.Number(), data), ArchiveError);  // as if it had been interrupted
    options.data = data;
    EXPECT_THROW(StartRelay(), StartError) << "half a service's data";
    Restore(file.Number(), data);
    StartRelay();
    EXPECT_EQ(relay->Fingerprint(), fingerprint);
    LoggedIn("Alice");
    relay.reset();

    std::string again;  // of one that does not run: the same
    WriteBackup(data, "1.0.0", [&](std::string_view bytes) { again += bytes; });
    PutBack(again);
    StartRelay();
    EXPECT_EQ(relay->Fingerprint(), fingerprint);
}

}  // namespace
}  // namespace zephyl
