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

/// The key alone: a look-alike form costs much more.
std::optional<std::string> HandleKey(std::string_view utf8);

/// Blanks at its ends cut off, in small letters; "" when it is no code: 6 to 20 letters and digits, A to Z
/// only.
std::string MeetingCodeKey(std::string_view code);

}  // namespace zephyl
