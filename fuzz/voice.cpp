// What a companion hears: messages at its door, and packets of voice in any order, at any time, from anybody.
// What is no message is skipped, what is one reads as it was written; and whatever came, a moment
// after the last of it there is silence.

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "contract/voice_door.h"
#include "input.h"
#include "voice/engine.h"

using namespace zephyl;
using namespace std::chrono_literals;

namespace {

constexpr std::size_t kMostOperations = 150;
constexpr unsigned kMostSteps = 32;  // of 10 ms

void ReadMessage(std::string_view message)
{
    using namespace voice_door;
    const auto kind = KindOf(message);
    if (!kind) return;
    switch (*kind) {
        case Kind::Word: Need(WriteWord(ReadWord(message)) == message); break;
        case Kind::With:
            if (const auto handles = ReadWith(message)) Need(WriteWith(*handles) == message);
            break;
        case Kind::Status:
            if (const auto status = ReadStatus(message)) Need(ReadStatus(WriteStatus(*status)) == status);
            break;
        case Kind::Voice:
            if (const auto packet = ReadPacket(message)) Need(WritePacket(*packet) == message);
            break;
        case Kind::People:
            if (const auto people = ReadPeople(message)) Need(WritePeople(*people) == message);
            break;
        case Kind::Open: break;
    }
}

struct Play {
    Play()
    {
        engine = std::make_unique<voice::Engine>(
            [this](std::uint64_t, std::uint8_t, std::string_view body) {
                Need(body.size() <= voice::kMostPacketBytes && voice::ReadPacket(body));
                own = body;
            },
            0, voice::Cleaner::Wishes{false, false, false});
        engine->TheEncoder().SetSpeaks(voice::Speaks::Always);
        engine->TalkWith({"a", "b"});
    }
    void Steps(unsigned count)
    {
        for (unsigned i = 0; i < count; ++i, now += 10ms) {
            engine->Play(step, now);
            const double delay = engine->DelayMs();
            Need(delay == 0 ||
                 (delay >= voice::JitterBuffer::kLeastDelayMs && delay <= voice::JitterBuffer::kMostDelayMs));
        }
    }
    void Operation(Input& input)
    {
        const unsigned what = input.Byte();
        const std::string from(1, char('a' + (what >> 4) % 3));  // nobody asked for the third
        switch (what % 7) {
            case 0: ReadMessage(input.Text()); break;
            case 1: engine->Arrived(from, frame, input.Text(), now); break;
            case 2: frame += input.Byte(); break;
            case 3: frame -= input.Byte() * (what & 8 ? 1'000'003u : 1u); break;
            case 4: {  // a whole packet, which may be damaged
                const unsigned tone = input.Byte();
                for (std::size_t i = 0; i < step.size(); ++i) step[i] = voice::Sample((i * tone & 0xff) << 6);
                engine->Heard(step, 0);
                engine->Heard(step, 0);
                if (!own.empty() && (what & 8) != 0)
                    own[input.Byte() % own.size()] ^= char(1 << input.Byte() % 8);
                engine->Arrived(from, frame++, own, now);
                break;
            }
            case 5: Steps(input.Below(kMostSteps)); break;
            default: now += std::chrono::milliseconds(input.Byte()); break;
        }
    }

    voice::Step step{};
    std::string own;  // what was said last
    std::uint64_t frame = 1000;
    voice::Engine::Clock::time_point now{1h};
    std::unique_ptr<voice::Engine> engine;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(std::string_view(reinterpret_cast<const char*>(data), size));
    Play play;
    for (std::size_t i = 0; i < kMostOperations && !input.Empty(); ++i) play.Operation(input);
    play.Steps(160);  // a second is kept at the most
    Need(voice::LevelOf(play.step) == voice::kSilence);
    return 0;
}
