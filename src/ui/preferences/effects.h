#pragma once
// What a stored preference changes in the running meeting, where nobody reads it anew by himself.

#include <set>

#include "base/process_state.h"
#include "settings/keys.h"

class MediaControls;

/// Whether somebody takes a change of this setting over at once.
bool IsTakenOver(const SettingKey& key);
/// Each of them that has changed, once; an error ends one, not the next.
void TakeOver(ProcessState& state, MediaControls& media, const std::set<const SettingKey*>& changed);
