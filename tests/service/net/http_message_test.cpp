// HTTP answers as proxies and strangers write them.

#include "service/net/http_message.h"

#include <gtest/gtest.h>

namespace zephyl {
namespace {

constexpr char kContinue[] = "HTTP/1.1 100 Continue\r\n\r\n";

std::string Answer(const std::string& head, const std::string& body = "")
{
    return "HTTP/1.1 " + head + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}
/// What the reader says of it, in pieces of this size: "200 body", "refused", "waits".
std::string Read(const std::string& bytes, std::size_t piece)
{
    HttpAnswerReader reader;
    try {
        for (std::size_t at = 0; at < bytes.size(); at += piece) {
            reader.Feed(std::string_view(bytes).substr(at, piece));
            if (const auto answered = reader.Next())
                return std::to_string(answered->status) + ' ' + answered->body;
        }
    } catch (const HttpProblem&) {
        return "refused";
    }
    return "waits";
}

TEST(HttpAnswerReader, PassesOverForewordsAndWaitsForTheAnswer)
{
    std::string many;
    for (int i = 0; i < 20'000; ++i) many += kContinue;
    const struct {
        const char* what;
        std::string bytes, said;
    } rows[] = {
        {"an answer", Answer("200 OK", "x"), "200 x"},
        {"behind one", kContinue + Answer("200 OK", "x"), "200 x"},
        {"behind several kinds",
         kContinue + std::string("HTTP/1.1 103 Early Hints\r\nLink: </x>\r\n\r\n") +
             "HTTP/1.1 102 Wait\r\n\r\n" + Answer("410 Gone"),
         "410 "},
        {"behind many", many + Answer("200 OK", "x"), "200 x"},
        {"nothing but forewords", many, "waits"},
        {"another protocol, which nobody asked for", "HTTP/1.1 101 Switch\r\nUpgrade: x\r\n\r\n", "101 "},
        {"a foreword with a body", "HTTP/1.1 100 Continue\r\nContent-Length: 1\r\n\r\nx" + Answer("200 OK"),
         "refused"},
        {"no length", "HTTP/1.1 200 OK\r\n\r\nx", "refused"},
        {"two lengths", "HTTP/1.1 200 OK\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\nxy", "refused"},
        {"more than a body may be", "HTTP/1.1 200 OK\r\nContent-Length: 1048577\r\n\r\n", "refused"},
        {"another protocol's words", "SSH-2.0-x\r\n\r\n", "refused"},
        {"a head that ends too soon", "HT2\r\n\r\nok" + Answer("200 OK"), "refused"},
        {"a head without an end", "HTTP/1.1 200 OK\r\nX: " + std::string(9000, 'x'), "refused"},
    };
    for (const auto& row : rows)
        for (const std::size_t piece : {std::size_t(7), std::size_t(65'536)}) {
            SCOPED_TRACE(testing::Message() << row.what << " by " << piece);
            EXPECT_EQ(Read(row.bytes, piece), row.said);
        }
}

}  // namespace
}  // namespace zephyl
