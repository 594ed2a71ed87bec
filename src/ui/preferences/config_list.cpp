#include "ui/preferences/config_list.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include "text/qt_line.h"
#include "ui/dialogs.h"
#include "ui/preferences/setting_row.h"
#include "widgets/named.h"
#include "widgets/spoken.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int kFaultLines = 3;

/// Asks for a name that is none of `taken`.
class NameDialog final : public QDialog {
public:
    NameDialog(const QString& title, const QString& first, QStringList taken, QWidget* parent)
        : QDialog(parent), mTaken(std::move(taken))
    {
        setObjectName(u"configName"_s);
        setWindowTitle(title);
        auto* label = new QLabel(ConfigList::tr("&Name:"), this);
        mName = Named<QLineEdit>(this, "txtName");
        mName->setText(first);
        mName->selectAll();
        mName->setAccessibleName(ConfigList::tr("Name"));
        label->setBuddy(mName);
        mFault = new QLabel(this);
        mFault->setTextFormat(Qt::PlainText);
        mFault->setWordWrap(true);
        mFault->setAlignment(Qt::AlignTop | Qt::AlignLeading);
        mFault->setMinimumHeight(fontMetrics().lineSpacing() * kFaultLines);
        mButtons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
        auto* column = new QVBoxLayout(this);
        for (QWidget* widget : {static_cast<QWidget*>(label), static_cast<QWidget*>(mName),
                                static_cast<QWidget*>(mFault), static_cast<QWidget*>(mButtons)})
            column->addWidget(widget);
        mName->setMinimumWidth(fontMetrics().averageCharWidth() * 40);
        connect(mButtons, &QDialogButtonBox::accepted, this, &QDialog::accept);
        connect(mButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
        connect(mName, &QLineEdit::textChanged, this, [this] { Check(); });
        Check();
    }
    QString Name() const { return mName->text().trimmed(); }

private:
    void Check()
    {
        const NameFault fault = CheckConfigName(Name(), mTaken);
        mButtons->button(QDialogButtonBox::Ok)->setEnabled(fault == NameFault::None);
        mFault->setText(mName->text().isEmpty() ? QString() : FaultText(fault));  // empty is no fault yet
        mName->setAccessibleDescription(mFault->text());
    }

    QStringList mTaken;
    QLineEdit* mName;
    QLabel* mFault;
    QDialogButtonBox* mButtons;
};

}  // namespace

ConfigList::ConfigList(ProcessState& state, PreferenceDraft& draft, bool inMeeting, QWidget* parent)
    : QWidget(parent), mState(state), mDraft(draft), mInMeeting(inMeeting)
{
    auto* label = new QLabel(tr("Confi&gurations:"), this);
    mList = Named<QListWidget>(this, "lstConfigs");
    mList->setAccessibleName(tr("Configurations"));
    FocusLeavesWith(*mList);
    mList->installEventFilter(this);
    label->setBuddy(mList);
    mWhy = new QLabel(this);
    mWhy->setTextFormat(Qt::PlainText);
    mWhy->setWordWrap(true);
    auto* buttons = new QVBoxLayout;
    mNew = Button("cmdNewConfig", tr("N&ew..."), &ConfigList::New);
    mCopy = Button("cmdCopyConfig", tr("Co&py..."), &ConfigList::Copy);
    mRename = Button("cmdRenameConfig", tr("Rena&me..."), &ConfigList::Rename);
    mDelete = Button("cmdDeleteConfig", tr("&Delete"), &ConfigList::Delete);
    for (QPushButton* button : {mNew, mCopy, mRename, mDelete}) buttons->addWidget(button);
    buttons->addStretch(1);
    auto* side = new QHBoxLayout;
    side->addWidget(mList, 1);
    side->addLayout(buttons);
    auto* column = new QVBoxLayout(this);
    column->addWidget(label);
    column->addLayout(side);
    column->addWidget(mWhy);
    connect(mList, &QListWidget::itemSelectionChanged, this, [this] { Explain(); });
}

QPushButton* ConfigList::Button(const char* name, const QString& text, void (ConfigList::*act)())
{
    auto* button = Named<QPushButton>(this, name);
    button->setText(text);
    button->setAutoDefault(false);
    connect(button, &QPushButton::clicked, this, act);
    return button;
}

QString ConfigList::Chosen() const
{
    const QList<QListWidgetItem*> chosen = mList->selectedItems();
    return chosen.isEmpty() ? QString() : chosen.front()->data(Qt::UserRole).toString();
}

void ConfigList::Fill(const QString& chosen)
{
    mList->clear();
    for (const QString& name : mDraft.Configs()) {
        const bool inUse = mInMeeting && name.compare(mDraft.Current(), Qt::CaseInsensitive) == 0;
        auto* item = new QListWidgetItem(inUse ? tr("%1 (in use)").arg(OneLine(name)) : OneLine(name), mList);
        item->setData(Qt::UserRole, name);
        if (name.compare(chosen, Qt::CaseInsensitive) == 0) mList->setCurrentItem(item);
    }
    if (!mList->currentItem()) mList->setCurrentRow(0);
    Explain();
}

/// What may be done with the chosen one, and why not.
void ConfigList::Explain()
{
    const QString name = Chosen();
    const RemoveFault fault = mDraft.MayRemove(name);
    mDelete->setEnabled(!name.isEmpty() && fault == RemoveFault::None);
    mRename->setEnabled(!name.isEmpty() && fault != RemoveFault::AlwaysThere);
    mCopy->setEnabled(!name.isEmpty());
    QString why = tr("A copy has all settings of its original, handle and password too.");
    if (fault == RemoveFault::AlwaysThere)
        why = tr("This configuration is always there: it can be copied, but neither renamed nor deleted.");
    if (fault == RemoveFault::InUse)
        why = tr("\"%1\" is in use in this meeting and cannot be deleted. Choose another one in the login "
                 "dialog "
                 "first.")
                  .arg(ShortInSentence(name));
    mWhy->setText(why);
    mList->setAccessibleDescription(why);
}

QString ConfigList::AskName(const QString& title, const QString& first, const QString& beside)
{
    QStringList taken = mDraft.Configs();
    taken.removeOne(beside);
    NameDialog dialog(title, first, taken, this);
    return RunModally(mState, dialog) == QDialog::Accepted ? dialog.Name() : QString();
}

void ConfigList::New()
{
    const QString name = AskName(tr("New Configuration"), QString(), QString());
    if (name.isEmpty()) return;
    mDraft.AddConfig(name);
    onChange(name);
}

void ConfigList::Copy()
{
    const QString from = Chosen();
    const QString name = AskName(tr("Copy Configuration"), QString(), QString());
    if (name.isEmpty()) return;
    mDraft.CopyConfig(from, name);
    onChange(name);
}

void ConfigList::Rename()
{
    const QString from = Chosen();
    const QString name = AskName(tr("Rename Configuration"), from, from);
    if (name.isEmpty() || name == from) return;
    mDraft.RenameConfig(from, name);
    onChange(name);
}

void ConfigList::Delete()
{
    const QString name = Chosen();
    const qsizetype row = mDraft.Configs().indexOf(name);
    mDraft.RemoveConfig(name);
    onChange(mDraft.Configs().value(row - 1));
    mList->setFocus();
}

bool ConfigList::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == mList && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Delete && mDelete->isEnabled()) return Delete(), true;
        if (key == Qt::Key_F2 && mRename->isEnabled()) return Rename(), true;
    }
    return QWidget::eventFilter(watched, event);
}
