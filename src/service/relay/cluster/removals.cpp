#include "service/relay/cluster/removals.h"

#include <map>
#include <mutex>
#include <utility>

namespace zephyl {
namespace {

constexpr int kTries = 20;

}  // namespace

struct Removals::Left : std::enable_shared_from_this<Left> {
    explicit Left(Engine& its) : engine(its) {}

    void Ask(const std::string& subject)
    {
        engine.Purge(
            subject, ~std::uint64_t{0} >> 1,
            [self = shared_from_this(), subject](EngineResult result) { self->Take(subject, result); });
    }
    // Where it is connected and does not do it all the same, a new connection may bring more luck.
    void Take(const std::string& subject, EngineResult result)
    {
        const std::lock_guard lock(mutex);
        const auto at = subjects.find(subject);
        if (at == subjects.end()) return;
        if (result != EngineResult::Away)
            subjects.erase(at);
        else if (!stopped && --at->second > 0 && engine.Connected())
            Ask(subject);
    }
    void AskAll()
    {
        const std::lock_guard lock(mutex);
        if (stopped) return;
        for (auto& [subject, tries] : subjects) {
            tries = kTries;
            Ask(subject);
        }
    }

    Engine& engine;
    std::mutex mutex;
    std::map<std::string, int> subjects;  // and how often they are asked for, one time after the other
    bool stopped = false;
};

Removals::Removals(Engine& engine) : mLeft(std::make_shared<Left>(engine))
{
    mEars = engine.WhenChanged([left = mLeft](bool connected) {
        if (connected) left->AskAll();
    });
}

Removals::~Removals()
{
    Stop();
}

void Removals::Remove(std::string subject)
{
    const std::lock_guard lock(mLeft->mutex);
    if (mLeft->stopped) return;
    mLeft->subjects[subject] = kTries;
    mLeft->Ask(subject);
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
