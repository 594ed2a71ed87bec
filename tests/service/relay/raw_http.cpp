#include "service/relay/raw_http.h"

#include <poll.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/write.hpp>

namespace zephyl {
namespace asio = boost::asio;
using asio::ip::tcp;
using std::chrono::steady_clock;
namespace {

bool Readable(tcp::socket& socket, steady_clock::time_point until)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - steady_clock::now());
    pollfd waiting{socket.native_handle(), POLLIN, 0};
    return left.count() > 0 && ::poll(&waiting, 1, static_cast<int>(left.count())) > 0;
}

}  // namespace

tcp::socket ConnectedSocket(asio::io_context& io, std::uint16_t port, const std::string& from,
                            const std::string& to)
{
    tcp::socket socket(io, {asio::ip::make_address(from), 0});
    socket.connect({asio::ip::make_address(to), port});
    return socket;
}

std::unique_ptr<TlsStream> ShakenHands(asio::io_context& io, tcp::socket socket, Speaks speaks)
{
    auto stream = std::make_unique<TlsStream>(std::move(socket), TlsContext::Client());
    std::exception_ptr failed;
    asio::co_spawn(io, stream->Handshake(speaks), [&](std::exception_ptr error) { failed = error; });
    io.run_for(kPatience);
    io.restart();
    if (failed) std::rethrow_exception(failed);
    return stream;
}

RawHttp::RawHttp(std::uint16_t port, bool plain, const std::string& from)
{
    if (plain)
        mPlain = ConnectedSocket(mIo, port, from);
    else
        mStream = ShakenHands(mIo, ConnectedSocket(mIo, port, from), Speaks::Http);
}

void RawHttp::Send(std::string_view bytes)
{
    if (!mStream) {
        asio::write(*mPlain, asio::buffer(bytes.data(), bytes.size()));
        return;
    }
    std::exception_ptr failed;
    asio::co_spawn(mIo, mStream->Write(bytes), [&](std::exception_ptr error) { failed = error; });
    mIo.run_for(kPatience);
    mIo.restart();
    if (failed) std::rethrow_exception(failed);
}

std::optional<HttpAnswered> RawHttp::Answer()
try {
    const auto until = steady_clock::now() + kPatience;
    for (;;) {
        if (auto answered = mReader.Next()) return answered;
        std::string bytes;
        if (mStream) {
            while (!mStream->TakeReady(bytes))
                if (!Readable(Socket(), until)) throw NothingCame("in time");
        } else {
            if (!Readable(Socket(), until)) throw NothingCame("in time");
            bytes.resize(64 * 1024);
            bytes.resize(mPlain->read_some(asio::buffer(bytes)));
        }
        mReader.Feed(bytes);
    }
} catch (const boost::system::system_error&) {
    return std::nullopt;
}

void RawHttp::Kill()
{
    Socket().set_option(asio::socket_base::linger(true, 0));
    Socket().close();
}

HttpRawRoad::HttpRawRoad(std::uint16_t port, const std::string& from)
    : mUp(port, false, from), mDown(port, false, from)
{
    const auto opened = mUp.Ask(HttpPost{.target = kHttpOpen, .host = "test"});
    if (opened) mName = opened->connection;
    if (mName.size() != kHttpNameDigits) throw std::runtime_error("no name");
}

std::string HttpRawRoad::Exchange(RawHttp& lane, HttpPost post)
{
    post.host = "test";
    post.connection = mName;
    const auto answered = lane.Ask(post);
    if (!answered || answered->status != 200) throw boost::system::system_error(asio::error::eof);
    return answered->body;
}

void HttpRawRoad::Send(std::string_view bytes)
{
    for (; !bytes.empty(); bytes.remove_prefix(std::min(bytes.size(), kHttpBodyBytes)))
        Exchange(mUp, {.target = kHttpUp, .exchange = ++mLastUp, .body = bytes.substr(0, kHttpBodyBytes)});
}

void HttpRawRoad::Fill(std::string& into, steady_clock::time_point until)
{
    const std::size_t before = into.size();
    while (into.size() == before) {
        if (steady_clock::now() >= until) throw NothingCame("in time");
        into += Exchange(mDown, {.target = kHttpDown, .exchange = ++mLastDown, .waitSeconds = 10});
    }
}

void HttpRawRoad::Kill()
{
    mUp.Ask(HttpPost{.target = kHttpUp, .host = "test", .connection = mName, .exchange = mLastUp + 2});
    mUp.Kill();
    mDown.Kill();
}

}  // namespace zephyl
