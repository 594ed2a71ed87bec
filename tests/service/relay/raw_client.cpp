#include "service/relay/raw_client.h"

#include <poll.h>

#include <algorithm>
#include <boost/asio/ip/tcp.hpp>

#include "service/relay/raw_http.h"

namespace zephyl {
namespace asio = boost::asio;
using std::chrono::steady_clock;
namespace {

class TlsRawRoad final : public RawRoad {
public:
    TlsRawRoad(std::uint16_t port, const std::string& from, const std::string& to)
        : mStream(ShakenHands(mIo, ConnectedSocket(mIo, port, from, to), Speaks::Zephyl))
    {
    }
    void Send(std::string_view bytes) override
    {
        bool sent = mStream->Put(bytes);
        while (!sent) {
            pollfd socket{mStream->Tcp().native_handle(), POLLOUT, 0};
            if (::poll(&socket, 1, std::chrono::milliseconds(kPatience).count()) <= 0)
                throw NothingCame("cannot send");
            sent = mStream->Flush();
        }
    }
    void Fill(std::string& into, steady_clock::time_point until) override
    {
        while (!mStream->TakeReady(into)) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - steady_clock::now());
            pollfd socket{mStream->Tcp().native_handle(), POLLIN, 0};
            if (left.count() <= 0 || ::poll(&socket, 1, static_cast<int>(left.count())) <= 0)
                throw NothingCame("in time");
        }
    }
    int Socket() override { return mStream->Tcp().native_handle(); }
    void Kill() override
    {
        mStream->Tcp().set_option(asio::socket_base::linger(true, 0));
        mStream->Tcp().close();
    }

private:
    asio::io_context mIo;
    std::unique_ptr<TlsStream> mStream;
};

}  // namespace

Header PostHeader(Channel channel, std::uint64_t number, std::size_t total)
{
    Header header;
    zephyl::Post& post = *header.mutable_post();
    post.set_channel(channel);
    post.set_number(number);
    post.set_everyone(true);
    post.mutable_text();
    post.set_total(static_cast<std::uint32_t>(total));
    return header;
}

Header LiveHeader(int type, std::uint64_t frame, std::size_t total)
{
    Header header;
    header.mutable_live()->set_everyone(true);
    header.mutable_live()->mutable_picture()->set_type(type);
    header.mutable_live()->set_frame(frame);
    header.mutable_live()->set_total(static_cast<std::uint32_t>(total));
    return header;
}

RawClient::RawClient(std::uint16_t port, const std::string& door, std::uint32_t version,
                     const std::string& from, const std::string& to, By by)
{
    if (by == By::Http)
        mRoad = std::make_unique<HttpRawRoad>(port, from);
    else
        mRoad = std::make_unique<TlsRawRoad>(port, from, to);
    Header hello;
    hello.mutable_hello()->set_version(version);
    hello.mutable_hello()->set_door(door);
    Send(hello);
}

void RawClient::Send(const Header& header, std::string_view body)
{
    std::string bytes;
    AppendFrame(bytes, header, body, Way::Up);
    SendBytes(bytes);
}

void RawClient::SendBytes(std::string_view bytes)
{
    mRoad->Send(bytes);
}

void RawClient::SendItem(const Header& header, std::string_view body)
{
    std::string bytes;
    AppendItem(bytes, header, LaneOf(header), body, Way::Up);
    SendBytes(bytes);
}

void RawClient::Post(std::uint64_t number, const std::string& text, const std::vector<std::string>& to)
{
    Header header = PostHeader(ChannelOfText(text), number, text.size());
    for (const std::string& handle : to) header.mutable_post()->mutable_recipients()->add_handles(handle);
    SendItem(header, text);
}

void RawClient::SendLive(int type, std::uint64_t frame, std::string_view body)
{
    SendItem(LiveHeader(type, frame, body.size()), body);
}

void RawClient::SendRead(std::uint64_t talk, std::uint64_t board, std::uint64_t live)
{
    Header header;
    header.mutable_read()->set_talk(talk);
    header.mutable_read()->set_board(board);
    header.mutable_read()->set_live_bytes(live);
    Send(header);
}

void RawClient::TalkWith(const std::vector<std::string>& handles, bool also)
{
    Header header;
    for (const std::string& handle : handles) header.mutable_voice_to()->add_handles(handle);
    header.mutable_voice_to()->set_also(also);
    Send(header);
}

LoggedIn RawClient::Login(const std::string& handle, const std::string& password, std::uint64_t stream,
                          bool again)
{
    Header header;
    header.mutable_login()->set_call(++mCall);
    header.mutable_login()->set_handle(handle);
    header.mutable_login()->set_password(password);
    header.mutable_login()->set_stream(stream);
    header.mutable_login()->set_again(again);
    if (device) header.mutable_login()->set_device(*device);
    Send(header);
    const LoggedIn answer = Wait(Header::kLoggedIn).header.logged_in();
    if (!answer.device().empty()) device = answer.device();
    return answer;
}

