#pragma once
// The thread that everything of the companion runs on but its window: the door, the engine, the rings of the
// sound server. The window hands it wishes and looks at what it tells, both by value.

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "contract/voice_door.h"
#include "voice/door_client.h"
#include "voice/engine.h"
#include "voice/pulse.h"

namespace voice {

/// What the user wants.
struct Wishes {
    std::set<std::string> with;            // handles; exactly these are talked with
    std::map<std::string, float> volumes;  // those that are not 1
    bool muted = false, held = false, ownTest = false;
    Speaks speaks = Speaks::Activated;
    Cleaner::Wishes cleaning;
    std::string input, output;
};

/// What people are told.
struct Told {
    bool door = false;  // the client is there
    bool hadDoor = false;
    voice_door::People people;
    SoundTrouble trouble = SoundTrouble::None;
    std::uint8_t ownLevel = kSilence;
    bool speaking = false;
    std::map<std::string, std::uint8_t> levels;
    std::vector<Device> inputs, outputs;
    double delayMs = 0;
    bool open = false;  // the client asks for the window; said once
};

class Worker {
public:
    /// Throws std::runtime_error when a library refuses.
    Worker();
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Once: from now on there is sound, and the door is opened. `path` "": started by hand.
    void Begin(const std::string& path, const std::string& word);

    // --- any thread ---
    void Want(Wishes wishes);
    Told Tell();

private:
    using Clock = Engine::Clock;
    void Run(const std::string& path, const std::string& word);
    void Wait();
    void Take(std::string_view message);
    void FollowWishes();
    void MoveSound(Clock::time_point now);
    void SayStatus();

    const int mWake;
    DoorClient mDoor;
    Engine mEngine;
    Pulse mPulse;
    bool mOwnTest = false;
    std::set<std::string> mWith;
    voice_door::Status mSaid;
    bool mStatusDue = false;

    std::mutex mMutex;  // for what follows
    Wishes mWishes;
    bool mNews = true;
    Told mTold;
    std::atomic<bool> mStop{false};
    std::thread mThread;
};

}  // namespace voice
