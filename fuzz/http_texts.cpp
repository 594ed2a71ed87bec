// Requests and answers of HTTP from whoever writes them, in whatever pieces the network makes of them.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "input.h"
#include "service/net/http_message.h"
#include "service/wire/limits.h"

using namespace zephyl;

namespace {

using Seen = std::vector<std::string>;

/// What was made of it, to the first that is none; whoever reads asks no further then.
template <class Feed>
Seen InPieces(std::string_view bytes, std::size_t piece, Feed feed)
{
    Seen seen;
    try {
        for (std::size_t at = 0; at < bytes.size(); at += piece) feed(bytes.substr(at, piece), seen);
    } catch (const HttpProblem& problem) {
        Need(problem.status >= 400 && problem.status < 600);
        seen.emplace_back("refused");
    }
    return seen;
}

Seen Requests(std::string_view bytes, std::size_t piece)
{
    HttpRequestReader reader;
    bool inBody = false;
    return InPieces(bytes, piece, [&](std::string_view part, Seen& seen) {
        reader.Feed(part);
        while (const HttpHead* head = reader.Head()) {
            if (!inBody)
                seen.push_back(std::to_string(head->post) + head->target + '|' + head->connection + '|' +
                               std::to_string(head->exchange.value_or(0)) + '|' + head->forwardedFor + '|' +
                               std::to_string(head->bodyBytes) + std::to_string(head->keepAlive) +
                               std::to_string(head->awaitsContinue));
            inBody = true;
            Need(head->bodyBytes <= kHttpBodyBytes && head->exchange != 0u);
            const std::size_t announced = head->bodyBytes;
            const auto body = reader.Body();
            if (!body) return;
            Need(body->size() == announced);
            inBody = false;
            seen.push_back(*body);
        }
    });
}

Seen Answers(std::string_view bytes, std::size_t piece, bool toConnect)
{
    HttpAnswerReader reader(toConnect);
    bool tunnel = false;
    return InPieces(bytes, piece, [&](std::string_view part, Seen& seen) {
        if (tunnel) return;  // what comes then is somebody else's
        reader.Feed(part);
        while (const auto answered = reader.Next()) {
            Need(answered->body.size() <= kHttpBodyBytes);
            seen.push_back(std::to_string(answered->status) + '|' + answered->connection + '|' +
                           std::to_string(answered->keepAlive) + answered->body);
            tunnel = toConnect && answered->status / 100 == 2;
            if (tunnel) return;
        }
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 3) return 0;
    const std::size_t piece = 1 + data[1];
    const std::string_view bytes(reinterpret_cast<const char*>(data + 2), size - 2);
    const auto read = [&](std::size_t by) {
        return data[0] % 3 == 0 ? Requests(bytes, by) : Answers(bytes, by, data[0] % 3 == 1);
    };
    Need(read(piece) == read(size));
    return 0;
}