Entered RawClient::Enter(const std::string& code, bool create, const std::string& rejoin)
{
    Header header;
    header.mutable_enter()->set_call(++mCall);
    header.mutable_enter()->set_code(code);
    header.mutable_enter()->set_create(create);
    header.mutable_enter()->set_rejoin(rejoin);
    *header.mutable_enter()->mutable_cursor() = mTaken;
    Send(header);
    return Wait(Header::kEntered).header.entered();
}

Resumed RawClient::Resume(const Place& place, const Cursor& cursor)
{
    Header header;
    header.mutable_resume()->set_call(++mCall);
    header.mutable_resume()->set_meeting(place.meeting());
    header.mutable_resume()->set_seat(place.seat());
    header.mutable_resume()->set_token(place.token());
    *header.mutable_resume()->mutable_cursor() = cursor;
    Send(header);
    return Wait(Header::kResumed).header.resumed();
}

void RawClient::Leave()
{
    Header header;
    header.mutable_leave()->set_call(++mCall);
    Send(header);
    Wait(Header::kLeft);
}

PasswordSent RawClient::SendPassword(const std::string& handle)
{
    Header header;
    header.mutable_send_password()->set_call(++mCall);
    header.mutable_send_password()->set_handle(handle);
    Send(header);
    return Wait(Header::kPasswordSent).header.password_sent();
}

PasswordChanged RawClient::ChangePassword(const std::string& handle, const std::string& password,
                                          const std::string& wish)
{
    Header header;
    zephyl::ChangePassword& change = *header.mutable_change_password();
    change.set_call(++mCall);
    change.set_handle(handle);
    change.set_password(password);
    change.set_new_password(wish);
    Send(header);
    return Wait(Header::kPasswordChanged).header.password_changed();
}

std::optional<Received> RawClient::Ready()
{
    try {
        mRoad->Fill(mReader.Intake(), steady_clock::now());
    } catch (const NothingCame&) {
        // what is there already counts
    }
    Received received;
    return FromBuffer(received) ? std::optional(std::move(received)) : std::nullopt;
}

bool RawClient::FromBuffer(Received& to)
{
    while (const auto frame = mReader.Next()) {
        if (frame->header.has_ping()) {
            Header pong;
            pong.mutable_pong()->set_nonce(frame->header.ping().nonce());
            Send(pong);
            continue;
        }
        if (!ItemReader::IsLaneFrame(frame->header)) {
            to = {frame->header, std::string(frame->body)};
            return true;
        }
        const auto item = mItems.Take(*frame);
        if (!item) continue;
        to = {item->header, std::string(item->body)};
        if (to.header.has_item()) {
            const Item& taken = to.header.item();
            if (taken.channel() == CHANNEL_TALK)
                mTaken.set_talk(taken.sequence());
            else
                mTaken.set_board(taken.sequence());
            if (readAlong) SendRead(mTaken.talk(), mTaken.board());
        }
        return true;
    }
    return false;
}

Received RawClient::Next()
{
    const auto until = steady_clock::now() + kPatience;
    Received received;
    while (!FromBuffer(received)) mRoad->Fill(mReader.Intake(), until);
    return received;
}

Received RawClient::Wait(Header::MessageCase kind)
{
    const auto kept = std::find_if(mKept.begin(), mKept.end(),
                                   [&](const Received& one) { return one.header.message_case() == kind; });
    if (kept != mKept.end()) {
        Received found = std::move(*kept);
        mKept.erase(kept);
        return found;
    }
    for (;;) {
        Received next = Next();
        if (next.header.message_case() == kind) return next;
        mKept.push_back(std::move(next));
    }
}

std::vector<std::string> RawClient::Texts(int count)
{
    std::vector<std::string> texts;
    while (static_cast<int>(texts.size()) < count) {
        Received item = Wait(Header::kItem);
        if (item.header.item().has_text()) texts.push_back(item.header.item().from() + ": " + item.body);
    }
    return texts;
}

std::string RawClient::Presence()
{
    for (;;) {
        const Received item = Wait(Header::kItem);
        if (!item.header.item().has_presence()) continue;
        return item.header.item().presence().handle() + " " +
               std::to_string(item.header.item().presence().status());
    }
}

bool RawClient::Quiet(Header::MessageCase kind)
{
    Header ping;
    ping.mutable_ping()->set_nonce(++mCall);
    Send(ping);
    Wait(Header::kPong);
    return std::none_of(mKept.begin(), mKept.end(),
                        [&](const Received& one) { return one.header.message_case() == kind; });
}

bool RawClient::Ended()
{
    try {
        for (;;) Next();
    } catch (const NothingCame&) {
        return false;
    } catch (const std::exception&) {
        return true;
    }
}

void RawClient::WaitAccepted(Channel channel, std::uint64_t number)
{
    while ((channel == CHANNEL_TALK ? mAccepted.talk() : mAccepted.board()) < number)
        mAccepted = Wait(Header::kAccepted).header.accepted();
}

void RawClient::Kill()
{
    mRoad->Kill();
}

}  // namespace zephyl
