// What a client may ask before it has a seat: greeting, login, entering, resuming.

#include <sodium.h>
#include <spdlog/logger.h>

#include <boost/asio/async_result.hpp>
#include <boost/asio/bind_executor.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "service/relay/connection.h"
#include "service/relay/door/host_names.h"
#include "service/relay/door/login_desk.h"
#include "service/relay/meeting/directory.h"
#include "service/relay/meeting/meeting.h"
#include "service/relay/memory_watch.h"

namespace zephyl {
namespace asio = boost::asio;
namespace {

constexpr std::chrono::milliseconds kMemoryWait{5000};
constexpr char kSendTag[] = "zephyl-share-end";

// The desk's answer as something to wait for.
asio::awaitable<LoginVerdict> Ask(LoginDesk& desk, const Login& login, const std::string& address)
{
    const auto initiate = [&desk, &login, &address](auto handler) {
        auto shared = std::make_shared<decltype(handler)>(std::move(handler));
        desk.Check(login.handle(), login.password(), address, [shared](LoginVerdict verdict) {
            auto executor = asio::get_associated_executor(*shared);
            asio::post(executor,
                       [shared, verdict = std::move(verdict)]() mutable { (*shared)(std::move(verdict)); });
        });
    };
    co_return co_await asio::async_initiate<const asio::use_awaitable_t<>, void(LoginVerdict)>(
        initiate, asio::use_awaitable);
}

bool SameDoor(const std::string& given, const std::string& door)
{
    return given.size() == door.size() && sodium_memcmp(given.data(), door.data(), door.size()) == 0;
}

}  // namespace

asio::awaitable<Connection::Next> Connection::Handle(const FrameView& frame)
{
    const Header& header = frame.header;
    const auto message = header.message_case();
    Header answer;
    switch (message) {
        case Header::MESSAGE_NOT_SET: co_return Next::GoOn;  // from a later version
        case Header::kPing:
            answer.mutable_pong()->set_nonce(header.ping().nonce());
            Send(answer);
            co_return Next::GoOn;
        case Header::kPong: co_return Next::GoOn;
        case Header::kBye: End(BYE_DONE, ""); co_return Next::GoOn;
        default: break;
    }
    if (mState == State::New && message == Header::kHello) {
        Greet(header.hello());
    } else if (mState == State::Greeted && message == Header::kLogin) {
        co_await LogIn(header.login());
    } else if (mState != State::New && message == Header::kSendPassword) {
        answer.mutable_password_sent()->set_call(header.send_password().call());
        answer.mutable_password_sent()->set_result(RESULT_NO_MAIL);
        Send(answer);
    } else if (mState == State::LoggedIn && message == Header::kAskPermission) {
        answer.mutable_permission()->set_call(header.ask_permission().call());
        answer.mutable_permission()->set_permitted(mSession->permitted);
        Send(answer);
    } else if (mState == State::LoggedIn && message == Header::kEnter) {
        co_return co_await EnterMeeting(header.enter());
    } else if (mState == State::Greeted && message == Header::kResume) {
        co_return co_await ResumeSeat(header.resume());
    } else if (mState == State::LoggedIn && message == Header::kLeave) {
        answer.mutable_left()->set_call(header.leave().call());
        Send(answer);
    } else if (mState != State::New && message == Header::kLogout) {
        answer.mutable_logged_out()->set_call(header.logout().call());
        Send(answer);
        End(BYE_DONE, "");
    } else if (mState == State::LoggedIn && (ItemReader::IsLaneFrame(header) || message == Header::kRead)) {
        // on its way when the seat went: there is nobody any more to whom it could go
    } else {
        End(BYE_DONE, "not at this point");
    }
    co_return Next::GoOn;
}

void Connection::Greet(const Hello& hello)
{
    if (hello.version() != kProtocolVersion)
        return End(BYE_VERSION, "this service speaks version " + std::to_string(kProtocolVersion));
    if (!mServices.options.door.empty() && !SameDoor(hello.door(), mServices.options.door))
        return End(BYE_ENDED, "this is somebody's personal service");
    mState = State::Greeted;
    Header header;
    Welcome& welcome = *header.mutable_welcome();
    welcome.set_version(kProtocolVersion);
    welcome.mutable_limits()->set_text_bytes(kTextBytes);
    welcome.mutable_limits()->set_record_bytes(kRecordBytes);
    welcome.mutable_limits()->set_picture_bytes(kPictureBytes);
    welcome.mutable_limits()->set_live_frame_bytes(kLiveFrameBytes);
    welcome.mutable_limits()->set_application_image_bytes(kApplicationImageBytes);
    const RelayBudgets& budgets = mServices.options.budgets;
    const auto orAll = [](std::size_t budget) { return budget ? budget : std::size_t(UINT32_MAX); };
    welcome.mutable_limits()->set_live_frames_each_second(std::uint32_t(orAll(budgets.liveFrames)));
    welcome.mutable_limits()->set_live_bytes_each_second(orAll(budgets.liveBytes));
    Send(header);
}

asio::awaitable<void> Connection::LogIn(Login login)
{
    LoginVerdict verdict;
    if (mServices.memory.Under(Pressure::RefuseLogins))
        verdict = {RESULT_LATER, {}, {}, kMemoryWait};
    else
        verdict = co_await Ask(mServices.desk, login, mAddress);
    mSince = Clock::now();  // the time at the desk is not the client's
    // Somebody who has given up meanwhile must not push out the one who came next.
    if (mStream.PeerClosed()) throw WireError("gone while the password was checked");
    Header header;
    LoggedIn& answer = *header.mutable_logged_in();
    answer.set_call(login.call());
    answer.set_result(verdict.result);
    answer.set_wait_ms(static_cast<std::uint32_t>(verdict.wait.count()));
    if (verdict.result == RESULT_OK)
        co_await LoggedInAs(login, answer, verdict);
    else
        mServices.log.info("{} login refused ({})", mAddress, Result_Name(verdict.result));
    Send(header);
}

asio::awaitable<void> Connection::LoggedInAs(const Login& login, LoggedIn& answer,
                                             const LoginVerdict& verdict)
{
    auto session = std::make_shared<Session>(FloodBudget(mServices.options.budgets, Clock::now()));
    session->handle = verdict.account.handle;
    session->key = verdict.key;
    session->stream = login.stream();
    session->generation = verdict.account.generation;
    session->permitted = verdict.account.permitted;
    session->address = co_await AcceptedHostName(mServices, login.host_name(), mAddress);
    const bool admitted = co_await mServices.directory.Admit(session, shared_from_this(), login.again());
    if (!admitted) {
        answer.set_result(RESULT_TAKEN_OVER);
        co_return;
    }
    mSession = session;
    mState = State::LoggedIn;
    mTicket.reset();
    answer.set_handle(session->handle);
    answer.set_permitted(session->permitted);
    answer.set_server_key(mServices.serverKey);
    answer.set_send_tag(kSendTag);
    mServices.log.info("{} logged in from {}", session->handle, mAddress);
}

asio::awaitable<Connection::Next> Connection::EnterMeeting(Enter enter)
{
    const Directory::Found found = co_await mServices.directory.Find(mSession, mAddress, enter);
    if (found.result == RESULT_OK && !mEnding) {
        const std::shared_ptr<Meeting> meeting = found.hold->meeting;
        MoveTo(meeting,
               [this, meeting, hold = found.hold, enter] { return meeting->Enter(*this, hold, enter); });
        co_return Next::Moved;
    }
    Header header;
    header.mutable_entered()->set_call(enter.call());
    header.mutable_entered()->set_result(found.result);
    header.mutable_entered()->set_wait_ms(static_cast<std::uint32_t>(found.wait.count()));
    Send(header);
    co_return Next::GoOn;
}

asio::awaitable<Connection::Next> Connection::ResumeSeat(zephyl::Resume resume)
{
    const std::shared_ptr<Meeting> meeting = co_await mServices.directory.ById(resume.meeting());
    if (meeting && !mEnding) {
        MoveTo(meeting, [this, meeting, resume] { return meeting->Resume(*this, resume); });
        co_return Next::Moved;
    }
    Header header;
    header.mutable_resumed()->set_call(resume.call());
    header.mutable_resumed()->set_result(RESULT_UNKNOWN);
    Send(header);
    co_return Next::GoOn;
}

}  // namespace zephyl
