#include "replay/key_boards.h"

#include <zstd.h>

#include <algorithm>
#include <set>
#include <stdexcept>

namespace {

constexpr int kLevel = 3;

/// What keeping a board costs where all its tiles are packed already.
template <class Entries>
std::size_t BytesOf(const Entries& entries)
{
    return entries.size() * kTileCount * sizeof(std::shared_ptr<const std::string>);
}

void Unpack(const std::string& packed, Tile& tile)
{
    const std::size_t size =
        ZSTD_decompress(tile.pixels.data(), sizeof tile.pixels, packed.data(), packed.size());
    if (size != sizeof tile.pixels) throw std::runtime_error("a kept board cannot be unpacked");
}

}  // namespace

KeyBoards::KeyBoards(std::size_t mostBytes) : mMostBytes(mostBytes) {}

KeyBoards::Packed KeyBoards::Pack(const std::shared_ptr<const Tile>& tile, KnownTiles& now)
{
    if (const auto packed = now.find(tile.get()); packed != now.end()) return packed->second.packed;
    if (const auto known = mKnown.find(tile.get()); known != mKnown.end())
        return now.emplace(tile.get(), known->second).first->second.packed;
    std::string bytes(ZSTD_compressBound(sizeof tile->pixels), '\0');
    bytes.resize(ZSTD_compress(bytes.data(), bytes.size(), tile->pixels.data(), sizeof tile->pixels, kLevel));
    bytes.shrink_to_fit();
    mBytes += bytes.size();
    return now.emplace(tile.get(), Known{tile, std::make_shared<const std::string>(std::move(bytes))})
        .first->second.packed;
}

void KeyBoards::Add(std::size_t position, const Board& board, const WBHistory& history, double way,
                    bool needed)
{
    KnownTiles now;
    Key key{position, way, needed, history.Index(), board.FontName(), {}};
    for (int i = 1; i <= history.Count(); ++i) {
        const WBBufferEntry& from = history.At(i);
        Entry entry{from.UserHandle, from.ModifiedAt, {}};
        entry.tiles.reserve(kTileCount);
        for (const auto& tile : *from.Picture) entry.tiles.push_back(Pack(tile, now));
        key.entries.push_back(std::move(entry));
    }
    mBytes += BytesOf(key.entries);
    mKeys.push_back(std::move(key));
    mKnown = std::move(now);
    while (mKeys.size() > 2 && mBytes > mMostBytes) Thin();
}

const KeyBoards::Key* KeyBoards::Find(std::size_t position) const
{
    const auto behind = std::partition_point(mKeys.begin(), mKeys.end(),
                                             [&](const Key& key) { return key.position <= position; });
    return behind == mKeys.begin() ? nullptr : &*std::prev(behind);
}

std::size_t KeyBoards::Nearest(std::size_t position) const
{
    const Key* key = Find(position);
    return key ? key->position : 0;
}

std::size_t KeyBoards::Restore(std::size_t position, Board& board, WBHistory& history) const
{
    const Key* found = Find(position);
    if (!found) return 0;
    const Key& key = *found;
    const std::vector<Packed>* shown = nullptr;
    for (const Entry& entry : key.entries) {
        for (std::size_t tile = 0; tile < kTileCount; ++tile) {
            if (shown && (*shown)[tile] == entry.tiles[tile]) continue;
            QImage pixels(kTileSide, kTileSide, QImage::Format_RGB32);
            Tile unpacked;
            Unpack(*entry.tiles[tile], unpacked);
            std::copy(unpacked.pixels.begin(), unpacked.pixels.end(), reinterpret_cast<QRgb*>(pixels.bits()));
            board.Paint(pixels, TileRect(int(tile)).topLeft());
        }
        history.Save(&board, 0, 0, entry.handle, entry.when);
        shown = &entry.tiles;
    }
    while (history.Index() > key.index) history.StepBack();
    history.Show(key.index, board);
    board.SetFontName(key.fontName);
    return key.position;
}

/// The first and the last stay.
void KeyBoards::Thin()
{
    for (std::size_t gone = 0, many = mKeys.size() / 4; mKeys.size() > 2 && gone <= many; ++gone) {
        auto least = std::next(mKeys.begin());
        const auto missed = [](auto key) { return std::pair(key->needed, key->way + std::next(key)->way); };
        for (auto key = least; std::next(key) != mKeys.end(); ++key)
            if (missed(key) < missed(least)) least = key;
        std::next(least)->way += least->way;
        mKeys.erase(least);
    }
    std::set<const std::string*> tiles;
    mBytes = 0;
    for (const Key& key : mKeys) mBytes += BytesOf(key.entries);
    for (const Key& key : mKeys)
        for (const Entry& entry : key.entries)
            for (const Packed& tile : entry.tiles)
                if (tiles.insert(tile.get()).second) mBytes += tile->size();
}
