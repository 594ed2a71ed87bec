#include "widgets/spoken.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAccessibleWidget>
#include <QComboBox>
#include <QEvent>
#include <QItemSelectionModel>
#include <QLineEdit>
#include <QMenu>
#include <QPersistentModelIndex>
#include <QRegularExpression>
#include <QSignalBlocker>
#include <QTimer>
#include <QToolButton>
#include <array>

Q_DECLARE_METATYPE(Spoken)

using namespace Qt::StringLiterals;

namespace {

constexpr char kProperty[] = "spoken";
constexpr int kLongestAnnouncement = 1000;  // characters; a stranger may send a thousand times as many

QString WithoutMnemonic(QString caption)
{
    return caption.remove(QRegularExpression(u"&(?!&)"_s));
}

Spoken SpokenOf(const QWidget& control)
{
    return control.property(kProperty).value<Spoken>();
}

/// Not inside the question on the bus: what is pressed may open a dialog, whose answer comes much later.
void Later(QWidget& control, const std::function<void()>& act)
{
    QTimer::singleShot(0, &control, act);
}

class SpokenControl final : public QAccessibleWidget {
public:
    SpokenControl(QWidget* control, Spoken spoken)
        : QAccessibleWidget(control, spoken.role), mSpoken(std::move(spoken))
    {
    }

    // A drop-down is a window of its own: the toolkit would leave it out.
    int childCount() const override { return QAccessibleWidget::childCount() + (Menu() ? 1 : 0); }
    QAccessibleInterface* child(int index) const override
    {
        if (Menu() && index == QAccessibleWidget::childCount())
            return QAccessible::queryAccessibleInterface(Menu());
        return QAccessibleWidget::child(index);
    }
    int indexOfChild(const QAccessibleInterface* child) const override
    {
        if (Menu() && child && child->object() == Menu()) return QAccessibleWidget::childCount();
        return QAccessibleWidget::indexOfChild(child);
    }
    QString text(QAccessible::Text which) const override
    {
        if (which == QAccessible::Name && widget()->accessibleName().isEmpty())
            if (const auto* button = qobject_cast<const QAbstractButton*>(widget()))
                return WithoutMnemonic(button->text());
        return QAccessibleWidget::text(which);
    }
    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        if (mSpoken.press && widget()->isEnabled()) state.focusable = true;  // arrows may lead there, not Tab
        state.hasPopup = bool(mSpoken.menu);
        state.checkable = bool(mSpoken.checked);
        state.checked = mSpoken.checked && mSpoken.checked();
        return state;
    }
    QStringList actionNames() const override
    {
        if (!widget()->isEnabled()) return {};
        QStringList names;
        if (mSpoken.press) names += pressAction();
        if (mSpoken.menu) names += showMenuAction();
        QStringList others = QAccessibleWidget::actionNames();
        if (mSpoken.press && !others.contains(setFocusAction())) others += setFocusAction();
        return names + others;
    }
    void doAction(const QString& name) override
    {
        if (!widget()->isEnabled()) return;
        if (name == pressAction() && mSpoken.press) return Later(*widget(), mSpoken.press);
        if (name == showMenuAction() && mSpoken.menu) return Later(*widget(), mSpoken.menu);
        if (name == setFocusAction()) return widget()->setFocus(Qt::OtherFocusReason);
        QAccessibleWidget::doAction(name);
    }
    QStringList keyBindingsForAction(const QString&) const override { return {}; }

private:
    QMenu* Menu() const
    {
        const auto* button = qobject_cast<const QToolButton*>(widget());
        return button ? button->menu() : nullptr;
    }
    const Spoken mSpoken;
};

/// The list and, where one can type, the field are its children, as with the toolkit's own.
class SpokenCombo final : public QAccessibleWidget, public QAccessibleTextInterface {
public:
    explicit SpokenCombo(QComboBox* box) : QAccessibleWidget(box, QAccessible::ComboBox) {}

    void* interface_cast(QAccessible::InterfaceType type) override
    {
        if (type == QAccessible::TextInterface) return static_cast<QAccessibleTextInterface*>(this);
        return QAccessibleWidget::interface_cast(type);
    }
    int childCount() const override { return Box().isEditable() ? 2 : 1; }
    QAccessibleInterface* child(int index) const override
    {
        if (index == 0) return QAccessible::queryAccessibleInterface(Box().view());
        if (index == 1) return QAccessible::queryAccessibleInterface(Box().lineEdit());  // null without one
        return nullptr;
    }
    int indexOfChild(const QAccessibleInterface* child) const override
    {
        if (child->object() == Box().view()) return 0;
        return Box().lineEdit() && child->object() == Box().lineEdit() ? 1 : -1;
    }
    QString text(QAccessible::Text which) const override
    {
        return which == QAccessible::Value ? Box().currentText() : QAccessibleWidget::text(which);
    }
    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.expandable = true;
        state.expanded = Box().view()->isVisible();
        return state;
    }
    QStringList actionNames() const override
    {
        return QStringList{showMenuAction()} + QAccessibleWidget::actionNames();
    }
    void doAction(const QString& name) override
    {
        if (name != showMenuAction()) return QAccessibleWidget::doAction(name);
        QComboBox& box = Box();
        Later(box, [&box] { box.view()->isVisible() ? box.hidePopup() : box.showPopup(); });
    }

    // --- what is chosen, to be read
    void selection(int, int* start, int* end) const override { *start = *end = 0; }
    int selectionCount() const override { return 0; }
    void addSelection(int, int) override {}
    void removeSelection(int) override {}
    void setSelection(int, int, int) override {}
    int cursorPosition() const override { return 0; }
    void setCursorPosition(int) override {}
    QString text(int from, int to) const override { return Box().currentText().mid(from, to - from); }
    int characterCount() const override { return int(Box().currentText().size()); }
    QRect characterRect(int) const override { return rect(); }
    int offsetAtPoint(const QPoint&) const override { return 0; }
    void scrollToSubstring(int, int) override {}
    QString attributes(int, int* start, int* end) const override
    {
        *start = 0;
        *end = characterCount();
        return QString();
    }

