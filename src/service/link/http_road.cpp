#include "service/link/http_road.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <stdexcept>

#include "service/net/no_throw.h"
#include "service/wire/limits.h"

namespace zephyl::link {

namespace asio = boost::asio;
using asio::ip::tcp;
using SteadyClock = std::chrono::steady_clock;
using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds kOpening = 5s;  // of a lane, again
constexpr std::chrono::milliseconds kAnswered = 10s;
constexpr std::chrono::milliseconds kLate = 5s;  // behind the time that a poll is held
constexpr std::chrono::milliseconds kFirstPause = 100ms, kLongestPause = 2s;
constexpr std::chrono::milliseconds kTrying = 5s;  // then the user is told, and the way back goes on trying
constexpr std::uint16_t kHttpsPort = 443;
constexpr std::chrono::milliseconds kTryingWithOthers = 1s;
constexpr std::size_t kProxyReads = 4096;
constexpr std::size_t kLeastBody = 1024;

/// The service itself says that there is nothing more to come.
struct Refused : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Somebody between takes only smaller bodies, so the service has not heard of this one.
struct TooLarge : Refused {
    using Refused::Refused;
};

/// What stands between may say so while the service starts anew, or the road to it is cut.
bool MayPass(int status)
{
    return status == 408 || status == 502 || status == 503 || status == 504;
}

std::string RefusalOf(int status)
{
    switch (status) {
        case 410: return "the service does not know this connection any more";
        case 429: return "the service has too many connections from here that have not logged in";
        default: return "it answers with HTTP status " + std::to_string(status);
    }
}

std::string Authority(const Destination& to)
{
    const std::string host = to.host.find(':') == std::string::npos ? to.host : '[' + to.host + ']';
    return host + ':' + std::to_string(to.port);
}

std::string HostHeader(const Destination& to)
{
    const std::string authority = Authority(to);
    return to.port == kHttpsPort ? authority.substr(0, authority.rfind(':')) : authority;
}

/// Closes a stream when a step takes too long.
class Limit {
public:
    Limit(const ServiceRoad::Executor& executor, std::shared_ptr<TlsStream> stream,
          std::chrono::milliseconds time)
        : mTimer(executor, time)
    {
        mTimer.async_wait([stream = std::move(stream), over = mOver](boost::system::error_code stopped) {
            if (!stopped && !*over) stream->Close();
        });
    }
    ~Limit() { *mOver = true; }
    Limit(const Limit&) = delete;
    Limit& operator=(const Limit&) = delete;

private:
    std::shared_ptr<bool> mOver = std::make_shared<bool>(false);
    asio::steady_timer mTimer;
};

std::string ProxySays(const HttpAnswered& answered)
{
    if (answered.status == 407)
        return "the proxy asks for a name and a password, or does not take those given";
    if (answered.status == 403)
        return "the proxy lets nobody through to there (HTTP status 403); many allow port 443 only";
    return "the proxy answers with HTTP status " + std::to_string(answered.status);
}

asio::awaitable<HttpAnswered> AnswerOfProxy(tcp::socket& socket)
{
    HttpAnswerReader reader(true);
    for (;;) {
        std::string bytes(kProxyReads, '\0');
        bytes.resize(co_await socket.async_read_some(asio::buffer(bytes), asio::use_awaitable));
        reader.Feed(bytes);
        auto answered = reader.Next();
        if (!answered) continue;
        if (answered->status / 100 == 2 && !reader.Empty()) throw HttpProblem(502, "more than an answer");
        co_return *std::move(answered);
    }
}

/// Asks the proxy at the other end of this socket for a way on.
asio::awaitable<void> AskProxy(tcp::socket& socket, const Destination& to)
{
    const std::string question = ConnectText(Authority(to), to.proxy->credentials);
    try {
        co_await asio::async_write(socket, asio::buffer(question), asio::use_awaitable);
        const HttpAnswered answered = co_await AnswerOfProxy(socket);
        if (answered.status / 100 != 2) throw std::runtime_error(ProxySays(answered));
    } catch (const HttpProblem&) {
        throw std::runtime_error("what answers there is no proxy");
    } catch (const boost::system::system_error& e) {
        if (e.code() != asio::error::eof) throw;
        throw std::runtime_error("the proxy closed the connection");
    }
}

}  // namespace

// --- a lane --------------------------------------------------------------------------------------------

void HttpLane::Renew()
{
    mStream = std::make_shared<TlsStream>(TlsStream::Socket(mPath.executor), mPath.context, mPath.to.host);
}

asio::awaitable<void> HttpLane::Connect()
{
    if (mClosed) throw std::runtime_error("closed");
    if (!mStream) Renew();
    const std::shared_ptr<TlsStream> stream = mStream;
    co_await stream->Tcp().async_connect(mPath.address, asio::use_awaitable);
    stream->Tcp().non_blocking(true);
    PrepareSocket(stream->Tcp());
    if (mPath.to.proxy) co_await AskProxy(stream->Tcp(), mPath.to);
}

asio::awaitable<void> HttpLane::Handshake()
{
    const std::shared_ptr<TlsStream> stream = mStream;
    co_await stream->Handshake(Speaks::Http);
    mReader = std::make_unique<HttpAnswerReader>();
}

