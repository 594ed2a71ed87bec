// Boost.JSON, which is in headers only, compiled once.
#include <boost/json/src.hpp>
