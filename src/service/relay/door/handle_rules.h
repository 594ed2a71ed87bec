#pragma once
// Which handles there may be, and which of them are the same one to a person's eye. Pure; any thread.

#include <optional>
#include <string>
#include <string_view>

namespace zephyl {

/// A handle that may be used, in its three forms.
struct HandleForms {
    std::string spelling;  // trimmed, NFC: what everybody sees
    std::string key;       // folded: equal for spellings that differ in case only
    std::string skeleton;  // equal for handles that look alike
};

/// None when it is no handle: 1 to 32 characters, the first one a letter or a digit, then letters, digits,
/// inner spaces, ".", "_", "-".
std::optional<HandleForms> ReadHandle(std::string_view utf8);

/// Letters without regard to case, blanks at the ends cut off; "" when nothing usable is left (a code has
/// at most 64 bytes and no control characters).
std::string MeetingCodeKey(std::string_view code);

}  // namespace zephyl
