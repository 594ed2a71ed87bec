#pragma once
// A Wayland desktop whose screen is a window of a desk's display, so that a person's keys and mouse reach it.

#include <memory>

#include "demo/stage.h"

namespace stage {

/// A compositor that shows one window over all of the desk's screen; what the desk starts from now on opens
/// its windows there. For as long as the result lives. Throws when it does not start.
std::unique_ptr<Child> SitOnWayland(Desk& desk, const Folder& folder, QSize screen = {1100, 760});

}  // namespace stage
