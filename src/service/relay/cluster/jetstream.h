#pragma once
// What is said to JetStream and what it answers, as its servers write that. Pure.

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "service/relay/cluster/engine.h"
#include "service/relay/cluster/nats_connection.h"

namespace zephyl::jetstream {

namespace json = boost::json;

inline constexpr char kApi[] = "$JS.API.";
inline constexpr std::uint64_t kSecond = 1'000'000'000;  // nanoseconds, in which the servers count

/// Null: there is none.
json::value AnswerIn(const NatsMessage* message);
/// Null, 0, "": there is none of that kind.
const json::value* Member(const json::value& of, const char* name);
std::uint64_t Number(const json::value* value);
std::string Text(const json::value* value);
/// "": it is none.
std::string FromBase64(const std::string& text);

/// What is said against something. Away: it did not happen, or nobody knows.
EngineResult ResultOf(const json::value& answer);
/// Nobody leads at the moment, whatever was asked.
bool IsLeaderless(const NatsMessage& message);
/// Of a deletion: it was done now or before.
bool IsGone(const json::value& answer);

/// Where a message that was read stands.
struct Standing {
    std::uint64_t sequence = 0;  // in its stream
    std::uint64_t number = 0;    // among those that its consumer has sent
    std::uint64_t pending = 0;   // that are behind it
};
std::optional<Standing> StandingOf(std::string_view answerTo);

/// A stream, as who leads it says, or who has led it until now.
struct StreamFacts {
    bool led = true;  // else too few of its servers are there to choose who leads: it takes and gives nothing
    std::uint64_t messages = 0, bytes = 0;
    std::uint64_t limitBytes = 0;  // 0: none of its own
    unsigned replicas = 0;
    unsigned behind = 0;  // of the replicas: away, or not caught up
    std::string away;     // the names of servers that are, with blanks between
    std::string leader;
    std::string unheard;           // as `away`: the leader has not heard them for two seconds
    std::uint64_t unheardFor = 0;  // nanoseconds, of the last of them
};
/// None: the answer is another one.
std::optional<StreamFacts> StreamIn(const json::value& answer);

/// A message of a stream, as the stream's leader gives it.
struct StoredMessage {
    std::string subject, bytes;
    std::uint64_t sequence = 0;
    bool removes = false;  // it is no value but the end of one
};
/// None: the answer is another one.
std::optional<StoredMessage> StoredIn(const json::value& answer);

/// Somebody who reads a part of a stream for us.
struct Consumer {
    std::string stream, name, filter;

    std::string Api(const char* verb) const;
    std::string CreateApi() const;
    std::string Config(json::object more) const;
};

/// Letters and digits that nobody has drawn before.
std::string RandomWord();

}  // namespace zephyl::jetstream
