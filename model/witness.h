#pragma once
// Knows what every user did and saw, nothing of how it travelled, and says what was promised and not kept.
// A harness around the real programs can feed it the same way.

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "model/meeting_log.h"

namespace model {

/// A board's undo history: pictures by what was drawn into them, 11 at most.
class History {
public:
    /// `by` drew it, or did it.
    void Apply(const Item& item, int by);
    friend bool operator==(const History&, const History&);

private:
    /// The newest of the marks on a board, and what they lie on.
    struct Mark;
    using Picture = std::shared_ptr<const Mark>;  // null: white
    struct Mark {
        int id, by;
        Picture beneath;
        std::uint64_t sum;  // of all of them, in order
    };
    static std::uint64_t SumOf(const Picture& picture) { return picture ? picture->sum : 0; }
    static Picture With(const Picture& picture, int id, int by);
    static Picture Without(const Picture& picture, int by);

    Picture mPicture;
    std::vector<Picture> mEntries{nullptr};
    std::size_t mIndex = 0;
};

class Witness {
public:
    // What users do. Posts returns the name of the new item.
    int Posts(int sender, Kind kind, unsigned list, bool bad);
    void Begins(int client, int meeting);
    /// `pending`: what was in the outbox; it is named to the user, or died with the process.
    void Ends(int client, const std::vector<int>& pending);
    void Refused(int client, int id);
    // What users see. Own items are never taken.
    void Takes(int client, const Item& item);
    void SeesLeave(int client, int who);
    void IsTold(int client, Channel channel, Sequence upTo);  // that something is missing
    // What the harness does or knows.
    void Appended(int id, Sequence sequence) { mPosts[id].sequence = sequence; }
    void PowerFails() { mPowerCuts = true; }
    void MayLeave(unsigned who) { mMayLeave |= who; }
    void MayMiss(unsigned who) { mMayMiss |= who; }
    /// At rest: everybody has what was owed, and what the log keeps. Empty when nothing is wrong so far.
    std::string AtRest(const MeetingLog& log);
    const std::string& Broken() const { return mBroken; }
    void Breaks(const std::string& what)
    {
        if (mBroken.empty()) mBroken = what;
    }
    bool In(int client) const { return mEntries[client].id != 0; }

private:
    struct Post {
        int sender, entry;
        Kind kind;
        unsigned list;
        bool bad;
        int owed[kClients];
        bool named;
        Sequence sequence;
    };
    struct Entry {
        int id = 0, meeting = 0;
        std::set<int> seen;
        std::vector<int> board;      // in the order of taking
        std::map<int, int> last[2];  // newest item by sender
        std::set<Sequence> said;
        Cursor told{};
    };
    bool Excused(const Post& post, int reader, const MeetingLog& log) const;
    void CheckOneOrder();

    std::map<int, Post> mPosts;
    Entry mEntries[kClients];
    int mNextEntry = 0;
    bool mPowerCuts = false;
    unsigned mMayLeave = 0, mMayMiss = 0;
    std::string mBroken;
};

}  // namespace model
