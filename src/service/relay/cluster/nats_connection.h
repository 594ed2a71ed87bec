#pragma once
// A connection to a NATS server, as the engine uses one. What speaks to the server is a library of its own
// (service/nats), which is opened when a configuration asks for it, so that nobody else loads it.

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zephyl {

/// There is no connection.
struct NatsAway : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct NatsServer {
    std::string host;  // a name or an address
    std::string port;
    std::string user, password;
    bool tls = true;          // and its certificate names `host`
    std::string authorities;  // a file, PEM
};

/// What came. Valid during the call.
struct NatsMessage {
    std::string_view listened;  // what Listen was given
    std::string_view subject;
    std::string_view answerTo;
    std::string_view status;     // "503": nobody listens; "404", "408", "409": no more; "" usually
    std::string_view operation;  // the header KV-Operation
    std::string_view bytes;
};

using NatsHeaders = std::vector<std::pair<const char*, std::string>>;

/// Ends for good when it is lost. Any thread, but for the destructor, which waits.
class NatsConnection {
public:
    /// On a thread of the library's, one at a time of all that one connection heard, in the order in which it
    /// came. Never after the destructor.
    using Take = std::function<void(const NatsMessage&)>;
    /// Perhaps more than once, on any thread.
    using Ended = std::function<void()>;

    virtual ~NatsConnection() = default;
    /// May wait, for two seconds at most when the server takes nothing; then the connection ends.
    virtual void Send(const std::string& subject, const std::string& answerTo, const NatsHeaders& headers,
                      std::string_view bytes) = 0;
    virtual void Listen(const std::string& subject) = 0;
    virtual void Ignore(const std::string& subject) = 0;
    /// The largest message that the server takes.
    virtual std::size_t MostBytes() const = 0;
};

/// Waits, for two seconds at most. Throws NatsAway; StartError when the library is not there.
std::unique_ptr<NatsConnection> OpenNats(const NatsServer& server, NatsConnection::Take take,
                                         NatsConnection::Ended ended);

/// How the library's one function is called, and what it is.
inline constexpr char kOpenNats[] = "ZephylOpenNats";
using OpenNatsFunction = NatsConnection* (*)(const NatsServer& server, NatsConnection::Take take,
                                             NatsConnection::Ended ended);

}  // namespace zephyl
