#include "media/frm_share_app.h"

#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include "base/error_trap.h"
#include "media/app_sharing.h"
#include "text/qt_line.h"
#include "text/words.h"
#include "widgets/named.h"
#include "widgets/spoken.h"

using namespace Qt::StringLiterals;

namespace {

/// The first key chooses the first entry, or with End the last. By itself the toolkit marks the first without
/// choosing it, and the key passes it by.
class AppList final : public QListWidget {
public:
    using QListWidget::QListWidget;

protected:
    void focusInEvent(QFocusEvent* event) override
    {
        QListWidget::focusInEvent(event);
        if (selectedItems().isEmpty()) setCurrentItem(nullptr);
    }
    QModelIndex moveCursor(CursorAction way, Qt::KeyboardModifiers modifiers) override
    {
        if (way == MoveEnd) return model()->index(count() - 1, 0);
        return QListWidget::moveCursor(way, modifiers);
    }
};

}  // namespace

frmShareApp::frmShareApp(ProcessState& state, const QString& ownCaption, QWidget* parent)
    : QDialog(parent),
      mState(state),
      lstApps(Named<AppList>(this, "lstApps")),
      cmdOK(Named<QPushButton>(this, "cmdOK")),
      cmdCancel(Named<QPushButton>(this, "cmdCancel"))
{
    setObjectName(u"frmShareApp"_s);
    setWindowTitle(Ours::tr("Share Application"));
    cmdOK->setText(Ours::tr("OK"));
    cmdCancel->setText(Defined::tr("Cancel"));
    cmdOK->setDefault(true);
    lstApps->setAccessibleName(Ours::tr("Running applications"));
    FocusLeavesWith(*lstApps);
    lstApps->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);  // long titles end in dots
    Arrange(mState.ports.windows ? mState.ports.windows->WhyNot()
                                 : Ours::tr("Windows cannot be shared on this computer."));
    BuildList(ownCaption);

    connect(cmdOK, &QPushButton::clicked, this, &frmShareApp::cmdOK_Click);
    connect(cmdCancel, &QPushButton::clicked, this, &frmShareApp::cmdCancel_Click);
    connect(lstApps, &QListWidget::itemDoubleClicked, cmdOK, &QPushButton::click);
}

void frmShareApp::Arrange(const QString& whyNot)
{
    auto* label =
        new QLabel(whyNot.isEmpty() ? Ours::tr("Which window shall the others see?") : whyNot, this);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setBuddy(lstApps);
    lstApps->setVisible(whyNot.isEmpty());
    cmdOK->setEnabled(whyNot.isEmpty());
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(cmdOK);
    buttons->addWidget(cmdCancel);
    auto* column = new QVBoxLayout(this);
    column->addWidget(label);
    column->addWidget(lstApps, 1);
    column->addLayout(buttons);
    resize(380, whyNot.isEmpty() ? 300 : 120);
}

void frmShareApp::BuildList(const QString& ownCaption)
{
    Trapped(mState, "frmShareApp_Load", [&] {
        WindowsPort* windows = mState.ports.windows;
        if (!windows || !windows->WhyNot().isEmpty()) return;
        for (const WindowInfo& window :
             ShareableWindows(windows->Desktop(), windows->TopLevel(), ownCaption)) {
            const QString title = OneLine(QString(window.title).replace(u'\n', u' '));
            auto* entry = new QListWidgetItem(title, lstApps);
            entry->setData(Qt::UserRole, window.id);
            entry->setToolTip(u"<p>%1</p>"_s.arg(title.toHtmlEscaped()));  // so that it wraps
        }
    });
}

void frmShareApp::cmdOK_Click()
{
    Trapped(mState, "cmdOK_Click", [&] {
        hide();
        mState.ports.waits->LetEventsRun();
        const QList<QListWidgetItem*> selected = lstApps->selectedItems();
        if (selected.isEmpty()) return mState.ports.prompts->Beep();
        mState.gShareWindow = selected.first()->data(Qt::UserRole).toULongLong();
        mUnloaded = true;
    });
}

void frmShareApp::cmdCancel_Click()
{
    mUnloaded = true;
    hide();
}

void frmShareApp::reject()
{
    cmdCancel_Click();
}

void frmShareApp::accept()
{
    cmdOK_Click();
}
