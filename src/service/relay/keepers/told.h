#pragma once
// What one relay tells another for an operator who asks that one. Values and the words that stand for them.

#include <string>
#include <vector>

#include "service/relay/keepers/cluster_facts.h"
#include "service/relay/keepers/words.pb.h"

namespace zephyl {

/// As many of the meetings as one word holds.
words::Told ToldOf(const RelayFacts& relay, const std::vector<MeetingFacts>& meetings);

/// Adds to `relay` what it has told of itself, and to `meetings` those that it keeps.
void TakeTold(const words::Told& told, RelayFacts& relay, std::vector<MeetingFacts>& meetings);

}  // namespace zephyl
