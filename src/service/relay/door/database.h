#pragma once
// A connection to a database server, as the accounts use one. What speaks to the server is a library of its
// own (service/postgres), which is opened when a configuration asks for it, so that nobody else loads it.

#include <chrono>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace zephyl {

/// There is no connection, or it was lost on the way: what was asked last may be done or not.
struct DatabaseAway : std::runtime_error {
    using std::runtime_error::runtime_error;
};
/// The server does not want to do that.
struct DatabaseRefusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// One thread at a time, but for Interrupt.
class Database {
public:
    struct Answer {
        std::vector<std::vector<std::string>> rows;  // null reads as ""
        std::size_t changed = 0;                     // rows of the table
    };

    virtual ~Database() = default;
    /// One statement, with its values for $1 and so on; none may hold a NUL.
    virtual Answer Ask(const std::string& sql, const std::vector<std::string>& values) = 0;
    /// Several statements in one message.
    virtual void Run(const std::string& sql) = 0;
    /// What NOTIFY has said on `channel` since LISTEN, within `patience`.
    virtual std::vector<std::string> Heard(const std::string& channel,
                                           std::chrono::milliseconds patience) = 0;
    /// False: it has been closed at the other end while nobody used it.
    virtual bool Alive() const = 0;
    /// The connection is of no use any more: whoever waits for it is told that it is away. Any thread.
    virtual void Interrupt() = 0;
};

/// `where`: a URI with everything in it. Throws DatabaseAway; StartError when the library is not there.
std::unique_ptr<Database> OpenDatabase(const std::string& where);

/// Why it cannot be opened, where that ends by itself once its server has started, or somebody reaches it;
/// "": it can, or never will. Throws StartError when the library is not there.
std::string DatabaseNotYet(const std::string& where);

/// How the library's functions are called, and what they are.
inline constexpr char kOpenDatabase[] = "ZephylOpenDatabase";
using OpenDatabaseFunction = Database* (*)(const char* where);
inline constexpr char kDatabaseNotYet[] = "ZephylDatabaseNotYet";
using DatabaseNotYetFunction = void (*)(const char* where, std::string& why);

}  // namespace zephyl
