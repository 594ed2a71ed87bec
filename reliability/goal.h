#pragma once
// One promise, how it is tried, and what came of it.

#include <QString>
#include <QStringList>
#include <cstdint>
#include <functional>
#include <random>
#include <vector>

namespace reliability {

/// How a goal is run. Every random choice comes from `random`.
struct Run {
    bool full = false;  // the long form
    std::uint64_t seed = 0;
    std::mt19937_64 random;
    bool cluster = false;  // on three relays

    /// One value for the short form, one for the long.
    template <class T>
    T Form(T ofShort, T ofLong) const
    {
        return full ? ofLong : ofShort;
    }
    /// 0 to below - 1.
    std::size_t Below(std::size_t below) { return std::size_t(random() % below); }
};

/// What is promised whatever the machine does must be `kept`; what is promised in milliseconds must be
/// `inTime`, which is judged in the long form only: short ones share the machine with other tests.
struct Outcome {
    QStringList figures;
    QStringList broken;  // promises, in words
    QStringList slow;

    void Figure(const QString& text) { figures += text; }
    void Must(bool kept, const QString& otherwise)
    {
        if (!kept) broken += otherwise;
    }
    void Soon(bool inTime, const QString& otherwise)
    {
        if (!inTime) slow += otherwise;
    }
    /// The machine cannot try it; says why.
    QString cannot;
};

struct Goal {
    const char* id;
    const char* what;
    std::function<void(Run&, Outcome&)> run;
    enum class On { One, OneOrThree, Three } on = On::One;
};

std::vector<Goal> CutGoals();       // R1, R2, R3
std::vector<Goal> ClusterGoals();   // relays, nats, database, pairs, stops, mixed
std::vector<Goal> SlowGoals();      // R4, R5, R6
std::vector<Goal> KillGoals();      // R7, R8, R9, R12
std::vector<Goal> SizeGoals();      // R13, newcomer, uplink
std::vector<Goal> MachineGoals();   // R14, R16
std::vector<Goal> TokenGoals();     // S9
std::vector<Goal> StrangerGoals();  // S3, S7, S10, S12
std::vector<Goal> TrustGoals();     // S8
std::vector<Goal> WireGoals();      // S1, S2, S11
std::vector<Goal> MailGoals();      // S6
std::vector<Goal> StartGoals();     // S14
std::vector<Goal> ModelGoals();     // F4
std::vector<Goal> WindowGoals();    // C1, C2, C3, C4, C7, companion
std::vector<Goal> SettingsGoals();  // C6

}  // namespace reliability
