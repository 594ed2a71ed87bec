#include "service/relay/backup/stream.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "files/careful_file.h"
#include "service/relay/backup/archive.h"
#include "service/relay/beside.h"
#include "service/relay/cluster/log_copy.h"
#include "service/relay/cluster/nats_place.h"
#include "service/relay/door/accounts.h"
#include "service/relay/log/log_room.h"
#include "service/relay/meeting/directory.h"

namespace zephyl {
namespace asio = boost::asio;
namespace {

constexpr std::size_t kKeyBytes = 1 << 20;

std::string ReadPart(const LogPart& part, std::uint64_t at)
{
    std::string bytes(static_cast<std::size_t>(std::min<std::uint64_t>(kArchivePartBytes, part.bytes - at)),
                      '\0');
    ssize_t got = 0;
    do got = ::pread(part.file.Number(), bytes.data(), bytes.size(), static_cast<off_t>(at));
    while (got < 0 && errno == EINTR);
    if (got < 0) throw ArchiveError(part.name + " cannot be read: " + std::strerror(errno));
    bytes.resize(static_cast<std::size_t>(got));
    return bytes;
}

/// Of a key or a certificate; "": it is none of the folder's own.
std::string OwnFile(const std::filesystem::path& path)
{
    if (!std::filesystem::exists(path)) return {};
    return files::ReadWhole(files::OpenRegular(path, O_RDONLY | O_NOFOLLOW, files::Owner::Us), kKeyBytes,
                            path);
}

/// What is made on the way to `write`.
class Streaming {
public:
    using Write = std::function<asio::awaitable<void>(std::string_view)>;
    Streaming(Services& services, Write write) : mServices(services), mWrite(std::move(write)) {}

    asio::awaitable<void> Run()
    {
        mArchive.Put(kBackupNote, BackupNote(mServices.options.version));
        if (mServices.keepers)
            co_await SharedMeetings();
        else
            co_await OwnMeetings();
        std::string accounts, key, certificate;
        co_await Beside(mReads, [&] {
            accounts = mServices.accounts.Image();
            key = OwnFile(mServices.options.data / "key.pem");
            certificate = OwnFile(mServices.options.data / "certificate.pem");
        });
        mArchive.Put("accounts.sqlite", accounts);
        if (!key.empty()) mArchive.Put("key.pem", key);
        if (!certificate.empty()) mArchive.Put("certificate.pem", certificate);
        mArchive.Close();
        co_await Send();
    }

private:
    /// Of all relays, as the servers that keep them copy them.
    asio::awaitable<void> SharedMeetings()
    {
        if (mServices.options.cluster.log.empty()) co_return;
        for (const std::string& log : CopiedStreams()) {
            std::unique_ptr<StreamCopy> copy;
            co_await Beside(mReads, [&] {
                copy = std::make_unique<StreamCopy>(LogPlace(mServices.options.cluster), log);
            });
            if (copy->Head().empty()) continue;
            mArchive.Put(BackupLogName(log, 0), copy->Head());
            for (unsigned part = 1; copy; ++part) {
                co_await Beside(mReads, [&] {
                    if (const auto bytes = copy->Next())
                        mArchive.Put(BackupLogName(log, part), *bytes);
                    else
                        copy.reset();
                });
                co_await Send();
            }
        }
    }
    asio::awaitable<void> OwnMeetings()
    {
        const auto ids = co_await mServices.directory.Ids();
        for (const std::string& id : ids) co_await Meeting(id);
    }
    asio::awaitable<void> Meeting(std::string id)
    {
        const auto held = co_await mServices.directory.Hold(id);
        if (!held) co_return;  // it has ended meanwhile
        std::exception_ptr failed;
        try {
            co_await Copy(*held);
        } catch (...) {
            failed = std::current_exception();
        }
        mServices.directory.Release(*held);
        if (failed) std::rethrow_exception(failed);
    }
    asio::awaitable<void> Copy(const Directory::Held& held)
    {
        for (const LogPart& part : held.parts) {
            mArchive.Begin("meetings/" + held.folder + "/" + part.name, part.bytes);
            for (std::uint64_t at = 0; at < part.bytes;) {
                std::string bytes;
                co_await Beside(mReads, [&] {
                    bytes = ReadPart(part, at);
                    mArchive.Add(bytes);  // its sum is work, too
                });
                if (bytes.empty()) break;  // a torn end that was cut meanwhile
                at += bytes.size();
                co_await Send();
            }
            mArchive.End();
        }
        co_await Send();
    }
    asio::awaitable<void> Send()
    {
        co_await mWrite(mOut);
        mOut.clear();
    }

    Services& mServices;
    const std::function<void(std::function<void()>)> mReads = [this](std::function<void()> work) {
        mServices.logs.reads.Run(std::move(work));
    };
    const Write mWrite;
    std::string mOut;
    ArchiveWriter mArchive{mOut};
};

}  // namespace

asio::awaitable<void> StreamBackup(Services& services, Streaming::Write write)
{
    Streaming streaming(services, std::move(write));
    co_await streaming.Run();
}

}  // namespace zephyl
