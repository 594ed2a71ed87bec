#pragma once
// A connected stream of bytes, for those who do not mind whether it is enciphered.

#include <boost/asio/awaitable.hpp>
#include <cstddef>
#include <string>
#include <string_view>

namespace zephyl {

inline constexpr std::size_t kReceiveBytes = 64 * 1024;  // read from a socket at most at a time

class ByteStream {
public:
    virtual ~ByteStream() = default;
    /// Waits until there are bytes, then appends what has arrived (up to 64 KiB). Throws what the connection
    /// was lost of, eof at an end of any kind.
    virtual boost::asio::awaitable<void> Read(std::string& into) = 0;
    /// Writes everything. At most one Write at a time.
    virtual boost::asio::awaitable<void> Write(std::string_view bytes) = 0;
    /// Waiting calls end with operation_aborted.
    virtual void Close() noexcept = 0;
};

}  // namespace zephyl
