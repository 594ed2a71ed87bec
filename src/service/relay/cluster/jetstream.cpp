#include "service/relay/cluster/jetstream.h"

#include <sodium.h>

#include <algorithm>
#include <array>
#include <boost/json.hpp>
#include <charconv>
#include <vector>

namespace zephyl::jetstream {
namespace {

constexpr std::uint64_t kUnheard = 2 * kSecond;  // they answer each other's beats every second

}  // namespace

json::value AnswerIn(const NatsMessage* message)
{
    boost::system::error_code none;
    if (!message || !message->status.empty()) return nullptr;
    return json::parse(json::string_view(message->bytes.data(), message->bytes.size()), none);
}

const json::value* Member(const json::value& of, const char* name)
{
    const json::object* const object = of.if_object();
    return object ? object->if_contains(name) : nullptr;
}

std::uint64_t Number(const json::value* value)
{
    boost::system::error_code none;
    return value && value->is_number() ? value->to_number<std::uint64_t>(none) : 0;
}

std::string Text(const json::value* value)
{
    return value && value->is_string() ? std::string(value->as_string()) : std::string();
}

std::string FromBase64(const std::string& text)
{
    std::string bytes(text.size(), '\0');
    std::size_t size = 0;
    if (sodium_base642bin(reinterpret_cast<unsigned char*>(bytes.data()), bytes.size(), text.data(),
                          text.size(), nullptr, &size, nullptr, sodium_base64_VARIANT_ORIGINAL) != 0)
        size = 0;
    bytes.resize(size);
    return bytes;
}

// By its own numbers.
EngineResult ResultOf(const json::value& answer)
{
    const json::value* const error = Member(answer, "error");
    if (!error) return EngineResult::Ok;
    switch (Number(Member(*error, "err_code"))) {
        case 10071:                                // wrong last sequence
        case 10164: return EngineResult::Other;    // the same of newer ones: somebody's is on its way
        case 10037: return EngineResult::Missing;  // no message found
        case 10002:                                // resource limits of the account
        case 10023:                                // insufficient resources
        case 10047:                                // insufficient storage
        case 10077: return EngineResult::Full;     // the stream's own bound, by its policy
        default: return EngineResult::Away;
    }
}

// Servers say it in two ways. What has a place in a stream is no word of theirs, whatever people have
// written.
bool IsLeaderless(const NatsMessage& message)
{
    constexpr std::size_t longest = 512;
    if (!message.status.empty()) return message.status == "503";
    return message.answerTo.empty() && message.bytes.size() <= longest &&
           message.bytes.find("\"err_code\":10008") != std::string_view::npos;
}

bool IsGone(const json::value& answer)
{
    const json::value* const success = Member(answer, "success");
    if (success && success->is_bool() && success->as_bool()) return true;
    const json::value* const error = Member(answer, "error");
    const std::uint64_t code = error ? Number(Member(*error, "err_code")) : 0;
    return code == 10037 || code == 10043;  // no message, or sequence, found
}

// $JS.ACK.STREAM.CONSUMER.DELIVERED.SEQUENCE.NUMBER.TIME.PENDING
std::optional<Standing> StandingOf(std::string_view answerTo)
{
    if (!answerTo.starts_with("$JS.ACK.")) return std::nullopt;
    std::vector<std::string_view> parts;
    while (!answerTo.empty()) {
        const std::size_t end = std::min(answerTo.find('.'), answerTo.size());
        parts.push_back(answerTo.substr(0, end));
        answerTo.remove_prefix(std::min(end + 1, answerTo.size()));
    }
    if (parts.size() < 9) return std::nullopt;
    // Newer servers put two more in front.
    const std::size_t shift = parts.size() >= 11 ? 2 : 0;
    const auto number = [&](std::size_t at) {
        std::uint64_t value = 0;
        std::from_chars(parts[at].data(), parts[at].data() + parts[at].size(), value);
        return value;
    };
    return Standing{number(5 + shift), number(6 + shift), number(8 + shift)};
}

std::optional<StreamFacts> StreamIn(const json::value& answer)
{
    const json::value* const state = Member(answer, "state");
    const json::value* const config = Member(answer, "config");
    if (!state || !config) return std::nullopt;
    StreamFacts facts;
    facts.messages = Number(Member(*state, "messages"));
    facts.bytes = Number(Member(*state, "bytes"));
    facts.limitBytes = Number(Member(*config, "max_bytes"));  // -1 is none, and no number of ours
    facts.replicas = static_cast<unsigned>(Number(Member(*config, "num_replicas")));
    const json::value* const cluster = Member(answer, "cluster");
    facts.leader = cluster ? Text(Member(*cluster, "leader")) : std::string();
    facts.led = !cluster || !facts.leader.empty();
    const json::value* const others = cluster ? Member(*cluster, "replicas") : nullptr;
    if (!others || !others->is_array()) return facts;
    for (const json::value& one : others->as_array()) {
        const auto is = [&](const char* name) {
            const json::value* const value = Member(one, name);
            return value && value->is_bool() && value->as_bool();
        };
        const auto add = [&](std::string& names) {
            names += (names.empty() ? "" : " ") + Text(Member(one, "name"));
        };
        if (const std::uint64_t silent = Number(Member(one, "active")); silent > kUnheard) {
            add(facts.unheard);
            facts.unheardFor = silent;
        }
        if (is("current") && !is("offline")) continue;
        ++facts.behind;
        add(facts.away);
    }
    return facts;
}

std::optional<StoredMessage> StoredIn(const json::value& answer)
{
    const json::value* const found = Member(answer, "message");
    if (!found) return std::nullopt;
    const bool removes = FromBase64(Text(Member(*found, "hdrs"))).find("KV-Operation: ") != std::string::npos;
    return StoredMessage{Text(Member(*found, "subject")), FromBase64(Text(Member(*found, "data"))),
                         Number(Member(*found, "seq")), removes};
}

std::string Consumer::Api(const char* verb) const
{
    return std::string(kApi) + "CONSUMER." + verb + "." + stream + "." + name;
}

std::string Consumer::CreateApi() const
{
    return Api("CREATE") + "." + filter;
}

std::string Consumer::Config(json::object more) const
{
    more["name"] = name;
    more["filter_subject"] = filter;
    more["ack_policy"] = "none";
    more["mem_storage"] = true;
    more["num_replicas"] = 1;
    more["replay_policy"] = "instant";
    more["inactive_threshold"] = 5 * kSecond;
    return json::serialize(json::object{{"stream_name", stream}, {"config", std::move(more)}});
}

std::string RandomWord()
{
    std::array<unsigned char, 12> bytes{};
    randombytes_buf(bytes.data(), bytes.size());
    std::array<char, 2 * bytes.size() + 1> hex{};
    return sodium_bin2hex(hex.data(), hex.size(), bytes.data(), bytes.size());
}

}  // namespace zephyl::jetstream
