#include "service/link/session.h"

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "service/link/session_parts.h"

namespace zephyl::link {

namespace asio = boost::asio;

Session::Session(asio::io_context& io, std::shared_ptr<const TlsContext> context, EventQueue& queue,
                 SessionNeeds needs)
    : mIo(io),
      mContext(std::move(context)),
      mQueue(queue),
      mNeeds(std::move(needs)),
      mChanged(io, Deadline::max()),
      mTick(io),
      mPause(io),
      mDeviceWords(mNeeds.deviceFolder),
      mRoadFree(io),
      mIncoming(queue)
{
}

// --- calls ---------------------------------------------------------------------------------------------

asio::awaitable<ConnectOutcome> Session::Connect(Target target)
{
    const auto self = shared_from_this();
    mTarget = std::move(target);
    const ServiceAddress home{mTarget.to.host, mTarget.to.port};
    mRound = RelayRound(home);
    ConnectOutcome outcome;
    try {
        mConnection = co_await OpenAt(home);
        mTrusted = mConnection->Peer();
        outcome.peer = mTrusted;
        outcome.known = mTarget.personal && mTrusted.fingerprint == mExpectedKey;
    } catch (const NobodyThere& e) {
        outcome.problem = e.what();
        outcome.met = false;
    } catch (const std::exception& e) {
        outcome.problem = ProblemText(e);
    }
    co_return outcome;
}

void Session::NewConnection()
{
    mReader = ItemReader();
    mIncoming.NewConnection();
    mReportedLive = 0;
}

Header Session::HelloHeader() const
{
    Header header;
    Hello& hello = *header.mutable_hello();
    hello.set_version(kProtocolVersion);
    hello.set_door(mDoor);
    hello.set_program(mNeeds.program);
    return header;
}

void Session::Greet()
{
    NewConnection();
    const std::shared_ptr<Connection> connection = mConnection;  // it may be lost before Run returns
    connection->Run(*this);
    connection->Control(HelloHeader());
}

Header Session::LoginHeader(bool again)
{
    Header header;
    zephyl::Login& login = *header.mutable_login();
    login.set_call(++mLastCall);
    login.set_handle(mWords.handle);
    login.set_password(mWords.password);
    login.set_host_name(mWords.hostName);
    login.set_stream(mStream);
    login.set_again(again);
    if (KeepsWords()) login.set_device(mDeviceWords.Read(ServiceName(), mWords.handle));
    return header;
}

std::string Session::ServiceName() const
{
    return mTarget.to.host + ':' + std::to_string(mTarget.to.port);
}

// A service of this computer alone has no strangers at its door.
bool Session::KeepsWords() const
{
    return mDeviceWords.Keeps() && !mTarget.personal;
}

void Session::KeepWord(const LoggedIn& answer) const
{
    if (KeepsWords()) mDeviceWords.Keep(ServiceName(), mWords.handle, answer.device());
}

asio::awaitable<LoginOutcome> Session::Login(LoginWords words, Deadline deadline)
{
    const auto self = shared_from_this();
    mWords = std::move(words);
    do mStream = mRandom();
    while (mStream == 0);  // 0 is the relay's own
    mOutbox.Restart();
    LoginOutcome outcome;
    try {
        Greet();
        LoggedIn answer;
        for (bool again = true; again;) {
            const Header question = LoginHeader(false);
            answer = (co_await Call(question, mLastCall, deadline)).logged_in();
            again = co_await Waited(answer.result(), answer.wait_ms(), deadline);
        }
        KeepWord(answer);
        outcome.refusal = RefusalText(answer.result());
        if (!outcome.refusal.empty()) co_return outcome;
        mHandle = outcome.handle = answer.handle();
        outcome.serverKey = answer.server_key();
        outcome.sendTag = answer.send_tag();
        mPhase = Phase::LoggedIn;
        mReady = true;
        asio::co_spawn(
            mIo, [self] { return self->Tick(); }, asio::detached);
        asio::co_spawn(
            mIo, [self] { return self->WatchSleep(); }, asio::detached);
        State(LinkState::Phase::Connected, QLatin1String(kNotInMeeting));
    } catch (const EndedForGood& e) {
        outcome.refusal = e.what();
    } catch (const std::exception& e) {
        outcome.problem = ProblemText(e);
    }
    co_return outcome;
}

asio::awaitable<PasswordOutcome> Session::SendPassword(std::string handle, Deadline deadline)
{
    const auto self = shared_from_this();
    PasswordOutcome outcome;
    try {
        Greet();
        Header header;
        header.mutable_send_password()->set_call(++mLastCall);
        header.mutable_send_password()->set_handle(handle);
        const Header answer = co_await Call(header, mLastCall, deadline);
        const PasswordSent& sent = answer.password_sent();
        outcome.problem = sent.result() == RESULT_LATER
                              ? MailLaterText(std::chrono::milliseconds(sent.wait_ms()))
                              : RefusalText(sent.result());
        outcome.address = sent.address();
    } catch (const std::exception& e) {
        outcome.problem = ProblemText(e);
    }
    co_return outcome;
}

asio::awaitable<ChangeOutcome> Session::ChangePassword(LoginWords words, std::string wish, Deadline deadline)
{
    const auto self = shared_from_this();
    ChangeOutcome outcome;
    try {
        Greet();
        Header header;
        zephyl::ChangePassword& change = *header.mutable_change_password();
        change.set_call(++mLastCall);
        change.set_handle(words.handle);
        change.set_password(words.password);
        change.set_new_password(wish);
        const Header answer = co_await Call(header, mLastCall, deadline);
        const PasswordChanged& changed = answer.password_changed();
        outcome.problem = changed.reason().empty() ? RefusalText(changed.result()) : changed.reason();
    } catch (const std::exception& e) {
        outcome.problem = ProblemText(e);
    }
    co_return outcome;
}

/// Asked again on the next connection when the one before it is lost meanwhile. Throws when it cannot be
/// asked.
asio::awaitable<Header> Session::Question(std::function<Header(std::uint32_t call)> make, Deadline deadline)
{
    for (;;) try {
            co_await WaitReady(deadline);
            const Header question = make(++mLastCall);
            co_return co_await Call(question, mLastCall, deadline);
        } catch (const ConnectionLost&) {
            // the next round waits for the connection
        }
}

asio::awaitable<PermissionOutcome> Session::AskPermission(Deadline deadline)
{
    const auto self = shared_from_this();
    PermissionOutcome outcome;
    const auto make = [](std::uint32_t call) {
        Header header;
        header.mutable_ask_permission()->set_call(call);
        return header;
    };
    try {
        outcome.permitted = (co_await Question(make, deadline)).permission().permitted();
    } catch (const std::exception& e) {
        outcome.problem = e.what();
    }
    co_return outcome;
}

asio::awaitable<LetInOutcome> Session::LetIn(zephyl::LetIn::Wish wish, Deadline deadline)
{
    const auto self = shared_from_this();
    LetInOutcome outcome;
    const auto make = [wish](std::uint32_t call) {
        Header header;
        header.mutable_let_in()->set_call(call);
        header.mutable_let_in()->set_wish(wish);
        return header;
    };
    try {
        const Header answer = co_await Question(make, deadline);
        outcome.result = answer.let_in_state().result();
        const auto& addresses = answer.let_in_state().addresses();
        outcome.addresses.assign(addresses.begin(), addresses.end());
    } catch (const std::exception& e) {
        outcome.problem = e.what();
    }
    co_return outcome;
}

asio::awaitable<EnterOutcome> Session::Enter(std::string code, bool create, quint64 entry,
                                             quint64 postsBefore, Deadline deadline)
{
    const auto self = shared_from_this();
    EnterOutcome outcome;
    for (;;) try {
            co_await WaitReady(deadline);
            Header header;
            zephyl::Enter& enter = *header.mutable_enter();
            enter.set_call(++mLastCall);
            enter.set_code(code);
            enter.set_create(create);
            enter.set_own_places(true);
            const auto begin = [&](const Header& answer) {
                if (answer.entered().result() != RESULT_OK) return;
                mSeat = Seat{code, {}, {}, 0};
                mLeaving = false;
                mPhase = Phase::Seated;
                mIncoming.Begin(entry, {mHandle, mStream, mOutbox.Highest(CHANNEL_BOARD)},
                                answer.entered().place(), postsBefore);
                TakePlace(answer.entered().place());
                mBoardToCome = answer.entered().place().board_bytes();
            };
            const Header answer = co_await Call(header, mLastCall, deadline, begin);
            const Entered& entered = answer.entered();
            const bool again = co_await Waited(entered.result(), entered.wait_ms(), deadline);
            if (again) continue;
            outcome.reason = RefusalText(entered.result());
            outcome.kind = outcome.reason.empty() ? EnterOutcome::Kind::Entered : EnterOutcome::Kind::Refused;
            outcome.placesOwn = entered.place().own_places();
            outcome.started = entered.place().started();
            const auto& attendees = entered.place().attendees();
            outcome.attendees.assign(attendees.begin(),
                                     attendees.begin() + std::min(attendees.size(), kMostAttendees));
            if (mPhase == Phase::Seated) ShowStanding();
            co_return outcome;
        } catch (const ConnectionLost&) {
            // asked again on the next connection
        } catch (const std::exception& e) {
            outcome.reason = e.what();
            co_return outcome;
        }
}

asio::awaitable<QString> Session::Leave(quint64 entry, Deadline deadline)
{
    const auto self = shared_from_this();
    if (mPhase != Phase::Seated) co_return QString();
    mLeaving = true;
    mIncoming.Mute();
    ReportRead();
    const auto waits = [&] { return !mOutbox.Empty() || (mUntold && !mReady); };
    while (waits() && mPhase == Phase::Seated && std::chrono::steady_clock::now() < deadline)
        co_await Changed(deadline);
    const QString undelivered = TakeUndelivered();
    const bool seated = mPhase == Phase::Seated;
    mPhase = seated ? Phase::LoggedIn : mPhase;
    mSeat.reset();
    mLanes.SetOpen(false);
    CloseDatagrams();
    if (seated) mIncoming.End(entry);
    TellVoicePeople();
    if (seated && mReady) State(LinkState::Phase::Connected, QLatin1String(kNotInMeeting));
    try {
        if (!mReady) co_return undelivered;
        Header header;
        header.mutable_leave()->set_call(++mLastCall);
        co_await Call(header, mLastCall, std::max(deadline, std::chrono::steady_clock::now() + kLastWord));
    } catch (const std::exception& e) {
        Say(QStringLiteral("The service did not hear that the meeting was left: %1")
                .arg(QString::fromUtf8(e.what())));
    }
    co_return undelivered;
}

asio::awaitable<QString> Session::Logout(Deadline deadline)
{
    const auto self = shared_from_this();
    const QString undelivered = co_await Leave(mIncoming.Entry(), deadline);
    mPhase = Phase::Idle;  // the connection may end now
    try {
        if (mReady && mConnection) {
            Header header;
            header.mutable_logout()->set_call(++mLastCall);
            co_await Call(header, mLastCall,
                          std::max(deadline, std::chrono::steady_clock::now() + kLastWord));
        }
    } catch (const std::exception&) {
        // whoever logs out is gone either way: the relay sees the connection end
    }
    Drop();
    co_return undelivered;
}

void Session::Drop()
{
    mPhase = Phase::Idle;
    mReady = false;
    mSeat.reset();
    mWords = {};
    for (const auto& way : mWays) way->Close();
    CloseConnection("closed");
    mTick.cancel();
    mPause.cancel();
    if (mSleep) mSleep->Stop();
    TellVoicePeople();
    NotifyChanged();
}

// --- what calls stand on -----------------------------------------------------------------------------------

asio::awaitable<Header> Session::Call(Header header, std::uint32_t call, Deadline deadline,
                                      std::function<void(const Header&)> atOnce)
{
    if (!mConnection) throw ConnectionLost("the connection to the service is lost");
    const std::shared_ptr<Connection> connection = mConnection;
    co_return co_await mCalls.Ask(*connection, std::move(header), call, deadline, std::move(atOnce));
}

asio::awaitable<void> Session::Changed(Deadline until)
{
    mChanged.expires_at(until);
    co_await mChanged.async_wait(asio::as_tuple(asio::use_awaitable));
}

void Session::NotifyChanged()
{
    mChanged.cancel();
}

asio::awaitable<void> Session::WaitReady(Deadline deadline)
{
    HurryBack();
    while (!mReady) {
        const QString ended = EndReason();
        if (!ended.isEmpty()) throw std::runtime_error(ended.toStdString());
        if (mPhase == Phase::Idle) throw std::runtime_error("not logged in");
        if (std::chrono::steady_clock::now() >= deadline)
            throw std::runtime_error("the service does not answer");
        co_await Changed(deadline);
    }
}

/// True: it was to be asked later, and that is now. A crowd at the door has passed in such a time, or relays
/// that have just been started have found each other; and who waits for an answer would ask again anyhow.
asio::awaitable<bool> Session::Waited(Result result, std::uint32_t milliseconds, Deadline deadline)
{
    constexpr std::chrono::seconds kLongest{2};
    const std::chrono::milliseconds asked = AskedWait(milliseconds), wait = asked + Jittered(asked) / 4;
    const bool inTime = std::chrono::steady_clock::now() + wait + kLongest < deadline;
    if (result != RESULT_LATER || asked.count() == 0 || asked > kLongest || !inTime) co_return false;
    mNeeds.log(QStringLiteral("The service is busy: it is asked again in %1 ms.").arg(wait.count()));
    co_await asio::steady_timer(mIo, wait).async_wait(asio::use_awaitable);
    co_return true;
}

void Session::CloseConnection(const std::string& reason)
{
    CloseDatagrams();
    if (mConnection) {
        mEarlier.bytesIn += mConnection->Counts().bytesIn;
        mEarlier.bytesOut += mConnection->Counts().bytesOut;
        mConnection->Close();
        mConnection.reset();
    }
    mReady = false;
    mLanes.SetOpen(false);
    mLanes.Reset();
    TellVoicePeople();
    mCalls.Fail(std::make_exception_ptr(ConnectionLost(reason.empty() ? "the connection is lost" : reason)));
}

// --- sending -------------------------------------------------------------------------------------------

void Session::Post(Outgoing what)
{
    if (mPhase != Phase::Seated) {
        if (what.line > 0) mQueue.LineLost(what.line);
        return;
    }
    const quint64 post = what.post;
    mOutbox.Add(std::move(what));
    if (post > 0) mIncoming.Await(mOutbox.Highest(CHANNEL_BOARD), post);
    if (mConnection) mConnection->Wake();
}

void Session::SetLive(Outgoing picture)
{
    if (mPhase != Phase::Seated || !mReady) return;
    mLanes.SetLive(std::move(picture));
    FillRoad();
    mConnection->Wake();
}

Lanes::Clock::time_point Session::Fill(std::string& batch)
{
    if (std::exchange(mReadDue, false)) AppendRead(batch);
    return mLanes.Fill(batch, Lanes::Clock::now());
}

bool Session::MayRead()
{
    return !mQueue.Full();
}

void Session::ReportRead()
{
    if (mConnection) mConnection->ReadOn();
    if (mPhase != Phase::Seated || !mReady) return;
    mReadDue = true;
    mConnection->Wake();
    if (mBoardToCome > 0) ShowStanding();
}

void Session::AppendRead(std::string& batch)
{
    if (mPhase != Phase::Seated || !mReady) return;
    ReadMarks marks = mQueue.Marks(true);
    if (mLeaving) {
        marks.talk = mIncoming.ReceivedTalk();
        marks.board = mIncoming.ReceivedBoard();
    }
    const std::uint64_t live = mIncoming.LiveBytes();
    if (marks.talk == mReported.talk && marks.board == mReported.board && live == mReportedLive) return;
    mReported = marks;
    mReportedLive = live;
    Header header;
    header.mutable_read()->set_talk(marks.talk);
    header.mutable_read()->set_board(marks.board);
    header.mutable_read()->set_live_bytes(live);
    AppendFrame(batch, header, {}, Way::Up);
}

}  // namespace zephyl::link
