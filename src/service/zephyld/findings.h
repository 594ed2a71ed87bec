#pragma once
// What was looked at, line by line, on standard output: what was found, and what to do about it.

#include <functional>
#include <string>

namespace zephyl {

class Findings {
public:
    void Good(const std::string& what, const std::string& found);
    void Mind(const std::string& what, const std::string& found, const std::string& toDo);
    void Bad(const std::string& what, const std::string& found, const std::string& toDo);
    /// An exception is a bad finding.
    void Look(const std::string& what, const std::string& toDo, const std::function<void()>& look);
    bool AllWell() const { return !mBad; }

private:
    bool mBad = false;
};

}  // namespace zephyl
