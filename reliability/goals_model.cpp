// The operations that the model of the message path is played with, on two real links and boards: the same
// seeds, the same witness. At each rest both boards and histories are compared, at the end a newcomer's, too.

#include <signal.h>

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <set>

#include "messaging/record_kinds.h"
#include "model/operations.h"
#include "model/witness.h"
#include "reliability/cluster.h"
#include "reliability/judge.h"
#include "reliability/paper.h"
#include "service/link/link_messenger.h"

using namespace Qt::StringLiterals;

namespace reliability {
namespace {

using model::Act;
using model::Kind;

struct KindTag {
    Kind kind;
    const char* tag;
};
constexpr KindTag kTags[] = {
    {Kind::Line, "line "},           {Kind::Draw, "[[ZUM_WB_PEN]]"},   {Kind::Clear, "[[ZUM_WB_CLEAR]]"},
    {Kind::Undo, "[[ZUM_WB_UNDO]]"}, {Kind::Redo, "[[ZUM_WB_REDO]]"},  {Kind::Pointer, "[[ZUM_WB_POINTER]]"},
    {Kind::Draw, "[[ZUM_WB_BOX]]"},  {Kind::Draw, "[[ZUM_WB_CIRCLE]]"}};

/// In one corner of the board, so that they lie across each other. The colour is the id.
QString Drawing(int id)
{
    const int x = id * 37 % 160, y = id * 53 % 160;
    const QString segment = u"/%1/%2/%3/%4/%5"_s;
    QString record = u"[[ZUM_WB_PEN]]8"_s + segment.arg(x).arg(y).arg(x + 40).arg(y + 9).arg(id) +
                     segment.arg(x + 40).arg(y + 9).arg(x).arg(y + 30).arg(id);
    if (id % 4 == 0) record = u"[[ZUM_WB_BOX]]5"_s + segment.arg(x).arg(y).arg(x + 50).arg(y + 50).arg(id);
    if (id % 4 == 1) record = u"[[ZUM_WB_CIRCLE]]3"_s + segment.arg(x).arg(y).arg(x + 50).arg(y + 50).arg(id);
    return record.replace(u'/', QString::fromUtf16(kFieldSeparator));
}

QString TextOf(Kind kind, int id)
{
    if (kind == Kind::Draw) return Drawing(id);
    for (const KindTag& row : kTags)
        if (row.kind == kind) return QLatin1String(row.tag) + QString::number(id);
    return {};
}

std::uint64_t FromEnvironment(const char* name, std::uint64_t otherwise)
{
    const char* const value = std::getenv(name);
    return value ? std::strtoull(value, nullptr, 10) : otherwise;
}

/// Where the service listens now; it is killed and started again behind the players' backs.
class Address {
public:
    explicit Address(std::vector<std::uint16_t> doors) : mDoors(std::move(doors)) {}
    /// All proxies lead there from now on: whoever waits in a call cannot turn them round.
    void Set(std::vector<std::uint16_t> doors)
    {
        const std::lock_guard lock(mMutex);
        mDoors = std::move(doors);
        for (FaultProxy* proxy : mProxies) proxy->SetTargets(mDoors);
    }
    void Add(FaultProxy& proxy)
    {
        const std::lock_guard lock(mMutex);
        std::rotate(mDoors.begin(), mDoors.begin() + 1, mDoors.end());
        proxy.SetTargets(mDoors);
        mProxies.insert(&proxy);
    }
    void Remove(FaultProxy& proxy)
    {
        const std::lock_guard lock(mMutex);
        mProxies.erase(&proxy);
    }

private:
    std::mutex mMutex;
    std::vector<std::uint16_t> mDoors;
    std::set<FaultProxy*> mProxies;
};

/// One of the two. Its user interface is the thread that plays the sequence.
class Player final : private MessengerEvents {
public:
    Player(int self, QString handle, Address& address, const std::string& key, model::Witness& witness)
        : mSelf(self), mHandle(std::move(handle)), mAddress(address), mKey(key), mWitness(witness), mProxy(0)
    {
        mAddress.Add(mProxy);
    }
    ~Player() override { mAddress.Remove(mProxy); }

