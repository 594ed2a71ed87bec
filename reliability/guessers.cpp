#include "reliability/guessers.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "service/net/tls_stream.h"
#include "service/wire/framing.h"

namespace reliability {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using namespace zephyl;

constexpr int kTriesOfOneConnection = 10;

/// A connection that greets and logs in.
class Line {
public:
    Line(tcp::socket socket, std::shared_ptr<const TlsContext> tls)
        : mStream(std::move(socket), std::move(tls))
    {
    }

    asio::awaitable<void> Greet()
    {
        co_await mStream.Handshake();
        Header hello;
        hello.mutable_hello()->set_version(kProtocolVersion);
        co_await Send(hello);
    }
    asio::awaitable<LoggedIn> LogIn(const std::string& handle, const std::string& password)
    {
        Header login;
        login.mutable_login()->set_handle(handle);
        login.mutable_login()->set_password(password);
        login.mutable_login()->set_stream(7);
        co_await Send(login);
        for (;;) {
            while (const auto frame = mReader.Next())
                if (frame->header.has_logged_in()) co_return frame->header.logged_in();
            co_await mStream.Read(mReader.Intake());
        }
    }

private:
    asio::awaitable<void> Send(const Header& header)
    {
        std::string bytes;
        AppendFrame(bytes, header, {}, Way::Up);
        co_await mStream.Write(bytes);
    }

    TlsStream mStream;
    FrameReader mReader{Way::Down};
};

class Guesser {
public:
    Guesser(asio::io_context& io, std::shared_ptr<const TlsContext> tls, std::vector<std::uint16_t> doors,
            std::string account, int number, std::chrono::milliseconds patience, const GuessedWord& word,
            Guesses& guesses)
        : mIo(io),
          mTls(std::move(tls)),
          mDoors(std::move(doors)),
          mAccount(std::move(account)),
          mNumber(number),
          mPatience(patience),
          mWord(word),
          mGuesses(guesses)
    {
    }

    asio::awaitable<void> Run(int tries)
    {
        for (int i = 0; i < tries; ++i) try {
                if (!mLine || i % kTriesOfOneConnection == 0) co_await Connect();
                const LoggedIn answer = co_await mLine->LogIn(Handle(i), mWord(mNumber, i));
                Count(answer.result());
                const auto wait = std::min(std::chrono::milliseconds(answer.wait_ms()), mPatience);
                if (wait.count() > 0) co_await asio::steady_timer(mIo, wait).async_wait(asio::use_awaitable);
            } catch (const std::exception&) {
                mLine = nullptr;
                ++mGuesses.unanswered;
            }
    }

private:
    asio::awaitable<void> Connect()
    {
        tcp::socket socket(mIo, {asio::ip::make_address(Address(mNumber)), 0});
        co_await socket.async_connect({asio::ip::address_v4::loopback(), mDoors[mTurn++ % mDoors.size()]},
                                      asio::use_awaitable);
        mLine = std::make_unique<Line>(std::move(socket), mTls);
        co_await mLine->Greet();
    }
    std::string Handle(int guess) const
    {
        if (!mAccount.empty()) return mAccount;
        if (guess % 2) return "c" + std::to_string(guess % 8);
        return "nobody" + std::to_string(mNumber) + "." + std::to_string(guess);
    }
    void Count(Result result)
    {
        ++(result == RESULT_OK      ? mGuesses.accepted
           : result == RESULT_WRONG ? mGuesses.hashed
                                    : mGuesses.later);
    }

    asio::io_context& mIo;
    const std::shared_ptr<const TlsContext> mTls;
    const std::vector<std::uint16_t> mDoors;
    const std::string mAccount;
    const int mNumber;
    std::size_t mTurn = std::size_t(mNumber);
    const std::chrono::milliseconds mPatience;
    const GuessedWord& mWord;
    Guesses& mGuesses;
    std::unique_ptr<Line> mLine;
};

}  // namespace

std::string Address(int number)
{
    return "127.1." + std::to_string(number / 200) + "." + std::to_string(1 + number % 200);
}

Guesses GuessPasswords(const Site& site, const std::string& account, int addresses, int tries,
                       std::chrono::milliseconds patience, const GuessedWord& word)
{
    asio::io_context io(1);
    const std::shared_ptr<const TlsContext> tls = TlsContext::Client();
    Guesses guesses;
    std::vector<std::unique_ptr<Guesser>> guessers;
    for (int i = 0; i < addresses; ++i) {
        const auto pause = i % 2 ? patience : std::chrono::milliseconds(0);
        guessers.push_back(
            std::make_unique<Guesser>(io, tls, site.Doors(), account, i, pause, word, guesses));
        asio::co_spawn(io, guessers.back()->Run(tries), asio::detached);
    }
    io.run();
    return guesses;
}

}  // namespace reliability
