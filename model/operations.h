#pragma once
// What happens to one meeting in a random run: pure data drawn from a seed, so that the model of the message
// path and the real programs can be driven by the same list.

#include <cstdint>
#include <string>
#include <vector>

namespace model {

inline constexpr int kClients = 4;  // handles 0 to 3; a set of handles is a bit mask

enum Channel { Talk, Board };
/// TakeBack: all marks of one handle go, in one step. The last three are what the relay itself says:
/// presence 5, presence 0, a notice.
enum class Kind { Line, Draw, Clear, Undo, Redo, TakeBack, Pointer, Came, Went, Notice };

enum class Act {
    Join,        // the user enters; bit 0 of `how`: after a new login; bit 1: with create
    Leave,       // the user leaves
    KillClient,  // the process dies with its outbox
    Post,  // `amount` items of `kind` to `list`, 0: everyone; `how` 0: the first is one the relay refuses;
           // TakeBack: of handle `how`, modulo their number
    Take,  // the user interface takes at most `amount` events
    Cut,   // of what is on its way `amount` messages still arrive upwards and `how` downwards
    Up,    // at most `amount` messages reach the relay; `how` odd: older connections lag (time passes)
    Down,  // at most `amount` items leave the relay and reach the client (time passes)
    Sync,  // one sync of the log ends, the next begins (time passes)
    GraceOver,  // a detached seat goes away
    SeatOver,   // a seat that is away is gone
    KillRelay,  // kill -9 and a restart
    PowerCut,   // the same, and unsynced tails are lost; `amount`, `how`, `list` say how much of each file
    Notice,     // the relay has something to say to all
    Settle,     // everything heals and comes to rest
};

struct Operation {
    Act act = Act::Settle;
    int client = 0;
    unsigned amount = 0, how = 0;
    Kind kind = Kind::Line;
    unsigned list = 0;
};

/// The same list for the same seed on every machine.
std::vector<Operation> Operations(std::uint64_t seed);
/// One line, for the report of a failure.
std::string Describe(const Operation& operation);

}  // namespace model
