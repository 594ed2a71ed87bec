#include "service/relay/tls_road.h"

#include <boost/asio/use_awaitable.hpp>

namespace zephyl {
namespace asio = boost::asio;

asio::awaitable<void> TlsRoad::Readable()
{
    return mStream->Tcp().async_wait(TlsStream::Socket::wait_read, asio::use_awaitable);
}

void TlsRoad::WhenFree(std::function<void()> then)
{
    mStream->Tcp().async_wait(TlsStream::Socket::wait_write,
                              [then = std::move(then)](boost::system::error_code error) {
                                  if (!error) then();
                              });
}

void TlsRoad::Finish()
{
    boost::system::error_code gone;  // the other side may have closed first
    mStream->Tcp().shutdown(TlsStream::Socket::shutdown_send, gone);
}

}  // namespace zephyl
