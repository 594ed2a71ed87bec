// Asio's own translation unit.

#include <boost/asio/impl/src.hpp>
