#include "service/link/way_back.h"

#include <algorithm>

namespace zephyl::link {

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds kLongestAsked = 5min;

}  // namespace

std::string EndText(const Bye& bye)
{
    switch (bye.reason()) {
        case BYE_VERSION: return "The service speaks another version.";
        case BYE_TAKEN_OVER: return "This handle has logged in from another place.";
        case BYE_KICKED: return bye.text().empty() ? "You were removed from the meeting." : bye.text();
        case BYE_ENDED: return bye.text().empty() ? "The service ended the session." : bye.text();
        default: return {};
    }
}

std::chrono::milliseconds AskedWait(std::uint32_t milliseconds)
{
    return std::min(std::chrono::milliseconds(milliseconds), kLongestAsked);
}

void WayBack::Close()
{
    stage = Stage::Over;
    pause.cancel();
    if (connection) connection->Close();
    connection.reset();
    calls.Fail(std::make_exception_ptr(ConnectionLost("given up")));
}

void WayBack::OnFrame(const FrameView& frame)
{
    const Header& header = frame.header;
    if (header.has_welcome()) {
        welcome = header.welcome();
    } else if (header.has_bye()) {
        askedWait = AskedWait(header.bye().wait_ms());
        const std::string end = EndText(header.bye());
        calls.Fail(end.empty() ? std::make_exception_ptr(ConnectionLost(header.bye().text()))
                               : std::make_exception_ptr(EndedForGood(end)));
    } else {
        calls.Answer(AnsweredCall(header), header);
    }
}

void WayBack::OnLost(const std::string& reason)
{
    calls.Fail(std::make_exception_ptr(ConnectionLost(reason)));
}

}  // namespace zephyl::link
