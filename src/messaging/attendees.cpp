#include "messaging/attendees.h"

#include "contract/messenger_service.h"

AttendeeChange DecideStatus(bool listed, qint32 newStatus)
{
    if (newStatus == kStatusPresent && !listed) return AttendeeChange::Joined;
    if (newStatus == kStatusLeft && listed) return AttendeeChange::Left;
    return AttendeeChange::None;
}
