#pragma once
// Reads a subject of a meeting's log, batch by batch, up to an entry that is known to stand there. On the
// meeting's strand.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "service/relay/cluster/chain_message.h"
#include "service/relay/cluster/engine.h"

namespace zephyl {

/// Alive while somebody holds it or a read is under way.
class BatchStream : public std::enable_shared_from_this<BatchStream> {
public:
    using Post = std::function<void(std::function<void()>)>;
    /// What has come, whole and in order; `end`: that was all. Away: the same may be asked again.
    using Got = std::function<void(EngineResult, std::vector<Batch>, bool end)>;

    /// From `from` to `until`, both sequences of the engine.
    BatchStream(Engine& engine, Post post, std::string subject, std::uint64_t from, std::uint64_t until)
        : mEngine(engine), mPost(std::move(post)), mSubject(std::move(subject)), mNext(from), mUntil(until)
    {
    }
    /// At least one batch, if there is one. One call at a time.
    void Read(Got got);
    std::size_t Skipped() const { return mReader.Skipped(); }

private:
    void OnRead(EngineResult result, const std::vector<EngineEntry>& entries, const Got& got);

    Engine& mEngine;
    const Post mPost;
    const std::string mSubject;
    std::uint64_t mNext;
    const std::uint64_t mUntil;
    ChainReader mReader;
};

}  // namespace zephyl
