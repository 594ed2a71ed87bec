#pragma once
// The rules for a change of an attendee's status. Pure.

#include <QtGlobal>

enum class AttendeeChange { None, Joined, Left };

/// `listed`: the handle stands in lstUsers, compared without case. Only the codes for present and left mean
/// something.
AttendeeChange DecideStatus(bool listed, qint32 newStatus);
