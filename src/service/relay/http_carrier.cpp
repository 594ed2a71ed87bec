#include "service/relay/http_carrier.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "service/net/byte_stream.h"
#include "service/relay/http_road.h"
#include "service/relay/live_limits.h"

namespace zephyl {
namespace asio = boost::asio;
namespace {

constexpr char kContinue[] = "HTTP/1.1 100 Continue\r\n\r\n";
constexpr unsigned kDefaultWait = 1;
constexpr unsigned kOpenAgainIn = 5;
constexpr std::chrono::seconds kBetweenRequests{75};  // longer than proxies keep what they do not use
constexpr std::chrono::seconds kOneRequest{30};       // to come whole, and its answer to leave
constexpr std::chrono::seconds kHeld{90};             // a connection over its budget ends sooner

const char* Words(int status)
{
    switch (status) {
        case 404: return "This is a messaging service. There is nothing to look at.\n";
        case 410: return "There is no such connection (any more).\n";
        default: return "";
    }
}

/// The stream is of no more use behind it.
HttpAnswer Refusal(int status)
{
    return {.status = status, .body = Words(status), .keepAlive = false};
}

}  // namespace

HttpCarrier::HttpCarrier(Services& services, HttpNames& names, const TrustedProxies& proxies,
                         const Strand& strand, std::unique_ptr<ByteStream> stream, std::string address,
                         HttpStreams::Ticket ticket, CameBy by)
    : mServices(services),
      mNames(names),
      mProxies(proxies),
      mStream(std::move(stream)),
      mAddress(std::move(address)),
      mBy(std::move(by)),
      mGate(ticket ? ticket->Gate() : services.gate),
      mTicket(std::move(ticket)),
      mKnown(!mTicket),
      mEnd(strand)
{
}

HttpCarrier::~HttpCarrier() = default;

asio::awaitable<void> HttpCarrier::Run()
{
    const auto self = shared_from_this();
    try {
        co_await Requests();
    } catch (const std::exception&) {
        // whose exchanges it brought tries again on another one
    }
    mEnd.cancel();
    mTicket.reset();
    mStream->Close();
}

asio::awaitable<void> HttpCarrier::Requests()
{
    const RelayTimes& times = mServices.limits.Now().times;
    EndIn(times.beforeLogin);
    for (bool goOn = true; goOn;) {
        Reply reply;
        try {
            HttpHead head = co_await NextHead();
            goOn = head.keepAlive;
            reply = co_await AnswerTo(std::move(head));
        } catch (const HttpProblem& problem) {
            reply.answer = Refusal(problem.status);
        }
        if (reply.none) co_return;
        if (mKnown) EndIn(kOneRequest);
        goOn = goOn && reply.answer.keepAlive;
        reply.answer.keepAlive = goOn;
        if (reply.body) reply.answer.body = *reply.body;
        co_await mStream->Write(HttpText(reply.answer));
        if (mKnown) EndIn(kBetweenRequests);
    }
}

/// However far it is. A stream on which nobody has logged in has one time for everything.
void HttpCarrier::EndIn(std::chrono::milliseconds time)
{
    mEnd.expires_after(time);
    mEnd.async_wait([weak = weak_from_this()](boost::system::error_code stopped) {
        if (const auto self = weak.lock(); self && !stopped) self->mStream->Close();
    });
}

asio::awaitable<void> HttpCarrier::ReadMore()
{
    std::string bytes;
    co_await mStream->Read(bytes);
    if (mKnown && !mReader.Begun()) EndIn(kOneRequest);
    mReader.Feed(bytes);
}

asio::awaitable<HttpHead> HttpCarrier::NextHead()
{
    for (;;) {
        if (const HttpHead* head = mReader.Head()) co_return *head;
        co_await ReadMore();
    }
}

asio::awaitable<std::string> HttpCarrier::TheBody()
{
    for (;;) {
        if (auto body = mReader.Body()) co_return *std::move(body);
        co_await ReadMore();
    }
}

asio::awaitable<HttpCarrier::Reply> HttpCarrier::AnswerTo(HttpHead head)
{
    const bool open = head.target == kHttpOpen;
    if (!open && head.target != kHttpUp && head.target != kHttpDown) co_return Reply{Refusal(404)};
    if (!head.post) co_return Reply{Refusal(405)};
    if (head.target != kHttpUp && head.bodyBytes > 0) co_return Reply{Refusal(413)};
    if (!open) co_return co_await Exchange(std::move(head));
    co_await TheBody();
    co_return Open(head);
}

HttpCarrier::Reply HttpCarrier::Open(const HttpHead& head)
{
    std::string address = mAddress;
    if (!mBy.FromOutside()) address = ClientAddress(mAddress, head.forwardedFor, mProxies);
    HttpNames::Opened opened = mNames.Open(address, mBy, mGate);
    if (opened.status == 429) return {{.status = 429, .retrySeconds = kOpenAgainIn, .keepAlive = false}};
    if (opened.status != 200) return {Refusal(opened.status)};
    auto body = std::make_shared<const std::string>(opened.name);
    return {{.connection = std::move(opened.name)}, std::move(body)};
}

/// Who is served here has logged in.
void HttpCarrier::Known(HttpRoad& road)
{
    if (mTicket)
        road.BroughtBy([weak = weak_from_this(), strand = mEnd.get_executor()] {
            asio::post(strand, [weak] {
                if (const auto self = weak.lock()) self->mStream->Close();
            });
        });
    mKnown = true;
    mTicket.reset();
}

asio::awaitable<HttpCarrier::Reply> HttpCarrier::Exchange(HttpHead head)
{
    // A name that nobody has costs whoever tries it the stream.
    const std::shared_ptr<HttpRoad> road = mNames.Find(head.connection, mBy);
    if (!road) co_return Reply{Refusal(410)};
    if (!head.exchange) co_return Reply{Refusal(400)};
    if (head.bodyBytes > road->MostUp()) co_return Reply{Refusal(413)};
    if (road->IsLoggedIn()) Known(*road);
    if (head.awaitsContinue) co_await mStream->Write(kContinue);
    std::string body = co_await TheBody();
    if (mKnown) EndIn(kHeld);
    HttpReply reply;
    if (head.target == kHttpUp) {
        reply = co_await road->Up(*head.exchange, std::move(body));
    } else {
        const std::chrono::seconds hold(head.waitSeconds.value_or(kDefaultWait));
        reply =
            co_await road->Down(*head.exchange, std::min<std::chrono::milliseconds>(hold, kHttpLongestPoll));
    }
    if (reply.status == 0) co_return Reply{.answer = {}, .none = true};
    if (reply.status != 200) co_return Reply{Refusal(reply.status)};
    co_return Reply{{}, std::move(reply.body)};
}

}  // namespace zephyl
