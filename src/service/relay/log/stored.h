#pragma once
// Items, seats and numbers as bytes of a meeting's files, and back.

#include <optional>
#include <string>
#include <string_view>

#include "service/relay/log/meeting_log.h"

namespace zephyl {

/// Appends an entry of a segment to `out`.
void StoreItem(std::string& out, const LogItem& item);
/// Null when it cannot be read.
ItemPtr LoadItem(Channel channel, std::string_view payload);
/// Its frames alone, where they stand; empty when it cannot be read.
std::string_view FramesIn(std::string_view payload);

/// Appends an entry of the seats' file to `out`.
void StoreSeat(std::string& out, const SeatEntry& seat);
void StoreNumbers(std::string& out, const NumbersEntry& numbers);
void StoreLost(std::string& out, const Sequences& lost);
/// Takes one entry over what came before it.
void LoadSeatsEntry(std::string_view payload, LogContents& contents);

}  // namespace zephyl
