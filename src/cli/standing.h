#pragma once
// Which items of a meeting file make the board as it stands at its end. Pure: it knows what items do to a
// board, and draws nothing.

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "meeting_file/item.h"

class Standing {
public:
    /// The next one, which is number `number`.
    void Take(std::uint64_t number, const meeting_file::Item& item);
    /// Whether all items, posted anew in their order, give the same board. Not where marks were taken back,
    /// for they would all be of whoever posts them, nor where the board came twice.
    bool Postable() const { return mPostable; }
    std::set<std::uint64_t> Numbers() const;

private:
    static constexpr std::size_t kMostEntries = 11;  // as the history of a board
    /// A mark and what it lies on, by place in mMarks; 0: white.
    struct Mark {
        std::uint64_t number = 0;
        std::string by;
        std::size_t beneath = 0;
    };
    void Remember();
    std::size_t Without(std::size_t top, const std::string& by);

    std::vector<Mark> mMarks{1};
    std::vector<std::size_t> mEntries{0};
    std::size_t mIndex = 0, mTop = 0;
    bool mPostable = true;
};
