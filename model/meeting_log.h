#pragma once
// The meeting log of the model: three files on a disk. What is written survives a kill of the relay, what is
// synced survives a power cut; an unsynced tail survives in part, each file for itself.

#include <map>

#include "model/message.h"

namespace model {

template <class T>
struct File {
    std::vector<T> entries;
    std::size_t synced = 0, syncing = 0;

    /// Takes entries out of the synced part only.
    template <class Gone>
    void Trim(std::size_t part, Gone gone)
    {
        const auto end = entries.begin() + long(part);
        const auto from = std::remove_if(entries.begin(), end, gone);
        const std::size_t count = std::size_t(end - from);
        entries.erase(from, end);
        synced -= std::min(count, synced);
        syncing -= std::min(count, syncing);
    }
    void PowerCut(unsigned luck) { entries.resize(synced + luck % (entries.size() - synced + 1)); }
    void SyncAll() { synced = syncing = entries.size(); }
};

enum class SeatState { Present, Detached, Away, Gone };

struct Seat {
    int handle = 0, number = 0;
    std::uint64_t stream = 0, oldToken = 0, newToken = 0;
    SeatState state = SeatState::Present;
    Cursor cursor{};         // how far it has read
    Sequence enteredAt = 0;  // up to here of the board it is sent what is kept for all
    Sequence missed = 0;     // talk up to here went at a bound before it was read
    // Not in the file.
    Connection* connection = nullptr;
    Cursor sent{}, told{};
    Sequence ownAt = 0,
             ownUpTo = 0;  // the end of the board when the place was given, and the own number there
    Sequence placeAt = 0;  // presence up to here stood in the list of attendees
};

struct MeetingLog {
    int meeting = 0;
    int starter = -1;           // the handle that may take back
    std::uint64_t counter = 0;  // raised at every opening after a disorderly end
    File<Seat> seats;           // the last entry of a handle holds
    File<Item> channel[2];
    std::map<std::uint64_t, Cursor> trimmed;  // highest own numbers among what was trimmed, by stream
    std::vector<Item> everything;  // the kept-for-all board without any trimming: what the checks replay

    void PowerCut(unsigned a, unsigned b, unsigned c)
    {
        seats.PowerCut(a);
        channel[Talk].PowerCut(b);
        const auto before = channel[Board].entries;
        channel[Board].PowerCut(c);
        const std::size_t left = channel[Board].entries.size();
        std::erase_if(everything, [&](const Item& item) {
            return left < before.size() && item.sequence >= before[left].sequence;
        });
    }
};

}  // namespace model
