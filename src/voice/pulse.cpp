#include "voice/pulse.h"

#include <pulse/pulseaudio.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <thread>
#include <utility>

namespace voice {

namespace {

constexpr std::chrono::seconds kTryEvery{1};
constexpr std::chrono::milliseconds kMeasureEvery{500};
constexpr std::uint32_t kStepBytes = kStepSamples * sizeof(Sample);

/// Bytes the server asks for at once, and holds of what is played: two requests, and its device's own. With
/// no more than the requests PulseAudio runs the device with the shortest buffer there is and wakes everybody
/// two thousand times a second. PipeWire gives the device half of what is beyond them, and needs the longer
/// request: at 5 ms it was heard to stutter.
struct Amounts {
    std::uint32_t request, ahead;
};
constexpr Amounts kPulseAudio{kStepBytes / 2, 2 * kStepBytes},
    kPipeWire{kStepBytes * 3 / 4, kStepBytes * 5 / 2};

const pa_sample_spec kSpec{PA_SAMPLE_S16NE, kRate, 1};

/// Held while it lives.
class Held {
public:
    explicit Held(pa_threaded_mainloop* loop) : mLoop(loop) { pa_threaded_mainloop_lock(loop); }
    ~Held() { pa_threaded_mainloop_unlock(mLoop); }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;

private:
    pa_threaded_mainloop* const mLoop;
};

bool Ended(pa_stream* stream)
{
    return !stream || !PA_STREAM_IS_GOOD(pa_stream_get_state(stream));
}

void Release(pa_stream*& stream)
{
    if (!stream) return;
    pa_stream_set_read_callback(stream, nullptr, nullptr);
    pa_stream_set_write_callback(stream, nullptr, nullptr);
    pa_stream_disconnect(stream);
    pa_stream_unref(stream);
    stream = nullptr;
}

void Forget(pa_operation* operation)
{
    if (operation) pa_operation_unref(operation);
}

bool Has(const std::vector<Device>& devices, const std::string& name)
{
    return std::any_of(devices.begin(), devices.end(), [&](const Device& one) { return one.name == name; });
}

}  // namespace

/// On the server's thread, or while its loop is held.
struct Pulse::Parts {
    explicit Parts(int wakes) : wake(wakes), loop(pa_threaded_mainloop_new())
    {
        if (!loop || pa_threaded_mainloop_start(loop) < 0)
            throw std::runtime_error("no thread for the sound server");
    }
    ~Parts()
    {
        pa_threaded_mainloop_stop(loop);
        pa_threaded_mainloop_free(loop);
    }

