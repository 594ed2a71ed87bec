// Frames and tokens used a second time.

#include <poll.h>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>

#include "reliability/cluster.h"
#include "reliability/judge.h"
#include "service/relay/raw_client.h"

using namespace Qt::StringLiterals;

namespace reliability {
namespace {

namespace asio = boost::asio;
using zephyl::RawClient;

/// In the meeting, under a stream of its own.
struct Member {
    Member(const Site& site, const std::string& handle, bool create)
        : client(std::make_unique<RawClient>(site.Port()))
    {
        if (client->Login(handle, "secret", std::hash<std::string>()(handle) | 1).result() !=
            zephyl::RESULT_OK)
            throw std::runtime_error("login refused");
        place = client->Enter("ROOM01", create).place();
    }
    std::unique_ptr<RawClient> client;
    zephyl::Place place;
};

bool Accepted(const Site& site, const zephyl::Place& place)
{
    RawClient stranger(site.Port());
    return stranger.Resume(place, {}).result() == zephyl::RESULT_OK;
}

/// Resumes, and uses the old token up with the first frame. Returns the place with that old token.
zephyl::Place UseUp(const Site& site, Member& member)
{
    zephyl::Place used = member.place;
    member.client = std::make_unique<RawClient>(site.Port());
    const zephyl::Resumed resumed = member.client->Resume(used, used.position());
    if (resumed.result() != zephyl::RESULT_OK) throw std::runtime_error("a good token is refused");
    member.place = resumed.place();
    member.client->SendRead(0, 0);
    member.client->Quiet(zephyl::Header::kBye);
    return used;
}

/// A place that is not this token's: another seat, another meeting, another byte, another length.
zephyl::Place Forged(Run& run, const zephyl::Place& own, const zephyl::Place& other)
{
    zephyl::Place forged = own;
    std::string token = own.token();
    switch (run.Below(5)) {
        case 0: forged.set_token(other.token()); return forged;
        case 1: forged.set_seat(other.seat()); return forged;
        case 2: forged.set_meeting(std::string(own.meeting().size(), char(run.Below(256)))); return forged;
        case 3: token[run.Below(token.size())] ^= char(1 + run.Below(255)); break;
        default: token.resize(run.Below(token.size())); break;
    }
    forged.set_token(token);
    return forged;
}

// --- the bytes of a connection, as somebody on the road has them -----------------------------------------

/// Sends these bytes as a connection of their own. True: the service has ended it before it was silent so
/// long.
bool PlayAgain(const Site& site, const std::string& bytes, int milliseconds)
{
    asio::io_context io;
    asio::ip::tcp::socket socket(io);
    socket.connect({asio::ip::address_v4::loopback(), site.Port()});
    boost::system::error_code error;
    asio::write(socket, asio::buffer(bytes), error);  // it may be closed on the way
    pollfd readable{socket.native_handle(), POLLIN, 0};
    std::array<char, 16384> answer;
    while (!error && ::poll(&readable, 1, milliseconds) > 0) socket.read_some(asio::buffer(answer), error);
    return bool(error);
}

/// One of two clients is recorded; what it sent, or was sent, comes once more: as a connection of its own,
/// whole or cut off, and in the middle of a later connection.
void ReplayedConnections(Run& run, Outcome& outcome)
{
    const int rounds = run.Form(6, 150);
    const auto site = OpenSite(run, 2, u"connections_per_address = 1000\n"_s);
    Crowd crowd = Gather(*site, 2, [](Client& one) { one.proxy.Record(); });
    SetLoad(crowd, {20, 20});
    Client& victim = *crowd[0];
    int whole = 0, cut = 0, inserted = 0, open = 0;
    std::string up, down;
    for (int i = 0; i < rounds; ++i) {
        const std::uint64_t before = victim.sentCount;
        // A connection that has just come back may have said nothing yet.
        const auto goesOn = [&] {
            return victim.sentCount > before + 5 && !victim.proxy.Recorded(FaultProxy::Way::Up).empty() &&
                   !victim.proxy.Recorded(FaultProxy::Way::Down).empty();
        };
        outcome.Must(WaitFor(goesOn, 20), u"it does not go on"_s);
        const bool longEnough = up.size() < 30'000 || run.Below(2);  // the same one twice, too
        if (longEnough) up = victim.proxy.Recorded(FaultProxy::Way::Up);
        if (longEnough) down = victim.proxy.Recorded(FaultProxy::Way::Down);
        open += !PlayAgain(*site, up, 5000);
        ++whole;
        PlayAgain(*site, up.substr(0, run.Below(up.size())) + up.substr(run.Below(up.size())), 100);
        ++cut;
        const FaultProxy::Way way = run.Below(3) ? FaultProxy::Way::Up : FaultProxy::Way::Down;
        const std::string& bytes = way == FaultProxy::Way::Up ? up : down;
        const std::size_t from = run.Below(bytes.size());
        const std::uint64_t returns = victim.returns, streams = victim.proxy.Connections();
        victim.proxy.Insert(way, run.Below(2) ? bytes : bytes.substr(from, 1 + run.Below(5000)));
        ++inserted;
        // By HTTP a stream that was spoilt is only made anew.
        const auto ended = [&] {
            return LinkedAttendee::usual == Protocol::Http ? victim.proxy.Connections() > streams
                                                           : victim.returns > returns;
        };
        outcome.Must(WaitFor(ended, 20),
                     u"inserted bytes did not end the connection, or it does not come back"_s);
    }
    SetLoad(crowd, {});
    outcome.Must(AtRest(crowd), u"it does not come to rest"_s);
    Demand(outcome, JudgeAll(crowd));
    outcome.Must(open == 0, u"%1 replayed connections were left open"_s.arg(open));
    outcome.Must(site->Logged("logged in from") == 2, u"a replayed login was accepted"_s);
    outcome.Must(crowd[1]->cuts == 0, u"the other one was disturbed"_s);
    outcome.Figure(
        u"a recorded connection played again whole %1 and in pieces %2 times, inserted into a later one %3 "
        "times: 0 logins accepted"_s.arg(whole)
            .arg(cut)
            .arg(inserted));
}

void UsedTokensAndFrames(Run& run, Outcome& outcome)
{
    const int rounds = run.Form(20, 1000);
    const auto site =
        OpenSite(run, 3, u"connections_per_address = 10000\nconnections_before_login = 10000\n"_s);
    Member alice(*site, "c0", true), bob(*site, "c1", false);
    bob.client->readAlong = true;
    int tokens = 0, accepted = 0, frames = 0;
    std::uint64_t number = 0;
    std::vector<std::string> expected, heard;
    for (int i = 0; i < rounds; ++i) {
        const zephyl::Place used = UseUp(*site, alice);
        accepted += Accepted(*site, used);
        accepted += Accepted(*site, Forged(run, alice.place, bob.place));
        tokens += 2;
        // Sent again at random: on this connection, and on the next one everything of before.
        ++number;
        expected.push_back("c0: line " + std::to_string(number));
        for (std::uint64_t back = 1 + run.Below(4); back > 0; --back, ++frames) {
            const std::uint64_t which = back == 1 || run.Below(2) ? number : 1 + run.Below(number);
            alice.client->Post(which, "line " + std::to_string(which));
        }
        heard.push_back(bob.client->Texts(1).front());
    }
    alice.client->WaitAccepted(zephyl::CHANNEL_TALK, number);
    outcome.Must(heard == expected, u"other lines were applied than were said"_s);
    outcome.Must(bob.client->Quiet(zephyl::Header::kItem), u"something was applied twice"_s);
    outcome.Must(accepted == 0, u"%1 tokens were accepted"_s.arg(accepted));
    outcome.Figure(
        u"%1 used and foreign tokens: %2 accepted; %3 posts with %4 numbers: %5 applied, none twice"_s
            .arg(tokens)
            .arg(accepted)
            .arg(frames)
            .arg(number)
            .arg(heard.size()));
    ReplayedConnections(run, outcome);
}

}  // namespace

std::vector<Goal> TokenGoals()
{
    return {
        {"S9", "replayed frames, used and foreign resume tokens", UsedTokensAndFrames, Goal::On::OneOrThree}};
}

}  // namespace reliability
