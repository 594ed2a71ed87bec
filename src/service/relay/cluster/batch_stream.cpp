#include "service/relay/cluster/batch_stream.h"

#include <utility>

namespace zephyl {
namespace {

constexpr std::size_t kReadBytes = 1024 * 1024;

}  // namespace

void BatchStream::Read(Got got)
{
    if (mNext > mUntil) return mPost([got = std::move(got)] { got(EngineResult::Ok, {}, true); });
    mEngine.Read(mSubject, mNext, kReadBytes,
                 [self = shared_from_this(), got = std::move(got)](EngineResult result,
                                                                   std::vector<EngineEntry> entries) {
                     self->mPost([self, got, result, entries = std::move(entries)] {
                         self->OnRead(result, entries, got);
                     });
                 });
}

// Nothing there, though the end is known to be: whoever answered does not have it yet.
void BatchStream::OnRead(EngineResult result, const std::vector<EngineEntry>& entries, const Got& got)
{
    if (result != EngineResult::Ok) return got(EngineResult::Away, {}, false);
    std::vector<Batch> batches;
    for (const EngineEntry& entry : entries) {
        if (entry.sequence < mNext || entry.sequence > mUntil) continue;
        mNext = entry.sequence + 1;
        if (auto batch = mReader.Take(entry)) batches.push_back(std::move(*batch));
    }
    const bool end = mNext > mUntil;
    if (batches.empty() && !end) return Read(got);
    got(EngineResult::Ok, std::move(batches), end);
}

}  // namespace zephyl
