#pragma once
// Which meetings there are by code and id, and who is logged in. On a strand of its own; nothing else of
// the relay is locked for it.

#include <atomic>
#include <boost/asio/awaitable.hpp>
#include <chrono>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include "service/relay/door/accounts.h"
#include "service/relay/door/entry_limits.h"
#include "service/relay/door/handle_rules.h"
#include "service/relay/meeting/client.h"
#include "service/relay/meeting/meeting_facts.h"
#include "service/relay/meeting/meeting_keeper.h"
#include "service/relay/meeting/meeting_services.h"
#include "service/relay/meeting/session.h"
#include "service/relay/meeting/shared_meetings.h"
#include "service/relay/meeting/turns.h"
#include "service/wire/zephyl.pb.h"

namespace zephyl {

class Directory final : private MeetingKeeper {
public:
    explicit Directory(const MeetingServices& services);
    /// When no thread runs any more.
    ~Directory() override;

    struct Found {
        Result result = RESULT_NOT_FOUND;    // ok, in use, not found, not permitted, ended, later
        std::shared_ptr<MeetingHold> hold;   // when ok
        std::chrono::milliseconds wait{};    // when later
        std::optional<RelayId> keeper = {};  // ask there instead
    };
    struct ById {
        std::shared_ptr<Meeting> meeting = {};  // null: there is none, unless:
        std::optional<RelayId> keeper = {};     // another relay has it
        bool later = false;                     // that cannot be told at the moment
    };

    /// Finds the meetings that the data folder has from before. Once, before anybody asks.
    void LoadMeetings();

    // --- any coroutine; it goes on where it was ---
    /// False: it comes back by itself and another stream has the handle. Otherwise it is logged in, and an
    /// older login of that handle ends.
    boost::asio::awaitable<bool> Admit(std::shared_ptr<Session> session, std::shared_ptr<Client> client,
                                       bool again);
    /// `address`: by which the relay knows the client. `only`: the id of the one meeting that somebody from
    /// outside may enter, to whom no other one exists; "": anyone may be meant.
    boost::asio::awaitable<Found> Find(std::shared_ptr<Session> session, std::string address, Enter enter,
                                       std::string only);
    boost::asio::awaitable<ById> OfId(std::string id);
    /// The store has changed; `account` is what it holds now. Afterwards every session knows it. `removed`:
    /// what is said to somebody who has none any more. `looked`: when the store was asked; an answer to an
    /// earlier question does not go over one to a later.
    boost::asio::awaitable<void> AccountChanged(std::string handle, std::optional<Account> account,
                                                std::string removed = kRemoved, ByeReason reason = BYE_KICKED,
                                                std::optional<std::uint64_t> looked = std::nullopt);
    static constexpr char kRemoved[] = "The account was removed.";

    // --- of relays that share their meetings ---
    /// A client of another relay wants a seat here.
    boost::asio::awaitable<void> Arrive(std::shared_ptr<Session> session, std::shared_ptr<Client> client);
    /// Somebody logs in at another relay. False: by itself, and another stream has the handle here.
    boost::asio::awaitable<bool> AdmittedElsewhere(std::string key, std::string handle, std::uint64_t stream,
                                                   bool again);
    /// Another relay keeps this one now: its clients go there.
    /// `epoch`: what it was kept with; a later one is not concerned.
    void LeaseLost(const MeetingHead& head, std::uint64_t epoch);
    /// Nobody keeps it.
    boost::asio::awaitable<void> SeeTo(std::string code);
    /// A client of this one has a seat elsewhere. Any thread.
    void Resumed(std::shared_ptr<Session> session, std::shared_ptr<Client> client);

    using Done = SharedMeetings::Done;
    using Told = SharedMeetings::Told;
    /// An operator's word: the handle is out of this meeting, and stays out. `only`: when the code means the
    /// meeting of that id; "": whichever it means.
    boost::asio::awaitable<Done> Kick(std::string code, HandleForms whom, std::string only = {});
    /// Takes Kick back.
    boost::asio::awaitable<Done> Unkick(std::string code, HandleForms whom, std::string only = {});
    /// The meeting ends for everybody who is in it, and nothing of it is left.
    boost::asio::awaitable<Done> Close(std::string code, std::string only = {});
    /// Whoever has this handle is out. A folded one.
    boost::asio::awaitable<void> EndHandle(std::string key, std::string text);
    boost::asio::awaitable<std::vector<MeetingFacts>> Facts();
    /// Folded, of all who are logged in or have a seat.
    boost::asio::awaitable<std::vector<std::string>> Handles();
    /// A meeting's log as it was at one moment.
    struct Held {
        std::shared_ptr<Meeting> meeting;
        std::string folder;  // its name
        std::vector<LogPart> parts;
    };
    boost::asio::awaitable<std::vector<std::string>> Ids();
    /// Release follows in any case. Throws when a part of it stands in memory only. None: it is no more.
    boost::asio::awaitable<std::optional<Held>> Hold(std::string id);
    void Release(const Held& held);

