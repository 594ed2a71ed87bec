#pragma once
// All that the servers keep of the meetings, copied out as those servers make copies, and put back. Waits.

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "service/relay/cluster/nats_engine.h"

namespace zephyl {

class NatsAsker;

/// What is copied, in this order: a code that is found has its meeting by then, and no epoch is later than
/// those of the codes.
std::vector<std::string> CopiedStreams();

/// A stream as it was at one moment. Throws StartError when that cannot be had, or not to its end.
class StreamCopy {
public:
    /// Of a site's first server that answers.
    StreamCopy(const NatsSite& site, const std::string& stream);
    ~StreamCopy();
    StreamCopy(const StreamCopy&) = delete;
    StreamCopy& operator=(const StreamCopy&) = delete;

    /// What putting it back begins with; "": there is no such stream.
    const std::string& Head() const { return mHead; }
    /// The next part of it; none: that was all.
    std::optional<std::string> Next();

private:
    const std::string mStream;
    std::unique_ptr<NatsAsker> mAsker;
    std::string mHead;
};

/// Puts copies back into servers that have no meetings and serve no relay.
class PuttingBack {
public:
    /// Throws StartError when those servers have meetings, or a relay is connected to them.
    explicit PuttingBack(const NatsSite& site);
    ~PuttingBack();
    PuttingBack(const PuttingBack&) = delete;
    PuttingBack& operator=(const PuttingBack&) = delete;

    // One after the other, in the order of CopiedStreams. They throw StartError.
    void Begin(const std::string& stream, const std::string& head);
    void Add(std::string_view part);
    /// All of its servers have it.
    void End();

private:
    void WaitForLeader();
    void WaitForCopies();
    void RefuseIfInUse();

    std::unique_ptr<NatsAsker> mAsker;
    std::string mStream, mTo;
};

}  // namespace zephyl
