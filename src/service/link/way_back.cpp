#include "service/link/way_back.h"

#include "service/link/words.h"

#include <algorithm>

namespace zephyl::link {

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds kLongestAsked = 5min;

}  // namespace

std::string EndText(const Bye& bye)
{
    const auto said = [](const QString& text) { return text.toStdString(); };
    switch (bye.reason()) {
        case BYE_VERSION:
            return said(
                English("The service speaks another version. Update this program, or ask its operator to "
                        "update the service."));
        case BYE_TAKEN_OVER:
            return said(
                English("This handle has logged in from another place. Log in again to come back here."));
        case BYE_KICKED:
            return bye.text().empty() ? said(English("You were removed from the meeting.")) : bye.text();
        case BYE_ENDED:
            return bye.text().empty() ? said(English("The service ended the session. Log in again."))
                                      : bye.text();
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
        pause.cancel();
    } else if (header.has_bye()) {
        askedWait = AskedWait(header.bye().wait_ms());
        restarts = header.bye().reason() == BYE_RESTART;
        lost = true;
        pause.cancel();
        const std::string end = EndText(header.bye());
        calls.Fail(end.empty() ? std::make_exception_ptr(ConnectionLost(header.bye().text()))
                               : std::make_exception_ptr(EndedForGood(end)));
    } else {
        calls.Answer(AnsweredCall(header), header);
    }
}

void WayBack::OnLost(const std::string& reason)
{
    lost = true;
    pause.cancel();
    calls.Fail(std::make_exception_ptr(ConnectionLost(reason)));
}

}  // namespace zephyl::link
