#pragma once
// Compares what was sent with what was applied.

#include "reliability/crowd.h"
#include "reliability/goal.h"

namespace reliability {

struct Verdict {
    std::size_t deliveries = 0, lost = 0, twice = 0, disordered = 0, damaged = 0, leaves = 0;
    bool oneOrder = true;  // of board records, for every two receivers
    QString firstFault;
};

/// What one of them, or somebody beside them, saw of what the crowd sent while it was there.
void JudgeEntry(const Crowd& crowd, int receiver, const Entry& entry, Verdict& verdict);
/// Everybody was there from the first item to the last, in one entry. Nobody runs meanwhile.
Verdict JudgeAll(const Crowd& crowd);
/// Puts it among the figures, and demands that nothing is wrong.
void Demand(Outcome& outcome, const Verdict& verdict);

/// The value below which `percent` of them lie; 0 for none.
double Percentile(std::vector<double> values, double percent);
/// Milliseconds from sending to applying, of everything that was sent between these times.
std::vector<double> Latencies(const Crowd& crowd, Channel channel, Time from, Time to);
/// Milliseconds of every cut: from there until the client had what the others knew when it was back.
std::vector<double> CatchUps(const Crowd& crowd);
QString Milliseconds(double value);

}  // namespace reliability
