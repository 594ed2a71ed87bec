#pragma once
// What the relays of a cluster count together, so that nobody gains by going from one to the other. The rules
// are those of BackOff and Allowance: here is only where their counts stand. Any thread; what blocks throws
// AccountError when the store does not answer.

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "service/relay/door/back_off.h"

namespace zephyl {

class SharedCounts {
public:
    virtual ~SharedCounts() = default;

    /// An account's passwords are checked one after the other, whichever relays are asked. Given back by the
    /// destructor; nothing is counted then.
    class Turn {
    public:
        virtual ~Turn() = default;
        virtual BackOff::Standing Now() = 0;
        /// The same, and its address is counted by nobody else until Save, or the end of the turn.
        virtual BackOff::Standing Alone() = 0;
        /// Ends the turn.
        virtual void Save(const BackOff::Standing& standing) = 0;
    };
    /// Blocks while another relay has it.
    virtual std::unique_ptr<Turn> TakeTurn(const Attempt& attempt) = 0;

    /// Of what may be done so often a minute.
    struct Share {
        std::string name;
        double aMinute;
    };
    /// How many of each are used up, more than `aMinute` when there is a debt.
    virtual std::vector<double> Used(const std::vector<Share>& shares) = 0;
    /// One of each, in any case.
    virtual void Spend(const std::vector<Share>& shares) = 0;
    /// One, if there is one: 0. Otherwise how long until there is.
    virtual std::chrono::milliseconds Take(const Share& share) = 0;

    /// Does that beside, whatever it waits for.
    virtual void Run(std::function<void()> work) = 0;
};

}  // namespace zephyl
