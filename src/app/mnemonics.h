#pragma once

#include <QObject>

/// For the application's event filter: a button's mnemonic acts at once. By itself the toolkit presses the
/// button for 100 ms first, and an Enter that comes meanwhile would find the option chosen before, or a word
/// typed meanwhile would go into the whisper.
class MnemonicsAtOnce final : public QObject {
public:
    using QObject::QObject;
    bool eventFilter(QObject* target, QEvent* event) override;
};
