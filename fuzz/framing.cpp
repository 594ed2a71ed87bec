// Frames and items of a peer that may send anything, in whatever pieces the network makes of it.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "service/wire/framing.h"

using namespace zephyl;

namespace {

/// What was made of the bytes: one line an item, "error" where the peer was found out.
std::vector<std::string> Understood(std::string_view bytes, Way way, std::size_t piece)
{
    std::vector<std::string> seen;
    FrameReader frames(way);
    ItemReader items;
    try {
        for (std::size_t at = 0; at < bytes.size(); at += piece) {
            frames.Feed(bytes.substr(at, piece));
            while (const auto frame = frames.Next()) {
                if (!ItemReader::IsLaneFrame(frame->header)) {
                    seen.push_back(frame->header.SerializeAsString());
                    continue;
                }
                const auto item = items.Take(*frame);
                if (!item) continue;
                if (item->body.size() > BodyLimit(item->header)) std::abort();
                seen.push_back(item->header.SerializeAsString() + std::string(item->body));
            }
            frames.Rest();
        }
    } catch (const WireError&) {
        seen.emplace_back("error");
    }
    return seen;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2) return 0;
    const Way way = data[0] & 1 ? Way::Up : Way::Down;
    const std::size_t piece = 1 + data[1];
    const std::string_view bytes(reinterpret_cast<const char*>(data + 2), size - 2);
    if (Understood(bytes, way, piece) != Understood(bytes, way, size)) std::abort();
    return 0;
}
