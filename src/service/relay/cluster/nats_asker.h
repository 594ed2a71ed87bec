#pragma once
// Questions to one server of those that keep the meetings, each waited for: for operators' commands, not for
// what serves clients.

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "service/relay/cluster/jetstream.h"
#include "service/relay/cluster/nats_connection.h"
#include "service/relay/cluster/nats_engine.h"

namespace zephyl {

/// One thread.
class NatsAsker {
public:
    static constexpr std::chrono::seconds kPatience{2};

    /// Connects; waits for some seconds at most. Throws NatsAway, whose text says what keeps it from that,
    /// and StartError when the library is not there.
    explicit NatsAsker(const NatsServer& server);
    ~NatsAsker();
    NatsAsker(const NatsAsker&) = delete;
    NatsAsker& operator=(const NatsAsker&) = delete;

    /// The largest message that it takes, in bytes.
    std::size_t MostBytes() const;

    struct Heard {
        std::string status, answerTo, bytes;
        /// What it says, when that is an answer of JetStream's; else null.
        jetstream::json::value Answer() const;
    };
    /// None: nobody has answered.
    std::optional<Heard> Ask(const std::string& subject, std::string_view bytes = {},
                             std::chrono::milliseconds patience = kPatience);
    /// Of JetStream: `what` is behind its own prefix.
    jetstream::json::value AskJetStream(const std::string& what, std::string_view bytes = {},
                                        std::chrono::milliseconds patience = kPatience);

    void Send(const std::string& subject, std::string_view bytes = {});
    /// Where somebody may send several messages.
    std::string Inbox() const;
    /// The next one of those, in order.
    std::optional<Heard> Next(std::chrono::milliseconds patience);

private:
    struct Came;
    const std::shared_ptr<Came> mCame;
    std::unique_ptr<NatsConnection> mConnection;
};

/// What an error of JetStream's says; "": it is none. Null: nobody has answered.
std::string FaultIn(const jetstream::json::value& answer);
/// Of the first that answers. Throws StartError with what each of them says.
std::unique_ptr<NatsAsker> AskerOf(const NatsSite& site);
/// It says that there is no such stream.
bool IsMissing(const jetstream::json::value& answer);

}  // namespace zephyl
