#pragma once
// What an operation is awaited with when its error is an answer and no exception.

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/use_awaitable.hpp>

namespace zephyl {

inline constexpr auto kNoThrow = boost::asio::as_tuple(boost::asio::use_awaitable);

}  // namespace zephyl