    bool In() const { return mIn; }
    const QString& Handle() const { return mHandle; }
    LinkedAttendee* At() { return mAttendee.get(); }
    FaultProxy& Proxy() { return mProxy; }
    void Turn()
    {
        if (mAttendee) mAttendee->Turn();
    }
    void Hold(bool held)
    {
        if (mAttendee) mAttendee->Hold(held);
    }
    std::string Standing() const
    {
        if (!mAttendee) return "is out";
        const LinkStats stats = StatsOf(*mAttendee->link);
        return "holds " + mAttendee->Handles().join(u" and "_s).toStdString() + ", " + mLast + ", " +
               std::to_string(stats.reconnects) + " reconnects";
    }
    bool Holds(const QString& other) const { return mAttendee && mAttendee->Handles().contains(other); }

    /// False: the service could not be asked just now.
    bool Join(const QString& code, bool anew, bool create)
    {
        if (!mAttendee) {
            paper = std::make_unique<Paper>();
            mAttendee = std::make_unique<LinkedAttendee>(u"127.0.0.1:%1"_s.arg(mProxy.Port()), mKey);
            mAttendee->watcher = this;
        }
        try {
            if (anew || !mAttendee->link->LoggedIn()) {
                mAttendee->link->Logout();
                refusal = "login";
                if (!mAttendee->Login(mHandle)) return false;
            }
            // Whoever asks for many codes that are none is slowed down: the first one creates.
            refusal = "refused";
            if (create ? !mAttendee->link->CreateMeeting(code, {}) : !mAttendee->link->JoinMeeting(code))
                return false;
        } catch (const std::exception& e) {
            refusal = e.what();
            return false;
        }
        mIn = true;
        mPending.clear();
        mWitness.Begins(mSelf, 1);
        return true;
    }
    /// With an empty outbox.
    void Leave()
    {
        mAttendee->link->LeaveMeeting();
        mIn = false;
        mWitness.Ends(mSelf, {});
        mAttendee->Turn();
    }
    /// As a process that dies: nothing more gets through.
    void Kill()
    {
        mProxy.Block(true);
        mProxy.Cut();
        mAttendee.reset();
        mProxy.Block(false);
        if (mIn) mWitness.Ends(mSelf, mPending);
        for (Posted& one : posted)
            one.perhaps |= std::find(mPending.begin(), mPending.end(), one.id) != mPending.end();
        mIn = false;
    }
    /// To everybody, or a whisper to the other one.
    void Post(Kind kind, const QString& other, bool whisper)
    {
        const bool together = Holds(other);
        if (!together && (whisper || kind == Kind::Line)) return;
        const unsigned list = whisper ? 1u << (1 - mSelf) : 0;
        const int id = mWitness.Posts(mSelf, kind, list, false);
        mWitness.Appended(id, model::Sequence(id));
        mPending.push_back(id);
        const QString text = TextOf(kind, id);
        if (whisper || kind == Kind::Line)
            mAttendee->link->Send(other, text);
        else if (IsMark(text))
            Draw(text, other);
        else
            HandOver(text, other);
        mAttendee->Turn();
        if (model::KeptForAll({.kind = kind, .everyone = !whisper})) posted.push_back({id, kind});
    }
    /// All that `whose` has drawn goes, where this one may say so. The witness knows nothing of it: the
    /// boards tell.
    void TakeBack(const QString& whose)
    {
        if (!mAttendee->link->StartedMeeting()) return;
        auto mark = std::make_shared<::Mark>(::Mark{{}, nullptr, {}, mHandle, {}});
        mark->takesBack = whose;
        Do(mark, [&] { mAttendee->link->TakeBack(whose); });
        mAttendee->Turn();
        ++takenBack;
    }
    void Mark(const QString& other, int mark)
    {
        mAttendee->link->Send(other, u"mark %1"_s.arg(mark));
        mAttendee->link->Send(other, u"[[ZUM_WB_POINTER]]mark %1"_s.arg(mark));
        mAttendee->Turn();
    }
    bool OutboxEmpty()
    {
        if (!mAttendee || StatsOf(*mAttendee->link).outbox == 0) return mPending.clear(), true;
        return false;
    }

    bool AllPlaced() const { return !mIn || paper->AllPlaced(); }
    std::unique_ptr<Paper> paper;  // of this process

