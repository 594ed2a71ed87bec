#include "service/net/http_message.h"

#include <openssl/evp.h>

#include <boost/asio/buffer.hpp>
#include <boost/beast/core/buffers_range.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/serializer.hpp>
#include <boost/beast/http/string_body.hpp>
#include <charconv>

#include "service/wire/limits.h"

namespace zephyl {
namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace {

constexpr char kConnection[] = "Zephyl-Connection";
constexpr char kExchange[] = "Zephyl-Exchange";
constexpr char kWait[] = "Zephyl-Wait";
constexpr char kForwarded[] = "X-Forwarded-For";
constexpr unsigned kHttp11 = 11;
constexpr std::string_view kEndOfHead = "\r\n\r\n";

/// Looked for before anything is parsed, so that the bound holds however the bytes come.
bool HeadIsThere(const std::string& bytes)
{
    const bool there =
        std::string_view(bytes).substr(0, kHttpHeadBytes).find(kEndOfHead) != std::string::npos;
    if (!there && bytes.size() >= kHttpHeadBytes) throw HttpProblem(431, "a head of more than 8 KiB");
    return there;
}

[[noreturn]] void Fail(const beast::error_code& error)
{
    if (error == http::error::body_limit) throw HttpProblem(413, "a body of more than 1 MiB");
    if (error == http::error::bad_version) throw HttpProblem(505, "another version than HTTP/1");
    throw HttpProblem(400, "no HTTP message");
}

/// Feeds what is there.
template <class Parser>
void Put(Parser& parser, std::string& bytes)
{
    beast::error_code error;
    const std::size_t taken = parser.put(asio::buffer(bytes), error);
    bytes.erase(0, taken);
    if (error && error != http::error::need_more) Fail(error);
}

template <class Fields>
std::string TheOnly(const Fields& fields, const char* name)
{
    if (fields.count(name) > 1) throw HttpProblem(400, "a header that stands there twice");
    return std::string(fields[name]);
}

/// Digits only, without a zero in front; none: the header is missing.
template <class Number, class Fields>
std::optional<Number> NumberIn(const Fields& fields, const char* name, bool zero)
{
    const std::string text = TheOnly(fields, name);
    if (text.empty()) return std::nullopt;
    Number number = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool plain = read.ec == std::errc() && read.ptr == text.data() + text.size() &&
                       (text.front() != '0' || (zero && text.size() == 1));
    if (!plain) throw HttpProblem(400, "a header that is no number");
    return number;
}

template <class Fields>
std::string Joined(const Fields& fields, const char* name)
{
    std::string all;
    const auto range = fields.equal_range(name);
    for (auto one = range.first; one != range.second; ++one) {
        if (!all.empty()) all += ',';
        all += one->value();
    }
    return all;
}

template <class Message>
std::string Serialised(Message& message)
{
    std::string text;
    http::serializer<Message::is_request::value, typename Message::body_type> serializer(message);
    beast::error_code error;
    while (!error && !serializer.is_done())
        serializer.next(error, [&](beast::error_code&, const auto& buffers) {
            for (const asio::const_buffer part : beast::buffers_range_ref(buffers))
                text.append(static_cast<const char*>(part.data()), part.size());
            serializer.consume(asio::buffer_size(buffers));
        });
    return text;
}

/// The body behind the head, without the copy that a message would make of it.
template <class Message>
std::string WithBody(Message& message, std::string_view body)
{
    message.content_length(body.size());
    return Serialised(message).append(body);
}

}  // namespace

// --- requests ----------------------------------------------------------------------------------------

struct HttpRequestReader::Parts {
    http::request_parser<http::string_body> parser;
    HttpHead head;
};

HttpRequestReader::HttpRequestReader() = default;
HttpRequestReader::~HttpRequestReader() = default;

void HttpRequestReader::Feed(std::string_view bytes)
{
    mBytes.append(bytes);
}

bool HttpRequestReader::Begun() const
{
    return mParts || !mBytes.empty();
}

const HttpHead* HttpRequestReader::Head()
{
    if (mParts) return &mParts->head;
    if (!HeadIsThere(mBytes)) return nullptr;
    auto parts = std::make_unique<Parts>();
    auto& parser = parts->parser;
    parser.header_limit(kHttpHeadBytes);
    parser.body_limit(kHttpBodyBytes);
    while (!parser.is_header_done()) {
        const std::size_t before = mBytes.size();
        Put(parser, mBytes);
        if (mBytes.size() == before && !parser.is_header_done()) throw HttpProblem(400, "no HTTP message");
    }
    const auto& message = parser.get();
    if (message.find(http::field::transfer_encoding) != message.end())
        throw HttpProblem(411, "a body without a length");
    HttpHead& head = parts->head;
    head.post = message.method() == http::verb::post;
    head.target = std::string(message.target());
    head.connection = TheOnly(message, kConnection);
    head.exchange = NumberIn<std::uint64_t>(message, kExchange, false);
    head.waitSeconds = NumberIn<unsigned>(message, kWait, true);
    head.forwardedFor = Joined(message, kForwarded);
    head.bodyBytes = static_cast<std::size_t>(parser.content_length().value_or(0));
    head.keepAlive = parser.keep_alive();
    head.awaitsContinue = beast::iequals(message[http::field::expect], "100-continue");
    parser.eager(true);
    mParts = std::move(parts);
    return &mParts->head;
}

std::optional<std::string> HttpRequestReader::Body()
{
    auto& parser = mParts->parser;
    if (!parser.is_done() && !mBytes.empty()) Put(parser, mBytes);
    if (!parser.is_done()) return std::nullopt;
    std::string body = std::move(parser.get().body());
    mParts.reset();
    if (mBytes.empty()) mBytes = std::string();  // it may be long until the next one
    return body;
}

std::string HttpText(const HttpAnswer& answer)
{
    http::response<http::empty_body> message(static_cast<http::status>(answer.status), kHttp11);
    message.set(http::field::cache_control, "no-store");
    message.set(http::field::content_type, "application/octet-stream");
    if (!answer.connection.empty()) message.set(kConnection, answer.connection);
    if (answer.retrySeconds > 0) message.set(http::field::retry_after, std::to_string(answer.retrySeconds));
    if (answer.status == 405) message.set(http::field::allow, "POST");
    message.keep_alive(answer.keepAlive);
    return WithBody(message, answer.body);
}

// --- answers -----------------------------------------------------------------------------------------

std::string HttpText(const HttpPost& post)
{
    http::request<http::empty_body> message(http::verb::post, beast::string_view(post.target), kHttp11);
    message.set(http::field::host, post.host);
    message.set(http::field::cache_control, "no-store");
    message.set(http::field::content_type, "application/octet-stream");
    if (!post.connection.empty()) message.set(kConnection, post.connection);
    if (post.exchange > 0) message.set(kExchange, std::to_string(post.exchange));
    if (post.waitSeconds > 0) message.set(kWait, std::to_string(post.waitSeconds));
    return WithBody(message, post.body);
}

std::string ConnectText(std::string_view authority, std::string_view credentials)
{
    http::request<http::empty_body> message(http::verb::connect, beast::string_view(authority), kHttp11);
    message.set(http::field::host, authority);
    if (!credentials.empty()) {
        std::string coded((credentials.size() + 2) / 3 * 4 + 1, '\0');
        coded.resize(static_cast<std::size_t>(
            EVP_EncodeBlock(reinterpret_cast<unsigned char*>(coded.data()),
                            reinterpret_cast<const unsigned char*>(credentials.data()),
                            static_cast<int>(credentials.size()))));
        message.set(http::field::proxy_authorization, "Basic " + coded);
    }
    return Serialised(message);
}

struct HttpAnswerReader::Parts {
    http::response_parser<http::string_body> parser;
};

HttpAnswerReader::HttpAnswerReader(bool toConnect) : mToConnect(toConnect) {}
HttpAnswerReader::~HttpAnswerReader() = default;

std::optional<HttpAnswered> HttpAnswerReader::Next()
{
    for (;;) {
        auto answered = NextOfAnyKind();
        const bool foreword = answered && answered->status / 100 == 1 && answered->status != 101;
        if (!foreword) return answered;
    }
}

std::optional<HttpAnswered> HttpAnswerReader::NextOfAnyKind()
{
    if (!mParts) {
        if (!HeadIsThere(mBytes)) return std::nullopt;
        mParts = std::make_unique<Parts>();
        mParts->parser.header_limit(kHttpHeadBytes);
        mParts->parser.body_limit(kHttpBodyBytes);
        mParts->parser.eager(true);
        mParts->parser.skip(mToConnect);
    }
    auto& parser = mParts->parser;
    if (!parser.is_done() && !mBytes.empty()) Put(parser, mBytes);
    if (!parser.is_header_done()) throw HttpProblem(502, "no HTTP answer");
    if (parser.need_eof() && !mToConnect) throw HttpProblem(502, "an answer without a length");
    if (!parser.is_done()) return std::nullopt;
    auto message = parser.release();
    mParts.reset();
    HttpAnswered answered;
    answered.status = static_cast<int>(message.result_int());
    answered.reason = std::string(message.reason());
    answered.connection = std::string(message[kConnection]);
    answered.keepAlive = message.keep_alive();
    answered.body = std::move(message.body());
    return answered;
}

}  // namespace zephyl
