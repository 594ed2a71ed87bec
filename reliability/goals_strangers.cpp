// People who guess, wait and flood, and what the others notice of them.

#include <poll.h>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>

#include "reliability/cluster.h"
#include "reliability/guessers.h"
#include "reliability/judge.h"
#include "service/relay/raw_client.h"

using namespace Qt::StringLiterals;

namespace reliability {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using zephyl::RawClient;

std::unique_ptr<RawClient> From(const Site& site, const std::string& address)
{
    return std::make_unique<RawClient>(site.Port(), std::string(), zephyl::kProtocolVersion, address);
}

/// Runs `work(i)` on `count` threads at once, and returns when all have ended.
template <class Work>
void SideBySide(int count, Work work)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) threads.emplace_back([&, i] { work(i); });
    for (std::thread& thread : threads) thread.join();
}

// --- passwords -------------------------------------------------------------------------------------------

/// `device`: the word of an earlier login.
bool LogsIn(const Site& site, const std::string& address, const std::string& device = {})
{
    try {
        const auto client = From(site, address);
        if (!device.empty()) client->device = device;
        return client->Login("c8", "secret", 9).result() == zephyl::RESULT_OK;
    } catch (const std::exception&) {
        return false;
    }
}

double LoginTime(const Site& site, const std::string& address, const std::string& device = {})
{
    const Time begun = Clock::now();
    while (!LogsIn(site, address, device) && Since(begun) < 20'000) Sleep(100);  // "later" is a try more
    return Since(begun);
}

double Slowest(const std::vector<double>& waits)
{
    return waits.empty() ? 0 : *std::max_element(waits.begin(), waits.end());
}

void WrongLogins(Run& run, Outcome& outcome)
{
    const int addresses = run.Form(10, 200), tries = 50;
    const auto site = OpenSite(run, 9, {}, zephyl::HashCost{});
    std::atomic<bool> over{false};
    std::vector<double> waits;
    std::thread honest([&] {
        do {
            waits.push_back(LoginTime(*site, Address(1000 + int(waits.size()))));  // never seen before
            Sleep(100);
        } while (!over);
    });
    const Time begun = Clock::now();
    const Guesses guesses =
        GuessPasswords(*site, "", addresses, tries, std::chrono::milliseconds(run.Form(100, 1000)));
    const double lasted = Since(begun);
    over = true;
    honest.join();
    const int all = addresses * tries;
    const double slowest = Slowest(waits);
    outcome.Figure(
        u"%1 wrong logins from %2 addresses within %3: %4 accepted, %5 hashed, %6 told to wait, %7 closed"_s
            .arg(all)
            .arg(addresses)
            .arg(Milliseconds(lasted))
            .arg(guesses.accepted)
            .arg(guesses.hashed)
            .arg(guesses.later)
            .arg(guesses.unanswered));
    outcome.Figure(u"an uninvolved user logged in %1 times, after %2 at most"_s.arg(waits.size())
                       .arg(Milliseconds(slowest)));
    outcome.Must(guesses.accepted == 0, u"a wrong password was accepted"_s);
    outcome.Must(guesses.hashed <= all * 4 / 10, u"too many passwords were hashed"_s);
    outcome.Must(slowest < 20'000, u"an uninvolved user is kept out"_s);
    outcome.Soon(slowest <= 1500, u"an uninvolved user waits longer than 1.5 s"_s);
}

/// The same at one account, whose owner comes from an address where it was before, with the word of an
/// earlier login, and as a stranger.
void WrongLoginsOfOne(Run& run, Outcome& outcome)
{
    const int addresses = run.Form(10, 200), tries = 50;
    const auto site = OpenSite(run, 9, {}, zephyl::HashCost{});
    const auto laptop = From(*site, "127.0.0.7");
    laptop->device = "";
    if (laptop->Login("c8", "secret", 9).result() != zephyl::RESULT_OK) throw std::runtime_error("no login");
    std::atomic<bool> over{false};
    std::vector<double> known, device, stranger;
    std::thread owner([&] {
        for (int i = 1000; !over; ++i) {
            known.push_back(LoginTime(*site, "127.0.0.7"));
            device.push_back(LoginTime(*site, Address(2 * i), *laptop->device));
            stranger.push_back(LoginTime(*site, Address(2 * i + 1)));
            Sleep(100);
        }
    });
    const Time begun = Clock::now();
    const Guesses guesses =
        GuessPasswords(*site, "c8", addresses, tries, std::chrono::milliseconds(run.Form(100, 1000)));
    const double lasted = Since(begun);
    over = true;
    owner.join();
    outcome.Figure(u"%1 wrong logins of one account from %2 addresses within %3: %4 accepted, %5 hashed"_s
                       .arg(addresses * tries)
                       .arg(addresses)
                       .arg(Milliseconds(lasted))
                       .arg(guesses.accepted)
                       .arg(guesses.hashed));
    outcome.Figure(
        u"its owner got in %1 times: from a known address after %2 at most, with a device's word after "
        "%3, from a new address after %4"_s.arg(known.size() + device.size() + stranger.size())
            .arg(Milliseconds(Slowest(known)), Milliseconds(Slowest(device)),
                 Milliseconds(Slowest(stranger))));
    const double slowest = std::max({Slowest(known), Slowest(device), Slowest(stranger)});
    outcome.Must(guesses.accepted == 0, u"a wrong password was accepted"_s);
    outcome.Must(guesses.hashed <= addresses * tries * 4 / 10, u"too many passwords were hashed"_s);
    outcome.Must(slowest < 20'000, u"the owner is kept out"_s);
    outcome.Soon(slowest <= 1500, u"the owner waits longer than 1.5 s"_s);
}

// --- meeting codes ---------------------------------------------------------------------------------------

struct LoggedInGuesser {
    LoggedInGuesser(const Site& site, const std::string& address, int number) : client(From(site, address))
    {
        const std::string handle = "c" + std::to_string(number);
        if (client->Login(handle, "secret", 100 + std::uint64_t(number)).result() != zephyl::RESULT_OK)
            throw std::runtime_error("login refused");
    }
    std::unique_ptr<RawClient> client;
    int looked = 0, later = 0, joined = 0;  // at how many of its codes
};

void GuessCodes(LoggedInGuesser& one, int number, double seconds)
{
    for (const Time begun = Clock::now(); Since(begun) < seconds * 1000;) {
        const std::string code =
            "X" + std::to_string(number) + "Q" + std::to_string(100'000 + one.looked + one.later);
        const auto result = one.client->Enter(code, false).result();
        ++(result == zephyl::RESULT_LATER ? one.later
           : result == zephyl::RESULT_OK  ? one.joined
                                          : one.looked);
        Sleep(5);
    }
}

void WrongCodes(Run& run, Outcome& outcome)
{
    constexpr int kGuessers = 10;
    const double seconds = run.Form(3, 90);
    const auto site = OpenSite(run, kGuessers + 2);
    LoggedInGuesser host(*site, "127.0.0.1", kGuessers);
    host.client->Enter("ROOM01", true);
    LoggedInGuesser honest(*site, Address(0), kGuessers + 1);  // at the address of those who guess
    std::vector<std::unique_ptr<LoggedInGuesser>> guessers;
    for (int i = 0; i < kGuessers; ++i)
        guessers.push_back(std::make_unique<LoggedInGuesser>(*site, Address(0), i));
    std::vector<double> waits;
    SideBySide(kGuessers + 1, [&](int i) {
        if (i < kGuessers) return GuessCodes(*guessers[std::size_t(i)], i, seconds);
        for (const Time begun = Clock::now(); Since(begun) < seconds * 1000; Sleep(1500)) {
            const Time asked = Clock::now();
            honest.joined += honest.client->Enter("ROOM01", false).result() == zephyl::RESULT_OK;
            waits.push_back(Since(asked));
            honest.client->Leave();
        }
    });
    int all = 0, most = 0, later = 0, joined = 0;
    for (const auto& one : guessers) {
        all += one->looked, later += one->later, joined += one->joined;
        most = std::max(most, one->looked);
    }
    const double slowest = *std::max_element(waits.begin(), waits.end());
    outcome.Figure(
        u"%1 accounts at one address guess for %2 s: %3 codes looked at, %4 of one account, %5 told to "
        "wait, %6 found"_s.arg(kGuessers)
            .arg(seconds)
            .arg(all)
            .arg(most)
            .arg(later)
            .arg(joined));
    outcome.Figure(
        u"a right code from that address joined %1 of %2 times, after %3 at most"_s.arg(honest.joined)
            .arg(waits.size())
            .arg(Milliseconds(slowest)));
    outcome.Must(joined == 0, u"a guess was right"_s);
    outcome.Must(most <= 10 + seconds / 6 + 1, u"an account has more than 10 guesses a minute"_s);
    // Beside the address's own each of its accounts has the first one, which makes it one that guesses.
    outcome.Must(all <= 60 + seconds + kGuessers, u"an address has more than 60 guesses a minute"_s);
    outcome.Must(later > 0 && honest.joined == int(waits.size()), u"a right code was refused"_s);
    outcome.Soon(slowest <= 1000, u"a right code takes more than 1 s"_s);
}

// --- those who say nothing -------------------------------------------------------------------------------

/// A connection that says nothing, or a byte at a time.
struct Idler {
    Idler(asio::io_context& io, const Daemon& daemon, const std::string& address)
        : socket(io, tcp::endpoint(asio::ip::make_address(address), 0))
    {
        socket.connect({asio::ip::address_v4::loopback(), daemon.Port()}, failed);
        socket.non_blocking(true);
    }
    /// Notes when it is closed.
    void Look()
    {
        if (closedAfter >= 0) return;
        char byte;
        boost::system::error_code error;
        if (!failed) socket.read_some(asio::buffer(&byte, 1), error);
        if (failed || (error && error != asio::error::would_block)) closedAfter = Since(made);
    }
    void Say(char byte)
    {
        boost::system::error_code ignored;
        if (closedAfter < 0) socket.write_some(asio::buffer(&byte, 1), ignored);
    }
    tcp::socket socket;
    boost::system::error_code failed;
    Time made = Clock::now();
    double closedAfter = -1;
};

void SilentConnections(Run& run, Outcome& outcome)
{
    const int count = run.Form(400, 2000), patience = run.Form(2, 10), shaken = count / 10;
    Daemon daemon(4, u"before_login_seconds = %1\n"_s.arg(patience));
    Crowd crowd = Gather(daemon, 4);
    SetLoad(crowd, {10, 2});
    Sleep(run.Form(500, 5000));
    const long before = daemon.ResidentKiB();
    asio::io_context io;
    std::vector<std::unique_ptr<Idler>> idlers;
    std::vector<std::unique_ptr<RawClient>> greeted;  // through TLS, then silent
    for (int i = 0; i < shaken; ++i) greeted.push_back(From(daemon, Address(i / 20)));
    for (int i = shaken; i < count; ++i)
        idlers.push_back(std::make_unique<Idler>(io, daemon, Address(i / 20)));
    const Time begun = Clock::now();
    long most = 0;
    const std::string hello("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03", 11);  // as TLS begins
    for (std::size_t turn = 0; Since(begun) < patience * 1000 + 4000; ++turn) {
        for (std::size_t i = 0; i < idlers.size(); ++i) {
            idlers[i]->Look();
            if (i % 2) idlers[i]->Say(turn < hello.size() ? hello[turn] : 'x');
        }
        most = std::max(most, daemon.ResidentKiB());
        Sleep(200);
    }
    int open = 0, atOnce = 0;
    double last = 0;
    for (const auto& one : idlers) {
        open += one->closedAfter < 0;
        atOnce += one->closedAfter >= 0 && one->closedAfter < 1000;
        last = std::max(last, one->closedAfter);
    }
    for (const auto& one : greeted) open += !one->Ended();
    SetLoad(crowd, {});
    outcome.Must(AtRest(crowd), u"it does not come to rest"_s);
    Demand(outcome, JudgeAll(crowd));
    std::uint64_t cuts = 0;
    for (const auto& one : crowd) cuts += one->cuts;
    outcome.Figure(
        u"%1 connections, a tenth through TLS and half of the others a byte at a time: %2 refused at once, "
        "the last one closed after %3 of %4 s, %5 left"_s.arg(count)
            .arg(atOnce)
            .arg(Milliseconds(last))
            .arg(patience)
            .arg(open));
    outcome.Figure(u"memory %1 MiB above before at most; sessions cut off: %2"_s
                       .arg(double(most - before) / 1024, 0, 'f', 1)
                       .arg(cuts));
    outcome.Must(open == 0, u"%1 connections are still open"_s.arg(open));
    outcome.Must(most - before < 100 * 1024, u"they cost more than 100 MiB"_s);
    outcome.Must(cuts == 0, u"a session was cut off"_s);
    outcome.Soon(last <= patience * 1000 + 1500, u"the last one was closed too late"_s);
}

// --- too much --------------------------------------------------------------------------------------------

/// What is sent as fast as it is taken: records to everybody, or lines to one who answers each.
enum class FloodOf { Records, LinesToOne };

/// Comes back as often as it is put out.
struct Flooder {
    Flooder(const Daemon& where, int number, FloodOf what)
        : daemon(where),
          handle("c" + std::to_string(number)),
          text(what == FloodOf::Records ? "[[ZUM_WB_POINTER]]" + std::string(4000, 'f') : "short")
    {
        if (what == FloodOf::LinesToOne) to = {"c5"};
    }
    void Run(double seconds)
    {
        for (const Time begun = Clock::now(); Since(begun) < seconds * 1000;) try {
                RawClient client(daemon.Port());
                if (client.Login(handle, "secret", 77).result() != zephyl::RESULT_OK) continue;
                client.Enter("ROOM01", false);
                while (Since(begun) < seconds * 1000) client.Post(++sent, text, to);
            } catch (const std::exception&) {
                ++thrownOut;  // it is not read any more, or not there any more
            }
    }
    const Daemon& daemon;
    const std::string handle, text;
    std::vector<std::string> to;
    std::uint64_t sent = 0;
    int thrownOut = 0;
};

/// Sits there and answers each line at once, as a client does.
class Answerer {
public:
    explicit Answerer(const Daemon& daemon, std::atomic<int>& lines)
        : mClient(daemon.Port()), mLines(lines), mThread([this] { Run(); })
    {
    }
    ~Answerer()
    {
        mStop = true;
        mThread.join();
    }

private:
    void Run()
    try {
        mClient.readAlong = true;
        mClient.Login("c5", "secret", 5);
        mClient.Enter("ROOM01", false);
        for (std::uint64_t number = 0; !mStop;) {
            const auto next = mClient.Next();
            const zephyl::Item& item = next.header.item();
            if (!next.header.has_item() || !item.has_text() || item.from() != "c4") continue;
            ++mLines;
            mClient.Post(++number, "[[ZUM_MESSAGE_RECEIVIED]]", {"c4"});
        }
    } catch (const std::exception&) {
        // put out, which the count of lines shows
    }

    zephyl::RawClient mClient;
    std::atomic<int>& mLines;
    std::atomic<bool> mStop{false};
    std::thread mThread;
};

void AtFullSpeed(Run& run, Outcome& outcome, FloodOf what)
{
    const double seconds = run.Form(6, 60);
    Daemon daemon(6, u"flood_seconds = %1\n"_s.arg(run.Form(2, 30)));
    std::atomic<int> flood{0};
    Crowd crowd = Gather(daemon, 4, [&](Client& one) {
        if (one.Number() == 1 && what == FloodOf::Records)
            one.onText = [&](int sender, const QString&) { flood += sender == 4; };
    });
    std::optional<Answerer> answerer;
    if (what == FloodOf::LinesToOne) answerer.emplace(daemon, flood);
    SetLoad(crowd, {5, 2});
    crowd[0]->SetLoad({45, 10});  // lively, and within what anybody may send
    const Time calm = Clock::now();
    Sleep(run.Form(1500, 20'000));
    const Time begun = Clock::now();
    Flooder flooder(daemon, 4, what);
    std::thread thread([&] { flooder.Run(seconds); });
    thread.join();
    const Time over = Clock::now();
    SetLoad(crowd, {});
    outcome.Must(AtRest(crowd), u"it does not come to rest"_s);
    for (const auto& one : crowd)
        one->Do(
            [&] { std::erase_if(one->entries.back().presence, [](auto& seen) { return seen.first >= 4; }); });
    Demand(outcome, JudgeAll(crowd));
    std::uint64_t cuts = 0;
    int held = 0;
    for (const auto& one : crowd) cuts += one->cuts, held += one->heldBack;
    std::vector<double> before = Latencies(crowd, Talk, calm, begun),
                        during = Latencies(crowd, Talk, begun, over);
    for (const double one : Latencies(crowd, Board, calm, begun)) before.push_back(one);
    for (const double one : Latencies(crowd, Board, begun, over)) during.push_back(one);
    const double p99 = Percentile(before, 99), p99Now = Percentile(during, 99);
    const int detached = daemon.Logged("sends too much");
    const double allowed = (300 + 60 * seconds) * (1 + detached);
    outcome.Figure(
        u"one at full speed for %1 s: %2 of its items reached the others, put out %3 times"_s.arg(seconds)
            .arg(flood)
            .arg(detached));
    outcome.Figure(u"p99 of the others %1 before, %2 meanwhile (%3x of 1.5x); cut off: %4; held back: %5"_s
                       .arg(Milliseconds(p99), Milliseconds(p99Now))
                       .arg(p99Now / p99, 0, 'f', 2)
                       .arg(cuts)
                       .arg(held));
    outcome.Must(detached > 0, u"it was not put out"_s);
    outcome.Must(flood > 0 && flood <= allowed, u"%1 of its items were taken"_s.arg(flood));
    outcome.Must(cuts == 0 && held == 0, u"an honest user was slowed down"_s);
    outcome.Soon(p99Now <= 1.5 * p99, u"the others notice it"_s);
}

}  // namespace

std::vector<Goal> StrangerGoals()
{
    constexpr auto kEither = Goal::On::OneOrThree;
    return {{"S3", "wrong logins from many addresses", WrongLogins, kEither},
            {"S3a", "wrong logins of one account", WrongLoginsOfOne, kEither},
            {"S7", "guessing meeting codes", WrongCodes, kEither},
            {"S10", "silent and slow connections", SilentConnections},
            {"S12", "one attendee at full speed",
             [](Run& run, Outcome& outcome) { AtFullSpeed(run, outcome, FloodOf::Records); }},
            {"S12a", "the same with short lines to one who answers",
             [](Run& run, Outcome& outcome) { AtFullSpeed(run, outcome, FloodOf::LinesToOne); }}};
}

}  // namespace reliability
