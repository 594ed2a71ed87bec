#pragma once
// The HTTP/1.1 messages that carry frames, as values: the only place that knows their text. Pure: no sockets,
// no clock. One thread at a time per object.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace zephyl {

inline constexpr char kHttpOpen[] = "/zephyl/1/open";
inline constexpr char kHttpUp[] = "/zephyl/1/up";
inline constexpr char kHttpDown[] = "/zephyl/1/down";
inline constexpr std::size_t kHttpNameDigits = 64;  // of a connection's name, hexadecimal

/// What cannot be a message of ours, with the status that says so.
struct HttpProblem : std::runtime_error {
    HttpProblem(int answer, const char* what) : std::runtime_error(what), status(answer) {}
    int status;
};

/// A request without its body.
struct HttpHead {
    bool post = false;
    std::string target;
    std::string connection;                 // "": none named
    std::optional<std::uint64_t> exchange;  // from 1
    std::optional<unsigned> waitSeconds;
    std::string forwardedFor;  // every X-Forwarded-For there is, in order
    std::size_t bodyBytes = 0;
    bool keepAlive = true;
    bool awaitsContinue = false;
};

/// Finds requests in a stream of bytes, head by head, so that who reads may refuse before a body is waited
/// for. A body has a length: one in chunks is refused.
class HttpRequestReader {
public:
    HttpRequestReader();
    ~HttpRequestReader();
    void Feed(std::string_view bytes);
    /// The head of the next request; none while bytes are missing. Throws HttpProblem.
    const HttpHead* Head();
    /// Its body; none while bytes are missing. Behind it the next request may begin. Throws HttpProblem.
    std::optional<std::string> Body();
    /// Something of a request has come.
    bool Begun() const;

private:
    struct Parts;
    void Parse();
    std::unique_ptr<Parts> mParts;  // null: between requests
    std::string mBytes;
};

struct HttpAnswer {
    int status = 200;
    std::string_view body = {};
    std::string connection = {};  // its new name, behind open
    unsigned retrySeconds = 0;    // 0: nothing is said of it
    bool keepAlive = true;
};
std::string HttpText(const HttpAnswer& answer);

/// What a client posts. `host`: as the user knows the service, with its port where it is not HTTPS's.
struct HttpPost {
    std::string_view target;
    std::string_view host = {};
    std::string_view connection = {};
    std::uint64_t exchange = 0;
    unsigned waitSeconds = 0;  // 0: not said
    std::string_view body = {};
};
std::string HttpText(const HttpPost& post);
/// The question to a proxy for a way to `authority`, with "Basic" credentials ("name:password", "": none).
std::string ConnectText(std::string_view authority, std::string_view credentials);

struct HttpAnswered {
    int status = 0;
    std::string reason;      // in its own words
    std::string connection;  // its new name
    std::string body;
    bool keepAlive = true;
};
/// Finds one answer after the other. Throws HttpProblem: what answers does not speak HTTP, or says too much.
class HttpAnswerReader {
public:
    /// `toConnect`: the answer to ConnectText, which has no body where it is a yes.
    explicit HttpAnswerReader(bool toConnect = false);
    ~HttpAnswerReader();
    void Feed(std::string_view bytes) { mBytes.append(bytes); }
    std::optional<HttpAnswered> Next();  // forewords (100, 102, 103) are passed over
    /// Bytes behind the last answer.
    bool Empty() const { return mBytes.empty(); }

private:
    struct Parts;
    std::optional<HttpAnswered> NextOfAnyKind();
    std::unique_ptr<Parts> mParts;
    std::string mBytes;
    bool mToConnect;
};

}  // namespace zephyl
