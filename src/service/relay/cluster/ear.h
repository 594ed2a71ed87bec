#pragma once
// Somebody who is called until they do not want it any more. Any thread.

#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace zephyl {

template <class... Args>
class Ear {
public:
    using Call = std::function<void(Args...)>;
    explicit Ear(Call call) : mCall(std::make_shared<const Call>(std::move(call))) {}

    void operator()(Args... args)
    {
        const std::lock_guard lock(mMutex);
        if (const auto call = mCall) (*call)(args...);  // it may close itself
    }
    /// Waits for a call that runs on another thread.
    void Close()
    {
        const std::lock_guard lock(mMutex);
        mCall.reset();
    }

    /// Closes the ear when the last copy of it goes.
    static std::shared_ptr<void> Holder(std::shared_ptr<Ear> ear)
    {
        return {nullptr, [ear = std::move(ear)](void*) { ear->Close(); }};
    }

private:
    std::recursive_mutex mMutex;
    std::shared_ptr<const Call> mCall;
};

}  // namespace zephyl
