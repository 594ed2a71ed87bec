#pragma once
// A TCP connection as it is, for roads on which somebody else has ended TLS. All calls from one strand.

#include <boost/asio/ip/tcp.hpp>

#include "service/net/byte_stream.h"

namespace zephyl {

class PlainStream final : public ByteStream {
public:
    explicit PlainStream(boost::asio::ip::tcp::socket socket);

    boost::asio::awaitable<void> Read(std::string& into) override;
    boost::asio::awaitable<void> Write(std::string_view bytes) override;
    void Close() noexcept override;

private:
    boost::asio::ip::tcp::socket mSocket;
};

}  // namespace zephyl
