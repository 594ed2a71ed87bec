#include "model/witness.h"

#include <algorithm>

namespace model {

History::Picture History::With(const Picture& picture, int id, int by)
{
    return std::make_shared<const Mark>(
        Mark{id, by, picture, SumOf(picture) * 1099511628211u + std::uint64_t(id)});
}

History::Picture History::Without(const Picture& picture, int by)
{
    std::vector<const Mark*> stay;
    for (const Mark* mark = picture.get(); mark; mark = mark->beneath.get())
        if (mark->by != by) stay.push_back(mark);
    Picture left;
    for (auto mark = stay.rbegin(); mark != stay.rend(); ++mark) left = With(left, (*mark)->id, (*mark)->by);
    return left;
}

bool operator==(const History& one, const History& other)
{
    const auto same = [](const auto& a, const auto& b) { return History::SumOf(a) == History::SumOf(b); };
    return one.mIndex == other.mIndex && same(one.mPicture, other.mPicture) &&
           std::equal(one.mEntries.begin(), one.mEntries.end(), other.mEntries.begin(), other.mEntries.end(),
                      same);
}

void History::Apply(const Item& item, int by)
{
    const Kind kind = item.kind;
    if (Changes(kind)) {
        mPicture = kind == Kind::Clear      ? nullptr
                   : kind == Kind::TakeBack ? Without(mPicture, item.whom)
                                            : With(mPicture, item.id, by);
        mEntries.resize(mIndex + 1);
        mEntries.push_back(mPicture);
        if (mEntries.size() > 11) mEntries.erase(mEntries.begin());
        mIndex = mEntries.size() - 1;
    } else if (kind == Kind::Undo || kind == Kind::Redo) {
        if (kind == Kind::Undo && mIndex > 0) --mIndex;
        if (kind == Kind::Redo && mIndex + 1 < mEntries.size()) ++mIndex;
        mPicture = mEntries[mIndex];
    }
}

int Witness::Posts(int sender, Kind kind, unsigned list, bool bad)
{
    Post post{sender, mEntries[sender].id, kind, list, bad, {}, false, 0};
    for (int reader = 0; reader < kClients; ++reader) {
        const Entry& entry = mEntries[reader];
        const bool meant = reader != sender && (list == 0 || (list >> reader & 1));
        if (meant && !bad && entry.id && entry.meeting == mEntries[sender].meeting)
            post.owed[reader] = entry.id;
    }
    const int id = int(mPosts.size()) + 1;
    mPosts.emplace(id, post);
    return id;
}

void Witness::Begins(int client, int meeting)
{
    mEntries[client] = Entry{++mNextEntry, meeting, {}, {}, {}, {}, {}};
}

void Witness::Ends(int client, const std::vector<int>& pending)
{
    for (const int id : pending) mPosts[id].named = true;
    mEntries[client] = Entry{};
    mMayLeave |= 1u << client;
}

void Witness::Refused(int client, int id)
{
    mPosts[id].named = true;
    if (!mPosts[id].bad) Breaks("client " + std::to_string(client) + " is told of a refusal that was none");
}

void Witness::Takes(int client, const Item& item)
{
    Entry& entry = mEntries[client];
    const std::string where = " at client " + std::to_string(client) + ", item " + std::to_string(item.id);
    if (item.id == 0) {
        if (!entry.said.insert(item.sequence).second) Breaks("a notice comes twice" + where);
        return;
    }
    const Post& post = mPosts[item.id];
    const Channel channel = ChannelOf(post.kind);
    if (!entry.seen.insert(item.id).second) Breaks("doubled" + where);
    if (entry.last[channel][post.sender] > item.id) Breaks("out of order" + where);
    entry.last[channel][post.sender] = item.id;
    if (channel == Board) entry.board.push_back(item.id);
    if (post.list && !(post.list >> client & 1)) Breaks("a whisper reaches a stranger" + where);
    if (post.bad) Breaks("refused, and delivered" + where);
    if (post.entry == entry.id) Breaks("the own item comes back" + where);
}

void Witness::SeesLeave(int client, int who)
{
    if (!(mMayLeave >> who & 1))
        Breaks("client " + std::to_string(client) + " sees " + std::to_string(who) + " leave, who never did");
}

void Witness::IsTold(int client, Channel channel, Sequence upTo)
{
    mEntries[client].told[channel] = std::max(mEntries[client].told[channel], upTo);
    if (!(mMayMiss >> client & 1))
        Breaks("a gap is stated where none is, at client " + std::to_string(client));
}

/// A stated gap; or a board item that a later CLEAR has taken off the board for everybody.
bool Witness::Excused(const Post& post, int reader, const MeetingLog& log) const
{
    const Channel channel = ChannelOf(post.kind);
    const bool keptForAll = channel == Board && !post.list && post.kind != Kind::Pointer;
    if (!keptForAll) return post.sequence && post.sequence <= mEntries[reader].told[channel];
    const auto& kept = log.channel[Board].entries;
    return post.sequence && std::none_of(kept.begin(), kept.end(),
                                         [&](const Item& item) { return item.sequence == post.sequence; });
}

std::string Witness::AtRest(const MeetingLog& log)
{
    for (const auto& [id, post] : mPosts) {
        const std::string name = "item " + std::to_string(id) + " of " + std::to_string(post.sender);
        if (post.bad && !post.named) Breaks(name + " was refused and nobody was told");
        for (int reader = 0; reader < kClients; ++reader) {
            const Entry& entry = mEntries[reader];
            if (post.named || !entry.id || post.owed[reader] != entry.id || entry.seen.contains(id)) continue;
            if (!Excused(post, reader, log)) Breaks(name + " is lost at client " + std::to_string(reader));
        }
    }
    for (const Item& item : log.channel[Board].entries) {
        for (int reader = 0; reader < kClients && KeptForAll(item); ++reader) {
            const Entry& entry = mEntries[reader];
            if (!entry.id || entry.meeting != log.meeting || mPosts[item.id].entry == entry.id) continue;
            if (!entry.seen.contains(item.id))
                Breaks("kept item " + std::to_string(item.id) + " is not on the board of " +
                       std::to_string(reader));
        }
    }
    if (!mPowerCuts) CheckOneOrder();
    return mBroken;
}

void Witness::CheckOneOrder()
{
    const auto common = [](const Entry& one, const Entry& other) {
        std::vector<int> both;
        for (const int id : one.board)
            if (other.seen.contains(id)) both.push_back(id);
        return both;
    };
    for (int a = 0; a < kClients; ++a)
        for (int b = 0; b < a; ++b)
            if (common(mEntries[a], mEntries[b]) != common(mEntries[b], mEntries[a]))
                Breaks("clients " + std::to_string(a) + " and " + std::to_string(b) + " see two orders");
}

}  // namespace model
