#pragma once
// Recognises what has come already: after every interruption the relay sends again from the cursor, and the
// sender's own numbers tell what is new. Pure. Network thread.

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "service/wire/zephyl.pb.h"

namespace zephyl::link {

class NumberFilter {
public:
    /// True for an item that is new, and remembers it. Stream 0 is the relay itself: told by the sequence.
    bool Take(const Item& item);
    /// True for a live frame that is newer than the last of its sender and type.
    bool TakeLive(const std::string& from, int type, std::uint64_t frame);
    /// The sender left: its live frames may start anew.
    void ForgetLive(const std::string& from);
    /// The user entered a meeting: everything is new.
    void Reset();

private:
    struct Stream {
        std::uint64_t stream = 0;
        std::uint64_t talk = 0, board = 0;  // highest own numbers
    };
    Stream& Of(const std::string& from, std::uint64_t stream);

    std::map<std::string, std::vector<Stream>> mStreams;  // a handle's, the one used last at the end
    std::uint64_t mRelayTalk = 0, mRelayBoard = 0;        // highest sequences of the relay's own items
    std::map<std::pair<std::string, int>, std::uint64_t> mLive;
};

}  // namespace zephyl::link
