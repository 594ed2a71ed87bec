// What a client may ask before it has a seat: greeting, login, entering, resuming.

#include <sodium.h>
#include <spdlog/logger.h>

#include <boost/asio/async_result.hpp>
#include <boost/asio/bind_executor.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "service/relay/cluster/other_relays.h"
#include "service/relay/connection.h"
#include "service/relay/counters.h"
#include "service/relay/door/host_names.h"
#include "service/relay/door/log_names.h"
#include "service/relay/door/login_desk.h"
#include "service/relay/keepers/keepers.h"
#include "service/relay/live_limits.h"
#include "service/relay/meeting/directory.h"
#include "service/relay/meeting/meeting.h"
#include "service/relay/memory_watch.h"
#include "service/relay/network_door.h"
#include "service/relay/password_mail.h"

namespace zephyl {
namespace asio = boost::asio;
namespace {

constexpr std::chrono::milliseconds kMemoryWait{5000};
constexpr std::chrono::milliseconds kBusyWait{1000};
constexpr int kKeeperTries = 20;  // each of which waits a moment
constexpr char kElsewhere[] = "this relay takes nobody at the moment";
constexpr char kSendTag[] = "zephyl-share-end";

// The desk's answer as something to wait for, to a login or to the wish for another password.
template <class Question>
asio::awaitable<LoginVerdict> Ask(LoginDesk& desk, const Question& login, const std::string& address,
                                  bool outside)
{
    const auto initiate = [&desk, &login, &address, outside](auto handler) {
        auto shared = std::make_shared<decltype(handler)>(std::move(handler));
        LoginWords words{login.handle(), login.password(), address, {}, outside, {}};
        if constexpr (std::is_same_v<Question, Login>) {
            if (login.has_device()) words.device = login.device();
        } else {
            words.wish = login.new_password();
        }
        desk.Check(words, [shared](LoginVerdict verdict) {
            auto executor = asio::get_associated_executor(*shared);
            asio::post(executor,
                       [shared, verdict = std::move(verdict)]() mutable { (*shared)(std::move(verdict)); });
        });
    };
    co_return co_await asio::async_initiate<const asio::use_awaitable_t<>, void(LoginVerdict)>(
        initiate, asio::use_awaitable);
}

/// While it lives the client waits, and not the relay.
class AtDesk {
public:
    explicit AtDesk(bool& there) : mThere(there) { mThere = true; }
    ~AtDesk() { mThere = false; }
    AtDesk(const AtDesk&) = delete;
    AtDesk& operator=(const AtDesk&) = delete;

private:
    bool& mThere;
};

bool SameDoor(const std::string& given, const std::string& door)
{
    return given.size() == door.size() && sodium_memcmp(given.data(), door.data(), door.size()) == 0;
}

}  // namespace

asio::awaitable<Connection::Next> Connection::Handle(const FrameView& frame)
{
    const Header& header = frame.header;
    const auto message = header.message_case();
    const bool loggedIn = mStanding == Standing::LoggedIn;
    if (const std::optional<Header> answer = AnswerTo(header, mStanding, mSession.get())) {
        Send(*answer);
        if (message == Header::kLogout) End(BYE_DONE, "");
    } else if (message == Header::kPong) {
        Heard(header.pong());
    } else if (message == Header::MESSAGE_NOT_SET ||
               (loggedIn && (ItemReader::IsLaneFrame(header) || message == Header::kRead))) {
        // from a later version; or on its way when the seat went: there is nobody any more to whom it could
        // go
    } else if (message == Header::kBye) {
        End(BYE_DONE, "");
    } else if (mStanding == Standing::New && message == Header::kHello) {
        Greet(header.hello());
    } else if (mStanding == Standing::Greeted && message == Header::kLogin) {
        co_await LogIn(header.login());
    } else if (mStanding == Standing::Greeted && message == Header::kChangePassword) {
        co_await TakeNewPassword(header.change_password());
    } else if (mStanding != Standing::New && message == Header::kSendPassword) {
        MailPassword(header.send_password());
    } else if (mStanding == Standing::Greeted && message == Header::kResume) {
        co_return co_await ResumeSeat(header.resume());
    } else if (loggedIn && message == Header::kEnter) {
        co_return co_await EnterMeeting(header.enter());
    } else {
        End(BYE_DONE, "not at this point");
    }
    co_return Next::GoOn;
}

bool Connection::MayGreet(const Hello& hello) const
{
    if (FromOutside()) return mServices.networkDoor->Admits(mBy);
    return mServices.options.door.empty() || SameDoor(hello.door(), mServices.options.door);
}

RelayBudgets Connection::Budgets() const
{
    RelayBudgets budgets = mServices.limits.Now().budgets;
    budgets.liveFrames = mRoad->LiveFrames(budgets.liveFrames);
    return budgets;
}

void Connection::Greet(const Hello& hello)
{
    if (hello.version() != kProtocolVersion)
        return End(BYE_VERSION, "this service speaks version " + std::to_string(kProtocolVersion));
    // By whatever way it came: behind a proxy an address is known only now.
    if (mServices.bans.BarsAddress(mAddress)) return Banned();
    if (mServices.keepers && mServices.keepers->TakesNobody()) return End(BYE_RESTART, kElsewhere);
    if (!MayGreet(hello)) return End(BYE_ENDED, "this is somebody's personal service");
    mStanding = Standing::Greeted;
    Header header;
    Welcome& welcome = *header.mutable_welcome();
    welcome.set_version(kProtocolVersion);
    if (TakesDatagrams()) welcome.set_udp_port(mServices.datagramPort);
    for (const std::string& address : OtherRelaysNow()) welcome.add_relays(address);
    welcome.mutable_limits()->set_text_bytes(kTextBytes);
    welcome.mutable_limits()->set_record_bytes(kRecordBytes);
    welcome.mutable_limits()->set_picture_bytes(kPictureBytes);
    welcome.mutable_limits()->set_live_frame_bytes(kLiveFrameBytes);
    welcome.mutable_limits()->set_application_image_bytes(kApplicationImageBytes);
    const RelayBudgets budgets = Budgets();
    const auto orAll = [](std::size_t budget) { return budget ? budget : std::size_t(UINT32_MAX); };
    welcome.mutable_limits()->set_live_frames_each_second(std::uint32_t(orAll(budgets.liveFrames)));
    welcome.mutable_limits()->set_live_bytes_each_second(orAll(budgets.liveBytes));
    Send(header);
}

std::vector<std::string> Connection::OtherRelaysNow() const
{
    if (!mServices.otherRelays || FromOutside()) return {};
    return mServices.otherRelays->Addresses();
}

// Who has not been greeted is told with that.
void Connection::PostRelays()
{
    PostHome([this] {
        if (mGuest || mStanding == Standing::New || FromOutside()) return;
        Header header;
        for (const std::string& address : OtherRelaysNow()) header.mutable_relays()->add_relays(address);
        if (header.has_relays()) Send(header);
        FlushSelf();
    });
}

asio::awaitable<void> Connection::LogIn(Login login)
{
    LoginVerdict verdict;
    if (mServices.memory.Under(Pressure::RefuseLogins)) {
        verdict.result = RESULT_LATER, verdict.wait = kMemoryWait;
    } else {
        const AtDesk there(mAtDesk);
        verdict = co_await Ask(mServices.desk, login, mAddress, FromOutside());
    }
    mSince = Clock::now();
    // Somebody who has given up meanwhile must not push out the one who came next.
    if (mRoad->PeerClosed()) throw WireError("gone while the password was checked");
    // It may have been closed meanwhile, and with it the account.
    if (FromOutside() && !mServices.networkDoor->Admits(mBy)) verdict = {};
    Header header;
    LoggedIn& answer = *header.mutable_logged_in();
    answer.set_call(login.call());
    answer.set_result(verdict.result);
    answer.set_wait_ms(static_cast<std::uint32_t>(verdict.wait.count()));
    Count& answered = verdict.result == RESULT_WRONG   ? mServices.counters.loginsWrong
                      : verdict.result == RESULT_LATER ? mServices.counters.loginsLater
                                                       : mServices.counters.loginsOk;
    ++answered;
    if (verdict.result == RESULT_OK)
        co_await LoggedInAs(login, answer, verdict);
    else
        mServices.log.info("{} login refused ({})", mAddress, Result_Name(verdict.result));
    Send(header);
}

asio::awaitable<void> Connection::LoggedInAs(const Login& login, LoggedIn& answer,
                                             const LoginVerdict& verdict)
{
    auto session = std::make_shared<Session>(FloodBudget(Budgets(), Clock::now()));
    session->handle = verdict.account.handle;
    session->key = verdict.key;
    session->stream = login.stream();
    session->generation = verdict.account.generation;
    session->permitted = verdict.account.permitted;
    if (verdict.replaced) co_await mServices.directory.AccountChanged(session->handle, verdict.account);
    session->address = co_await AcceptedHostName(mServices.log, login.host_name(), mAddress);
    // Only whoever has the password is told.
    if (mServices.bans.BarsHandle(session->key)) co_return Banned();
    const bool admitted = co_await mServices.directory.Admit(session, shared_from_this(), login.again());
    if (!admitted) {
        answer.set_result(RESULT_TAKEN_OVER);
        co_return;
    }
    if (mServices.bans.BarsHandle(session->key)) {  // since then
        mServices.directory.EndSession(session, kBanned);
        co_return Banned();
    }
    mSession = session;
    GotIn();
    answer.set_handle(session->handle);
    answer.set_permitted(session->permitted);
    answer.set_server_key(mServices.serverKey);
    answer.set_send_tag(kSendTag);
    answer.set_device(verdict.device);
    mServices.log.info("{} logged in from {} by {}", mServices.names.User(session->handle), mAddress,
                       mRoad->Name());
}

void Connection::Banned()
{
    ++mServices.counters.loginsBanned;
    mServices.log.info("{} login refused (banned)", mAddress);
    End(BYE_KICKED, kBanned);
}

asio::awaitable<void> Connection::TakeNewPassword(ChangePassword asked)
{
    const AtDesk there(mAtDesk);
    const LoginVerdict verdict = co_await Ask(mServices.desk, asked, mAddress, FromOutside());
    mSince = Clock::now();
    if (verdict.replaced)
        co_await mServices.directory.AccountChanged(verdict.account.handle, verdict.account);
    mServices.log.info("{} asked for a new password ({})", mAddress, Result_Name(verdict.result));
    Header header;
    PasswordChanged& answer = *header.mutable_password_changed();
    answer.set_call(asked.call());
    answer.set_result(verdict.result);
    answer.set_wait_ms(static_cast<std::uint32_t>(verdict.wait.count()));
    answer.set_reason(verdict.fault);
    Send(header);
}

void Connection::MailPassword(const SendPassword& asked)
{
    const auto answer = [call = asked.call(), self = shared_from_this()](const PasswordMail::Answer& said) {
        self->mServices.log.info("{} asked for a mailed password ({})", self->mAddress,
                                 Result_Name(said.result));
        Header header;
        PasswordSent& sent = *header.mutable_password_sent();
        sent.set_call(call);
        sent.set_result(said.result);
        sent.set_address(said.address);
        sent.set_wait_ms(static_cast<std::uint32_t>(said.wait.count()));
        self->Send(header);
    };
    if (FromOutside()) return answer({});  // who lives behind this door is nothing to neighbours
    if (mAsking) return answer({RESULT_LATER, {}, kBusyWait});
    mAsking = true;
    mServices.mail.Ask(asked.handle(), mAddress, [answer, self = shared_from_this()](const auto& said) {
        self->PostHome([answer, self, said] {
            self->mAsking = false;
            self->mSince = Clock::now();
            answer(said);
            self->FlushSelf();
        });
    });
}

asio::awaitable<Connection::Next> Connection::EnterMeeting(Enter enter)
{
    Directory::Found found;
    for (int tries = 0; tries < kKeeperTries; ++tries) {
        found = co_await mServices.directory.Find(mSession, mAddress, enter, mBy.meeting);
        if (!found.keeper || mEnding) break;
        Header asked;
        *asked.mutable_enter() = enter;
        const std::optional<Next> there = co_await SeatThere(*found.keeper, asked);
        if (there) co_return *there;
        found = {RESULT_LATER, nullptr, kBusyWait, {}};
    }
    if (found.result == RESULT_OK && !mEnding) {
        const std::shared_ptr<Meeting> meeting = found.hold->meeting;
        // The seat is to be the only one that holds it: who has left holds nothing.
        MoveTo(meeting, [this, meeting, hold = std::move(found.hold), enter]() mutable {
            return meeting->Enter(shared_from_this(), std::move(hold), enter);
        });
        co_return Next::Moved;
    }
    Send(EnteredAnswer(enter, found.result, found.wait));
    co_return Next::GoOn;
}

asio::awaitable<Connection::Next> Connection::ResumeSeat(zephyl::Resume resume)
{
    const bool possible = !FromOutside() || resume.meeting() == mBy.meeting;
    Directory::ById found;
    for (int tries = 0; tries < kKeeperTries && possible; ++tries) {
        found = co_await mServices.directory.OfId(resume.meeting());
        if (!found.keeper || mEnding) break;
        Header asked;
        *asked.mutable_resume() = resume;
        const std::optional<Next> there = co_await SeatThere(*found.keeper, asked);
        if (there) co_return *there;
        found = {nullptr, {}, true};
    }
    if (found.meeting && !mEnding) {
        MoveTo(found.meeting, [this, meeting = found.meeting, resume] {
            return meeting->Resume(shared_from_this(), resume);
        });
        co_return Next::Moved;
    }
    // Nobody knows at the moment: the client is to ask again, and not to think that its seat is gone.
    if (found.later && mGuest) throw std::runtime_error("its meeting cannot be reached at the moment");
    Header answer = ResumedAnswer(resume, found.later ? RESULT_LATER : RESULT_UNKNOWN);
    if (found.later) answer.mutable_resumed()->set_wait_ms(static_cast<std::uint32_t>(kBusyWait.count()));
    Send(answer);
    co_return Next::GoOn;
}

}  // namespace zephyl
