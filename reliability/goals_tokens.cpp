// Frames and tokens used a second time.

#include "reliability/judge.h"
#include "service/relay/raw_client.h"

using namespace Qt::StringLiterals;

namespace reliability {
namespace {

using zephyl::RawClient;

/// In the meeting, under a stream of its own.
struct Member {
    Member(const Daemon& daemon, const std::string& handle, bool create)
        : client(std::make_unique<RawClient>(daemon.Port()))
    {
        if (client->Login(handle, "secret", std::hash<std::string>()(handle) | 1).result() !=
            zephyl::RESULT_OK)
            throw std::runtime_error("login refused");
        place = client->Enter("ROOM1", create).place();
    }
    std::unique_ptr<RawClient> client;
    zephyl::Place place;
};

bool Accepted(const Daemon& daemon, const zephyl::Place& place)
{
    RawClient stranger(daemon.Port());
    return stranger.Resume(place, {}).result() == zephyl::RESULT_OK;
}

/// Resumes, and uses the old token up with the first frame. Returns the place with that old token.
zephyl::Place UseUp(const Daemon& daemon, Member& member)
{
    zephyl::Place used = member.place;
    member.client = std::make_unique<RawClient>(daemon.Port());
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

void UsedTokensAndFrames(Run& run, Outcome& outcome)
{
    const int rounds = run.Form(20, 1000);
    Daemon daemon(3, u"connections_per_address = 10000\nconnections_before_login = 10000\n"_s);
    Member alice(daemon, "c0", true), bob(daemon, "c1", false);
    bob.client->readAlong = true;
    int tokens = 0, accepted = 0, frames = 0;
    std::uint64_t number = 0;
    std::vector<std::string> expected, heard;
    for (int i = 0; i < rounds; ++i) {
        const zephyl::Place used = UseUp(daemon, alice);
        accepted += Accepted(daemon, used);
        accepted += Accepted(daemon, Forged(run, alice.place, bob.place));
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
}

}  // namespace

std::vector<Goal> TokenGoals()
{
    return {{"S9", "replayed frames, used and foreign resume tokens", UsedTokensAndFrames}};
}

}  // namespace reliability