    // --- any thread ---
    /// For AccountChanged; before the store is asked.
    std::uint64_t LookNow() { return ++mLooked; }
    /// This login, and its seat.
    void EndSession(std::shared_ptr<Session> session, std::string text);
    void WhenAlive(std::function<void()> done);
    /// The limits have changed.
    void LimitsChanged();
    void ClientEnded(std::shared_ptr<Session> session, std::shared_ptr<Client> client);
    /// No meeting tells anybody any more that somebody left: the service itself goes.
    void StopMeetings();

private:
    struct Entry {
        std::shared_ptr<Session> session;
        std::weak_ptr<Client> client;
        std::weak_ptr<Meeting> meeting;  // where its seat is, or may be soon
        std::uint64_t looked = 0;        // when the store was asked for what is known of the account
    };
    void ClientResumed(std::shared_ptr<Session> session, std::shared_ptr<Client> client) override;
    void SeatRestored(std::shared_ptr<Session> session, std::shared_ptr<Meeting> meeting) override;
    boost::asio::awaitable<void> HoldAgainstAccounts(std::shared_ptr<Session> session);
    void SeatEnded(std::shared_ptr<Session> session) override;
    void MeetingEmpty(std::shared_ptr<Meeting> meeting) override;

    boost::asio::awaitable<bool> DoAdmit(std::shared_ptr<Session> session, std::shared_ptr<Client> client,
                                         bool again);
    boost::asio::awaitable<Found> DoFind(std::shared_ptr<Session> session, Enter enter, std::string only,
                                         std::optional<MeetingHead>* wanted = nullptr);
    /// By who asks, once: later, unless its log can be used.
    boost::asio::awaitable<Found> FindOpened(std::shared_ptr<Session> session, Enter enter, std::string only);
    boost::asio::awaitable<Found> FindHere(std::shared_ptr<Session> session, Enter enter, std::string only);
    boost::asio::awaitable<Found> FindShared(std::shared_ptr<Session> session, Enter enter);
    boost::asio::awaitable<ById> OfIdShared(std::string id);
    /// Looked for as who keeps it does. Null and no keeper: there is none, unless `known` is false.
    struct Kept {
        std::shared_ptr<Meeting> meeting = {};
        std::optional<RelayId> keeper = {};
        bool known = false;
        MeetingHead head = {};  // among relays that share it: which one it is
    };
    boost::asio::awaitable<Kept> Keep(std::string code);
    /// As the user writes it.
    boost::asio::awaitable<Kept> OfCode(std::string code, std::string only);
    boost::asio::awaitable<std::shared_ptr<Meeting>> DoKeep(MeetingHead head, std::uint64_t epoch);
    boost::asio::awaitable<bool> DoAdmittedElsewhere(std::string key, std::string handle,
                                                     std::uint64_t stream, bool again);
    boost::asio::awaitable<void> DoWithdraw(std::shared_ptr<Session> session);
    void Let(const std::shared_ptr<Meeting>& meeting);
    boost::asio::awaitable<std::shared_ptr<Meeting>> DoById(std::string id);
    boost::asio::awaitable<std::shared_ptr<Meeting>> DoByCode(std::string code);
    boost::asio::awaitable<void> DoAccountChanged(std::string key, std::optional<Account> account,
                                                  std::string removed, ByeReason reason,
                                                  std::uint64_t looked);
    boost::asio::awaitable<std::vector<std::shared_ptr<Meeting>>> DoAll();
    boost::asio::awaitable<std::shared_ptr<Meeting>> DoClose(std::shared_ptr<Meeting> meeting, Told told);
    boost::asio::awaitable<void> DoEndHandle(std::string key, std::string text);
    boost::asio::awaitable<MeetingFacts> FactsOf(std::shared_ptr<Meeting> meeting);
    boost::asio::awaitable<std::vector<std::string>> DoHandles();
    boost::asio::awaitable<void> Learn(std::string who, std::string address);
    boost::asio::awaitable<void> Guessed(std::string who, std::string address);
    void Entered(const std::string& who);
    boost::asio::awaitable<bool> Opened(std::shared_ptr<Meeting> meeting);
    std::filesystem::path Folder() const;
    std::shared_ptr<Meeting> Make(const MeetingHead& head, std::uint64_t epoch = 0);
    std::unique_ptr<MeetingLog> MakeLog(const MeetingHead& head, std::uint64_t epoch, const Strand& home,
                                        const std::shared_ptr<std::weak_ptr<Meeting>>& made);
    enum class Code { Free, NamedAnew };
    /// `told`: where relays share it.
    void Delete(const std::shared_ptr<Meeting>& meeting, const std::string& goodbye = {},
                Code code = Code::Free, Told told = {});
    void MakeRoom(const std::string& creator);
    void EndEntry(const Entry& entry, ByeReason reason, const std::string& text);

    const MeetingServices mServices;
    EntryLimits mLimits;
    Turns mTurns;  // of codes, while others are asked
    std::atomic<std::uint64_t> mLooked{0};
    Strand mStrand;
    std::unordered_map<std::string, std::shared_ptr<Meeting>> mByCode, mById;
    std::unordered_map<std::string, std::uint64_t> mEpochs;  // of their leases, by id
    std::unordered_map<std::string, std::deque<std::weak_ptr<Meeting>>>
        mMade;                                        // by their creators' folded handles
    std::unordered_map<std::string, Entry> mEntries;  // by folded handle
};

}  // namespace zephyl
