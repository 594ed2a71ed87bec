#pragma once
// What a session tells of voice. Network thread.

#include <cstdint>
#include <string_view>

namespace zephyl::link {

class VoiceSink {
public:
    virtual ~VoiceSink() = default;
    /// A packet of somebody who is in the meeting.
    virtual void OnVoice(std::string_view from, std::uint64_t frame, std::uint32_t level,
                         std::string_view body) = 0;
    /// Who is there, or whether there is a way to them, has changed.
    virtual void OnVoicePeople() = 0;
};

}  // namespace zephyl::link
