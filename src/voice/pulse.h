#pragma once
// Sound in and out by the sound server: PulseAudio, or PipeWire in its place. Whatever ends by itself (a
// device is pulled out, the server is started anew) is opened again. What the server calls only moves samples
// between its memory and the rings: it allocates nothing, takes no lock of ours, and touches no network.

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "voice/ring.h"

namespace voice {

struct Device {
    std::string name;   // the server's
    std::string label;  // for people
    bool operator==(const Device&) const = default;
};

enum class SoundTrouble { None, NoServer, NoMicrophone, NoSpeaker };

class Pulse {
public:
    using Clock = std::chrono::steady_clock;

    /// `wake`: an eventfd that is written to when something was heard or is to be played.
    explicit Pulse(int wake);
    ~Pulse();
    Pulse(const Pulse&) = delete;
    Pulse& operator=(const Pulse&) = delete;

    struct Wishes {
        bool on = false;            // else nothing is heard or played, and no device is held
        std::string input, output;  // names; "", or one that is not there: the server's choice
        bool operator==(const Wishes&) const = default;
    };
    // --- one thread, another one than the server's ---
    void Want(const Wishes& wishes) { mWishes = wishes; }
    /// A few times a second: opens what is wanted and not there.
    void Look(Clock::time_point now);
    /// None, too, while it is not known yet.
    SoundTrouble Trouble() const { return mTrouble; }
    std::vector<Device> Inputs() const;
    std::vector<Device> Outputs() const;
    /// From when something is put into Playing() to when its echo is in Hearing(), in ms, as the server says.
    int EchoDelayMs() const { return mEchoDelayMs; }

    Ring& Hearing();
    Ring& Playing();
    /// How many samples the server took at once, when it last did: so many are to be there the next time.
    std::size_t Asks() const;

private:
    struct Parts;
    void Connect(Clock::time_point now);
    void Disconnect();
    void Open();
    void MeasureDelay();

    const std::unique_ptr<Parts> mParts;
    Wishes mWishes;
    Wishes mAsked, mOpened;  // what the streams were opened for, and the devices that they were opened on
    SoundTrouble mTrouble = SoundTrouble::None;
    Clock::time_point mTriedAt{}, mMeasuredAt{};
    int mEchoDelayMs = 0;
};

/// What a machine has, asked once. Empty when there is no sound server.
struct Devices {
    bool server = false;
    std::vector<Device> inputs, outputs;
};
Devices AskDevices(std::chrono::milliseconds within);

}  // namespace voice
