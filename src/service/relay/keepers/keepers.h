#pragma once
// What a relay has of the others that share its meetings: who they are, who keeps what, and the ways of
// clients to the keepers of their meetings.

#include <boost/asio/io_context.hpp>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "service/relay/cluster/engine.h"
#include "service/relay/cluster/other_relays.h"
#include "service/relay/cluster/removals.h"
#include "service/relay/keepers/cluster_facts.h"
#include "service/relay/keepers/leases.h"
#include "service/relay/keepers/lines.h"
#include "service/relay/keepers/membership.h"
#include "service/relay/meeting/shared_meetings.h"

namespace zephyl {

class Directory;
struct LogRoom;

class Keepers final : public SharedMeetings, public OtherRelays {
public:
    /// `named`: where other relays may be that have not been heard of yet.
    Keepers(boost::asio::io_context& io, std::unique_ptr<Engine> engine, LogRoom& logs, spdlog::logger& log,
            Membership::Own own, std::vector<std::string> named, ClusterTimes times);
    ~Keepers() override;

    struct Ways {
        Lines::Opened opened;              // a client of another relay comes
        std::function<void(bool)> cutOff;  // as Membership tells it
        std::function<void()> changed;     // what Addresses tells
        /// Another relay wants to know how this one is.
        std::function<boost::asio::awaitable<words::Told>()> look;
        std::function<void(const std::string& address, int blame)> blames;  // on a thread of the engine's
    };
    /// Once.
    void Start(Directory& directory, Ways ways);
    /// It takes no more meetings, and the others know.
    void Drain() { mMembers->Drain(); }
    /// It has not given all of them back.
    bool KeepsAny() const { return mLeases.Any(); }
    /// Nothing is heard and written any more. When no thread of the relay's runs.
    void Stop();

    // --- any thread ---
    const std::shared_ptr<Lines>& TheLines() const { return mLines; }
    std::vector<std::string> Addresses() const override;
    /// Where clients of the keeper's meetings may come; "": nowhere.
    std::string RoomAt(const RelayId& keeper) const { return mMembers->RoomAt(keeper); }
    /// All other relays hear it, if they are there.
    void TellBlame(const std::string& address, int blame);
    /// Its clients are better served elsewhere.
    bool TakesNobody() const { return mMembers->TakesNobody(); }

    /// What this relay knows of the others and the engine, by itself.
    boost::asio::awaitable<ClusterFacts> Facts();
    /// Adds what the others tell of themselves and of the meetings that they keep; `own`: those of this one.
    boost::asio::awaitable<ClusterFacts> AllFacts(ClusterFacts facts, std::vector<MeetingFacts> own);

    boost::asio::awaitable<CodeLease> Look(std::string code) override;
    boost::asio::awaitable<std::optional<std::uint64_t>> Name(MeetingHead head) override;
    boost::asio::awaitable<Named> CodeOf(std::string meeting) override;
    boost::asio::awaitable<std::unique_ptr<Admission>> AdmitElsewhere(std::shared_ptr<Session> session,
                                                                      bool again) override;
    boost::asio::awaitable<Done> KickThere(RelayId keeper, MeetingHead meeting, std::string handle,
                                           Back back) override;
    boost::asio::awaitable<Done> CloseThere(RelayId keeper, MeetingHead meeting) override;
    void Forget(const MeetingHead& head, Told told) override;
    void Release(const MeetingHead& head) override;
    void Lost(const MeetingHead& head, std::uint64_t epoch) override { mLeases.Drop(head, epoch); }
    bool MayDecide() const override { return mMembers->MayDecide(); }
    std::unique_ptr<MeetingLog> Log(const MeetingHead& head, std::uint64_t epoch, const RelayBounds& bounds,
                                    Post post, std::function<void(bool refused)> trouble,
                                    std::function<void()> fenced) override;

private:
    /// A login that is being asked for, until it is there.
    struct Asking {
        std::uint64_t stream = 0, lot = 0;
        bool again = false;
        bool beaten = false;
    };
    struct AllAsking {
        std::mutex mutex;
        std::multimap<std::string, std::shared_ptr<Asking>> byKey;  // the folded handle
    };
    class Pending;
    void Heard(const EngineWord& word);
    boost::asio::awaitable<void> Reply(words::Question question, std::string answerTo);
    boost::asio::awaitable<words::Answer> AnswerTo(words::Question question);
    boost::asio::awaitable<words::Answer> Admit(words::Question::Admit asked);
    /// Of all others that answer.
    boost::asio::awaitable<std::vector<words::Answer>> AskAll(words::Question question);
    boost::asio::awaitable<Done> AskDone(RelayId relay, words::Question question);
    boost::asio::awaitable<bool> ForgetAll(MeetingHead head);
    void LookAround();
    boost::asio::awaitable<void> SeeTo(std::string code);

    boost::asio::io_context& mIo;
    std::unique_ptr<Engine> mEngine;
    LogRoom& mLogs;
    spdlog::logger& mLog;
    const std::vector<std::string> mNamed;
    const std::shared_ptr<Membership> mMembers;
    Leases mLeases;
    const std::shared_ptr<Removals> mRemovals;
    const std::shared_ptr<Lines> mLines;
    Directory* mDirectory = nullptr;
    Ways mWays;
    std::set<std::string> mLiving;  // where clients may go, as it was told last
    std::mutex mSeeing;
    std::set<std::string> mSeenTo;  // codes of meetings that nobody kept, while they are
    Engine::Ears mQuestions, mBlames;
    std::shared_ptr<boost::asio::steady_timer> mTimer;
    const std::shared_ptr<AllAsking> mAsking = std::make_shared<AllAsking>();
};

}  // namespace zephyl
