#pragma once
// How a service is announced on the local network.

/// Its type there, and the entry of its text record that names its key: "key=sha256:" and 64 digits.
inline constexpr char kAnnouncedType[] = "_zephyl._tcp";
inline constexpr char kAnnouncedKey[] = "key";