private:
    QComboBox& Box() const { return *static_cast<QComboBox*>(widget()); }
};

QAccessibleInterface* Make(const QString&, QObject* object)
{
    if (!object->isWidgetType() || !object->property(kProperty).isValid()) return nullptr;
    auto* control = static_cast<QWidget*>(object);
    if (auto* box = qobject_cast<QComboBox*>(control)) return new SpokenCombo(box);
    return new SpokenControl(control, SpokenOf(*control));
}

/// A caption that was set, for one, has made it already.
void ForgetToolkitsOwn(QWidget& control)
{
    QAccessibleInterface* made = QAccessible::queryAccessibleInterface(&control);
    if (made && !dynamic_cast<SpokenControl*>(made) && !dynamic_cast<SpokenCombo*>(made))
        QAccessible::deleteAccessibleInterface(QAccessible::uniqueId(made));
}

class EntryFocus final : public QObject {
public:
    explicit EntryFocus(QAbstractItemView& list) : QObject(&list), mList(list)
    {
        list.installEventFilter(this);
    }
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::FocusOut) {
            mAt = mList.currentIndex();
            const QSignalBlocker quiet(mList.selectionModel());  // the list would say that it has the focus
            GoTo(QModelIndex());
        } else if (event->type() == QEvent::FocusIn && mAt.isValid() && !mList.currentIndex().isValid()) {
            GoTo(mAt);
        }
        return false;
    }

private:
    void GoTo(const QModelIndex& entry)
    {
        if (mList.selectionModel())
            mList.selectionModel()->setCurrentIndex(entry, QItemSelectionModel::NoUpdate);
    }
    QAbstractItemView& mList;
    QPersistentModelIndex mAt;
};

/// Says texts by controls that nobody sees: a screen reader reads out such a one when it appears. One after
/// the other: it may come to read the text only when the next one is there already.
class Announcer final : public QWidget {
public:
    explicit Announcer(QWidget* window) : QWidget(window)
    {
        setObjectName(u"announcer"_s);
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setGeometry(0, 0, 1, 1);
        for (QWidget*& line : mLines) {
            line = new QWidget(this);
            line->setGeometry(0, 0, 1, 1);
            Speak(*line, {QAccessible::Notification});
        }
        lower();
        show();
    }
    void Say(const QString& text)
    {
        QWidget* line = mLines[mNext];
        mNext = (mNext + 1) % mLines.size();
        line->setAccessibleName(text);
        QAccessibleEvent shown(line, QAccessible::ObjectShow);
        QAccessible::updateAccessibility(&shown);
    }

private:
    std::array<QWidget*, 8> mLines;
    std::size_t mNext = 0;
};

}  // namespace

void Speak(QWidget& control, Spoken spoken)
{
    QAccessible::installFactory(Make);  // once, whoever comes first
    control.setProperty(kProperty, QVariant::fromValue(spoken));
    ForgetToolkitsOwn(control);
    if (!spoken.name.isEmpty()) control.setAccessibleName(spoken.name);
    if (!spoken.description.isEmpty()) control.setAccessibleDescription(spoken.description);
}

void SpeakByLabel(QComboBox& box, const QString& name)
{
    Speak(box, {QAccessible::ComboBox, name});
    if (box.lineEdit()) box.lineEdit()->setAccessibleName(name);
    QObject::connect(&box, &QComboBox::currentTextChanged, &box, [&box](const QString& chosen) {
        if (box.isEditable()) return;  // its field tells
        QAccessibleTextInsertEvent changed(&box, 0, chosen);
        QAccessible::updateAccessibility(&changed);
    });
}

void FocusLeavesWith(QAbstractItemView& list)
{
    new EntryFocus(list);
}

void CloseWhenPressed(QMenu& menu)
{
    QObject::connect(&menu, &QMenu::triggered, &menu, &QMenu::close);
}

void SayChecked(const QWidget& control)
{
    QAccessible::State changed;
    changed.checked = true;
    QAccessibleStateChangeEvent event(const_cast<QWidget*>(&control), changed);
    QAccessible::updateAccessibility(&event);
}

void Announce(QWidget& control, const QString& text)
{
    if (text.isEmpty() || !control.isVisible()) return;
    auto* announcer = static_cast<Announcer*>(
        control.window()->findChild<QWidget*>(u"announcer"_s, Qt::FindDirectChildrenOnly));
    if (!announcer) announcer = new Announcer(control.window());
    announcer->Say(text.left(kLongestAnnouncement));
}
