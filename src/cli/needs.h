#pragma once
// What the link needs, from options instead of a store: nothing here touches the user's settings.

#include <optional>

#include "contract/link_needs.h"

class OptionSettings final : public ServiceSettings {
public:
    OptionSettings(ServiceChoice choice, std::optional<QString> trusted)
        : mChoice(std::move(choice)), mTrusted(std::move(trusted))
    {
    }
    QString DefaultConfig() override { return {}; }
    ServiceChoice Read(const QString&) override { return mChoice; }
    std::optional<QString> PinnedKey(const QString&) override { return mTrusted; }
    void PinKey(const QString&, const QString& fingerprint) override { mTrusted = fingerprint; }

private:
    ServiceChoice mChoice;            // its service "": the personal one
    std::optional<QString> mTrusted;  // for this run only
};

/// Events may always come: they wait in the loop while a command is under way.
class OpenGate final : public EventGate {
public:
    bool IsOpen() const override { return true; }
    void WhenOpen(std::function<void()>) override {}
};

/// Nobody sits here to be asked: says how to trust the key, and does not. At a terminal the person is asked.
class TerminalTrust final : public TrustQuestion {
public:
    bool Ask(const QString& service, const QString& fingerprint) override;
};

/// One line on standard error.
void LogToStandardError(const QString& line);

/// "zephyl 1.0.12", for the service's log.
QString ProgramName();

/// zephyld beside this program, else whatever the PATH has.
QString ZephyldPath();
