#pragma once
// Four clients, a relay and the network between them; applies operations and looks whether promises hold.

#include "model/link.h"
#include "model/relay.h"

namespace model {

class World {
public:
    explicit World(Fault fault);
    void Apply(const Operation& operation);
    void Settle();
    std::string Failure() const { return mWitness.Broken(); }

private:
    void Post(const Operation& operation);
    bool Up(Connection& connection, std::size_t most);
    bool Down(Connection& connection, std::size_t most);
    void CutAll();
    void CheckBoards();
    template <class Do>
    void Each(int client, bool newestOnly, Do act);  // of a client's connections

    Witness mWitness;
    const Fault mFault;
    Relay mRelay;
    std::vector<Link> mLinks;
    std::vector<std::unique_ptr<Connection>> mConnections;
    std::uint64_t mStreams = 0;
    // What a power cut takes from the log's end comes again under higher numbers. Who had seen it has it
    // where it was, until the user enters anew: such histories are not compared.
    bool mUnsafe = false;  // something was drawn since all was safe
    unsigned mReordered = 0;
};

/// What is wrong after these operations and a rest; empty: nothing.
std::string Outcome(const std::vector<Operation>& operations, Fault fault = Fault::None);
/// A shorter list that fails as well.
std::vector<Operation> Shrink(std::vector<Operation> operations, Fault fault = Fault::None);

}  // namespace model
