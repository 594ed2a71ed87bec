#pragma once
// Answers GET /metrics and GET /health on a loopback port: nobody else's machine gets there. HTTP with an
// answer a connection, nothing that is asked has a body.

#include <boost/asio/awaitable.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <functional>
#include <string>

#include "service/relay/head_count.h"
#include "service/relay/metrics.h"
#include "service/relay/services.h"

namespace zephyl {

class MetricsServer {
public:
    using Facts = std::function<boost::asio::awaitable<ServiceFacts>()>;

    /// Listens; nobody is answered yet. Throws StartError.
    MetricsServer(Services& services, Facts facts);
    void Start();
    /// "127.0.0.1:9420"
    std::string Address() const;

private:
    struct Answer;
    boost::asio::awaitable<void> Accept();
    boost::asio::awaitable<void> Serve(boost::asio::ip::tcp::socket taken);
    static std::string TextOf(const Answer& answer, bool head);
    boost::asio::awaitable<Answer> AnswerTo(std::string target, bool openMetrics);

    Services& mServices;
    const Facts mFacts;
    boost::asio::ip::tcp::acceptor mAcceptor;
    HeadCount mClients;
};

}  // namespace zephyl
