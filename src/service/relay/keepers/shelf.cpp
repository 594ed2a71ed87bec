#include "service/relay/keepers/shelf.h"

#include <algorithm>
#include <utility>

#include "service/wire/framing.h"

namespace zephyl {
namespace {

/// The chunk in which that place is; end: none.
template <class Chunks>
auto ChunkAt(const Chunks& chunks, std::uint64_t at)
{
    const auto behind =
        std::upper_bound(chunks.begin(), chunks.end(), at,
                         [](std::uint64_t place, const auto& one) { return place < one.begin; });
    if (behind == chunks.begin() || at >= std::prev(behind)->End()) return chunks.end();
    return std::prev(behind);
}

void AddFresh(words::Shelved& shelved, std::size_t bytes)
{
    const int count = shelved.parts_size();
    words::Part* part = count > 0 ? shelved.mutable_parts(count - 1) : nullptr;
    if (!part || part->known() > 0 || part->entry() > 0) part = shelved.add_parts();
    part->set_fresh(part->fresh() + bytes);
}

bool Names(const words::Entry& entry, const ChainName& name)
{
    return entry.number() == name.number && entry.epoch() == name.epoch && entry.subject() == name.subject;
}

void AddHeard(words::Shelved& shelved, const WrittenPlace& place, std::size_t bytes)
{
    int entries = shelved.entries_size();
    if (entries == 0 || !Names(shelved.entries(entries - 1), place.entry)) {
        words::Entry& entry = *shelved.add_entries();
        entry.set_subject(place.entry.subject);
        entry.set_epoch(place.entry.epoch);
        entry.set_number(place.entry.number);
        ++entries;
    }
    const int count = shelved.parts_size();
    words::Part* part = count > 0 ? shelved.mutable_parts(count - 1) : nullptr;
    const bool behind = part && part->known() == 0 && part->entry() == static_cast<std::uint32_t>(entries) &&
                        part->place() + part->fresh() == place.at;
    if (!behind) {
        part = shelved.add_parts();
        part->set_entry(static_cast<std::uint32_t>(entries));
        part->set_place(place.at);
    }
    part->set_fresh(part->fresh() + bytes);
}

/// All that is fresh, in order. None: something of it is not here.
std::optional<std::string> FreshOf(const words::Shelved& shelved, std::string_view came,
                                   const HeardEntries& heard)
{
    if (shelved.entries_size() == 0) return std::string(came);
    std::string fresh;
    for (const words::Part& part : shelved.parts()) {
        std::string_view from = came;
        if (part.entry() > static_cast<std::uint32_t>(shelved.entries_size())) return std::nullopt;
        if (part.entry() > 0) {
            const words::Entry& entry = shelved.entries(static_cast<int>(part.entry()) - 1);
            const std::string* const batch = heard.Find({entry.subject(), entry.epoch(), entry.number()});
            if (!batch || part.place() > batch->size()) return std::nullopt;
            from = std::string_view(*batch).substr(part.place());
        }
        if (part.fresh() > from.size()) return std::nullopt;
        fresh += from.substr(0, part.fresh());
        if (part.entry() == 0) came.remove_prefix(part.fresh());
    }
    return fresh;
}

void AddKnown(words::Shelved& shelved, std::uint64_t at, std::size_t bytes)
{
    const int count = shelved.parts_size();
    words::Part* part = count > 0 ? shelved.mutable_parts(count - 1) : nullptr;
    if (!part || (part->known() > 0 && part->at() + part->known() != at)) part = shelved.add_parts();
    if (part->known() == 0) part->set_at(at);
    part->set_known(part->known() + bytes);
}

}  // namespace

Piece PieceOf(std::string_view bytes)
{
    Piece piece{std::make_shared<const std::string>(bytes), {}};
    piece.bytes = *piece.of;
    return piece;
}

// --- the end that sends ----------------------------------------------------------------------------

void ShelfOut::Put(std::string_view frames, words::Shelved& shelved, std::string& fresh, const Heard& heard)
{
    shelved.set_begins(mEnd);
    std::string kept;
    bool first = true;
    for (std::uint64_t likely = mEnd; !frames.empty();) {
        const std::string_view frame = frames.substr(0, FrameBytes(frames));
        frames.remove_prefix(frame.size());
        if (const auto at = Find(frame, likely)) {
            AddKnown(shelved, *at, frame.size());
            likely = *at + frame.size();
            // Where several got the same it is all that follows.
            if (std::exchange(first, false) && !frames.empty() && Stands(frames, likely)) {
                AddKnown(shelved, likely, frames.size());
                break;
            }
            continue;
        }
        kept += frame;
        if (const auto place = heard(frame)) {
            AddHeard(shelved, *place, frame.size());
        } else {
            AddFresh(shelved, frame.size());
            fresh += frame;
        }
    }
    if (!kept.empty()) Keep(std::move(kept));
}

// What one receiver gets is usually what another one got, in the same order.
std::optional<std::uint64_t> ShelfOut::Find(std::string_view frame, std::uint64_t likely) const
{
    if (Stands(frame, likely)) return likely;
    const auto found = mPlaces.find(FrameKey(frame));
    if (found == mPlaces.end() || !Stands(frame, found->second)) return std::nullopt;
    return found->second;
}

bool ShelfOut::Stands(std::string_view frames, std::uint64_t at) const
{
    const auto chunk = ChunkAt(mChunks, at);
    return chunk != mChunks.end() &&
           std::string_view(chunk->bytes).substr(at - chunk->begin).starts_with(frames);
}

void ShelfOut::Keep(std::string fresh)
{
    Chunk chunk{mEnd, std::move(fresh), {}};
    std::string_view rest = chunk.bytes;
    for (mEnd += rest.size(); !rest.empty();) {
        const std::string_view frame = rest.substr(0, FrameBytes(rest));
        mPlaces[chunk.keys.emplace_back(FrameKey(frame))] = mEnd - rest.size();
        rest.remove_prefix(frame.size());
    }
    mChunks.push_back(std::move(chunk));
    for (; mChunks.front().End() + kShelfBytes <= mEnd; mChunks.pop_front())
        for (const std::uint64_t key : mChunks.front().keys)
            if (const auto place = mPlaces.find(key);
                place != mPlaces.end() && place->second < mChunks.front().End())
                mPlaces.erase(place);
}

// It goes on counting: the other end finds every place by its number.
void ShelfOut::Forget()
{
    mChunks.clear();
    mPlaces.clear();
}

// --- the end that hears ----------------------------------------------------------------------------

std::optional<Pieces> ShelfIn::Take(const words::Shelved& shelved, std::string_view fresh,
                                    const HeardEntries& heard)
{
    std::optional<std::string> all = FreshOf(shelved, fresh, heard);
    if (!all) return std::nullopt;
    if (!all->empty())
        mChunks.push_back({shelved.begins(), std::make_shared<const std::string>(std::move(*all))});
    Pieces pieces;
    std::uint64_t next = shelved.begins();
    bool whole = true;
    for (const words::Part& part : shelved.parts()) {
        whole = whole && Add(next, part.fresh(), pieces) && Add(part.at(), part.known(), pieces);
        next += part.fresh();
    }
    while (!mChunks.empty() && mChunks.front().End() + kShelfBytes <= mChunks.back().End())
        mChunks.pop_front();
    if (!whole) return std::nullopt;
    return pieces;
}

bool ShelfIn::Add(std::uint64_t at, std::uint64_t bytes, Pieces& pieces) const
{
    while (bytes > 0) {
        const auto chunk = ChunkAt(mChunks, at);
        if (chunk == mChunks.end()) return false;
        const std::size_t from = at - chunk->begin;
        const std::size_t take = std::min<std::uint64_t>(bytes, chunk->bytes->size() - from);
        Piece piece{chunk->bytes, std::string_view(*chunk->bytes).substr(from, take)};
        if (take < chunk->bytes->size() / 4) piece = PieceOf(piece.bytes);
        pieces.push_back(std::move(piece));
        at += take;
        bytes -= take;
    }
    return true;
}

}  // namespace zephyl
