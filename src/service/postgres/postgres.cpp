// relay/door/database.h by libpqxx.

#include <fcntl.h>
#include <libpq-fe.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <pqxx/pqxx>
#include <utility>

#include "service/relay/door/database.h"

namespace zephyl {
namespace {

/// Of the server's words the first line: what is behind it names the statement, not what happened.
std::string FirstLine(std::string text)
{
    text.resize(std::min(text.find('\n'), text.size()));
    return text.starts_with("ERROR:  ") || text.starts_with("FATAL:  ") ? text.substr(8) : text;
}

std::string FirstLine(const std::exception& error)
{
    return FirstLine(std::string(error.what()));
}

/// It goes, is not there yet, has no room, or has become the one that only reads.
bool SaysAway(const std::string& state)
{
    return state.starts_with("08") || state.starts_with("57P") || state.starts_with("53") || state == "25006";
}

class Ears final : public pqxx::notification_receiver {
public:
    Ears(pqxx::connection_base& to, const std::string& channel) : notification_receiver(to, channel) {}
    void operator()(const std::string& payload, int) override { heard.push_back(payload); }
    std::vector<std::string> heard;
};

class Postgres final : public Database {
public:
    explicit Postgres(const char* where)
    try : mConnection(where), mSocket(::fcntl(mConnection.sock(), F_DUPFD_CLOEXEC, 0)) {
        // It would connect anew by itself, and go on without what was begun.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"  // there is no other way in this version
        mConnection.inhibit_reactivation(true);
#pragma GCC diagnostic pop
    } catch (const std::exception& error) {
        throw DatabaseAway(FirstLine(error));
    }
    ~Postgres() override
    {
        mEars.reset();
        if (mSocket >= 0) ::close(mSocket);
    }
    Postgres(const Postgres&) = delete;
    Postgres& operator=(const Postgres&) = delete;

    Answer Ask(const std::string& sql, const std::vector<std::string>& values) override
    {
        return Tried([&] {
            pqxx::nontransaction step(mConnection);
            const pqxx::result result = step.exec_params(sql, pqxx::prepare::make_dynamic_params(values));
            Answer answer;
            answer.changed = result.affected_rows();
            for (const pqxx::row& row : result) {
                std::vector<std::string>& fields = answer.rows.emplace_back();
                for (const pqxx::field& field : row) fields.emplace_back(field.c_str(), field.size());
            }
            return answer;
        });
    }
    void Run(const std::string& sql) override
    {
        Tried([&] { return pqxx::nontransaction(mConnection).exec(sql); });
    }
    std::vector<std::string> Heard(const std::string& channel, std::chrono::milliseconds patience) override
    {
        return Tried([&] {
            if (!mEars) mEars = std::make_unique<Ears>(mConnection, channel);
            pollfd socket{mSocket, POLLIN, 0};
            if (mConnection.get_notifs() == 0 && ::poll(&socket, 1, static_cast<int>(patience.count())) > 0)
                mConnection.get_notifs();
            return std::exchange(mEars->heard, {});
        });
    }
    bool Alive() const override
    {
        if (mInterrupted || !mConnection.is_open()) return false;
        pollfd socket{mSocket, POLLIN | POLLRDHUP, 0};
        return ::poll(&socket, 1, 0) == 0;
    }
    // By a descriptor of its own: the connection's number may have gone to somebody else by now.
    void Interrupt() override
    {
        mInterrupted = true;
        ::shutdown(mSocket, SHUT_RDWR);
    }

private:
    template <class Work>
    auto Tried(Work work) -> decltype(work())
    {
        if (mInterrupted || !mConnection.is_open()) throw DatabaseAway("the connection was lost");
        try {
            return work();
        } catch (const pqxx::broken_connection& error) {
            throw DatabaseAway(Lost(error));
        } catch (const pqxx::sql_error& error) {
            if (!mConnection.is_open() || mInterrupted || SaysAway(error.sqlstate()))
                throw DatabaseAway(Lost(error));
            throw DatabaseRefusal(FirstLine(error));
        } catch (const pqxx::failure& error) {
            throw DatabaseAway(Lost(error));
        }
    }
    std::string Lost(const std::exception& error) const
    {
        return mInterrupted ? "it does not answer" : FirstLine(error);
    }

    pqxx::connection mConnection;
    int mSocket;
    std::atomic<bool> mInterrupted{false};
    std::unique_ptr<Ears> mEars;
};

/// All that is said to who connects; "": they are in.
std::string SaidAtTheDoor(const char* where)
{
    try {
        const pqxx::connection tried(where);
        return {};
    } catch (const std::exception& error) {
        return error.what();
    }
}

/// By what the server answers in numbers where it answers, as its words are in the server's language. Our
/// library's own are English. Whoever fails at TLS has reached somebody; of several servers all may only
/// read until the one that takes changes is there.
std::string NotYet(const char* where)
{
    const PGPing answer = PQping(where);
    const std::string said = SaidAtTheDoor(where);
    const auto speaksOf = [&said](const char* words) { return said.find(words) != std::string::npos; };
    const bool unreached = answer == PQPING_NO_RESPONSE && !speaksOf("SSL") && !speaksOf("certificate");
    return answer == PQPING_REJECT || unreached || speaksOf("session is read-only") ? FirstLine(said) : "";
}

}  // namespace
}  // namespace zephyl

extern "C" __attribute__((visibility("default"))) zephyl::Database* ZephylOpenDatabase(const char* where)
{
    return new zephyl::Postgres(where);
}

extern "C" __attribute__((visibility("default"))) void ZephylDatabaseNotYet(const char* where,
                                                                            std::string& why)
{
    why = zephyl::NotYet(where);
}