    void Wake() const
    {
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = ::write(wake, &one, sizeof one);
    }
    static void OnHeard(pa_stream* stream, std::size_t, void* self)
    {
        auto& parts = *static_cast<Parts*>(self);
        const void* data = nullptr;
        std::size_t bytes = 0;
        while (pa_stream_readable_size(stream) > 0 && pa_stream_peek(stream, &data, &bytes) == 0 &&
               bytes > 0) {
            if (data) parts.hearing.Put({static_cast<const Sample*>(data), bytes / sizeof(Sample)});
            pa_stream_drop(stream);
        }
        parts.Wake();
    }
    static void OnPlayed(pa_stream* stream, std::size_t bytes, void* self)
    {
        auto& parts = *static_cast<Parts*>(self);
        parts.asks.store(bytes / sizeof(Sample), std::memory_order_relaxed);
        while (bytes > 0) {
            void* data = nullptr;
            std::size_t room = bytes;
            if (pa_stream_begin_write(stream, &data, &room) != 0 || room == 0) break;
            const std::span<Sample> to(static_cast<Sample*>(data), room / sizeof(Sample));
            const std::size_t had = parts.playing.Take(to);
            std::fill(to.begin() + std::ptrdiff_t(had), to.end(), Sample{0});
            pa_stream_write(stream, data, to.size_bytes(), nullptr, 0, PA_SEEK_RELATIVE);
            bytes -= std::min(bytes, to.size_bytes());
            if (to.empty()) break;
        }
        parts.Wake();
    }
    /// What is played elsewhere is no microphone.
    static void OnSource(pa_context*, const pa_source_info* info, int end, void* self)
    {
        auto& parts = *static_cast<Parts*>(self);
        if (end != 0)
            parts.inputs = std::exchange(parts.asked[0], {});
        else if (info->monitor_of_sink == PA_INVALID_INDEX)
            parts.asked[0].push_back({info->name, info->description ? info->description : info->name});
    }
    static void OnSink(pa_context*, const pa_sink_info* info, int end, void* self)
    {
        auto& parts = *static_cast<Parts*>(self);
        if (end != 0)
            parts.outputs = std::exchange(parts.asked[1], {});
        else
            parts.asked[1].push_back({info->name, info->description ? info->description : info->name});
    }
    /// The last answer.
    static void OnServer(pa_context*, const pa_server_info* info, void* self)
    {
        auto& parts = *static_cast<Parts*>(self);
        if (info && info->default_source_name) parts.defaultInput = info->default_source_name;
        if (info && info->server_name)
            parts.amounts = std::strstr(info->server_name, "PipeWire") ? kPipeWire : kPulseAudio;
        parts.known = true;
    }
    /// "": the server's choice, unless that is what is played.
    std::string InputFor(const std::string& wish) const
    {
        if (Has(inputs, wish)) return wish;
        return inputs.empty() || Has(inputs, defaultInput) ? std::string() : inputs.front().name;
    }
    void Ask()
    {
        asked[0].clear();
        asked[1].clear();
        Forget(pa_context_get_source_info_list(context, OnSource, this));
        Forget(pa_context_get_sink_info_list(context, OnSink, this));
        Forget(pa_context_get_server_info(context, OnServer, this));
    }
    static void OnChange(pa_context*, pa_subscription_event_type_t, std::uint32_t, void* self)
    {
        static_cast<Parts*>(self)->changed = true;
    }
    static void OnState(pa_context* context, void* self)
    {
        if (pa_context_get_state(context) != PA_CONTEXT_READY) return;
        const auto mask = pa_subscription_mask_t(PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SOURCE |
                                                 PA_SUBSCRIPTION_MASK_SERVER);
        pa_context_set_subscribe_callback(context, OnChange, self);
        Forget(pa_context_subscribe(context, mask, nullptr, nullptr));
        static_cast<Parts*>(self)->Ask();
    }
    bool Failed() const { return context && !PA_CONTEXT_IS_GOOD(pa_context_get_state(context)); }
    SoundTrouble Lacks() const
    {
        if (!known) return SoundTrouble::None;
        return inputs.empty()    ? SoundTrouble::NoMicrophone
               : outputs.empty() ? SoundTrouble::NoSpeaker
                                 : SoundTrouble::None;
    }
    bool Ready() const { return context && pa_context_get_state(context) == PA_CONTEXT_READY; }

