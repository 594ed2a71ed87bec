#pragma once
// What a relay that shares its meetings with others knows of where they are. A meeting has one keeper at a
// time: the relay that has the lease of its code.

#include <boost/asio/awaitable.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "service/relay/log/meeting_head.h"
#include "service/relay/log/meeting_log.h"
#include "service/relay/options.h"

namespace zephyl {

struct Session;

/// A relay, in one of its lives.
struct RelayId {
    std::string name;
    std::uint64_t incarnation = 0;
    auto operator<=>(const RelayId&) const = default;
};

/// Which meeting a code means, and who keeps it.
struct CodeLease {
    enum class Whose { Unknown, Nobodys, Another, Mine };
    Whose whose = Whose::Unknown;  // unknown: that cannot be told at the moment; ask again
    RelayId keeper = {};           // when it is another
    MeetingHead head = {};         // when it is known
    std::uint64_t epoch = 0;       // when mine: rises each time that anybody takes it
};

class SharedMeetings {
public:
    virtual ~SharedMeetings() = default;

    // --- any coroutine; it goes on where it was. One at a time for each code ---
    /// Of a folded code. Takes the lease when its keeper is gone.
    virtual boost::asio::awaitable<CodeLease> Look(std::string code) = 0;
    /// From now on the code means this meeting, and this relay keeps it: its epoch. None: somebody else was
    /// faster, or that cannot be told at the moment.
    virtual boost::asio::awaitable<std::optional<std::uint64_t>> Name(MeetingHead head) = 0;
    struct Named {
        bool known = false;  // it could be asked
        std::string code;    // "": there is no such meeting
    };
    virtual boost::asio::awaitable<Named> CodeOf(std::string meeting) = 0;
    /// A login that is on its way, for as long as this exists.
    class Admission {
    public:
        virtual ~Admission() = default;
        /// It is there. False: another one of that handle came at the same moment and stays instead.
        virtual bool Settle() = 0;
    };
    /// Ends older logins of that handle at all other relays. Null: it comes back by itself, and another
    /// stream has the handle somewhere; or another login is on its way and stays instead.
    virtual boost::asio::awaitable<std::unique_ptr<Admission>> AdmitElsewhere(
        std::shared_ptr<Session> session, bool again) = 0;
    /// As the directory's own; asked of the keeper, about this meeting only. NoAnswer: it cannot be told at
    /// the moment whether there is such a meeting, or its keeper does not say what became of it.
    enum class Done { Yes, NoMeeting, NotKicked, NoAnswer };
    enum class Back { No, Yes };  // it may come in again
    virtual boost::asio::awaitable<Done> KickThere(RelayId keeper, MeetingHead meeting, std::string handle,
                                                   Back back) = 0;
    virtual boost::asio::awaitable<Done> CloseThere(RelayId keeper, MeetingHead meeting) = 0;

    // --- any thread ---
    /// The meeting is no more, and its log goes: `told`, on any thread. Or another relay has taken it over
    /// before: false.
    using Told = std::function<void(bool gone)>;
    virtual void Forget(const MeetingHead& head, Told told) = 0;
    /// Another relay may keep it now.
    virtual void Release(const MeetingHead& head) = 0;
    /// Somebody else has written to its log: the lease of this epoch is gone, whatever was thought of it.
    virtual void Lost(const MeetingHead& head, std::uint64_t epoch) = 0;
    /// This relay is in touch, so what it keeps is its own. Otherwise its timers wait.
    virtual bool MayDecide() const = 0;

    using Post = std::function<void(std::function<void()>)>;
    /// `post` brings work to the meeting's strand; `trouble` as a FileLog's; `fenced`: another relay writes
    /// there now. The log of a meeting that this relay keeps.
    virtual std::unique_ptr<MeetingLog> Log(const MeetingHead& head, std::uint64_t epoch,
                                            const RelayBounds& bounds, Post post,
                                            std::function<void(bool refused)> trouble,
                                            std::function<void()> fenced) = 0;
};

}  // namespace zephyl
