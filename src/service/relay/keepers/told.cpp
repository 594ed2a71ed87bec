#include "service/relay/keepers/told.h"

#include "service/relay/cluster/engine.h"

namespace zephyl {
namespace {

constexpr std::size_t kToldBytes = kEngineBytes - 64 * 1024;

words::Told::Meeting ToTell(const MeetingFacts& facts)
{
    words::Told::Meeting meeting;
    meeting.set_id(facts.id);
    meeting.set_code(facts.code);
    meeting.set_open(facts.open);
    meeting.set_talk(facts.log.talk);
    meeting.set_board(facts.log.board);
    meeting.set_memory(facts.log.memory);
    meeting.set_refused(facts.log.refused);
    for (const AttendeeFacts& one : facts.attendees) {
        words::Told::Attendee& attendee = *meeting.add_attendees();
        attendee.set_handle(one.handle);
        attendee.set_log_name(one.logName);
        attendee.set_address(one.address);
        attendee.set_protocol(one.protocol);
        attendee.set_relay(one.relay);
        attendee.set_state(one.state);
        if (one.delay) attendee.set_delay(static_cast<std::uint64_t>(one.delay->count()));
        attendee.set_unread(one.unreadBytes);
    }
    return meeting;
}

MeetingFacts AsTold(const words::Told::Meeting& meeting)
{
    MeetingFacts facts;
    facts.id = meeting.id();
    facts.code = meeting.code();
    facts.open = meeting.open();
    facts.log = {meeting.talk(), meeting.board(), meeting.memory(), meeting.refused()};
    for (const words::Told::Attendee& attendee : meeting.attendees()) {
        AttendeeFacts one;
        one.handle = attendee.handle();
        one.logName = attendee.log_name();
        one.address = attendee.address();
        one.protocol = attendee.protocol();
        one.relay = attendee.relay();
        one.state = attendee.state();
        if (attendee.has_delay()) one.delay = std::chrono::microseconds(attendee.delay());
        one.unreadBytes = attendee.unread();
        facts.attendees.push_back(std::move(one));
    }
    return facts;
}

}  // namespace

words::Told ToldOf(const RelayFacts& relay, const std::vector<MeetingFacts>& meetings)
{
    words::Told told;
    told.set_name(relay.name);
    told.set_version(relay.version);
    told.set_uptime(static_cast<std::uint64_t>(relay.uptime.count()));
    told.set_connections(relay.connections);
    told.set_memory(relay.memory);
    told.set_ailment(relay.ailment);
    std::size_t bytes = 0;
    for (const MeetingFacts& one : meetings) {
        words::Told::Meeting meeting = ToTell(one);
        bytes += meeting.ByteSizeLong() + 8;
        if (bytes > kToldBytes) break;
        *told.add_meetings() = std::move(meeting);
    }
    return told;
}

void TakeTold(const words::Told& told, RelayFacts& relay, std::vector<MeetingFacts>& meetings)
{
    relay.answered = true;
    relay.version = told.version();
    relay.uptime = std::chrono::seconds(told.uptime());
    relay.connections = told.connections();
    relay.memory = told.memory();
    relay.ailment = told.ailment();
    for (const words::Told::Meeting& one : told.meetings()) {
        meetings.push_back(AsTold(one));
        meetings.back().keeper = relay.name;
    }
}

}  // namespace zephyl
