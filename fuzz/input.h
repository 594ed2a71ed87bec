#pragma once
// What fuzzers that play something have in common: an input to be read, and what has to hold.

#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace zephyl {

inline void Need(bool holds)
{
    if (!holds) std::abort();
}

/// The input, from front to back; zeros behind its end.
class Input {
public:
    explicit Input(std::string_view bytes) : mBytes(bytes) {}
    bool Empty() const { return mBytes.empty(); }
    unsigned Byte()
    {
        if (Empty()) return 0;
        const unsigned byte = static_cast<unsigned char>(mBytes.front());
        mBytes.remove_prefix(1);
        return byte;
    }
    unsigned Below(unsigned bound) { return Byte() % bound; }
    bool Flag() { return (Byte() & 1) != 0; }
    /// A length of one byte, and so many bytes.
    std::string_view Text()
    {
        const unsigned length = Byte();
        const std::string_view text = mBytes.substr(0, length);
        mBytes.remove_prefix(text.size());
        return text;
    }

private:
    std::string_view mBytes;
};

}  // namespace zephyl