/// Whoever answers has to be the one who was trusted.
asio::awaitable<void> HttpLane::Reopen()
{
    Renew();
    const Limit limit(mPath.executor, mStream, kOpening);
    co_await Connect();
    co_await Handshake();
    const TlsPeer now = Peer();
    const bool same = now.fingerprint == mPath.peer.fingerprint || (now.vouched && mPath.peer.vouched);
    if (!same) throw Refused("the key of the service has changed");
}

asio::awaitable<HttpAnswered> HttpLane::Once(const std::string& request, std::chrono::milliseconds patience)
{
    const std::shared_ptr<TlsStream> stream = mStream;
    const Limit limit(mPath.executor, stream, patience);
    co_await stream->Write(request);
    for (;;) {
        if (auto answered = mReader->Next()) co_return *std::move(answered);
        std::string bytes;
        co_await stream->Read(bytes);
        mReader->Feed(bytes);
        co_await asio::post(mPath.executor, asio::use_awaitable);  // however much comes, others have a turn
    }
}

asio::awaitable<HttpAnswered> HttpLane::Exchange(HttpPost post, std::chrono::milliseconds patience)
{
    const std::string request = HttpText(post);
    std::optional<SteadyClock::time_point> giveUp;
    std::chrono::milliseconds pause = 0ms;
    std::string problem = "no answer";
    bool lost = false;  // the service may have got it all the same
    while (!mClosed && SteadyClock::now() < giveUp.value_or(SteadyClock::time_point::max())) {
        try {
            if (!mStream) co_await Reopen();
            HttpAnswered answered = co_await Once(request, patience);
            if (!answered.keepAlive) Shut();
            if (answered.status == 200) co_return answered;
            problem = RefusalOf(answered.status);
            if (answered.status == 413 && !lost) throw TooLarge(problem);
            if (!MayPass(answered.status)) throw Refused(problem);
        } catch (const Refused&) {
            throw;
        } catch (const boost::system::system_error& e) {
            problem = e.code() == asio::error::operation_aborted ? "no answer" : e.code().message();
            if (e.code() == asio::error::connection_refused && !mPath.to.proxy) throw;
        } catch (const std::exception& e) {
            problem = e.what();
        }
        lost = true;
        Shut();
        if (!giveUp) giveUp = SteadyClock::now() + (mPath.others ? kTryingWithOthers : kTrying);
        mPause.expires_after(pause);
        if (pause > 0ms && !mClosed) co_await mPause.async_wait(kNoThrow);
        pause = std::clamp(pause * 2, kFirstPause, kLongestPause);
    }
    throw std::runtime_error(problem);
}

void HttpLane::Shut()
{
    if (mStream) mStream->Close();
    mStream.reset();
}

void HttpLane::Close()
{
    mClosed = true;
    if (mStream) mStream->Close();
    mPause.cancel();
}

// --- the road ------------------------------------------------------------------------------------------

HttpRoad::HttpRoad(const Executor& executor, std::shared_ptr<const TlsContext> context, const Destination& to)
    : mPath{executor, std::move(context), to, HostHeader(to)},
      mUp(mPath),
      mDown(mPath),
      mOpened(executor, SteadyClock::time_point::max())
{
}

asio::awaitable<void> HttpRoad::Connect(tcp::endpoint address)
{
    mPath.address = address;
    co_await mUp.Connect();
}

asio::awaitable<void> HttpRoad::Handshake()
{
    co_await mUp.Handshake();
    mPath.peer = mUp.Peer();
}

asio::awaitable<void> HttpRoad::Open()
{
    const HttpAnswered opened =
        co_await mUp.Exchange({.target = kHttpOpen, .host = mPath.hostHeader}, kAnswered);
    if (opened.connection.size() != kHttpNameDigits) throw std::runtime_error("no messaging service answers");
    mName = opened.connection;
    mOpened.cancel();
}

asio::awaitable<void> HttpRoad::Write(std::string_view bytes)
{
    if (mName.empty()) co_await Open();
    while (!bytes.empty()) {
        const std::string_view body = bytes.substr(0, mMostUp);
        const HttpPost post{.target = kHttpUp,
                            .host = mPath.hostHeader,
                            .connection = mName,
                            .exchange = mLastUp + 1,
                            .body = body};
        try {
            co_await mUp.Exchange(post, kAnswered);
            ++mLastUp;
            bytes.remove_prefix(body.size());
        } catch (const TooLarge&) {
            if (body.size() <= kLeastBody) throw;
            mMostUp = body.size() / 2;
        }
    }
}

asio::awaitable<void> HttpRoad::Read(std::string& into)
{
    while (mName.empty() && !mClosed) co_await mOpened.async_wait(kNoThrow);
    if (mClosed) throw std::runtime_error("closed");
    const auto hold = std::clamp<std::chrono::seconds>(mPath.to.poll, 1s, kHttpLongestPoll);
    const HttpAnswered answered =
        co_await mDown.Exchange({.target = kHttpDown,
                                 .host = mPath.hostHeader,
                                 .connection = mName,
                                 .exchange = ++mLastDown,
                                 .waitSeconds = static_cast<unsigned>(hold.count())},
                                hold + kLate);
    into += answered.body;
}

void HttpRoad::Close()
{
    mClosed = true;
    mUp.Close();
    mDown.Close();
    mOpened.cancel();
}

}  // namespace zephyl::link
