#include "model/operations.h"

#include <random>

namespace model {
namespace {

/// How often each act is drawn. `storm` multiplies what goes wrong; some runs have no power cuts at all,
/// because only they promise one order for everybody.
struct Weights {
    unsigned storm, powerCuts, calm, drawing;
    Act Draw(std::mt19937_64& random) const
    {
        const struct {
            Act act;
            unsigned weight;
        } table[] = {{Act::Post, 24},
                     {Act::Take, 10},
                     {Act::Up, 12},
                     {Act::Down, 12},
                     {Act::Sync, 8},
                     {Act::Join, 8},
                     {Act::Settle, 2 + 10 * calm},
                     {Act::Leave, 2},
                     {Act::KillClient, 1},
                     {Act::Cut, 3 * storm},
                     {Act::GraceOver, storm},
                     {Act::SeatOver, 1},
                     {Act::KillRelay, storm},
                     {Act::PowerCut, powerCuts},
                     {Act::Notice, 1}};
        unsigned sum = 0;
        for (const auto& row : table) sum += row.weight;
        unsigned at = unsigned(random() % sum);
        for (const auto& row : table) {
            if (at < row.weight) return row.act;
            at -= row.weight;
        }
        return Act::Settle;
    }
    Kind What(std::mt19937_64& random) const
    {
        if (random() % 4 >= drawing) return Kind::Line;
        const Kind kinds[] = {Kind::Draw,  Kind::Draw, Kind::Draw, Kind::Draw, Kind::Draw,     Kind::Draw,
                              Kind::Clear, Kind::Undo, Kind::Undo, Kind::Redo, Kind::TakeBack, Kind::Pointer};
        return kinds[random() % std::size(kinds)];
    }
};

}  // namespace

std::vector<Operation> Operations(std::uint64_t seed)
{
    std::mt19937_64 random(seed);
    const unsigned clients = 2 + unsigned(random() % (kClients - 1));
    const Weights weights{1 + unsigned(random() % 3), random() % 2 ? 1 + unsigned(random() % 3) : 0,
                          unsigned(random() % 2), 1 + unsigned(random() % 3)};
    std::vector<Operation> list{{Act::Join, 0, 0, 3}, {Act::Join, 1, 0, 1}, {Act::Settle}};
    for (std::size_t steps = 30 + random() % 90; list.size() < steps;) {
        Operation next{weights.Draw(random),    int(random() % clients), unsigned(random() % 8),
                       unsigned(random() % 16), weights.What(random),    0};
        if (random() % 3 == 0) next.list = unsigned(random() % (1u << clients));
        const bool burst = next.act != Act::Cut && random() % 4 == 0;
        if (burst) next.amount += 20;
        list.push_back(next);
        if (next.act == Act::Post && weights.calm) list.push_back({Act::Settle});
        // Misfortunes seldom come alone: a sender dies, and with it what it could have sent again.
        if (next.act == Act::KillClient && weights.powerCuts) {
            next.act = Act::PowerCut;
            list.push_back(next);
        }
    }
    return list;
}

std::string Describe(const Operation& operation)
{
    static const char* const acts[] = {"Join",     "Leave",     "KillClient", "Post",   "Take",
                                       "Cut",      "Up",        "Down",       "Sync",   "GraceOver",
                                       "SeatOver", "KillRelay", "PowerCut",   "Notice", "Settle"};
    static const char* const kinds[] = {"Line", "Draw", "Clear", "Undo", "Redo", "TakeBack", "Pointer"};
    return std::string(acts[int(operation.act)]) + " client " + std::to_string(operation.client) +
           " amount " + std::to_string(operation.amount) + " how " + std::to_string(operation.how) +
           " kind " + kinds[int(operation.kind)] + " list " + std::to_string(operation.list);
}

}  // namespace model
