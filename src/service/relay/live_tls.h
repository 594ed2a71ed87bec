#pragma once
// Key and certificate for connections that come from now on. Any thread.

#include <memory>
#include <mutex>

namespace zephyl {

class TlsContext;

class LiveTls {
public:
    explicit LiveTls(std::shared_ptr<const TlsContext> first) : mNow(std::move(first)) {}
    std::shared_ptr<const TlsContext> Now() const
    {
        const std::lock_guard lock(mMutex);
        return mNow;
    }
    /// Connections that there are keep the one they began with.
    void Replace(std::shared_ptr<const TlsContext> next)
    {
        const std::lock_guard lock(mMutex);
        mNow.swap(next);
    }

private:
    mutable std::mutex mMutex;
    std::shared_ptr<const TlsContext> mNow;
};

}  // namespace zephyl
