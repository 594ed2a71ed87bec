#include "service/relay/meeting/directory.h"

#include <sodium.h>
#include <spdlog/logger.h>

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "service/relay/beside.h"
#include "service/relay/door/address_group.h"
#include "service/relay/door/log_names.h"
#include "service/relay/door/passwords.h"
#include "service/relay/live_limits.h"
#include "service/relay/log/file_log.h"
#include "service/relay/log/memory_log.h"
#include "service/relay/meeting/meeting.h"
#include "service/relay/meeting/shared_meetings.h"
#include "service/relay/private_folder.h"
#include "service/wire/limits.h"

namespace zephyl {
namespace asio = boost::asio;
namespace fs = std::filesystem;
using namespace std::chrono_literals;
namespace {

constexpr std::size_t kMeetingIdBytes = 16;
constexpr std::size_t kEmptyOfOneCreator = 20;
// Whoever asks for a meeting by hand waits while the log's servers choose which of them leads: nearly as long
// as clients wait for an answer.
constexpr std::chrono::seconds kChoosing = kCallTime - 2s;
constexpr std::chrono::milliseconds kMoment{100};
constexpr int kForgotten = 30;  // of these. Less than who asks for another relay waits

std::string Hex(const std::string& bytes)
{
    std::string hex(2 * bytes.size() + 1, '\0');
    sodium_bin2hex(hex.data(), hex.size(), reinterpret_cast<const unsigned char*>(bytes.data()),
                   bytes.size());
    hex.pop_back();
    return hex;
}

}  // namespace

Directory::Directory(const MeetingServices& services)
    : mServices(services), mLimits(services.limits.Now().budgets), mStrand(asio::make_strand(services.io))
{
}

Directory::~Directory()
{
    for (const auto& [id, meeting] : mById) meeting->Abandon();
}

asio::awaitable<bool> Directory::Admit(std::shared_ptr<Session> session, std::shared_ptr<Client> client,
                                       bool again)
{
    std::unique_ptr<SharedMeetings::Admission> elsewhere;
    if (mServices.shared) {
        elsewhere = co_await mServices.shared->AdmitElsewhere(session, again);
        if (!elsewhere) co_return false;
    }
    const bool admitted =
        co_await asio::co_spawn(mStrand, DoAdmit(session, client, again), asio::use_awaitable);
    if (!admitted || !elsewhere || elsewhere->Settle()) co_return admitted;
    co_await asio::co_spawn(mStrand, DoWithdraw(session), asio::use_awaitable);
    co_return false;
}

// The logs of meetings that are asked for are opened on the meetings' own strands, before and after this
// strand's one step.
asio::awaitable<Directory::Found> Directory::Find(std::shared_ptr<Session> session, std::string address,
                                                  Enter enter, std::string only)
{
    const bool byUser = enter.rejoin().empty();
    // Outside anybody makes accounts: there an address guesses, and all of them together are one.
    const std::string who = only.empty() ? session->key : "\nguest " + AddressGroup(address);
    if (!only.empty()) address = "\nguests";
    const auto waitNow = [&] {
        return mLimits.WaitFor(who, address, EntryLimits::Clock::now(),
                               only.empty() ? Side::Inside : Side::Outside);
    };
    auto wait = waitNow();
    if (byUser && wait.count() == 0 && mServices.accounts.Shared()) {
        co_await Learn(who, address);
        wait = waitNow();
    }
    if (byUser && wait.count() > 0) co_return Found{RESULT_LATER, nullptr, wait};
    const auto until = EntryLimits::Clock::now() + (mServices.shared && byUser ? kChoosing : 0s);
    Found found = co_await FindOpened(session, enter, only);
    asio::steady_timer timer(co_await asio::this_coro::executor);
    while (found.result == RESULT_LATER && EntryLimits::Clock::now() < until) {
        timer.expires_after(kMoment);
        co_await timer.async_wait(asio::use_awaitable);
        found = co_await FindOpened(session, enter, only);
    }
    if (found.keeper) co_return found;  // who counts it
    if (found.result == RESULT_OK)
        Entered(who);
    else if (found.result == RESULT_NOT_FOUND || found.result == RESULT_IN_USE)  // both answer a guess
        co_await Guessed(who, address);
    co_return found;
}

asio::awaitable<Directory::Found> Directory::FindOpened(std::shared_ptr<Session> session, Enter enter,
                                                        std::string only)
{
    Found found;
    if (mServices.shared)
        found = co_await FindShared(session, enter);
    else
        found = co_await FindHere(session, enter, only);
    if (found.hold) {
        const bool usable = co_await Opened(found.hold->meeting);
        if (!usable) found = {RESULT_LATER, nullptr, {}};
    }
    co_return found;
}

asio::awaitable<Directory::Found> Directory::FindHere(std::shared_ptr<Session> session, Enter enter,
                                                      std::string only)
{
    const std::shared_ptr<Meeting> known =
        co_await asio::co_spawn(mStrand, DoByCode(MeetingCodeKey(enter.code())), asio::use_awaitable);
    if (known) co_await Opened(known);
    co_return co_await asio::co_spawn(mStrand, DoFind(session, enter, only), asio::use_awaitable);
}

// What other relays have seen of these two. While the store is away each counts by itself.
asio::awaitable<void> Directory::Learn(std::string who, std::string address)
{
    SharedCounts& shared = *mServices.accounts.Shared();
    std::vector<SharedCounts::Share> shares = mLimits.Guesses(who, address);
    shares.push_back(mLimits.Entries(who));
    std::vector<double> used(shares.size());
    try {
        co_await Beside([&shared](std::function<void()> work) { shared.Run(std::move(work)); },
                        [&] { used = shared.Used(shares); });
    } catch (const AccountError& error) {
        mServices.log.debug("{}", error.what());
    }
    mLimits.Learn(who, address, used, EntryLimits::Clock::now());
}

// Others know it before who has guessed does.
asio::awaitable<void> Directory::Guessed(std::string who, std::string address)
{
    mLimits.WrongCode(who, address, EntryLimits::Clock::now());
    SharedCounts* const shared = mServices.accounts.Shared();
    if (!shared) co_return;
    try {
        co_await Beside([shared](std::function<void()> work) { shared->Run(std::move(work)); },
                        [&] { shared->Spend(mLimits.Guesses(who, address)); });
    } catch (const AccountError& error) {
        mServices.log.debug("{}", error.what());
    }
}

void Directory::Entered(const std::string& who)
{
    mLimits.Entered(who, EntryLimits::Clock::now());
    SharedCounts* const shared = mServices.accounts.Shared();
    if (!shared) return;
    shared->Run([shared, share = mLimits.Entries(who)] {
        try {
            shared->Spend({share});
        } catch (const AccountError&) {
            // counted here at least
        }
    });
}

asio::awaitable<Directory::ById> Directory::OfId(std::string id)
{
    if (mServices.shared) co_return co_await OfIdShared(std::move(id));
    ById found;
    found.meeting = co_await asio::co_spawn(mStrand, DoById(id), asio::use_awaitable);
    if (found.meeting) {
        const bool usable = co_await Opened(found.meeting);
        if (!usable) found.meeting = nullptr;
    }
    co_return found;
}

asio::awaitable<bool> Directory::Opened(std::shared_ptr<Meeting> meeting)
{
    co_return co_await asio::co_spawn(meeting->Home(), meeting->Ready(), asio::use_awaitable);
}

asio::awaitable<bool> Directory::DoAdmit(std::shared_ptr<Session> session, std::shared_ptr<Client> client,
                                         bool again)
{
    Entry& entry = mEntries[session->key];
    if (entry.session) {
        const bool sameStream = entry.session->stream == session->stream;
        if (!sameStream && again) co_return false;
        entry.session->fenced = true;
        if (!sameStream) {
            EndEntry(entry, BYE_TAKEN_OVER, session->handle + " has logged in elsewhere");
            entry.meeting.reset();
        } else if (const auto older = entry.client.lock(); older && older != client) {
            older->PostEnd(BYE_REPLACED, "");
        }
    }
    entry.session = session;
    entry.client = client;
    co_return true;
}

// `wanted`: what would be made goes there instead.
asio::awaitable<Directory::Found> Directory::DoFind(std::shared_ptr<Session> session, Enter enter,
                                                    std::string only, std::optional<MeetingHead>* wanted)
{
    Found found;
    const auto entry = mEntries.find(session->key);
    if (!session->permitted || session->fenced || entry == mEntries.end()) {
        found.result = RESULT_NOT_PERMITTED;
        co_return found;
    }
    const std::string code = MeetingCodeKey(enter.code());
    const auto at = mByCode.find(code);
    std::shared_ptr<Meeting> meeting = at == mByCode.end() ? nullptr : at->second;
    if (!only.empty()) {
        if (meeting && meeting->Id() != only) meeting = nullptr;
        enter.set_create(false);
    }
    if (!enter.rejoin().empty()) {
        found.result = RESULT_ENDED;
        if (!meeting || meeting->Id() != enter.rejoin()) co_return found;
    } else if (enter.create()) {
        found.result = RESULT_IN_USE;
        if (code.empty()) co_return found;
        if (meeting && !meeting->MadeBy(*session)) {
            if (meeting->Occupied()) co_return found;
            if (!wanted) Delete(meeting);
            meeting = nullptr;
        }
        if (!meeting) MakeRoom(session->key);
        MeetingHead head{RandomBytes(kMeetingIdBytes), code, session->key, session->stream};
        if (!meeting && wanted) {
            *wanted = std::move(head);
            co_return found;
        }
        if (!meeting) meeting = Make(head);
    } else if (!meeting) {
        co_return found;
    }
    found.result = RESULT_OK;
    found.hold = std::make_shared<MeetingHold>(meeting);
    entry->second.meeting = meeting;
    co_return found;
}

asio::awaitable<std::shared_ptr<Meeting>> Directory::DoByCode(std::string code)
{
    const auto at = mByCode.find(code);
    co_return at == mByCode.end() ? nullptr : at->second;
}

asio::awaitable<std::shared_ptr<Meeting>> Directory::DoById(std::string id)
{
    const auto at = mById.find(id);
    co_return at == mById.end() ? nullptr : at->second;
}

fs::path Directory::Folder() const
{
    return mServices.options.data / "meetings";
}

std::unique_ptr<MeetingLog> Directory::MakeLog(const MeetingHead& head, std::uint64_t epoch,
                                               const Strand& home,
                                               const std::shared_ptr<std::weak_ptr<Meeting>>& made)
{
    const RelayBounds& bounds = mServices.limits.Now().bounds;
    const auto post = [home, made](std::function<void()> work) {  // the meeting lives until that is done
        if (const auto meeting = made->lock())
            asio::post(home, [meeting, work = std::move(work)] { work(); });
    };
    const auto trouble = [made](bool refused) {
        if (const auto meeting = made->lock()) meeting->OnTrouble(refused);
    };
    if (mServices.shared)
        return mServices.shared->Log(head, epoch, bounds, post, trouble, [this, head, epoch] {
            mServices.shared->Lost(head, epoch);
            LeaseLost(head, epoch);
        });
    if (mServices.options.logsInMemory) return std::make_unique<MemoryLog>(bounds);
    return std::make_unique<FileLog>(Folder() / Hex(head.id), head, bounds, mServices.logs, post, trouble);
}

std::shared_ptr<Meeting> Directory::Make(const MeetingHead& head, std::uint64_t epoch)
{
    Strand home = asio::make_strand(mServices.io);
    const auto made = std::make_shared<std::weak_ptr<Meeting>>();
    auto meeting = std::make_shared<Meeting>(mServices, static_cast<MeetingKeeper&>(*this), head, home,
                                             MakeLog(head, epoch, home, made));
    *made = meeting;
    mByCode[head.code] = mById[head.id] = meeting;
    if (mServices.shared) mEpochs[head.id] = epoch;
    mMade[head.creatorKey].push_back(meeting);
    meeting->Start();
    return meeting;
}

void Directory::LoadMeetings()
{
    if (mServices.options.logsInMemory || mServices.shared) return;
    PreparePrivateFolder(Folder());
    for (const auto& entry : fs::directory_iterator(Folder())) {
        const auto head = ReadHead(entry.path());
        if (head && entry.path().filename() == Hex(head->id))  // a copy of a meeting is none
            Make(*head);
        else
            mServices.log.warn("{} holds no meeting that can be read; it is left alone",
                               entry.path().string());
    }
}

// Of one creator's meetings that nobody is in some are kept, and the oldest of more go.
void Directory::MakeRoom(const std::string& creator)
{
    std::vector<std::shared_ptr<Meeting>> empty;
    std::erase_if(mMade[creator], [&](const auto& one) {
        const std::shared_ptr<Meeting> meeting = one.lock();
        if (!meeting || !mById.contains(meeting->Id())) return true;
        if (!meeting->Occupied()) empty.push_back(meeting);
        return false;
    });
    for (std::size_t i = 0; i + kEmptyOfOneCreator <= empty.size(); ++i) Delete(empty[i]);
}

// While relays share meetings another one may have taken it over: only who finds that nobody has removes its
// log.
void Directory::Delete(const std::shared_ptr<Meeting>& meeting, const std::string& goodbye, Code code,
                       Told told)
{
    mById.erase(meeting->Id());
    mEpochs.erase(meeting->Id());
    if (const auto at = mByCode.find(meeting->Code()); at != mByCode.end() && at->second == meeting)
        mByCode.erase(at);
    const bool shared = mServices.shared && code == Code::Free;
    meeting->PostClose(goodbye, shared ? Meeting::Rest::Stays : Meeting::Rest::Goes);
    if (shared) mServices.shared->Forget(meeting->Head(), std::move(told));
}

void Directory::ClientEnded(std::shared_ptr<Session> session, std::shared_ptr<Client> client)
{
    asio::post(mStrand, [this, session = std::move(session), client = std::move(client)] {
        const auto at = mEntries.find(session->key);
        if (at == mEntries.end() || at->second.session->stream != session->stream) return;
        if (at->second.client.lock() == client) at->second.client.reset();
        if (!at->second.client.lock() && !at->second.meeting.lock()) mEntries.erase(at);
    });
}

void Directory::ClientResumed(std::shared_ptr<Session> session, std::shared_ptr<Client> client)
{
    asio::post(mStrand, [this, session, client] {
        Entry& entry = mEntries[session->key];
        if (!entry.session) entry.session = session;
        if (entry.session->stream == session->stream) entry.client = client;
    });
}

void Directory::SeatRestored(std::shared_ptr<Session> session, std::shared_ptr<Meeting> meeting)
{
    asio::post(mStrand, [this, session, meeting] {
        Entry& entry = mEntries[session->key];
        if (!entry.session) entry.session = session;
        if (entry.session->stream == session->stream)
            entry.meeting = meeting;
        else
            meeting->PostEndSeat(session, BYE_TAKEN_OVER, session->handle + " has logged in elsewhere");
    });
    if (mServices.accounts.Shared())
        asio::co_spawn(mStrand, HoldAgainstAccounts(std::move(session)), asio::detached);
}

// A store that is away says nothing against anybody; when it is back, all who are there are held against it.
asio::awaitable<void> Directory::HoldAgainstAccounts(std::shared_ptr<Session> session)
{
    SharedCounts& shared = *mServices.accounts.Shared();
    const std::uint64_t looked = LookNow();
    std::optional<Account> account;
    try {
        co_await Beside([&shared](std::function<void()> work) { shared.Run(std::move(work)); },
                        [&] { account = mServices.accounts.Find(session->handle); });
    } catch (const AccountError& error) {
        mServices.log.warn("{}: {}", mServices.names.User(session->handle), error.what());
        co_return;
    }
    co_await DoAccountChanged(session->key, std::move(account), kRemoved, BYE_KICKED, looked);
}

void Directory::SeatEnded(std::shared_ptr<Session> session)
{
    asio::post(mStrand, [this, session] {
        const auto at = mEntries.find(session->key);
        if (at == mEntries.end() || at->second.session->stream != session->stream) return;
        at->second.meeting.reset();
        if (!at->second.client.lock()) mEntries.erase(at);
    });
}

void Directory::MeetingEmpty(std::shared_ptr<Meeting> meeting)
{
    asio::post(mStrand, [this, meeting] {
        if (!meeting->Occupied()) Delete(meeting);
    });
}

void Directory::EndEntry(const Entry& entry, ByeReason reason, const std::string& text)
{
    if (const auto meeting = entry.meeting.lock()) meeting->PostEndSeat(entry.session, reason, text);
    if (const auto client = entry.client.lock()) client->PostEnd(reason, text);
}

asio::awaitable<void> Directory::AccountChanged(std::string handle, std::optional<Account> account,
                                                std::string removed, ByeReason reason,
                                                std::optional<std::uint64_t> looked)
{
    const std::optional<HandleForms> forms = ReadHandle(handle);
    if (forms)
        co_await asio::co_spawn(mStrand,
                                DoAccountChanged(forms->key, std::move(account), std::move(removed), reason,
                                                 looked ? *looked : LookNow()),
                                asio::use_awaitable);
}

asio::awaitable<void> Directory::DoAccountChanged(std::string key, std::optional<Account> account,
                                                  std::string removed, ByeReason reason, std::uint64_t looked)
{
    const auto at = mEntries.find(key);
    if (at == mEntries.end() || looked < at->second.looked) co_return;
    at->second.looked = looked;
    const Entry entry = at->second;
    if (!account || account->generation != entry.session->generation) {
        mServices.log.info("{}: account removed or password changed",
                           mServices.names.User(entry.session->handle));
        EndEntry(entry, account ? BYE_KICKED : reason, account ? "The password was changed." : removed);
        co_return;
    }
    entry.session->permitted = account->permitted;
    const std::shared_ptr<Meeting> meeting = entry.meeting.lock();
    if (!account->permitted && meeting)
        meeting->PostEndSeat(entry.session, BYE_KICKED, "This handle may not enter meetings any more.");
}

asio::awaitable<Directory::Kept> Directory::OfCode(std::string code, std::string only)
{
    code = MeetingCodeKey(code);
    Kept kept;
    if (mServices.shared && !code.empty()) {
        const auto turn = co_await mTurns.Take(code);
        kept = co_await Keep(code);
        if (kept.known && !only.empty() && kept.head.id != only) kept = {.known = true};
        co_return kept;
    }
    kept.known = true;
    kept.meeting = co_await asio::co_spawn(mStrand, DoByCode(code), asio::use_awaitable);
    co_return kept;
}

asio::awaitable<Directory::Done> Directory::Kick(std::string code, HandleForms whom, std::string only)
{
    using Back = SharedMeetings::Back;
    const auto [meeting, keeper, known, head] = co_await OfCode(code, only);
    if (keeper) co_return co_await mServices.shared->KickThere(*keeper, head, whom.spelling, Back::No);
    if (!meeting) co_return known ? Done::NoMeeting : Done::NoAnswer;
    const bool usable = co_await Opened(meeting);
    if (!usable) co_return Done::NoAnswer;
    co_return co_await asio::co_spawn(meeting->Home(), meeting->Bar(std::move(whom)), asio::use_awaitable);
}

asio::awaitable<Directory::Done> Directory::Unkick(std::string code, HandleForms whom, std::string only)
{
    using Back = SharedMeetings::Back;
    const auto [meeting, keeper, known, head] = co_await OfCode(code, only);
    if (keeper) co_return co_await mServices.shared->KickThere(*keeper, head, whom.spelling, Back::Yes);
    if (!meeting) co_return known ? Done::NoMeeting : Done::NoAnswer;
    const bool usable = co_await Opened(meeting);
    if (!usable) co_return Done::NoAnswer;
    co_return co_await asio::co_spawn(meeting->Home(), meeting->Unbar(std::move(whom)), asio::use_awaitable);
}

asio::awaitable<Directory::Done> Directory::Close(std::string code, std::string only)
{
    const Kept kept = co_await OfCode(code, only);
    if (kept.keeper) co_return co_await mServices.shared->CloseThere(*kept.keeper, kept.head);
    if (!kept.meeting) co_return kept.known ? Done::NoMeeting : Done::NoAnswer;
    struct Outcome {
        std::atomic<bool> known, gone;
    };
    const auto outcome = std::make_shared<Outcome>(!mServices.shared, !mServices.shared);
    const auto told = [outcome](bool gone) {
        outcome->gone = gone;
        outcome->known = true;
    };
    const std::shared_ptr<Meeting> meeting =
        co_await asio::co_spawn(mStrand, DoClose(kept.meeting, told), asio::use_awaitable);
    if (!meeting) co_return Done::NoMeeting;
    // Behind its own last turn: whoever is told that it is closed finds nothing of it.
    co_await asio::co_spawn(meeting->Home(), FactsOf(meeting), asio::use_awaitable);
    asio::steady_timer timer(mServices.io);
    for (int moments = 0; !outcome->known && moments < kForgotten; ++moments) {
        timer.expires_after(kMoment);
        co_await timer.async_wait(asio::use_awaitable);
    }
    co_return outcome->gone ? Done::Yes : Done::NoAnswer;
}

asio::awaitable<std::shared_ptr<Meeting>> Directory::DoClose(std::shared_ptr<Meeting> meeting, Told told)
{
    const auto at = mById.find(meeting->Id());
    if (at == mById.end() || at->second != meeting) co_return nullptr;
    Delete(meeting, "The operator of the service has closed this meeting.", Code::Free, std::move(told));
    co_return meeting;
}

asio::awaitable<void> Directory::EndHandle(std::string key, std::string text)
{
    co_await asio::co_spawn(mStrand, DoEndHandle(std::move(key), std::move(text)), asio::use_awaitable);
}

asio::awaitable<void> Directory::DoEndHandle(std::string key, std::string text)
{
    if (const auto at = mEntries.find(key); at != mEntries.end())
        EndEntry(Entry(at->second), BYE_KICKED, text);
    co_return;
}

void Directory::EndSession(std::shared_ptr<Session> session, std::string text)
{
    asio::post(mStrand, [this, session = std::move(session), text = std::move(text)] {
        const auto at = mEntries.find(session->key);
        if (at != mEntries.end() && at->second.session->stream == session->stream)
            EndEntry(Entry(at->second), BYE_KICKED, text);
    });
}

asio::awaitable<std::vector<std::shared_ptr<Meeting>>> Directory::DoAll()
{
    std::vector<std::shared_ptr<Meeting>> all;
    all.reserve(mById.size());
    for (const auto& [id, meeting] : mById) all.push_back(meeting);
    co_return all;
}

asio::awaitable<MeetingFacts> Directory::FactsOf(std::shared_ptr<Meeting> meeting)
{
    MeetingFacts facts = meeting->Facts();
    facts.id = Hex(meeting->Id());
    co_return facts;
}

asio::awaitable<std::vector<MeetingFacts>> Directory::Facts()
{
    const auto all = co_await asio::co_spawn(mStrand, DoAll(), asio::use_awaitable);
    std::vector<MeetingFacts> facts;
    facts.reserve(all.size());
    for (const auto& meeting : all)
        facts.push_back(co_await asio::co_spawn(meeting->Home(), FactsOf(meeting), asio::use_awaitable));
    std::sort(facts.begin(), facts.end(),
              [](const MeetingFacts& one, const MeetingFacts& other) { return one.code < other.code; });
    co_return facts;
}

asio::awaitable<std::vector<std::string>> Directory::Handles()
{
    co_return co_await asio::co_spawn(mStrand, DoHandles(), asio::use_awaitable);
}

asio::awaitable<std::vector<std::string>> Directory::DoHandles()
{
    std::vector<std::string> handles;
    handles.reserve(mEntries.size());
    for (const auto& [key, entry] : mEntries) handles.push_back(key);
    co_return handles;
}

void Directory::WhenAlive(std::function<void()> done)
{
    asio::post(mStrand, std::move(done));
}

asio::awaitable<std::vector<std::string>> Directory::Ids()
{
    std::vector<std::string> ids;
    for (const auto& meeting : co_await asio::co_spawn(mStrand, DoAll(), asio::use_awaitable))
        ids.push_back(meeting->Id());
    co_return ids;
}

asio::awaitable<std::optional<Directory::Held>> Directory::Hold(std::string id)
{
    auto meeting = co_await asio::co_spawn(mStrand, DoById(std::move(id)), asio::use_awaitable);
    if (!meeting) co_return std::nullopt;
    auto parts = co_await asio::co_spawn(meeting->Home(), meeting->HoldLog(), asio::use_awaitable);
    co_return Held{meeting, Hex(meeting->Id()), std::move(parts)};
}

void Directory::Release(const Held& held)
{
    asio::post(held.meeting->Home(), [meeting = held.meeting] { meeting->ReleaseLog(); });
}

void Directory::LimitsChanged()
{
    mLimits.Replace(mServices.limits.Now().budgets);
}

void Directory::StopMeetings()
{
    asio::post(mStrand, [this] {
        for (const auto& [id, meeting] : mById) {
            std::function<void()> yielded;
            if (mServices.shared)
                yielded = [this, head = meeting->Head()] { mServices.shared->Release(head); };
            meeting->PostStop(std::move(yielded));
        }
    });
}

}  // namespace zephyl
