#include "service/net/plain_stream.h"

#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>

#include "service/net/tls_stream.h"

namespace zephyl {
namespace asio = boost::asio;

PlainStream::PlainStream(asio::ip::tcp::socket socket) : mSocket(std::move(socket))
{
    PrepareSocket(mSocket);
}

/// It waits without memory: most of these say nothing most of the time.
asio::awaitable<void> PlainStream::Read(std::string& into)
{
    co_await mSocket.async_wait(asio::ip::tcp::socket::wait_read, asio::use_awaitable);
    const std::size_t before = into.size();
    into.resize(before + kReceiveBytes);
    std::size_t got = 0;
    try {
        got = co_await mSocket.async_read_some(asio::buffer(into.data() + before, kReceiveBytes),
                                               asio::use_awaitable);
    } catch (...) {
        into.resize(before);
        throw;
    }
    into.resize(before + got);
}

asio::awaitable<void> PlainStream::Write(std::string_view bytes)
{
    co_await asio::async_write(mSocket, asio::buffer(bytes.data(), bytes.size()), asio::use_awaitable);
}

void PlainStream::Close() noexcept
{
    boost::system::error_code ignored;
    mSocket.shutdown(asio::ip::tcp::socket::shutdown_both, ignored);
    mSocket.close(ignored);
}

}  // namespace zephyl
