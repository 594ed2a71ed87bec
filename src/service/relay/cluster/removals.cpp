#include "service/relay/cluster/removals.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <utility>

namespace zephyl {
namespace {

constexpr int kTries = 20;

}  // namespace

// One subject at a time: when many meetings end together, what others say goes the same way.
struct Removals::Left : std::enable_shared_from_this<Left> {
    explicit Left(Engine& its) : engine(its) {}

    void AskNext()
    {
        if (stopped || asked || !engine.Connected()) return;
        const auto next =
            std::find_if(subjects.begin(), subjects.end(), [](const auto& one) { return one.second > 0; });
        if (next == subjects.end()) return;
        asked = true;
        --next->second;
        engine.Purge(next->first, ~std::uint64_t{0} >> 1,
                     [self = shared_from_this(), subject = next->first](EngineResult result) {
                         const std::lock_guard lock(self->mutex);
                         self->asked = false;
                         if (result != EngineResult::Away) self->subjects.erase(subject);
                         self->AskNext();
                     });
    }

    Engine& engine;
    std::mutex mutex;
    std::map<std::string, int> subjects;  // and how often they are asked for, one time after the other
    bool asked = false;                   // for one of them
    bool stopped = false;
};

Removals::Removals(Engine& engine) : mLeft(std::make_shared<Left>(engine))
{
    mEars = engine.WhenChanged([left = mLeft](bool connected) {
        if (!connected) return;
        const std::lock_guard lock(left->mutex);
        // Where it did not do it before, a new connection may bring more luck.
        for (auto& [subject, tries] : left->subjects) tries = kTries;
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
    mLeft->subjects[std::move(subject)] = kTries;
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
