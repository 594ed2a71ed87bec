#pragma once
// What the link needs of the client, over the settings store, the toolkit and the prompts.

#include <QObject>

#include "base/process_state.h"
#include "contract/link_needs.h"

/// Reads and pins in the settings store.
class StoreServiceSettings final : public ServiceSettings {
public:
    explicit StoreServiceSettings(ProcessState& state) : mState(state) {}
    QString DefaultConfig() override;
    ServiceChoice Read(const QString& configName) override;
    std::optional<QString> PinnedKey(const QString& service) override;
    void PinKey(const QString& service, const QString& fingerprint) override;

private:
    ProcessState& mState;
};

class PromptTrustQuestion final : public TrustQuestion {
public:
    explicit PromptTrustQuestion(ProcessState& state) : mState(state) {}
    bool Ask(const QString& service, const QString& fingerprint) override;

private:
    ProcessState& mState;
};

class QtUiPost final : public QObject, public UiPost {
public:
    void Post(std::function<void()> work) override
    {
        QMetaObject::invokeMethod(this, std::move(work), Qt::QueuedConnection);
    }
};