    const int wake;
    pa_threaded_mainloop* const loop;
    pa_context* context = nullptr;
    pa_stream *in = nullptr, *out = nullptr;
    std::vector<Device> inputs, outputs, asked[2];
    std::string defaultInput;
    bool changed = false, known = false;  // what there is
    Amounts amounts = kPulseAudio;
    Ring hearing, playing;
    std::atomic<std::size_t> asks{0};
};

Pulse::Pulse(int wake) : mParts(std::make_unique<Parts>(wake)) {}

Pulse::~Pulse()
{
    const Held held(mParts->loop);
    Disconnect();
}

Ring& Pulse::Hearing()
{
    return mParts->hearing;
}

Ring& Pulse::Playing()
{
    return mParts->playing;
}

std::vector<Device> Pulse::Inputs() const
{
    const Held held(mParts->loop);
    return mParts->inputs;
}

std::vector<Device> Pulse::Outputs() const
{
    const Held held(mParts->loop);
    return mParts->outputs;
}

std::size_t Pulse::Asks() const
{
    return mParts->asks.load(std::memory_order_relaxed);
}

void Pulse::Disconnect()
{
    Release(mParts->in);
    Release(mParts->out);
    if (!mParts->context) return;
    pa_context_set_state_callback(mParts->context, nullptr, nullptr);
    pa_context_disconnect(mParts->context);
    pa_context_unref(mParts->context);
    mParts->context = nullptr;
}

void Pulse::Connect(Clock::time_point now)
{
    if (now - mTriedAt < kTryEvery) return;
    mTriedAt = now;
    Disconnect();
    mParts->inputs.clear();
    mParts->outputs.clear();
    mParts->known = false;
    mParts->context = pa_context_new(pa_threaded_mainloop_get_api(mParts->loop), "Voktal");
    if (!mParts->context) return;
    pa_context_set_state_callback(mParts->context, Parts::OnState, mParts.get());
    pa_context_connect(mParts->context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr);
}

void Pulse::Look(Clock::time_point now)
{
    const Held held(mParts->loop);
    if (!mParts->Ready()) {
        if (mParts->Failed()) mTrouble = SoundTrouble::NoServer;
        return Connect(now);
    }
    if (std::exchange(mParts->changed, false)) mParts->Ask();
    if (!mWishes.on) {
        Release(mParts->in);
        Release(mParts->out);
        mTrouble = mParts->Lacks();
        return;
    }
    if (mParts->known) Open();
    if (now - mMeasuredAt < kMeasureEvery) return;
    mMeasuredAt = now;
    MeasureDelay();
}

void Pulse::Open()
{
    // A device that is not there now is looked for again as soon as it is.
    const std::string input = mParts->InputFor(mWishes.input);
    const std::string output = Has(mParts->outputs, mWishes.output) ? mWishes.output : std::string();
    if (input.empty()) mOpened.input.clear();
    if (output.empty()) mOpened.output.clear();
    // PipeWire keeps a stream that has lost its last device, and may give it what is played for a microphone.
    const bool inIsWrong = Ended(mParts->in) || mParts->inputs.empty() || mAsked.input != mWishes.input ||
                           mOpened.input != input;
    const bool outIsWrong = Ended(mParts->out) || mParts->outputs.empty() ||
                            mAsked.output != mWishes.output || mOpened.output != output;
    pa_buffer_attr attributes{std::uint32_t(-1), std::uint32_t(-1), std::uint32_t(-1), std::uint32_t(-1),
                              kStepBytes / 2};
    // A device that was chosen stays the one, whatever the desktop chooses meanwhile.
    const auto flagsFor = [](const std::string& device) {
        return pa_stream_flags_t(PA_STREAM_ADJUST_LATENCY | PA_STREAM_AUTO_TIMING_UPDATE |
                                 PA_STREAM_INTERPOLATE_TIMING |
                                 (device.empty() ? PA_STREAM_NOFLAGS : PA_STREAM_DONT_MOVE));
    };
    if (inIsWrong) {
        Release(mParts->in);
        if (!mParts->inputs.empty())
            mParts->in = pa_stream_new(mParts->context, "Microphone", &kSpec, nullptr);
        if (mParts->in) {
            pa_stream_set_read_callback(mParts->in, Parts::OnHeard, mParts.get());
            pa_stream_connect_record(mParts->in, input.empty() ? nullptr : input.c_str(), &attributes,
                                     flagsFor(input));
        }
        mOpened.input = input;
    }
    attributes.tlength = mParts->amounts.ahead;
    attributes.minreq = mParts->amounts.request;
    if (outIsWrong) {
        Release(mParts->out);
        if (!mParts->outputs.empty()) mParts->out = pa_stream_new(mParts->context, "Voices", &kSpec, nullptr);
        if (mParts->out) {
            pa_stream_set_write_callback(mParts->out, Parts::OnPlayed, mParts.get());
            pa_stream_connect_playback(mParts->out, output.empty() ? nullptr : output.c_str(), &attributes,
                                       flagsFor(output), nullptr, nullptr);
        }
        mOpened.output = output;
    }
    mAsked = mWishes;
    mTrouble = Ended(mParts->in)    ? SoundTrouble::NoMicrophone
               : Ended(mParts->out) ? SoundTrouble::NoSpeaker
                                    : SoundTrouble::None;
}

void Pulse::MeasureDelay()
{
    pa_usec_t heard = 0, played = 0;
    int negative = 0;
    if (!Ended(mParts->in) && pa_stream_get_latency(mParts->in, &heard, &negative) != 0) heard = 0;
    if (!Ended(mParts->out) && pa_stream_get_latency(mParts->out, &played, &negative) != 0) played = 0;
    mEchoDelayMs = int((heard + played) / 1000);
}

Devices AskDevices(std::chrono::milliseconds within)
{
    Pulse pulse(-1);
    Devices devices;
    const auto until = Pulse::Clock::now() + within;
    while (Pulse::Clock::now() < until) {
        pulse.Look(Pulse::Clock::now());
        devices.inputs = pulse.Inputs();
        devices.outputs = pulse.Outputs();
        devices.server = pulse.Trouble() != SoundTrouble::NoServer;
        if (devices.server && !devices.outputs.empty()) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return devices;
}

}  // namespace voice
