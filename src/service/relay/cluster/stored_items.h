#pragma once
// The items of a batch.

#include <vector>

#include "service/relay/cluster/chain_message.h"
#include "service/relay/log/log_item.h"

namespace zephyl {

/// Adds to `skipped` what cannot be read.
std::vector<ItemPtr> ItemsIn(Channel channel, const Batch& batch, std::size_t* skipped = nullptr);

}  // namespace zephyl
