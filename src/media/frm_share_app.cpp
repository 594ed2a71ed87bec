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
      mOwnCaption(ownCaption),
      lblQuestion(Named<QLabel>(this, "lblQuestion")),
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
    Arrange();
    connect(cmdOK, &QPushButton::clicked, this, &frmShareApp::cmdOK_Click);
    connect(cmdCancel, &QPushButton::clicked, this, &frmShareApp::cmdCancel_Click);
    connect(lstApps, &QListWidget::itemDoubleClicked, cmdOK, &QPushButton::click);

    if (mState.ports.windows) {
        Say(Ours::tr("Asking the desktop what can be shared..."), false);
        mState.ports.windows->Look([this] { ShowWhatThereIs(); });
    } else {
        Say(Ours::tr("Windows cannot be shared on this computer."), false);
    }
}

frmShareApp::~frmShareApp()
{
    if (mState.ports.windows) mState.ports.windows->StopAsking();
}

void frmShareApp::Arrange()
{
    lblQuestion->setTextFormat(Qt::PlainText);
    lblQuestion->setWordWrap(true);
    lblQuestion->setBuddy(lstApps);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(cmdOK);
    buttons->addWidget(cmdCancel);
    auto* column = new QVBoxLayout(this);
    column->addWidget(lblQuestion);
    column->addWidget(lstApps, 1);
    column->addLayout(buttons);
}

void frmShareApp::ShowWhatThereIs()
{
    const QString whyNot = mState.ports.windows->WhyNot();
    if (!whyNot.isEmpty()) return Say(whyNot, false);
    if (lstApps->count() == 0) BuildList();
    Say(mState.ports.windows->DesktopAsks()
            ? Ours::tr("What shall the others see? The desktop then asks which one.")
            : Ours::tr("Which window shall the others see?"),
        true);
}

/// `canChoose`: the list is there to choose from.
void frmShareApp::Say(const QString& sentence, bool canChoose)
{
    lblQuestion->setText(sentence);
    const bool shows = canChoose || lstApps->count() > 0;
    if (!isVisible() || shows != lstApps->isVisibleTo(this)) resize(380, shows ? 300 : 120);
    lstApps->setVisible(shows);
    lstApps->setEnabled(canChoose);
    cmdOK->setEnabled(canChoose);
    if (canChoose && isVisible()) lstApps->setFocus();
    TraceEvent(mState, "share_dialog", {{u"text"_s, sentence}, {u"can_choose"_s, canChoose}});
}

void frmShareApp::BuildList()
{
    Trapped(mState, "frmShareApp_Load", [&] {
        WindowsPort& windows = *mState.ports.windows;
        for (const WindowInfo& window :
             ShareableWindows(windows.Desktop(), windows.TopLevel(), mOwnCaption)) {
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
        const QList<QListWidgetItem*> selected = lstApps->selectedItems();
        const quint64 entry = selected.isEmpty() ? 0 : selected.first()->data(Qt::UserRole).toULongLong();
        if (entry != 0 && mState.ports.windows->DesktopAsks()) return LetTheDesktopAsk(entry);
        hide();
        mState.ports.waits->LetEventsRun();
        if (entry == 0) return mState.ports.prompts->Beep();
        mState.gShareWindow = entry;
        mUnloaded = true;
    });
}

void frmShareApp::LetTheDesktopAsk(quint64 entry)
{
    Say(Ours::tr("The desktop is asking what to share."), false);
    mState.ports.windows->Choose(entry, [this](const WindowChoice& choice) {
        if (choice.id != 0) {
            mState.gShareWindow = choice.id;
            mUnloaded = true;
            return hide();
        }
        if (choice.whyNot.isEmpty()) return ShowWhatThereIs();
        Say(choice.whyNot, true);
    });
}

void frmShareApp::cmdCancel_Click()
{
    if (mState.ports.windows) mState.ports.windows->StopAsking();
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
