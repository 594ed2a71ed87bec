#pragma once
// How the value of a setting is changed: a control for each kind of row. The texts that go in and out are as
// the settings store has them.

#include <QWidget>
#include <functional>
#include <memory>

#include "base/process_state.h"
#include "settings/preference_rows.h"

class ValueControl : public QWidget {
public:
    using QWidget::QWidget;

    /// Shows a text, without telling of it.
    virtual void Show(const QString& text) = 0;
    /// What gets the keys, is named for readers of the screen, and is the buddy of the row's label.
    virtual QWidget* Field() = 0;

    /// The user has changed it. Not called for a state that means no value.
    std::function<void(const QString& text)> onChange = [](const QString&) {};
};

/// What rows cannot know by themselves.
struct ControlNeeds {
    ProcessState& state;
    std::function<QStringList()> configs;  // names that a configuration may be chosen from
};

/// The control is `parent`'s; its field has the name "set_" and the key without blanks.
ValueControl* MakeValueControl(const PreferenceRow& row, const ControlNeeds& needs, QWidget* parent);
/// `prefix` and the key without blanks.
QString ControlName(const char* prefix, const PreferenceRow& row);
