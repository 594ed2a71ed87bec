// Where a meeting is when relays share them: the lease of its code decides.

#include <spdlog/logger.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "service/relay/meeting/directory.h"
#include "service/relay/meeting/meeting.h"
#include "service/relay/meeting/shared_meetings.h"

namespace zephyl {
namespace asio = boost::asio;
namespace {

constexpr int kTries = 4;  // somebody else may always be faster
constexpr std::chrono::milliseconds kLater{500};

}  // namespace

// --- finding ---------------------------------------------------------------------------------------

asio::awaitable<Directory::Kept> Directory::Keep(std::string code)
{
    using Whose = CodeLease::Whose;
    const CodeLease lease = co_await mServices.shared->Look(code);
    Kept kept;
    kept.known = lease.whose != Whose::Unknown;
    kept.head = lease.head;
    if (lease.whose == Whose::Another) kept.keeper = lease.keeper;
    if (lease.whose == Whose::Mine)
        kept.meeting = co_await asio::co_spawn(mStrand, DoKeep(lease.head, lease.epoch), asio::use_awaitable);
    co_return kept;
}

// The one that is here may be of an earlier lease, or of an earlier meeting with that code.
asio::awaitable<std::shared_ptr<Meeting>> Directory::DoKeep(MeetingHead head, std::uint64_t epoch)
{
    if (const auto at = mByCode.find(head.code); at != mByCode.end()) {
        const std::shared_ptr<Meeting> here = at->second;
        if (here->Id() == head.id && mEpochs[head.id] == epoch) co_return here;
        if (here->Id() == head.id)
            Let(here);
        else
            Delete(here, {}, Code::NamedAnew);
    }
    co_return Make(head, epoch);
}

asio::awaitable<Directory::Found> Directory::FindShared(std::shared_ptr<Session> session, Enter enter)
{
    const std::string code = MeetingCodeKey(enter.code());
    if (code.empty()) co_return co_await FindHere(session, enter, {});
    const auto turn = co_await mTurns.Take(code);
    for (int tries = 0; tries < kTries; ++tries) {
        const Kept kept = co_await Keep(code);
        if (!kept.known) break;
        Found found;
        found.keeper = kept.keeper;
        if (found.keeper) co_return found;
        if (kept.meeting) co_await Opened(kept.meeting);
        std::optional<MeetingHead> wanted;
        found = co_await asio::co_spawn(mStrand, DoFind(session, enter, {}, &wanted), asio::use_awaitable);
        if (!wanted) co_return found;
        // Once the code means it, it is found like any other.
        const auto epoch = co_await mServices.shared->Name(*wanted);
        if (epoch) co_await asio::co_spawn(mStrand, DoKeep(*wanted, *epoch), asio::use_awaitable);
    }
    co_return Found{RESULT_LATER, nullptr, kLater, {}};
}

asio::awaitable<Directory::ById> Directory::OfIdShared(std::string id)
{
    ById found;
    const std::shared_ptr<Meeting> here = co_await asio::co_spawn(mStrand, DoById(id), asio::use_awaitable);
    SharedMeetings::Named named{true, here ? here->Code() : ""};
    if (!here) named = co_await mServices.shared->CodeOf(id);
    found.later = !named.known;
    if (!named.known || named.code.empty()) co_return found;
    const auto turn = co_await mTurns.Take(named.code);
    const Kept kept = co_await Keep(named.code);
    found.later = !kept.known;
    found.keeper = kept.keeper;
    if (!kept.meeting || kept.meeting->Id() != id) co_return found;
    const bool usable = co_await Opened(kept.meeting);
    found.later = !usable;
    if (usable) found.meeting = kept.meeting;
    co_return found;
}

asio::awaitable<void> Directory::SeeTo(std::string code)
{
    const auto turn = co_await mTurns.Take(code);
    co_await Keep(code);
}

// --- letting go ------------------------------------------------------------------------------------

void Directory::Let(const std::shared_ptr<Meeting>& meeting)
{
    mById.erase(meeting->Id());
    mEpochs.erase(meeting->Id());
    if (const auto at = mByCode.find(meeting->Code()); at != mByCode.end() && at->second == meeting)
        mByCode.erase(at);
    meeting->PostYield();
}

void Directory::LeaseLost(const MeetingHead& head, std::uint64_t epoch)
{
    asio::post(mStrand, [this, id = head.id, epoch] {
        const auto at = mById.find(id);
        if (at != mById.end() && mEpochs[id] <= epoch) Let(std::shared_ptr(at->second));
    });
}

// --- one login of a handle -------------------------------------------------------------------------

asio::awaitable<void> Directory::Arrive(std::shared_ptr<Session> session, std::shared_ptr<Client> client)
{
    co_await asio::co_spawn(mStrand, DoAdmit(session, client, false), asio::use_awaitable);
}

asio::awaitable<bool> Directory::AdmittedElsewhere(std::string key, std::string handle, std::uint64_t stream,
                                                   bool again)
{
    co_return co_await asio::co_spawn(mStrand, DoAdmittedElsewhere(key, handle, stream, again),
                                      asio::use_awaitable);
}

asio::awaitable<bool> Directory::DoAdmittedElsewhere(std::string key, std::string handle,
                                                     std::uint64_t stream, bool again)
{
    const auto at = mEntries.find(key);
    if (at == mEntries.end()) co_return true;
    const Entry entry = at->second;
    const bool sameStream = entry.session->stream == stream;
    if (!sameStream && again) co_return false;
    entry.session->fenced = true;
    if (!sameStream) {
        mEntries.erase(at);
        EndEntry(entry, BYE_TAKEN_OVER, handle + " has logged in elsewhere");
    } else if (const auto older = entry.client.lock()) {
        older->PostEnd(BYE_REPLACED, "");
    }
    co_return true;
}

asio::awaitable<void> Directory::DoWithdraw(std::shared_ptr<Session> session)
{
    session->fenced = true;
    const auto at = mEntries.find(session->key);
    if (at != mEntries.end() && at->second.session == session) mEntries.erase(at);
    co_return;
}

void Directory::Resumed(std::shared_ptr<Session> session, std::shared_ptr<Client> client)
{
    ClientResumed(std::move(session), std::move(client));
}

}  // namespace zephyl
