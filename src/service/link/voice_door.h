#pragma once
// The door by which the voice companion reaches the session: a socket below the user's runtime folder that
// only this user can open, behind a random word. What goes through it never waits for the user interface.

#include <atomic>
#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "contract/messenger_service.h"
#include "contract/voice_door.h"
#include "service/link/voice_sink.h"

namespace zephyl::link {

class Session;

class VoiceDoor final : public VoiceSink, public std::enable_shared_from_this<VoiceDoor> {
public:
    explicit VoiceDoor(boost::asio::any_io_executor executor);
    ~VoiceDoor() override;

    // --- any thread ---
    /// Opens it, once; later calls change nothing. Throws std::runtime_error when it cannot be opened.
    VoicePlace Open();
    /// The socket goes from the folder, and whoever is connected is cut off.
    void Shut();
    /// Whether voice goes through, either way; at first it does not.
    void LetPass(bool passes) { mPasses = passes; }
    /// What people are told.
    VoiceNews News() const;

    // --- network thread ---
    /// Whose meeting it leads to from now on; null: none.
    void LeadTo(const std::shared_ptr<Session>& session);
    void ShowCompanion();

    void OnVoice(std::string_view from, std::uint64_t frame, std::uint32_t level,
                 std::string_view body) override;
    void OnVoicePeople() override;

private:
    using Stream = boost::asio::posix::stream_descriptor;
    using Clock = std::chrono::steady_clock;

    boost::asio::awaitable<void> Listen();
    boost::asio::awaitable<void> Serve(std::shared_ptr<Stream> companion);
    boost::asio::awaitable<void> TellPeople(std::shared_ptr<Stream> companion);
    void Take(std::string_view message);
    void Gone();
    bool SayPeople();
    bool Send(const std::string& message);
    void Note(const std::string& handle, std::uint32_t level);

    const boost::asio::any_io_executor mExecutor;
    std::unique_ptr<Stream> mListening;
    std::shared_ptr<Stream> mCompanion;  // said the word; null: none
    std::weak_ptr<Session> mSession;
    std::atomic<bool> mPasses{false};
    std::vector<std::string> mWith;  // whom the companion talks with

    struct Sounds {
        std::uint32_t level;
        Clock::time_point at;
    };
    mutable std::mutex mMutex;  // for what follows
    std::string mPath, mWord;   // "": not open
    bool mConnected = false;
    voice_door::Status mStatus;
    std::map<std::string, Sounds> mLevels;  // the own one under ""
};

}  // namespace zephyl::link
