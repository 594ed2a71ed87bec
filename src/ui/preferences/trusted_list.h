#pragma once
// The services whose key is remembered, and a way to forget one. Nothing is stored here; the draft takes it.

#include <QCoreApplication>
#include <QWidget>
#include <functional>

#include "settings/preference_draft.h"

class QListWidget;
class QPushButton;

class TrustedList final : public QWidget {
    Q_DECLARE_TR_FUNCTIONS(TrustedList)
public:
    TrustedList(PreferenceDraft& draft, QWidget* parent);
    void Fill();

    std::function<void()> onChange = [] {};

private:
    void Forget();

    PreferenceDraft& mDraft;
    QListWidget* mList;
    QPushButton* mForget;
};
