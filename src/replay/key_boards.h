#pragma once
// Boards with their histories, packed, to begin a replay from. Equal tiles of neighbours are kept once. One
// thread at a time.

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "whiteboard/history.h"

class KeyBoards {
public:
    /// In bytes, packed; beyond that a quarter of the boards is forgotten, those first without which the way
    /// from one to the next stays short.
    explicit KeyBoards(std::size_t mostBytes);

    /// How it is when so many items have happened; above every position so far. The board must be what the
    /// history shows. `way`: what it takes to get here from the one before, in any unit. `needed`: no other
    /// one leads here.
    void Add(std::size_t position, const Board& board, const WBHistory& history, double way,
             bool needed = false);
    /// Puts the last one at or before `position` on a fresh board and history; returns where that is. 0:
    /// there is none, and nothing was touched.
    std::size_t Restore(std::size_t position, Board& board, WBHistory& history) const;
    /// Where Restore would begin; 0: nowhere.
    std::size_t Nearest(std::size_t position) const;
    std::size_t Bytes() const { return mBytes; }
    std::size_t Count() const { return mKeys.size(); }

private:
    using Packed = std::shared_ptr<const std::string>;
    struct Entry {
        QString handle;
        QDateTime when;
        std::vector<Packed> tiles;
    };
    struct Key {
        std::size_t position;
        double way;
        bool needed;
        int index;
        QString fontName;
        std::vector<Entry> entries;
    };
    /// What the newest key packed; the tile is kept, so that its address stays its own.
    struct Known {
        std::shared_ptr<const Tile> tile;
        Packed packed;
    };
    using KnownTiles = std::unordered_map<const Tile*, Known>;

    Packed Pack(const std::shared_ptr<const Tile>& tile, KnownTiles& now);
    const Key* Find(std::size_t position) const;
    void Thin();

    const std::size_t mMostBytes;
    std::vector<Key> mKeys;
    std::size_t mBytes = 0;
    KnownTiles mKnown;
};
