// What relays ask each other, and answer.

#include <spdlog/logger.h>

#include <atomic>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <set>
#include <tuple>

#include "service/relay/door/handle_rules.h"
#include "service/relay/keepers/engine_wait.h"
#include "service/relay/keepers/keepers.h"
#include "service/relay/keepers/random_number.h"
#include "service/relay/keepers/told.h"
#include "service/relay/meeting/directory.h"
#include "service/relay/meeting/session.h"

namespace zephyl {
namespace asio = boost::asio;
namespace {

constexpr std::chrono::seconds kPatience{1};

words::Answer Said(words::Answer::Result result)
{
    words::Answer answer;
    answer.set_result(result);
    return answer;
}

words::Answer::Result ResultOf(SharedMeetings::Done done)
{
    switch (done) {
        case SharedMeetings::Done::Yes: return words::Answer::DONE;
        case SharedMeetings::Done::NoMeeting: return words::Answer::NO;
        case SharedMeetings::Done::NotKicked: return words::Answer::NOT_KICKED;
        case SharedMeetings::Done::NoAnswer: break;
    }
    return words::Answer::NOT_NOW;
}

}  // namespace

// --- asking ----------------------------------------------------------------------------------------

asio::awaitable<std::vector<words::Answer>> Keepers::AskAll(words::Question question)
{
    struct AnswersSoFar {
        std::mutex mutex;
        std::size_t left = 0;
        std::vector<words::Answer> answers;
        std::function<void(std::vector<words::Answer>)> done;
    };
    const std::vector<Membership::Member> others = mMembers->Others();
    if (others.empty()) co_return std::vector<words::Answer>();
    const auto gathered = std::make_shared<AnswersSoFar>();
    gathered->left = others.size();
    const std::string bytes = question.SerializeAsString();
    auto [all, answers] = co_await Answer<EngineResult, std::vector<words::Answer>>(
        [&](std::function<void(EngineResult, std::vector<words::Answer>)> done) {
            gathered->done = [done](std::vector<words::Answer> those) {
                done(EngineResult::Ok, std::move(those));
            };
            for (const Membership::Member& other : others)
                mEngine->Ask(Lines::QuestionsOf(other.id), bytes, kPatience,
                             [gathered, this, name = other.id.name](EngineResult result, std::string said) {
                                 words::Answer answer;
                                 const std::lock_guard lock(gathered->mutex);
                                 if (result == EngineResult::Ok && answer.ParseFromString(said))
                                     gathered->answers.push_back(std::move(answer));
                                 else
                                     mLog.warn("relay {} does not answer", name);
                                 if (--gathered->left == 0) gathered->done(std::move(gathered->answers));
                             });
        });
    co_return answers;
}

asio::awaitable<SharedMeetings::Done> Keepers::AskDone(RelayId relay, words::Question question)
{
    const auto [result, bytes] =
        co_await AskSubject(*mEngine, Lines::QuestionsOf(relay), question.SerializeAsString(), 5 * kPatience);
    words::Answer answer;
    if (result != EngineResult::Ok || !answer.ParseFromString(bytes)) co_return Done::NoAnswer;
    switch (answer.result()) {
        case words::Answer::DONE: co_return Done::Yes;
        case words::Answer::NO: co_return Done::NoMeeting;
        case words::Answer::NOT_KICKED: co_return Done::NotKicked;
        default: co_return Done::NoAnswer;
    }
}

asio::awaitable<SharedMeetings::Done> Keepers::KickThere(RelayId keeper, MeetingHead meeting,
                                                         std::string handle, Back back)
{
    words::Question question;
    words::Question::Kick& kick = *question.mutable_kick();
    kick.set_code(meeting.code);
    kick.set_meeting(meeting.id);
    kick.set_handle(handle);
    kick.set_back(back == Back::Yes);
    co_return co_await AskDone(std::move(keeper), std::move(question));
}

asio::awaitable<SharedMeetings::Done> Keepers::CloseThere(RelayId keeper, MeetingHead meeting)
{
    words::Question question;
    question.mutable_close()->set_code(meeting.code);
    question.mutable_close()->set_meeting(meeting.id);
    co_return co_await AskDone(std::move(keeper), std::move(question));
}

// --- how all are -----------------------------------------------------------------------------------

asio::awaitable<ClusterFacts> Keepers::Facts()
{
    ClusterFacts facts;
    facts.shares = true;
    facts.relays = mMembers->Facts();
    std::tie(facts.engine) =
        co_await Answer<EngineFacts>([this](Engine::GotFacts got) { mEngine->Look(got); });
    co_return facts;
}

asio::awaitable<ClusterFacts> Keepers::AllFacts(ClusterFacts facts, std::vector<MeetingFacts> own)
{
    words::Question question;
    question.mutable_look();
    for (const words::Answer& answer : co_await AskAll(std::move(question)))
        for (RelayFacts& relay : facts.relays)
            if (!relay.own && answer.has_told() && answer.told().name() == relay.name)
                TakeTold(answer.told(), relay, facts.elsewhere);
    std::set<std::string> known;
    for (const auto* const those : {&own, &facts.elsewhere})
        for (const MeetingFacts& one : *those) known.insert(one.id);
    for (const Leases::Lease& lease : mLeases.All()) {
        MeetingFacts one;
        one.id = HexOf(lease.head.id);
        one.code = lease.head.code;
        one.told = false;
        if (mMembers->Of(lease.keeper) == Membership::Standing::Lives) one.keeper = lease.keeper.name;
        if (known.insert(one.id).second) facts.elsewhere.push_back(std::move(one));
    }
    co_return facts;
}

// --- one login of a handle -------------------------------------------------------------------------

class Keepers::Pending final : public SharedMeetings::Admission {
public:
    Pending(std::shared_ptr<AllAsking> all, const std::string& key, std::shared_ptr<Asking> own)
        : mAll(std::move(all)), mOwn(std::move(own))
    {
        const std::lock_guard lock(mAll->mutex);
        mAll->byKey.emplace(key, mOwn);
    }
    ~Pending() override { Settle(); }
    bool Settle() override
    {
        const std::lock_guard lock(mAll->mutex);
        std::erase_if(mAll->byKey, [&](const auto& one) { return one.second == mOwn; });
        return !mOwn->beaten;
    }

private:
    const std::shared_ptr<AllAsking> mAll;
    const std::shared_ptr<Asking> mOwn;
};

// Each of two relays hears of the other's login before its own question is answered, so both draw the same
// conclusion from the lots.
asio::awaitable<std::unique_ptr<SharedMeetings::Admission>> Keepers::AdmitElsewhere(
    std::shared_ptr<Session> session, bool again)
{
    const auto asking = std::make_shared<Asking>(Asking{session->stream, RandomNumber(), again});
    auto pending = std::make_unique<Pending>(mAsking, session->key, asking);
    words::Question question;
    words::Question::Admit& admit = *question.mutable_admit();
    admit.set_key(session->key);
    admit.set_handle(session->handle);
    admit.set_stream(session->stream);
    admit.set_again(again);
    admit.set_lot(asking->lot);
    for (const words::Answer& answer : co_await AskAll(std::move(question)))
        if (answer.result() == words::Answer::NO) co_return nullptr;
    co_return pending;
}

asio::awaitable<words::Answer> Keepers::Admit(words::Question::Admit asked)
{
    {
        const std::lock_guard lock(mAsking->mutex);
        const auto [begin, end] = mAsking->byKey.equal_range(asked.key());
        for (auto at = begin; at != end; ++at) {
            Asking& own = *at->second;
            if (own.stream == asked.stream()) continue;
            // One by the user goes before one by itself.
            const bool stays = std::pair(!own.again, own.lot) > std::pair(!asked.again(), asked.lot());
            if (stays) co_return Said(words::Answer::NO);
            own.beaten = true;
        }
    }
    const bool admitted =
        co_await mDirectory->AdmittedElsewhere(asked.key(), asked.handle(), asked.stream(), asked.again());
    co_return Said(admitted ? words::Answer::DONE : words::Answer::NO);
}

// --- answering -------------------------------------------------------------------------------------

void Keepers::Heard(const EngineWord& word)
{
    words::Question question;
    if (!question.ParseFromArray(word.bytes.data(), static_cast<int>(word.bytes.size()))) return;
    asio::co_spawn(mIo, Reply(std::move(question), std::string(word.answerTo)), asio::detached);
}

asio::awaitable<void> Keepers::Reply(words::Question question, std::string answerTo)
{
    const words::Answer answer = co_await AnswerTo(std::move(question));
    if (!answerTo.empty()) mEngine->Publish(answerTo, answer.SerializeAsString());
}

asio::awaitable<words::Answer> Keepers::AnswerTo(words::Question question)
{
    if (question.has_admit()) co_return co_await Admit(question.admit());
    if (question.has_look()) {
        words::Answer answer = Said(words::Answer::DONE);
        *answer.mutable_told() = co_await mWays.look();
        co_return answer;
    }
    if (question.has_close()) {
        const auto& close = question.close();
        co_return Said(ResultOf(co_await mDirectory->Close(close.code(), close.meeting())));
    }
    const auto& kick = question.kick();
    const std::optional<HandleForms> whom = ReadHandle(kick.handle());
    if (!question.has_kick() || !whom) co_return words::Answer();
    Done done = Done::NoAnswer;
    if (kick.back())
        done = co_await mDirectory->Unkick(kick.code(), *whom, kick.meeting());
    else
        done = co_await mDirectory->Kick(kick.code(), *whom, kick.meeting());
    co_return Said(ResultOf(done));
}

}  // namespace zephyl
