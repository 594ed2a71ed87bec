#pragma once
// The engine in NATS servers: words are theirs, logs stand in a stream of JetStream, values in another one.

#include <boost/json/object.hpp>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "service/relay/cluster/handing_over.h"
#include "service/relay/cluster/jetstream.h"
#include "service/relay/cluster/nats_line.h"

namespace zephyl {

struct NatsSite {
    std::vector<NatsServer> servers;  // of one cluster
    unsigned replicas = 1;            // of everything that is kept, when the streams are made
    std::uint64_t logBytes = 0;       // at most; 0: as many as the servers allow
};

/// The stream in which all logs stand.
inline constexpr char kLogStream[] = "ZEPHYL_LOG";
/// That of a bucket's values.
std::string StreamOfBucket(const std::string& bucket);

class NatsEngine final : public NatsLine {
public:
    /// Connects by itself. Nothing is waited for.
    NatsEngine(NatsSite site, Open open, Say say);
    ~NatsEngine() override;

    void Look(GotFacts got) override;
    void Append(std::string subject, std::string bytes, std::uint64_t expectedLast, Stored stored) override;
    void Read(std::string subject, std::uint64_t from, std::size_t bytes, GotAll got) override;
    void Last(std::string subject, Got got) override;
    void Purge(std::string subject, std::uint64_t before, Done done) override;
    void Get(std::string bucket, std::string key, Got got) override;
    void Put(std::string bucket, std::string key, std::string bytes, std::uint64_t expected,
             Stored stored) override;
    void Remove(std::string bucket, std::string key, std::uint64_t expected, Stored stored) override;
    Ears Watch(std::string bucket, Seen seen, std::function<void()> all) override;

private:
    using ValueEar = Ear<const EngineEntry&, bool>;
    struct Reading;
    struct Erasing;
    struct Watching;

    bool Prepare() override;
    void BeginAnew() override;
    void LookAround() override;
    std::string Probe() const override;
    bool IsWell(const NatsMessage& answer) const override;
    void SeeWhoIsThere(bool everybody) override;
    /// Of each stream, and whether another one would better. With the lock held.
    void LookWhoLeads();
    void ListenWhoHandsOver();
    void HearWhoHandsOver(const EngineWord& word);
    /// When it is time.
    void HandOver(const std::string& stream);
    /// Each server that believes so says it, for a second.
    void AskWhoLeads(const std::string& stream, std::function<void(const jetstream::StreamFacts&)> said);
    using Made = std::function<void(const std::string& trouble)>;
    void MakeStream(boost::json::object config, Made made);
    void MakeBucket(const std::string& bucket, Made made);
    void WithBucket(const std::string& bucket, std::function<void(bool there)> then);
    /// As Request, of JetStream. While it has no leader nobody listens: that is said a moment later, for who
    /// tries again; and every server says it that knows of no leader, while another one may answer. A server
    /// that cannot reach the others is left.
    void AskJetStream(std::string subject, std::string bytes, NatsHeaders headers, TakeAnswer take,
                      Inbox inbox = Inbox::Shared);
    void Write(std::string subject, std::string bytes, std::uint64_t expected, bool removes, Stored stored);
    void GetLast(const std::string& stream, std::string subject, Got got);
    /// The first from `from` on, of the stream's leader: one question for each, but no consumer is made for
    /// it, which takes the leader of all streams. With the lock held.
    using GotNext = std::function<void(EngineResult, jetstream::StoredMessage)>;
    void GetNext(const std::string& stream, const std::string& subjects, std::uint64_t from, GotNext got);
    enum class What { Whole, Headers };
    /// Stops with the first from its end on.
    void StartReading(const std::shared_ptr<Reading>& reading, What what);
    bool BeginAgain(const std::shared_ptr<Reading>& reading);
    /// For who reads on. With the lock held.
    void Leave(const Reading& reading);
    void Fetch(const std::shared_ptr<Reading>& reading, bool one);
    /// Without a consumer, what is missing yet.
    void ReadOtherwise(const std::shared_ptr<Reading>& reading);
    void ReadEach(const std::shared_ptr<Reading>& reading, std::uint64_t from);
    void Finish(Reading& reading, EngineResult result);
    enum class Rest { Stays, IsNone };
    void PurgeUpTo(std::string subject, std::uint64_t end, Rest rest, Done done);
    /// At least one.
    void Erase(std::vector<EngineEntry> entries, Done done);
    /// A few of them. With the lock held.
    void EraseOn(const std::shared_ptr<Erasing>& erasing);
    void StartWatch(const std::shared_ptr<Watching>& watching);
    bool TakeWatched(const std::shared_ptr<Watching>& watching, std::uint64_t round,
                     const NatsMessage* message);
    void EndRound(Watching& watching);
    void QuitWatch(Watching& watching);
    void SeeChanges(Watching& watching, const EngineEntry& entry, bool removed);
    /// What its consumer does not tell.
    void LookForChanges(const std::shared_ptr<Watching>& watching);

    const unsigned mReplicas;
    const std::uint64_t mLogBytes;
    std::optional<Clock::time_point> mUnanswered;  // since when
    std::set<std::string> mBuckets;                // that there are
    struct Left {
        jetstream::Consumer consumer;
        std::uint64_t next = 0;    // sequence
        std::uint64_t number = 0;  // of what it gave last
        Clock::time_point since;
    };
    std::map<std::string, Left> mLeft;  // consumers, by subject
    std::vector<std::weak_ptr<Watching>> mWatching;
    std::map<std::string, jetstream::HandingOver> mLeading;  // by stream
    struct Handing {
        Clock::time_point since;
        bool everybodyIsThere = false;
    };
    std::map<std::string, Handing> mHanding;  // streams that this engine wants led by another server
    const std::string mName = jetstream::RandomWord();
    Ears mHandingEars;
    Clock::time_point mLedLast{};  // the logs' stream
    Clock::time_point mLookedWhoLeads{};
};

}  // namespace zephyl
