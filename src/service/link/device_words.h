#pragma once
// The word that a service gave this device at a login: shown at the next one, it says that no stranger comes.
// One file for each service and handle, readable for its owner only. Nothing here throws: without a word a
// login is that of a stranger.

#include <string>

namespace zephyl::link {

class DeviceWords {
public:
    /// Made 0700 when the first word is kept. "": nothing is kept.
    explicit DeviceWords(std::string folder) : mFolder(std::move(folder)) {}

    bool Keeps() const { return !mFolder.empty(); }
    /// "": none, or a file that others could have written.
    std::string Read(const std::string& service, const std::string& handle) const;
    void Keep(const std::string& service, const std::string& handle, const std::string& word) const;

private:
    std::string PathOf(const std::string& service, const std::string& handle) const;

    std::string mFolder;
};

}  // namespace zephyl::link