    struct Posted {
        int id;
        Kind kind;
        bool perhaps = false;  // it died on its way, or had arrived
    };
    std::vector<Posted> posted;  // what is kept for whoever comes
    int takenBack = 0;           // times, all processes
    std::string refusal;         // why it could not enter
    int marks[2] = {0, 0};       // the last one of each channel

private:
    /// With the hand: others cross it, and may leave or come in the middle of a stroke.
    void Draw(const QString& record, const QString& other)
    {
        Do(std::make_shared<::Mark>(::Mark{record, nullptr, {}, mHandle, {}}),
           [&] { HandOver(record, other); });
    }
    void Do(const MarkPtr& mark, const std::function<void()>& handOver)
    {
        const auto post = [&]() -> quint64 {
            const quint64 before = mAttendee->link->LastBoardPost();
            handOver();
            const quint64 now = mAttendee->link->LastBoardPost();
            return now == before ? 0 : now;
        };
        paper->Draw(
            mark, [&] { mAttendee->Turn(); }, post);
    }
    void HandOver(const QString& record, const QString& other)
    {
        Holds(other) ? mAttendee->Draw(record) : mAttendee->link->Keep(record);
    }
    void BoardBegins(quint64 ownUpTo) override { paper->Begin(ownUpTo); }
    void OwnPlaced(quint64 post) override { paper->shared.Placed(post); }
    void OwnPassed(quint64 upTo) override { paper->shared.Passed(upTo); }
    void OwnLost(quint64 post) override { paper->shared.Lost(post); }
    void NewMessage(const QString& from, const QString& text) override
    {
        if (IsMark(text)) {
            QString author = from;
            author.remove(QLatin1String(kEarlierSuffix));
            paper->Take(std::make_shared<::Mark>(::Mark{text, nullptr, {}, author, {}}));
        }
        for (const KindTag& row : kTags) {
            if (!text.startsWith(QLatin1String(row.tag))) continue;
            const QString rest = text.mid(qsizetype(qstrlen(row.tag)));
            if (rest.startsWith(u"mark "_s)) marks[Board] = rest.mid(5).toInt();
            const int id = rest.section(u'|', -1).toInt();
            if (id == 0) return;  // a mark
            model::Item item{.id = id, .kind = row.kind};
            item.sequence = model::Sequence(id);
            mWitness.Takes(mSelf, item);
            return;
        }
        if (text.startsWith(u"mark "_s)) marks[Talk] = text.mid(5).toInt();
        if (!text.startsWith(u"mark "_s)) mWitness.Breaks("unknown text from " + from.toStdString());
    }
    void TakenBack(const QString& from, const QString& whose) override
    {
        QString author = from;
        author.remove(QLatin1String(kEarlierSuffix));
        auto mark = std::make_shared<::Mark>(::Mark{{}, nullptr, {}, author, {}});
        mark->takesBack = whose;
        paper->Take(mark);
    }
    void StatusChanged(const QString&, qint32) override {}
    void VideoFrame(const QString&, const PicturePtr&, int, int, qint32) override {}
    void LinkChanged(const LinkState& state) override
    {
        mLast = state.text.toStdString();
        if (state.phase != LinkState::Phase::Ended) return;
        mWitness.Breaks("client " + std::to_string(mSelf) + " ended: " + state.text.toStdString());
        mIn = false;
    }

    const int mSelf;
    const QString mHandle;
    Address& mAddress;
    const std::string mKey;
    model::Witness& mWitness;
    FaultProxy mProxy;
    std::vector<int> mPending;  // perhaps still in the outbox
    bool mIn = false;
    std::string mLast;                          // that its link said
    std::unique_ptr<LinkedAttendee> mAttendee;  // the last one: gone first
};

/// Two players through one sequence.
class Game {
public:
    Game(Address& address, const std::string& key, int lane, std::uint64_t seed)
        : mCode(u"GAME%1"_s.arg(seed, 5, 10, QLatin1Char('0'))),
          mNewcomer(2, u"c%1"_s.arg(3 * lane + 2), address, key, mWitness)
    {
        for (int i = 0; i < 2; ++i) {
            mHandles[i] = u"c%1"_s.arg(3 * lane + i);
            mPlayers[i] = std::make_unique<Player>(i, mHandles[i], address, key, mWitness);
        }
    }

