#include "service/zephyld/doctor_cluster.h"

#include <algorithm>
#include <boost/json.hpp>
#include <memory>
#include <set>
#include <vector>

#include "service/relay/cluster/named_relays.h"
#include "service/relay/cluster/nats_engine.h"
#include "service/relay/cluster/nats_look.h"
#include "service/relay/cluster/nats_place.h"
#include "service/zephyld/key_at.h"

namespace zephyl {
namespace json = boost::json;
namespace {

constexpr std::uint64_t kMiB = 1 << 20;

/// Those that are configured, and those that a running service knows of.
std::set<std::string> OtherRelaysOf(const ClusterOptions& cluster, const json::value& status)
{
    const std::vector<std::string> named = NamedRelays(cluster).Addresses();
    std::set<std::string> others(named.begin(), named.end());
    if (!status.is_null() && status.at("cluster").is_object())
        for (const json::value& one : status.at("cluster").at("others").as_array())
            others.emplace(one.as_string());
    return others;
}

void LookAtRelay(Findings& findings, const std::string& address, const std::string& own)
{
    std::string key;
    try {
        key = KeyAt(address);
    } catch (const std::exception& error) {
        return findings.Mind("relay", address + " cannot be reached: " + error.what(),
                             "clients go to the others meanwhile; start it, or open its port");
    }
    if (key == own) return findings.Good("relay", address + " answers, under the same key");
    findings.Bad(
        "relay", address + " has another key: " + key,
        "clients do not go there: copy key and certificate of one relay to all, and start those anew");
}

/// What the running relay says of itself and the others.
void LookAtMembers(Findings& findings, const json::value& status)
{
    if (status.is_null() || !status.at("cluster").is_object()) return;
    for (const json::value& one : status.at("cluster").at("relays").as_array()) {
        const std::string name(one.at("name").as_string()), state(one.at("state").as_string());
        if (state == "in touch") continue;
        if (one.at("own").as_bool())
            findings.Bad("relays", "this relay takes nobody: it is " + state,
                         "what is said of the log below is why, or its own log says it");
        else
            findings.Mind("relays", name + " is " + state,
                          "start it; one that is to be no more stays in this list and does no harm");
    }
}

std::string NameOf(const NatsServer& server)
{
    return server.host + ":" + server.port;
}

struct Reached {
    std::vector<std::unique_ptr<NatsLook>> servers;
    std::size_t missing = 0;
};

Reached Reach(Findings& findings, const NatsSite& site)
{
    Reached reached;
    std::vector<std::pair<std::string, std::string>> away;
    for (const NatsServer& server : site.servers) try {
            auto look = std::make_unique<NatsLook>(server);
            if (look->MostBytes() < kEngineBytes)
                findings.Bad("log",
                             NameOf(server) + " takes messages of " + std::to_string(look->MostBytes()) +
                                 " bytes at most",
                             "max_payload: 1MB in its configuration, and start it anew");
            else
                findings.Good("log", NameOf(server) + " answers" + (server.tls ? ", by TLS," : ",") +
                                         " and takes user and password");
            reached.servers.push_back(std::move(look));
        } catch (const NatsAway& error) {
            away.emplace_back(NameOf(server), error.what());
        }
    reached.missing = away.size();
    const bool enough = reached.servers.size() > site.servers.size() / 2;
    for (const auto& [name, why] : away) {
        const char* const toDo =
            "start it (systemctl start nats-server), or mend what it says: its log, and [cluster] log, "
            "log_password_file, log_authorities here";
        if (enough)
            findings.Mind("log", name + ": " + why + "; meetings go on without it", toDo);
        else
            findings.Bad("log", name + ": " + why, toDo);
    }
    return reached;
}

void LookAtRoom(Findings& findings, const jetstream::StreamFacts& stream, std::uint64_t wanted)
{
    const std::string holds =
        std::to_string(stream.messages) + " entries, " + std::to_string(stream.bytes / kMiB) + " MiB";
    if (stream.limitBytes == 0)
        return findings.Mind("log room", holds + ", and nothing bounds it: a full disk stops these servers",
                             "set log_mebibytes, then zephyld adjust");
    const std::string of = holds + " of " + std::to_string(stream.limitBytes / kMiB) + " MiB";
    constexpr std::uint64_t full = 10, much = 4;
    const std::uint64_t left = stream.limitBytes - std::min(stream.limitBytes, stream.bytes);
    if (left < stream.limitBytes / full)
        findings.Bad("log room", of + ": nearly full, and meetings stand still when it is",
                     "zephyld status shows whose meetings are large: zephyld close CODE; or raise "
                     "log_mebibytes, then zephyld adjust");
    else if (left < stream.limitBytes / much)
        findings.Mind("log room", of,
                      "zephyld status shows whose meetings are large; or raise log_mebibytes, then zephyld "
                      "adjust");
    else
        findings.Good("log room", of);
    if (wanted > 0 && wanted != stream.limitBytes)
        findings.Mind("log room", "log_mebibytes says " + std::to_string(wanted / kMiB),
                      "zephyld adjust gives it that; it was made with what stood here then");
}

void LookAtStream(Findings& findings, NatsLook& server, const std::string& name, const NatsSite& site)
{
    const NatsLook::Stream stream = server.LookAt(name);
    if (stream.missing) {
        findings.Mind("log", name + " is not there yet", "the first relay that starts makes it");
        if (name == kLogStream && site.logBytes == 0)
            findings.Mind("log room", "log_mebibytes is 0: nothing will bound what all meetings take",
                          "set it below half of the servers' max_file_store: a full disk stops them");
        return;
    }
    if (!stream.fault.empty())
        return findings.Bad("log", name + ": " + stream.fault,
                            "more than half of its servers must be there: start them; meetings wait");
    const jetstream::StreamFacts& facts = stream.facts;
    const std::string copies = name + ", copies of each entry: " + std::to_string(facts.replicas);
    if (facts.replicas < site.replicas)
        findings.Bad("log", copies + ", and log_replicas is " + std::to_string(site.replicas),
                     "zephyld adjust, when all of the servers are there; it was made when there were fewer");
    else if (facts.behind > 0)
        findings.Mind("log", copies + ", of which are away or have not caught up: " + facts.away,
                      "take no other server down before that is over");
    else
        findings.Good("log", copies + ", all of them in step");
    if (name == kLogStream) LookAtRoom(findings, facts, site.logBytes);
}

}  // namespace

void LookAtRelays(Findings& findings, const ClusterOptions& cluster, const std::string& own,
                  const json::value& status)
{
    if (cluster.advertise.empty()) return;
    LookAtRelay(findings, cluster.advertise, own);
    const std::set<std::string> others = OtherRelaysOf(cluster, status);
    for (const std::string& address : others)
        if (address != cluster.advertise) LookAtRelay(findings, address, own);
    if (others.empty())
        findings.Mind("relays", "no others are known",
                      "name in [cluster] relays what they advertise, or start them");
    LookAtMembers(findings, status);
}

void LookAtLogServers(Findings& findings, const ClusterOptions& cluster)
{
    if (cluster.log.empty()) return;
    if (cluster.name.empty())
        findings.Bad("log", "this relay has no name, and does not start without one",
                     "name = \"...\" in [cluster], another one for each relay");
    const NatsSite site = LogPlace(cluster);
    const Reached reached = Reach(findings, site);
    if (reached.servers.empty()) return;
    NatsLook& server = *reached.servers.front();
    if (const std::string fault = server.JetStreamFault(); !fault.empty())
        return findings.Bad(
            "log", "JetStream: " + fault,
            "jetstream { store_dir: ... } in each server's configuration; and more than half of "
            "them must be there");
    LookAtStream(findings, server, kLogStream, site);
    for (const char* const bucket : {"codes", "meetings", "relays"})
        LookAtStream(findings, server, StreamOfBucket(bucket), site);
}

}  // namespace zephyl
