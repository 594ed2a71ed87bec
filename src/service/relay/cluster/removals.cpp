#include "service/relay/cluster/removals.h"

#include <mutex>
#include <set>
#include <utility>

namespace zephyl {

// One subject at a time: when many meetings end together, what others say goes the same way.
struct Removals::Left : std::enable_shared_from_this<Left> {
    explicit Left(Engine& its) : engine(its) {}

    void AskNext()
    {
        if (stopped || asked || subjects.empty() || !engine.Connected()) return;
        auto next = subjects.upper_bound(last);
        if (next == subjects.end()) next = subjects.begin();
        asked = true;
        last = *next;
        engine.Purge(last, kEveryEntry, [self = shared_from_this()](EngineResult result) {
            const std::lock_guard lock(self->mutex);
            self->asked = false;
            if (result == EngineResult::Away) return;
            self->subjects.erase(self->last);
            self->AskNext();
        });
    }

    Engine& engine;
    std::mutex mutex;
    std::set<std::string> subjects;
    std::string last;    // that was asked for
    bool asked = false;  // for that one
    bool stopped = false;
};

Removals::Removals(Engine& engine) : mLeft(std::make_shared<Left>(engine))
{
    mEars = engine.WhenChanged([left = mLeft](bool connected) {
        if (!connected) return;
        const std::lock_guard lock(left->mutex);
        left->AskNext();
    });
}

Removals::~Removals()
{
    Stop();
}

void Removals::Remove(std::string subject)
{
    const std::lock_guard lock(mLeft->mutex);
    mLeft->subjects.insert(std::move(subject));
    mLeft->AskNext();
}

void Removals::GoOn()
{
    const std::lock_guard lock(mLeft->mutex);
    mLeft->AskNext();
}

void Removals::Stop()
{
    {
        const std::lock_guard lock(mLeft->mutex);
        mLeft->stopped = true;
    }
    mEars.reset();
}

}  // namespace zephyl
