#include "model/world.h"

#include <algorithm>

namespace model {

World::World(Fault fault) : mFault(fault), mRelay(mWitness, fault)
{
    const auto connect = [this](int handle) {
        mConnections.push_back(std::make_unique<Connection>());
        mConnections.back()->client = handle;
        return mConnections.back().get();
    };
    for (int handle = 0; handle < kClients; ++handle) mLinks.emplace_back(handle, mWitness, connect, fault);
}

template <class Do>
void World::Each(int client, bool newestOnly, Do act)
{
    Connection* newest = nullptr;
    for (const auto& connection : mConnections)
        if (connection->client == client) newest = connection.get();
    for (std::size_t i = 0; i < mConnections.size(); ++i)
        if (mConnections[i]->client == client && (!newestOnly || mConnections[i].get() == newest))
            act(*mConnections[i]);
    std::erase_if(mConnections, [](const auto& c) { return !c->linkOpen && !c->relayOpen; });
}

void World::Apply(const Operation& operation)
{
    const int who = operation.client;
    Link& link = mLinks[std::size_t(who)];
    const unsigned amount = operation.amount;
    switch (operation.act) {
        case Act::Join:
            if (!link.Wants()) mReordered &= ~(1u << who);
            return link.Join(operation.how & 1, operation.how & 2, ++mStreams);
        case Act::Leave: return link.Leave();
        case Act::KillClient: return link.Kill();
        case Act::Post: return Post(operation);
        case Act::Take: link.Take(amount + 1); return;
        case Act::Cut:
            if (link.At())
                Each(who, false, [&](Connection& c) {
                    if (c.linkOpen) c.Cut(amount, operation.how);
                });
            if (amount & 1) link.Run();
            return;
        case Act::Up: link.Run(); return Each(who, operation.how & 1, [&](Connection& c) { Up(c, amount); });
        case Act::Down: return Each(who, operation.how & 1, [&](Connection& c) { Down(c, amount); });
        case Act::Sync: mRelay.Sync(); return;
        case Act::GraceOver: return mRelay.GraceOver(who);
        case Act::SeatOver: return mRelay.GraceOver(who), mRelay.SeatOver(who);
        case Act::KillRelay: CutAll(); return mRelay.Kill();
        case Act::PowerCut:
            if (mUnsafe) mReordered = ~0u;
            CutAll();
            return mRelay.PowerCut(amount, operation.how, operation.list);
        case Act::Notice: return mRelay.Notice();
        case Act::Settle: return Settle();
    }
}

void World::Post(const Operation& operation)
{
    const int who = operation.client;
    const unsigned self = 1u << who, list = operation.list & ~self;
    Link& link = mLinks[std::size_t(who)];
    if (!mWitness.In(who) || (operation.list && !list)) return;
    for (unsigned i = 0; i <= operation.amount; ++i) {
        const bool bad = operation.how == 0 && i == 0;
        Item item{.kind = operation.kind, .bad = bad};
        // A list would be drawn by some only.
        if (ChannelOf(item.kind) == Board && list) item.kind = Kind::Pointer;
        if (item.kind == Kind::TakeBack) item.whom = int(operation.how) % kClients;
        const bool refused = bad || (item.kind == Kind::TakeBack && !link.Starts());
        mUnsafe = mUnsafe || ChannelOf(item.kind) == Board;
        item.id = mWitness.Posts(who, item.kind, list, refused);
        link.Post(item, list);
    }
    link.EndTurn();
}

bool World::Up(Connection& c, std::size_t most)
{
    bool any = false;
    for (; most > 0 && c.relayOpen && !c.up.empty(); --most, any = true) {
        const Message message = c.up.front();
        c.up.pop_front();
        mRelay.Handle(c, message);
    }
    if (most == 0 || !c.relayOpen || (!c.broken && c.linkOpen)) return any;
    c.relayOpen = false;  // the end of what arrived
    mRelay.Lost(c);
    return true;
}

bool World::Down(Connection& c, std::size_t most)
{
    bool any = false;
    for (std::size_t i = 0, idle = 0; i < most && c.relayOpen && idle < 2; ++i) {
        const bool wrote = mRelay.Write(c, Channel(i % 2));
        any |= wrote;
        idle = wrote ? 0 : idle + 1;
    }
    Link& link = mLinks[std::size_t(c.client)];
    for (; most > 0 && c.linkOpen && !c.down.empty(); --most, any = true) {
        const Message message = c.down.front();
        c.down.pop_front();
        if (link.At() == &c) link.Receive(message);
    }
    if (most == 0 || !c.linkOpen || (!c.broken && c.relayOpen)) return any;
    c.linkOpen = false;
    if (link.At() == &c) link.Lost();
    return true;
}

/// The relay is gone: nothing arrives there any more, what it had sent may still arrive.
void World::CutAll()
{
    for (const auto& connection : mConnections)
        connection->Cut(0, ~std::size_t(0)), connection->relayOpen = false;
}

void World::Settle()
{
    int rounds = 0, quiet = 0;
    for (; quiet < 3 && rounds < 300; ++rounds) {
        bool any = false;
        for (int who = 0; who < kClients; ++who) {
            Link& link = mLinks[std::size_t(who)];
            any |= link.Run();
            Each(who, false, [&](Connection& c) { any |= Up(c, 1000); });
            Each(who, false, [&](Connection& c) { any |= Down(c, 1000); });
            any |= link.Take(1000);
            if (!link.Wants()) mRelay.GraceOver(who);
        }
        any |= mRelay.Sync();
        quiet = any ? 0 : quiet + 1;
    }
    if (quiet < 3) mWitness.Breaks("never comes to rest");
    mWitness.AtRest(mRelay.Log());
    unsigned in = 0;
    for (int who = 0; who < kClients; ++who) in |= mWitness.In(who) ? 1u << who : 0;
    for (int who = 0; who < kClients; ++who) {
        const Link& link = mLinks[std::size_t(who)];
        if (link.Wants() && (link.Held() | 1u << who) != in)
            mWitness.Breaks("wrong attendees at " + std::to_string(who));
        if (!link.Empty()) mWitness.Breaks("something stays in the outbox of " + std::to_string(who));
    }
    CheckBoards();
    mUnsafe = false;
}

/// Everybody has the history of one who saw everything, though some drew across each other, some came late,
/// and the log was trimmed.
void World::CheckBoards()
{
    History whole;
    for (const Item& item : mRelay.Log().everything) whole.Apply(item, item.from);
    for (int who = 0; who < kClients; ++who) {
        const Link& link = mLinks[std::size_t(who)];
        if (!mWitness.In(who)) continue;
        if (!link.AllPlaced()) mWitness.Breaks("own strokes without a place at " + std::to_string(who));
        if (mReordered >> who & 1) continue;
        if (!(link.Drawn() == whole)) mWitness.Breaks("another history at client " + std::to_string(who));
    }
}

std::string Outcome(const std::vector<Operation>& operations, Fault fault)
{
    World world(fault);
    for (const Operation& operation : operations) {
        world.Apply(operation);
        if (!world.Failure().empty()) return world.Failure();
    }
    world.Settle();
    return world.Failure();
}

std::vector<Operation> Shrink(std::vector<Operation> operations, Fault fault)
{
    for (std::size_t part = operations.size() / 2; part > 0; part /= 2)
        for (std::size_t at = 0; at + part <= operations.size();) {
            std::vector<Operation> fewer = operations;
            fewer.erase(fewer.begin() + long(at), fewer.begin() + long(at + part));
            if (Outcome(fewer, fault).empty())
                at += part;
            else
                operations = std::move(fewer);
        }
    return operations;
}

}  // namespace model
