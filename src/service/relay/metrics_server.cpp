#include "service/relay/metrics_server.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/parser.hpp>
#include <memory>

#include "service/relay/options.h"
#include "service/relay/private_folder.h"
#include "service/relay/report.h"

namespace zephyl {
namespace asio = boost::asio;
namespace http = boost::beast::http;
using asio::ip::tcp;
namespace {

constexpr int kClientsAtOnce = 16;
constexpr std::size_t kHeadBytes = 8 * 1024;
constexpr std::chrono::seconds kPatience{5};  // for the question, and for the answer to leave

bool WantsOpenMetrics(std::string_view accept)
{
    return accept.find("application/openmetrics-text") != std::string_view::npos;
}

}  // namespace

struct MetricsServer::Answer {
    http::status status = http::status::ok;
    std::string type = "text/plain; charset=utf-8";
    std::string body;
};

std::string MetricsServer::TextOf(const Answer& answer, bool head)
{
    std::string text = "HTTP/1.1 " + std::to_string(static_cast<unsigned>(answer.status)) + ' ';
    text += http::obsolete_reason(answer.status);
    text += "\r\nContent-Type: " + answer.type + "\r\nCache-Control: no-store\r\nConnection: close\r\n";
    text += "Content-Length: " + std::to_string(answer.body.size()) + "\r\n\r\n";
    return head ? text : text + answer.body;
}

MetricsServer::MetricsServer(Services& services, Facts facts)
    : mServices(services), mFacts(std::move(facts)), mAcceptor(services.io)
{
    const RelayOptions& options = services.options;
    boost::system::error_code failed;
    const tcp::endpoint at(asio::ip::make_address(options.metricsHost, failed), options.metricsPort);
    if (!failed) mAcceptor.open(at.protocol(), failed);
    if (!failed) mAcceptor.set_option(tcp::acceptor::reuse_address(true), failed);
    if (!failed) mAcceptor.bind(at, failed);
    if (!failed) mAcceptor.listen(tcp::acceptor::max_listen_connections, failed);
    if (failed)
        throw StartError("cannot listen on " + options.metricsHost + ":" +
                         std::to_string(options.metricsPort) + " for metrics: " + failed.message());
}

std::string MetricsServer::Address() const
{
    const tcp::endpoint at = mAcceptor.local_endpoint();
    const std::string host = at.address().to_string();
    return (at.address().is_v6() ? "[" + host + "]" : host) + ":" + std::to_string(at.port());
}

void MetricsServer::Start()
{
    asio::co_spawn(mServices.io, Accept(), asio::detached);
}

asio::awaitable<void> MetricsServer::Accept()
{
    asio::steady_timer pause(mServices.io);
    for (;;) {
        boost::system::error_code failed;
        tcp::socket socket = co_await mAcceptor.async_accept(
            asio::make_strand(mServices.io), asio::redirect_error(asio::use_awaitable, failed));
        if (failed == asio::error::operation_aborted || failed == asio::error::bad_descriptor) co_return;
        if (failed) {
            pause.expires_after(kAcceptPause);
            co_await pause.async_wait(asio::use_awaitable);
        } else if (mClients.Now() < kClientsAtOnce) {
            const auto strand = socket.get_executor();
            asio::co_spawn(strand, Serve(std::move(socket)), asio::detached);
        }
    }
}

// Beast reads the question; it comes and the answer goes by Asio alone, which takes half as long to compile.
asio::awaitable<void> MetricsServer::Serve(tcp::socket taken)
{
    const HeadCount::One counted = mClients.Enter();
    const auto socket = std::make_shared<tcp::socket>(std::move(taken));
    asio::steady_timer limit(socket->get_executor());
    const auto endAfter = [&](std::chrono::seconds patience) {
        limit.expires_after(patience);
        limit.async_wait([socket](boost::system::error_code stopped) {
            boost::system::error_code ignored;
            if (!stopped) socket->close(ignored);
        });
    };
    try {
        endAfter(kPatience);
        http::request_parser<http::empty_body> parser;
        parser.header_limit(kHeadBytes);
        parser.body_limit(0);
        parser.eager(true);
        for (std::string unread; !parser.is_done();) {
            char bytes[1024];
            unread.append(bytes, co_await socket->async_read_some(asio::buffer(bytes), asio::use_awaitable));
            boost::system::error_code failed;
            unread.erase(0, parser.put(asio::buffer(unread), failed));
            if (failed && failed != http::error::need_more) co_return;
        }
        const auto& asked = parser.get();
        const bool head = asked.method() == http::verb::head;
        Answer answer{http::status::method_not_allowed, "text/plain; charset=utf-8", "GET or HEAD\n"};
        if (head || asked.method() == http::verb::get)
            answer =
                co_await AnswerTo(std::string(asked.target()), WantsOpenMetrics(asked[http::field::accept]));
        const std::string text = TextOf(answer, head);
        endAfter(kPatience);
        co_await asio::async_write(*socket, asio::buffer(text), asio::use_awaitable);
        socket->shutdown(tcp::socket::shutdown_send);
    } catch (const std::exception&) {
        // half a question, or somebody who does not take the answer
    }
}

asio::awaitable<MetricsServer::Answer> MetricsServer::AnswerTo(std::string target, bool openMetrics)
{
    target.resize(std::min(target.find('?'), target.size()));
    if (target == "/metrics") {
        const MetricsForm form = openMetrics ? MetricsForm::OpenMetrics : MetricsForm::Text;
        const ServiceFacts facts = co_await mFacts();
        co_return Answer{http::status::ok, MetricsType(form), Metrics(facts, mServices.counters, form)};
    }
    if (target == "/health") {
        const std::string ailment = Ailment(co_await mFacts());
        co_return ailment.empty() ? Answer{http::status::ok, "application/json", "{\"status\":\"ok\"}\n"}
                                  : Answer{http::status::service_unavailable, "application/json",
                                           "{\"status\":\"" + ailment + "\"}\n"};
    }
    co_return Answer{http::status::not_found, "text/plain; charset=utf-8", "/metrics or /health\n"};
}

}  // namespace zephyl
