#pragma once
// How the log names people and meetings: by words that stand for them, as `zephyld status` shows. Only at the
// level "debug" does it name them.

#include <array>
#include <string>
#include <string_view>

namespace spdlog {
class logger;
}

namespace zephyl {

class LogNames {
public:
    explicit LogNames(const spdlog::logger& log);
    /// "user-5f3a9c21": the same for a handle until the process ends.
    std::string StandIn(std::string_view handle) const;
    std::string User(std::string_view handle) const;
    /// Of its id, as its folder is named.
    std::string Meeting(std::string_view id, std::string_view code) const;

private:
    bool Named() const;
    const spdlog::logger& mLog;
    std::array<unsigned char, 16> mKey{};  // so that nobody can find a handle out by trying
};

}  // namespace zephyl
