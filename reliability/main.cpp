// Tries the promises of the message path on real programs: one Markdown row each.
//   reliability [--short | --long] [--cluster] [--seed N] [GOAL...]

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <iostream>
#include <map>

#include "reliability/cluster.h"
#include "reliability/goal.h"
#include "reliability/linked_attendee.h"
#include "reliability/saver.h"

namespace {

using namespace reliability;

std::vector<Goal> AllGoals()
{
    std::vector<Goal> all;
    for (auto part : {CutGoals(), ClusterGoals(), SlowGoals(), KillGoals(), SizeGoals(), MachineGoals(),
                      TokenGoals(), StrangerGoals(), TrustGoals(), WireGoals(), MailGoals(), StartGoals(),
                      ModelGoals(), WindowGoals(), SettingsGoals()})
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

std::string Judgement(const Outcome& outcome, bool full)
{
    if (!outcome.cannot.isEmpty()) return "not tried: " + outcome.cannot.toStdString();
    const QStringList wrong = full ? outcome.broken + outcome.slow : outcome.broken;
    if (wrong.isEmpty()) return "passed";
    return "**missed**: " + wrong.join(QStringLiteral("; ")).toStdString();
}

std::string ByWhich()
{
    switch (LinkedAttendee::usual) {
        case Protocol::Http: return " by HTTP";
        case Protocol::Udp: return " by UDP";
        default: return {};
    }
}

/// Prints the row; false when the goal was missed.
bool Try(const Goal& goal, bool full, bool cluster, std::uint64_t seed)
{
    Run run{full, seed, std::mt19937_64(seed), cluster};
    Outcome outcome;
    const Time begun = Clock::now();
    try {
        if (cluster && Cluster::Missing())
            outcome.cannot = QStringLiteral("neither nats-server nor PostgreSQL here");
        else
            goal.run(run, outcome);
    } catch (const std::exception& e) {
        outcome.broken += QString::fromUtf8(e.what());
    }
    const std::string judgement = Judgement(outcome, full);
    std::cout << "| " << goal.id << ByWhich() << (cluster ? " on three relays" : "") << " | " << goal.what
              << " | " << outcome.figures.join(QStringLiteral("; ")).toStdString() << " | " << judgement
              << " | " << (full ? "long" : "short") << ", " << int(Since(begun) / 1000) << " s, seed " << seed
              << " |" << std::endl;
    return !judgement.starts_with("**");
}

}  // namespace

int main(int argc, char** argv)
{
    CLI::App app("Tries the promises of the message path on real programs.");
    bool full = std::getenv("QUORVIA_LONG") != nullptr, brief = false, cluster = false;
    std::uint64_t seed = std::random_device{}();
    std::vector<std::string> names;
    app.add_flag("--long", full, "the full forms (also: QUORVIA_LONG in the environment)");
    app.add_flag("--short", brief, "the short forms");
    app.add_flag("--cluster", cluster, "on three relays that share their meetings");
    app.add_option("--seed", seed, "for the same random choices once more");
    app.add_option("GOAL", names, "R1, R2, ...; none: all of them");
    app.add_option("--protocol", LinkedAttendee::usual, "how clients come: tcp, http or udp (default tcp)")
        ->transform(CLI::CheckedTransformer(std::map<std::string, Protocol>{
            {"tcp", Protocol::Tcp}, {"http", Protocol::Http}, {"udp", Protocol::Udp}}));
    std::string saveFolder;
    int generation = 1;
    auto* const saver = app.add_option("--saver", saveFolder)->group("");  // what R9 kills
    app.add_option("--generation", generation)->group("")->needs(saver);
    CLI11_PARSE(app, argc, argv);
    if (!saveFolder.empty()) return SaveForever(QString::fromStdString(saveFolder), generation);

    bool good = true, any = false;
    for (const Goal& goal : AllGoals()) {
        if (!names.empty() && std::find(names.begin(), names.end(), goal.id) == names.end()) continue;
        if (goal.on == (cluster ? Goal::On::One : Goal::On::Three)) continue;
        any = true;
        good &= Try(goal, full && !brief, cluster, seed);
    }
    if (!any) std::cerr << "no such goal\n";
    return good && any ? 0 : 1;
}
