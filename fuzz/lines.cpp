// What strangers write, as one line and inside JSON: nothing unseen is left, and JSON keeps its data.
#include <cstdint>
#include <cstdlib>

#include "text/one_line.h"

namespace {

/// Whether every byte belongs to a character that shows itself; the rule's own reading is not asked.
bool ShowsItself(const std::string& line)
{
    for (std::size_t at = 0; at < line.size();) {
        const auto lead = static_cast<unsigned char>(line[at]);
        const std::size_t length = lead < 0x80 ? 1 : lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
        if ((lead >= 0x80 && lead < 0xc2) || lead > 0xf4 || at + length > line.size()) return false;
        char32_t c = lead < 0x80 ? lead : lead & (0x3f >> (length - 1));
        for (std::size_t i = 1; i < length; ++i) {
            const auto next = static_cast<unsigned char>(line[at + i]);
            if ((next & 0xc0) != 0x80) return false;
            c = c << 6 | (next & 0x3f);
        }
        if (IsUnseen(c)) return false;
        at += length;
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::string line = OneLine(text);
    if (!ShowsItself(line) || OneLine(line) != line) std::abort();
    const std::string json = JsonWithEscapes(text);
    if (JsonWithEscapes(json) != json) std::abort();
    if (line == text && json != text) std::abort();
    return 0;
}
