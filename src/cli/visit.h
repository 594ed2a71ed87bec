#pragma once
// A link on a loop of its own, logged in and in the meeting.

#include "cli/commands.h"
#include "cli/loop.h"
#include "cli/needs.h"
#include "service/link/link_messenger.h"

class Visit {
public:
    /// Where the code is an invitation, that says which service. Throws std::runtime_error with why it did
    /// not get in.
    explicit Visit(const PeopleOptions& given);

    Loop loop;
    const PeopleOptions options;  // with what an invitation says

private:
    OptionSettings mSettings;
    OpenGate mGate;
    TerminalTrust mTrust;

public:
    const std::unique_ptr<MessengerService> service;
};
