#include "service/relay/cluster/adjusting.h"

#include <boost/json.hpp>

#include "service/relay/cluster/nats_asker.h"
#include "service/relay/private_folder.h"

namespace zephyl {
namespace json = boost::json;
namespace {

constexpr std::uint64_t kMiB = 1 << 20;
constexpr std::chrono::seconds kChanging{10};

void RequireTaken(const std::string& stream, const json::value& answer)
{
    if (const std::string fault = FaultIn(answer); !fault.empty()) throw StartError(stream + ": " + fault);
}

/// "": there is nothing to change.
std::string Adjusted(NatsAsker& asker, const std::string& stream, std::uint64_t bytes, unsigned copies)
{
    const json::value there = asker.AskJetStream("STREAM.INFO." + stream);
    if (IsMissing(there)) return {};  // who makes it makes it right
    RequireTaken(stream, there);
    const auto facts = jetstream::StreamIn(there);
    if (!facts) throw StartError(stream + ": its servers answer something else");
    json::object config = jetstream::Member(there, "config")->as_object();
    std::string changes;
    if (bytes > 0 && bytes != facts->limitBytes) {
        if (bytes < facts->bytes)
            throw StartError(stream + " holds " + std::to_string(facts->bytes / kMiB) +
                             " MiB already: say more in log_mebibytes, or let meetings end first");
        config["max_bytes"] = bytes;
        changes = std::to_string(bytes / kMiB) + " MiB instead of " +
                  (facts->limitBytes > 0 ? std::to_string(facts->limitBytes / kMiB) + " MiB" : "no bound");
    }
    if (copies > facts->replicas) {
        config["num_replicas"] = copies;
        changes += (changes.empty() ? "" : ", ") + std::to_string(copies) + " copies instead of " +
                   std::to_string(facts->replicas);
    }
    if (changes.empty()) return {};
    RequireTaken(stream, asker.AskJetStream("STREAM.UPDATE." + stream, json::serialize(config), kChanging));
    return stream + ": " + changes;
}

}  // namespace

std::vector<std::string> AdjustStreams(const NatsSite& site)
{
    const std::unique_ptr<NatsAsker> asker = AskerOf(site);
    std::vector<std::string> changed;
    const auto adjust = [&](const std::string& stream, std::uint64_t bytes) {
        if (std::string line = Adjusted(*asker, stream, bytes, site.replicas); !line.empty())
            changed.push_back(std::move(line));
    };
    adjust(kLogStream, site.logBytes);
    for (const char* const bucket : {"codes", "meetings", "relays"}) adjust(StreamOfBucket(bucket), 0);
    return changed;
}

}  // namespace zephyl