    /// What is wrong; "" for nothing.
    std::string Play(std::uint64_t seed)
    {
        for (const model::Operation& operation : model::Operations(seed)) {
            Apply(operation);
            for (auto& player : mPlayers) player->Turn();
            if (!mWitness.Broken().empty())
                return Describe(operation) + ": " + mWitness.Broken() + " (" + mPlayers[0]->refusal + ", " +
                       mPlayers[1]->refusal + ")";
        }
        Settle();
        LookAnew();
        return mWitness.Broken();
    }

    int TakenBack() const { return mPlayers[0]->takenBack + mPlayers[1]->takenBack; }

private:
    void Apply(const model::Operation& operation)
    {
        const int who = operation.client % 2;
        Player& player = *mPlayers[who];
        FaultProxy& proxy = player.Proxy();
        switch (operation.act) {
            case Act::Join:
                Release(who);
                if (player.In()) return;
                TryUntil([&] { return player.Join(mCode, operation.how & 1, !mMade); }, "cannot enter");
                mMade = true;
                return;
            case Act::Leave:
                if (!player.In()) return;
                Release(who);
                TryUntil([&] { return player.OutboxEmpty(); }, "nothing leaves the outbox");
                return player.Leave();
            case Act::KillClient: return player.Kill();
            case Act::Post: return Post(player, operation);
            case Act::Take: return player.Hold(operation.amount % 2);
            case Act::Cut:
                // Now and then the way back is let in and not answered, until somebody needs it.
                if (operation.amount % 12 == 3) proxy.Silence(operation.how * 53 % 1500);
                if (operation.amount % 3 == 0)
                    return proxy.Cut(operation.how % 2 ? FaultProxy::End::Reset : FaultProxy::End::Finish);
                return proxy.CutIn(1 + operation.amount * 97,
                                   operation.how % 2 ? FaultProxy::Way::Up : FaultProxy::Way::Down);
            case Act::Up: return proxy.Stall(FaultProxy::Way::Up, operation.how % 2);
            case Act::Down: return proxy.Stall(FaultProxy::Way::Down, operation.how % 2);
            case Act::GraceOver: return BeyondGrace(who);
            case Act::Settle: return Settle();
            case Act::Sync:
            case Act::SeatOver:   // ten minutes
            case Act::KillRelay:  // from beside, for all games at once
            case Act::PowerCut:
            case Act::Notice: return;
        }
    }
    void Post(Player& player, const model::Operation& operation)
    {
        if (operation.kind == Kind::TakeBack) return TakeBack(operation);
        if (!player.In()) return;
        const bool whisper = operation.list & 3;
        const bool drawn = operation.kind != Kind::Line && operation.kind != Kind::Pointer;
        const Kind kind = whisper && drawn ? Kind::Pointer : operation.kind;
        for (unsigned i = 0; i <= operation.amount; ++i)
            player.Post(kind, mHandles[&player == mPlayers[0].get()], whisper);
    }
    /// By the one of the two who may.
    void TakeBack(const model::Operation& operation)
    {
        for (auto& player : mPlayers)
            for (unsigned i = 0; player->In() && i <= operation.amount; ++i)
                player->TakeBack(mHandles[operation.how % 2]);
    }
    void Release(int who)
    {
        FaultProxy& proxy = mPlayers[who]->Proxy();
        proxy.Silence({});
        proxy.Stall(FaultProxy::Way::Up, false);
        proxy.Stall(FaultProxy::Way::Down, false);
        mPlayers[who]->Hold(false);
    }
    /// The other one sees it leave, and come back later.
    void BeyondGrace(int who)
    {
        Player& other = *mPlayers[1 - who];
        if (!mPlayers[who]->In() || !other.In()) return;
        Settle();
        mPlayers[who]->Proxy().Block(true);
        mPlayers[who]->Proxy().Cut();
        TryUntil([&] { return !other.Holds(mHandles[who]); }, "nobody sees the leave");
        mPlayers[who]->Proxy().Block(false);
    }
    /// Looks less often at what takes long: many games share the machine.
    static void SleepAfter(double waited) { Sleep(std::clamp(waited / 10, 2.0, 50.0)); }
    /// Where both stand, for the report of a failure.
    std::string Standing() const
    {
        std::string all;
        for (int i : {0, 1}) all += "; " + mHandles[i].toStdString() + " " + mPlayers[i]->Standing();
        return all;
    }
    template <class Enough>
    void TryUntil(Enough enough, const std::string& otherwise)
    {
        const Time begun = Clock::now();
        while (mWitness.Broken().empty()) {
            for (auto& player : mPlayers) player->Turn();
            mNewcomer.Turn();
            if (enough()) return;
            if (Since(begun) > 60'000) mWitness.Breaks(otherwise + Standing());
            SleepAfter(Since(begun));
        }
    }
    void Settle()
    {
        for (int i : {0, 1}) Release(i);
        const bool both = mPlayers[0]->In() && mPlayers[1]->In();
        if (both) {
            TryUntil([&] { return mPlayers[0]->Holds(mHandles[1]) && mPlayers[1]->Holds(mHandles[0]); },
                     "they do not hold each other");
            ++mMark;
            for (int i : {0, 1}) mPlayers[i]->Mark(mHandles[1 - i], mMark);
            TryUntil(
                [&] {
                    return std::all_of(std::begin(mPlayers), std::end(mPlayers), [&](auto& player) {
                        return player->marks[Talk] == mMark && player->marks[Board] == mMark;
                    });
                },
                "it does not come to rest");
        }
        TryUntil([&] { return mPlayers[0]->OutboxEmpty() && mPlayers[1]->OutboxEmpty(); },
                 "something stays in an outbox");
        // What was posted to somebody by one who has left since, or stood on the board, may still be coming.
        const model::MeetingLog kept = KeptLog();
        const auto atRest = [&](model::Witness witness) { return witness.AtRest(kept).empty(); };
        const Time begun = Clock::now();
        while (!atRest(mWitness) && Since(begun) < 60'000) {
            for (auto& player : mPlayers) player->Turn();
            SleepAfter(Since(begun));
        }
        mWitness.AtRest(kept);
        TryUntil([&] { return mPlayers[0]->AllPlaced() && mPlayers[1]->AllPlaced(); },
                 "own strokes get no place");
        if (both) Compare(*mPlayers[0], *mPlayers[1], "at rest");
    }
    void Compare(Player& one, Player& other, const std::string& when)
    {
        const std::string difference = Paper::Difference(*one.paper, *other.paper);
        if (!difference.empty() && mWitness.Broken().empty()) mWitness.Breaks(when + ", " + difference);
    }
    /// Who comes when all is over has what those have who saw it.
    void LookAnew()
    {
        Player* const stays = mPlayers[0]->In() ? mPlayers[0].get() : mPlayers[1].get();
        if (!stays->In() || !mWitness.Broken().empty()) return;
        TryUntil([&] { return mNewcomer.Join(mCode, true, false); }, "the newcomer cannot enter");
        TryUntil([&] { return stays->Holds(mNewcomer.Handle()); }, "nobody sees the newcomer");
        if (!mWitness.Broken().empty()) return;
        // What somebody posted who was killed right behind it may be on its way to only one of them yet.
        const Time begun = Clock::now();
        do {
            stays->Mark(mNewcomer.Handle(), ++mMark);
            mNewcomer.Mark(stays->Handle(), mMark);
            TryUntil([&] { return mNewcomer.marks[Board] == mMark && stays->marks[Board] == mMark; },
                     "the newcomer does not come to rest");
        } while (!Paper::TookTheSame(*stays->paper, *mNewcomer.paper) && Since(begun) < 10'000);
        if (mWitness.Broken().empty()) Compare(*stays, mNewcomer, "to a newcomer");
    }
    /// What everybody who is in must have: all of it, unless a CLEAR was followed by so much that what was in
    /// front of it may be gone.
    std::vector<Player::Posted> Kept() const
    {
        std::vector<Player::Posted> all;
        for (auto& player : mPlayers) all.insert(all.end(), player->posted.begin(), player->posted.end());
        const auto changes =
            std::count_if(all.begin(), all.end(), [](auto& one) { return model::Changes(one.kind); }) +
            TakenBack();
        const bool cleared =
            std::any_of(all.begin(), all.end(), [](auto& one) { return one.kind == Kind::Clear; });
        if (cleared && changes >= 20) all.clear();
        std::erase_if(all, [](auto& one) { return one.perhaps; });
        return all;
    }
    model::MeetingLog KeptLog() const
    {
        model::MeetingLog log;
        log.meeting = 1;
        for (const Player::Posted& one : Kept()) {
            model::Item item{.id = one.id, .kind = one.kind, .everyone = true};
            item.sequence = model::Sequence(one.id);
            log.channel[model::Board].entries.push_back(item);
        }
        return log;
    }
    const QString mCode;
    model::Witness mWitness;
    QString mHandles[2];
    std::unique_ptr<Player> mPlayers[2];
    Player mNewcomer;
    int mMark = 0;
    bool mMade = false;  // the meeting
};

/// The service, or one of its relays.
void KillAndStart(Run& run, Site& site)
{
    if (auto* const cluster = dynamic_cast<Cluster*>(&site)) {
        const QString relay = u"relay-%1"_s.arg(1 + run.Below(Cluster::kEach));
        cluster->Parts().Kill(relay);
        Sleep(double(run.Below(2000)));
        return cluster->Parts().Start({relay});
    }
    auto& daemon = dynamic_cast<Daemon&>(site);
    daemon.End(SIGKILL);
    daemon.Start();
}

void RandomOperations(Run& run, Outcome& outcome)
{
    // As with the model's own test: QUORVIA_MODEL_FIRST and QUORVIA_MODEL_SEEDS choose other sequences.
    const int lanes = int(FromEnvironment("QUORVIA_MODEL_LANES", run.Form<std::uint64_t>(6, 64)));
    const std::uint64_t first = FromEnvironment("QUORVIA_MODEL_FIRST", 1);
    const std::uint64_t wanted = FromEnvironment("QUORVIA_MODEL_SEEDS", run.Form<std::uint64_t>(12, 10'000));
    const double seconds = run.Form(60, 3400);
    const auto site = OpenSite(
        run, 3 * lanes, u"grace_seconds = 1\nkeep_empty_seconds = 120\nconnections_per_address = 1000\n"_s);
    Address address(site->Doors());
    std::atomic<std::uint64_t> next{first}, done{0}, takenBack{0};
    std::mutex mutex;
    QStringList faults;
    const Time begun = Clock::now();
    std::vector<std::jthread> threads;
    for (int lane = 0; lane < lanes; ++lane)
        threads.emplace_back([&, lane] {
            while (Since(begun) < seconds * 1000) {
                const std::uint64_t seed = next++;
                if (seed >= first + wanted) return;
                Game game(address, site->Fingerprint(), lane, seed);
                const std::string fault = game.Play(seed);
                takenBack += std::uint64_t(game.TakenBack());
                ++done;
                if (fault.empty()) continue;
                const std::lock_guard lock(mutex);
                faults += u"seed %1: %2"_s.arg(seed).arg(QString::fromStdString(fault));
            }
        });
    // Also where the service does not come back: no further ones, and who plays one still is waited for.
    const std::shared_ptr<void> noMore(nullptr, [&](void*) { next = first + wanted; });
    int kills = 0;
    while (done < wanted && Since(begun) < seconds * 1000) {
        Sleep(double(2000 + run.Below(3000)));
        KillAndStart(run, *site);
        address.Set(site->Doors());
        ++kills;
    }
    for (std::jthread& thread : threads) thread.join();
    outcome.Figure(
        u"%1 sequences (seeds %4 on) with %5 takings back, under %2 kills of the service: %3 differences"_s
            .arg(done)
            .arg(kills)
            .arg(faults.size())
            .arg(first)
            .arg(takenBack));
    outcome.Must(faults.isEmpty(), faults.mid(0, 3).join(u"; "_s));
    outcome.Must(done >= wanted, u"only %1 of %2 sequences in %3 s"_s.arg(done).arg(wanted).arg(seconds));
}

}  // namespace

std::vector<Goal> ModelGoals()
{
    return {{"F4",
             "random operations of two real clients, as the model plays them; boards and histories equal",
             RandomOperations, Goal::On::OneOrThree}};
}

}  // namespace reliability
