#pragma once
// What a control says of itself to those who do not see it, where the toolkit does not know it: its role, its
// name, what can be done with it. Nothing here changes how a control looks. User-interface thread only.

#include <QAccessible>
#include <QString>
#include <functional>

class QAbstractItemView;
class QComboBox;
class QMenu;
class QWidget;

struct Spoken {
    QAccessible::Role role;
    QString name = {};                   // "": that of its caption or label
    QString description = {};            // "": that of its tooltip
    std::function<bool()> checked = {};  // null: it can be neither checked nor unchecked
    std::function<void()> press = {};    // null: it cannot be pressed
    std::function<void()> menu = {};     // null: it opens none
};

/// Call while `control` is being made.
void Speak(QWidget& control, Spoken spoken);
/// A combo box goes by its label and tells what is chosen as its text; by itself the toolkit calls it by what
/// is chosen.
void SpeakByLabel(QComboBox& box, const QString& name);
/// The entry that the focus was on is told as focused only while `list` has the focus: the toolkit's own goes
/// on saying so. The list finds its place again when the focus is back; what is selected stays so.
void FocusLeavesWith(QAbstractItemView& list);
/// An entry that is pressed over the bus closes the menu, as one that is clicked does.
void CloseWhenPressed(QMenu& menu);
/// What `checked` of its Spoken says has changed.
void SayChecked(const QWidget& control);

/// Said at once, wherever the focus is; of a long text the beginning. Does nothing while `control` is not to
/// be seen.
void Announce(QWidget& control, const QString& text);
