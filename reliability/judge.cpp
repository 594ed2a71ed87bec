#include "reliability/judge.h"

#include <algorithm>
#include <map>
#include <set>

using namespace Qt::StringLiterals;

namespace reliability {
namespace {

using Key = std::pair<int, std::uint32_t>;  // sender, number

void JudgeChannel(const Crowd& crowd, int receiver, const Entry& entry, Channel channel, Verdict& verdict)
{
    const auto fault = [&](const char* what, int sender, std::uint32_t number) {
        if (verdict.firstFault.isEmpty())
            verdict.firstFault = u"%1: %2 %3 of c%4 at c%5"_s.arg(QLatin1String(what))
                                     .arg(channel == Board ? u"record"_s : u"line"_s)
                                     .arg(number)
                                     .arg(sender)
                                     .arg(receiver);
    };
    std::set<Key> seen;
    std::map<int, std::uint32_t> last;
    for (const Applied& one : entry.applied[channel]) {
        ++verdict.deliveries;
        if (!seen.insert({one.sender, one.number}).second) {
            ++verdict.twice;
            fault("twice", one.sender, one.number);
        } else if (one.number < last[one.sender]) {
            ++verdict.disordered;
            fault("out of order", one.sender, one.number);
        }
        last[one.sender] = std::max(last[one.sender], one.number);
    }
    for (const auto& sender : crowd) {
        if (sender->Number() == receiver) continue;
        for (const Sent& one : sender->sent[channel])
            if (!seen.contains({sender->Number(), one.number})) {
                ++verdict.lost;
                fault("lost", sender->Number(), one.number);
            }
    }
}

/// What both could see, as one of them saw it.
std::vector<Key> BoardOf(const Client& one, const Client& other)
{
    std::vector<Key> keys;
    for (const Applied& applied : one.entries.back().applied[Board])
        if (applied.sender != other.Number()) keys.emplace_back(applied.sender, applied.number);
    return keys;
}

}  // namespace

void JudgeEntry(const Crowd& crowd, int receiver, const Entry& entry, Verdict& verdict)
{
    for (const Channel channel : {Talk, Board}) JudgeChannel(crowd, receiver, entry, channel, verdict);
    verdict.damaged += std::size_t(entry.damaged);
    for (const auto& [who, status] : entry.presence) verdict.leaves += status == kStatusLeft;
}

Verdict JudgeAll(const Crowd& crowd)
{
    Verdict verdict;
    for (const auto& one : crowd) JudgeEntry(crowd, one->Number(), one->entries.back(), verdict);
    for (const auto& a : crowd)
        for (const auto& b : crowd)
            if (a->Number() < b->Number() && BoardOf(*a, *b) != BoardOf(*b, *a)) verdict.oneOrder = false;
    return verdict;
}

void Demand(Outcome& outcome, const Verdict& verdict)
{
    outcome.Figure(u"%1 deliveries: %2 lost, %3 twice, %4 out of order, %5 damaged"_s.arg(verdict.deliveries)
                       .arg(verdict.lost)
                       .arg(verdict.twice)
                       .arg(verdict.disordered)
                       .arg(verdict.damaged));
    outcome.Must(verdict.deliveries > 0, u"nothing was delivered"_s);
    outcome.Must(verdict.firstFault.isEmpty(), verdict.firstFault);
    outcome.Must(verdict.damaged == 0, u"payloads arrived changed"_s);
    outcome.Must(verdict.oneOrder, u"two receivers have two orders of records"_s);
    outcome.Must(verdict.leaves == 0, u"%1 leaves were seen"_s.arg(verdict.leaves));
}

double Percentile(std::vector<double> values, double percent)
{
    if (values.empty()) return 0;
    const std::size_t at = std::min(values.size() - 1, std::size_t(double(values.size()) * percent / 100));
    std::nth_element(values.begin(), values.begin() + std::ptrdiff_t(at), values.end());
    return values[at];
}

std::vector<double> Latencies(const Crowd& crowd, Channel channel, Time from, Time to)
{
    std::map<Key, Time> sent;
    for (const auto& sender : crowd)
        for (const Sent& one : sender->sent[channel])
            if (one.at >= from && one.at < to) sent[{sender->Number(), one.number}] = one.at;
    std::vector<double> latencies;
    for (const auto& receiver : crowd)
        for (const Applied& one : receiver->entries.back().applied[channel])
            if (const auto found = sent.find({one.sender, one.number}); found != sent.end())
                latencies.push_back(
                    std::chrono::duration<double, std::milli>(one.at - found->second).count());
    return latencies;
}

std::vector<double> CatchUps(const Crowd& crowd)
{
    std::map<std::pair<Key, Channel>, std::vector<std::pair<int, Time>>> known;  // who had it when
    for (const auto& receiver : crowd)
        for (const Channel channel : {Talk, Board})
            for (const Applied& one : receiver->entries.back().applied[channel])
                known[{{one.sender, one.number}, channel}].emplace_back(receiver->Number(), one.at);
    std::vector<double> all;
    for (const auto& client : crowd) {
        Time cut{};  // none
        for (const LinkSeen& seen : client->states) {
            if (seen.state.phase == LinkState::Phase::Cut && cut == Time{}) cut = seen.at;
            if (seen.state.back == LinkState::Back::No || cut == Time{}) continue;
            Time had = seen.at;
            for (const auto& [item, who] : known) {
                Time own{}, others = Time::max();
                for (const auto& [number, at] : who)
                    if (number == client->Number())
                        own = at;
                    else
                        others = std::min(others, at);
                if (others <= seen.at) had = std::max(had, own);
            }
            all.push_back(std::chrono::duration<double, std::milli>(had - cut).count());
            cut = {};
        }
    }
    return all;
}

QString Milliseconds(double value)
{
    return value < 10 ? u"%1 ms"_s.arg(value, 0, 'f', 1) : u"%1 ms"_s.arg(value, 0, 'f', 0);
}

}  // namespace reliability
