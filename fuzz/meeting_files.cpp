// A meeting file that somebody made. Whatever it holds: an error in words, or items within the bounds, and
// what was read once is read the same again from a file written of it.
#include <zstd.h>

#include <cstdlib>

#include "meeting_file/reader.h"
#include "meeting_file/writer.h"

using namespace meeting_file;

namespace {

std::vector<Item> AllItems(Reader& reader)
{
    std::vector<Item> items;
    for (std::size_t frame = 0; frame < reader.Frames(); ++frame) try {
            const auto some = reader.Frame(frame);
            if (reader.FirstOf(frame) + some.size() != reader.FirstOf(frame + 1)) std::abort();
            if (!some.empty() && reader.FrameOf(reader.FirstOf(frame)) != frame) std::abort();
            for (const Item& item : some) {
                if (item.body.size() > kBodyBytes || item.from.size() > kHandleBytes) std::abort();
                items.push_back(item);
            }
        } catch (const BadFile&) {
        }
    return items;
}

/// The input as the items of a file whose other parts are as they should be.
std::string Wrapped(std::string_view items)
{
    std::string bytes;
    const Writer writer({"", "", 0}, [&](std::string_view more) { bytes += more; });
    std::string packed(ZSTD_compressBound(items.size()), '\0');
    packed.resize(ZSTD_compress(packed.data(), packed.size(), items.data(), items.size(), 1));
    return bytes + packed;
}

void Try(std::string bytes)
try {
    Reader reader(MemorySource(std::move(bytes)));
    const std::vector<Item> items = AllItems(reader);
    std::string written;
    Writer writer(reader.About(), [&](std::string_view more) { written += more; });
    for (const Item& item : items) writer.Add(item);
    Reader again(MemorySource(written + writer.Tail()));
    if (!again.Problem().empty() || !(again.About() == reader.About()) || AllItems(again) != items)
        std::abort();
} catch (const BadFile&) {
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    Try(std::string(input));
    Try(Wrapped(input));
    return 0;
}
