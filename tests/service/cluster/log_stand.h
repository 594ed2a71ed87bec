#pragma once
// A meeting's log in what a test names, on a strand of the test's own.

#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "service/relay/cluster/jetstream_log.h"
#include "service/relay/log/file_log.h"
#include "service/relay/log/memory_log.h"
#include "service/relay/temporary_folder.h"

namespace zephyl {

class LogStand {
public:
    using Make = std::function<std::unique_ptr<MeetingLog>(LogStand&)>;
    explicit LogStand(Make make) : mMake(std::move(make)) { bounds.logInMemory = 1 << 20; }
    ~LogStand() { log.reset(); }

    /// As after a kill: nothing was said to the one before. False: it cannot be used.
    bool TryOpen()
    {
        log.reset();
        items.clear();
        contents.reset();
        failed = false;
        log = mMake(*this);
        bool done = false;
        log->OpenLater([&](std::exception_ptr why, LogContents read) {
            done = failed = why != nullptr;
            if (done) return;
            contents = std::move(read);
            log->NumbersFrom([this] { return numbers; });
            log->WhenSafe([this](const Sequences& upTo) { safe = upTo; });
            log->ReplayLater([&](const LogItem& item) { items.push_back(Text(item)); },
                             [&](std::exception_ptr whyNot, Replayed said) {
                                 failed = whyNot != nullptr;
                                 replayed = said;
                                 done = true;
                             });
        });
        Until([&] { return done; });
        return !failed;
    }
    void Open() { ASSERT_TRUE(TryOpen()); }

    /// 'P': one that newcomers do not get. Its bytes are all that letter.
    std::uint64_t Put(Channel channel, std::size_t bytes, char letter = 'a')
    {
        auto item = std::make_shared<LogItem>();
        item->channel = channel;
        item->everyone = true;
        item->kept = channel == CHANNEL_BOARD && letter != 'P';
        item->frames = std::string(bytes, letter);
        item->sequence = log->Next(channel);
        const std::uint64_t sequence = item->sequence;
        given.push_back(letter + std::to_string(bytes));
        log->Append({item}, [this, item] { delivered.push_back(Text(*item)); });
        return sequence;
    }
    /// Until everything so far is safe.
    void Wait()
    {
        bool done = false;
        log->WhenSynced([&] { done = true; });
        Until([&] { return done; });
    }
    void Until(const std::function<bool()>& done)
    {
        while (!done()) {
            io.restart();
            if (io.run_one_for(std::chrono::seconds(60)) == 0) FAIL() << "nothing happens any more";
        }
    }
    std::vector<std::string> Read(Channel channel, std::uint64_t from)
    {
        std::vector<std::string> read;
        for (bool more = true; more;) {
            std::optional<LogChunk> chunk;
            log->Read(channel, from, 64 * 1024, [&](LogChunk got) { chunk = std::move(got); });
            Until([&] { return chunk.has_value(); });
            more = chunk->upTo > from;
            for (const ItemPtr& item : chunk->items) {
                EXPECT_GT(item->sequence, from);
                from = item->sequence;
                read.push_back(Text(*item));
            }
            from = chunk->upTo;
        }
        return read;
    }
    /// "a100": as Put made it.
    static std::string Text(const LogItem& item)
    {
        EXPECT_EQ(item.frames.find_first_not_of(item.frames[0]), std::string::npos);
        return item.frames[0] + std::to_string(item.frames.size());
    }

    RelayBounds bounds;
    /// Answers may still be under way when the rest has gone.
    const std::shared_ptr<boost::asio::io_context> run = std::make_shared<boost::asio::io_context>();
    boost::asio::io_context& io = *run;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> busy{io.get_executor()};
    LogRoom room{kLogsInMemoryBytes};
    TemporaryFolder folder;
    std::unique_ptr<MeetingLog> log;
    std::vector<NumbersEntry> numbers;
    std::optional<LogContents> contents;
    std::vector<std::string> items;      // that were replayed
    std::vector<std::string> given;      // by Put
    std::vector<std::string> delivered;  // in that order
    std::string trouble;                 // "-": it takes nothing; "+": again
    bool lost = false;
    bool failed = false;
    Replayed replayed;
    Sequences safe;

private:
    const Make mMake;
};

inline std::unique_ptr<MeetingLog> LogInFiles(LogStand& stand)
{
    return std::make_unique<FileLog>(
        stand.folder.path / "meeting", MeetingHead{"id", "code", "key", 1}, stand.bounds, stand.room,
        [run = stand.run](auto work) { boost::asio::post(*run, std::move(work)); },
        [&stand](bool refused) { stand.trouble += refused ? '-' : '+'; });
}

/// `epochs`: shared by all who open it.
inline std::unique_ptr<MeetingLog> LogInEngine(LogStand& stand, Engine& engine, std::uint64_t& epochs)
{
    return std::make_unique<JetStreamLog>(
        "m1", ++epochs, stand.bounds, stand.room, engine,
        JetStreamWays{[run = stand.run](auto work) { boost::asio::post(*run, std::move(work)); },
                      [&stand](bool refused) { stand.trouble += refused ? '-' : '+'; },
                      [&stand] { stand.lost = true; },
                      [&engine](const std::string& subject) {
                          engine.Purge(subject, kEveryEntry, [](EngineResult) {});
                      },
                      [run = stand.run](auto pause, auto work) {
                          const auto timer = std::make_shared<boost::asio::steady_timer>(*run, pause);
                          timer->async_wait([timer, work = std::move(work)](auto) { work(); });
                      }});
}

}  // namespace zephyl
