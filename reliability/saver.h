#pragma once
// A client's settings and chat log under kills: the process that saves, and what must be found afterwards.

#include <QByteArray>
#include <QString>
#include <array>

namespace reliability {

/// Saves settings and log lines in `folder` from `generation` on, and says each when it is saved, until it is
/// killed.
int SaveForever(const QString& folder, int generation);

/// What the killed processes have said so far.
class SavedSoFar {
public:
    /// Where the next process goes on.
    int Next() const { return mNext; }
    void Told(const QByteArray& line);
    /// What is wrong in the folder; "" for nothing. Takes what is there for the truth from then on.
    QString Fault(const QString& folder);

    int settings = 0, lines = 0;            // acknowledged
    int settingsAhead = 0, linesAhead = 0;  // there without having been acknowledged

private:
    QString SettingsFault(const QString& folder);
    QString LogFault(const QString& folder);

    static constexpr int kKeys = 8;
    std::array<int, kKeys> mSettings{};
    int mLine = 0, mNext = 1;
    friend int SaveForever(const QString& folder, int generation);
};

}  // namespace reliability
