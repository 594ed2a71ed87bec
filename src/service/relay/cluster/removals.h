#pragma once
// Logs that are to go for good. What the engine does not take at the moment is asked for again, for as long
// as it takes.

#include <memory>
#include <string>

#include "service/relay/cluster/engine.h"

namespace zephyl {

class Removals {
public:
    /// The engine outlives it, or Stop comes before.
    explicit Removals(Engine& engine);
    ~Removals();
    Removals(const Removals&) = delete;
    Removals& operator=(const Removals&) = delete;

    /// Nobody appends to this subject any more. Any thread.
    void Remove(std::string subject);
    /// Asks again for what was not taken. Now and then.
    void GoOn();
    /// Nothing is asked for any more.
    void Stop();

private:
    struct Left;
    const std::shared_ptr<Left> mLeft;
    Engine::Ears mEars;
};

}  // namespace zephyl
