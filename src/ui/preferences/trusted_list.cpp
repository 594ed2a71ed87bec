#include "ui/preferences/trusted_list.h"

#include <QGridLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>

#include "text/qt_line.h"
#include "widgets/named.h"
#include "widgets/spoken.h"

TrustedList::TrustedList(PreferenceDraft& draft, QWidget* parent)
    : QWidget(parent),
      mDraft(draft),
      mList(Named<QListWidget>(this, "lstTrusted")),
      mForget(Named<QPushButton>(this, "cmdForget"))
{
    auto* label = new QLabel(tr("Services whose &key is remembered, for all configurations:"), this);
    label->setBuddy(mList);
    label->setWordWrap(true);
    auto* help = new QLabel(tr("A service is believed only with the key that is remembered for it. Once that "
                               "is forgotten, the next "
                               "login asks again whether you trust the key that comes then."),
                            this);
    help->setTextFormat(Qt::PlainText);
    help->setWordWrap(true);
    mList->setAccessibleName(tr("Services whose key is remembered"));
    mList->setAccessibleDescription(help->text());
    FocusLeavesWith(*mList);
    mForget->setText(tr("For&get"));
    mForget->setAutoDefault(false);
    auto* grid = new QGridLayout(this);
    grid->addWidget(label, 0, 0, 1, 2);
    grid->addWidget(mList, 1, 0);
    grid->addWidget(mForget, 1, 1, Qt::AlignTop);
    grid->addWidget(help, 2, 0, 1, 2);
    grid->setColumnStretch(0, 1);
    connect(mForget, &QPushButton::clicked, this, [this] { Forget(); });
}

void TrustedList::Fill()
{
    const QList<QListWidgetItem*> chosen = mList->selectedItems();
    const int row = chosen.isEmpty() ? 0 : mList->row(chosen.front());
    mList->clear();
    for (const QString& service : mDraft.TrustedServices())
        (new QListWidgetItem(OneLine(service), mList))->setData(Qt::UserRole, service);
    mList->setCurrentRow(std::min(row, mList->count() - 1));
    mForget->setEnabled(mList->count() > 0);
}

void TrustedList::Forget()
{
    const QList<QListWidgetItem*> chosen = mList->selectedItems();
    if (chosen.isEmpty()) return;
    mDraft.ForgetService(chosen.front()->data(Qt::UserRole).toString());
    Fill();
    mList->setFocus();
    onChange();
}
