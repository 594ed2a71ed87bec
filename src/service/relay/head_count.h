#pragma once
// How many there are of something at this moment. Any thread.

#include <atomic>
#include <memory>

namespace zephyl {

/// Lives as long as anybody is counted: those may outlive whoever counts them.
class HeadCount {
public:
    /// One, for as long as this exists.
    class One {
    public:
        explicit One(std::shared_ptr<std::atomic<int>> count) : mCount(std::move(count)) { ++*mCount; }
        ~One() { --*mCount; }
        One(const One&) = delete;
        One& operator=(const One&) = delete;

    private:
        const std::shared_ptr<std::atomic<int>> mCount;
    };
    One Enter() const { return One(mCount); }
    int Now() const { return *mCount; }

private:
    const std::shared_ptr<std::atomic<int>> mCount = std::make_shared<std::atomic<int>>(0);
};

}  // namespace zephyl
