#include "service/relay/log/meeting_head.h"

#include <algorithm>
#include <cstdio>
#include <fstream>

#include "service/relay/log/journal.h"
#include "service/relay/log/stored.pb.h"

namespace zephyl {
namespace fs = std::filesystem;
namespace {

constexpr std::uint32_t kFormat = 2;
constexpr int kOpeningShift = 32;
constexpr std::uint64_t kOpeningsAtMost = std::uint64_t{1} << 31;  // more are none of ours
constexpr std::uint64_t kSkipped = 1 << 16;
constexpr std::size_t kFrontBytes = 64 * 1024;  // of a file; more than a head

/// The first entry of a file, as a message of this kind.
template <class Message>
std::optional<Message> FirstIn(const fs::path& path)
{
    std::error_code none;
    if (fs::symlink_status(path, none).type() != fs::file_type::regular) return std::nullopt;
    std::ifstream in(path, std::ios::binary);
    std::string bytes(kFrontBytes, '\0');
    in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(in.gcount()));
    std::optional<Message> first;
    TakeEntries(bytes, 0, 0, [&](std::string_view payload, std::uint64_t) {
        Message message;
        if (!first && message.ParseFromArray(payload.data(), static_cast<int>(payload.size())))
            first = std::move(message);
    });
    return first;
}

struct Heads {
    std::optional<stored::Head> own, atSeats;
};

Heads HeadsIn(const fs::path& folder)
{
    Heads heads{FirstIn<stored::Head>(folder / "head"), std::nullopt};
    if (const auto entry = FirstIn<stored::Entry>(folder / "seats"); entry && entry->has_head())
        heads.atSeats = entry->head();
    return heads;
}

/// The one to believe.
std::optional<stored::Head> HeadOf(const Heads& heads)
{
    std::optional<stored::Head> head = heads.own ? heads.own : heads.atSeats;
    if (!head || head->format() != kFormat || head->id().empty()) return std::nullopt;
    if (heads.atSeats) head->set_openings(std::max(head->openings(), heads.atSeats->openings()));
    return head;
}

/// Each opening began a segment that is named after its number.
std::uint64_t OpeningsInNames(const fs::path& folder)
{
    std::uint64_t openings = 0;
    for (const auto& entry : fs::directory_iterator(folder)) {
        unsigned long long first = 0;
        const std::string name = entry.path().filename().string();
        if (std::sscanf(name.c_str(), "%*[a-z]-%20llu-", &first) != 1) continue;
        const std::uint64_t opening = first >> kOpeningShift;
        if (opening < kOpeningsAtMost) openings = std::max(openings, opening);
    }
    return openings;
}

void PutHeadAside(const fs::path& path)
{
    const fs::path aside = path.string() + ".damaged";
    std::error_code ignored;
    fs::remove_all(aside, ignored);
    fs::rename(path, aside, ignored);
}

}  // namespace

std::optional<MeetingHead> ReadHead(const fs::path& folder)
{
    const auto head = HeadOf(HeadsIn(folder));
    if (!head) return std::nullopt;
    return MeetingHead{head->id(), head->code(), head->creator_key(), head->creator_stream()};
}

void SkipOpenings(const fs::path& folder)
{
    std::optional<stored::Head> head = HeadOf(HeadsIn(folder));
    if (!head) return;  // it is left alone, as ever
    const std::uint64_t openings = std::max<std::uint64_t>(head->openings(), OpeningsInNames(folder));
    head->set_openings(static_cast<std::uint32_t>(openings + kSkipped));
    std::string own;
    AppendEntry(own, head->SerializeAsString());
    ReplaceFile(folder / "head", own);
}

// Each opening counts sequences from a place of its own: what a power cut took from the end is posted again
// under higher ones, so no cursor ever stands in front of something that it has not seen.
Opening OpenHead(const fs::path& folder, const MeetingHead& named)
{
    const fs::path path = folder / "head";
    const Heads heads = HeadsIn(folder);
    stored::Entry entry;
    stored::Head& head = *entry.mutable_head();
    head = HeadOf(heads).value_or(stored::Head());
    head.set_format(kFormat);
    head.set_id(named.id);
    head.set_code(named.code);
    head.set_creator_key(named.creatorKey);
    head.set_creator_stream(named.creatorStream);
    const std::uint64_t openings = std::max<std::uint64_t>(head.openings(), OpeningsInNames(folder)) + 1;
    head.set_openings(static_cast<std::uint32_t>(openings));
    Opening opening{openings << kOpeningShift, {}, heads.atSeats && !heads.own};
    AppendEntry(opening.entry, entry.SerializeAsString());
    if (opening.headLost) PutHeadAside(path);
    std::string own;
    AppendEntry(own, head.SerializeAsString());
    ReplaceFile(path, own);
    SyncFolder(folder.parent_path());
    return opening;
}

}  // namespace zephyl
