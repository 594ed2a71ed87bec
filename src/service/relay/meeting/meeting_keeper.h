#pragma once
// What a meeting tells whoever keeps the list of meetings, and what keeps a meeting in that list.

#include <memory>

namespace zephyl {

class Client;
class Meeting;
struct Session;

/// Any thread.
class MeetingKeeper {
public:
    virtual ~MeetingKeeper() = default;
    virtual void ClientResumed(std::shared_ptr<Session> session, std::shared_ptr<Client> client) = 0;
    /// A log was opened that has this seat.
    virtual void SeatRestored(std::shared_ptr<Session> session, std::shared_ptr<Meeting> meeting) = 0;
    virtual void SeatEnded(std::shared_ptr<Session> session) = 0;
    /// Deletes a meeting that nobody is in any more.
    virtual void MeetingEmpty(std::shared_ptr<Meeting> meeting) = 0;
};

/// Counts as somebody in the meeting for as long as it exists: a seat, or somebody on the way to one.
struct MeetingHold {
    explicit MeetingHold(std::shared_ptr<Meeting> held);
    ~MeetingHold();
    MeetingHold(const MeetingHold&) = delete;
    MeetingHold& operator=(const MeetingHold&) = delete;
    const std::shared_ptr<Meeting> meeting;
};

}  // namespace zephyl
