#pragma once
// One thing to send, after the copies for its recipients became one. Plain data; bodies are shared and
// immutable, so any thread may hold them.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zephyl::link {

struct Audience {
    bool everyone = false;  // then there is no list: the relay resolves it when it appends
    std::vector<std::string> handles;
};

struct PictureShape {
    int x = 0, y = 0;  // board pixels, 16 bits
    int type = 0;
    bool prefixed = false;  // the sender's handle carries the whiteboard prefix
    int quality = 0;
    bool operator==(const PictureShape&) const = default;
};

struct Outgoing {
    std::shared_ptr<const std::string> body;
    std::optional<PictureShape> picture;  // none: the body is a text
    Audience audience;
    std::shared_ptr<const void> room;  // its share of the outbox; given back by the last owner
    std::uint64_t line = 0;            // its number among the lines of this link; 0: not a line
    std::uint64_t post = 0;            // the same among its posts to the board
    std::string takesBack = {};  // whose marks are taken back, of a post without a body; "": it is another
};

}  // namespace zephyl::link
