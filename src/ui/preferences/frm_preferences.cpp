#include "ui/preferences/frm_preferences.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QShortcut>
#include <QSignalBlocker>
#include <QStackedWidget>
#include <QVBoxLayout>
#include <algorithm>

#include "base/report.h"
#include "text/qt_line.h"
#include "ui/dialogs.h"
#include "ui/preferences/config_list.h"
#include "ui/preferences/setting_row.h"
#include "ui/preferences/trusted_list.h"
#include "widgets/named.h"
#include "widgets/spoken.h"

using namespace Qt::StringLiterals;

namespace {

constexpr QSize kRoomy(860, 640);  // pixels; less where the screen is smaller
constexpr int kRoomyCharacters = 115;

QLabel* BuddyLabel(const QString& text, QWidget* buddy)
{
    auto* label = new QLabel(text, buddy->parentWidget());
    label->setBuddy(buddy);
    return label;
}

QString Title()
{
    return QLatin1String(kAppTitle);
}

}  // namespace

frmPreferences::frmPreferences(ProcessState& state, bool inMeeting, OnStored onStored, QWidget* parent)
    : QDialog(parent),
      mState(state),
      mInMeeting(inMeeting),
      mOnStored(std::move(onStored)),
      mDraft(state, inMeeting),
      mConfig(mDraft.Current())
{
    setObjectName(u"frmPreferences"_s);
    setWindowTitle(tr("Preferences"));
    KeepHintsReadable();
    BuildTop();
    BuildPages();
    BuildButtons();
    Arrange();
    AddShortcuts();
    FillConfigs();
    ShowAll();
    txtSearch->setFocus();
}

/// What an empty field hints at is a text like others; the desktop's own shade is often too faint.
void frmPreferences::KeepHintsReadable()
{
    constexpr double kInk = 0.7;  // of the ink on its paper
    QPalette colours = palette();
    const QColor ink = colours.color(QPalette::Text), paper = colours.color(QPalette::Base);
    const auto mix = [](int a, int b) { return int(a * kInk + b * (1 - kInk)); };
    colours.setColor(
        QPalette::PlaceholderText,
        QColor(mix(ink.red(), paper.red()), mix(ink.green(), paper.green()), mix(ink.blue(), paper.blue())));
    setPalette(colours);
}

void frmPreferences::BuildTop()
{
    txtSearch = Named<QLineEdit>(this, "txtSearch");
    txtSearch->setAccessibleName(tr("Find a setting"));
    txtSearch->setPlaceholderText(tr("a word of its name or its help"));
    txtSearch->setClearButtonEnabled(true);
    txtSearch->installEventFilter(this);
    lblFound = PlainLabelOf(this);
    lblFound->setObjectName(u"lblFound"_s);
    cmbSettingsOf = Named<QComboBox>(this, "cmbSettingsOf");
    SpeakByLabel(*cmbSettingsOf, tr("Settings of the configuration"));
    cmbSettingsOf->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    cmbSettingsOf->setMinimumContentsLength(24);
    connect(txtSearch, &QLineEdit::textChanged, this, [this] { Search(); });
    connect(cmbSettingsOf, &QComboBox::activated, this, [this] {
        mConfig = cmbSettingsOf->currentData().toString();
        ShowAll();
    });
}

void frmPreferences::BuildPages()
{
    lstPages = Named<QListWidget>(this, "lstPages");
    lstPages->setAccessibleName(tr("Pages"));
    FocusLeavesWith(*lstPages);
    lstPages->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    mStack = new QStackedWidget(this);
    for (int page = 0; page < kPreferencePages; ++page) {
        lstPages->addItem(PageName(PreferencePage(page)));
        mPages[std::size_t(page)] = BuildPage(PreferencePage(page));
    }
    // Which entry is the current one, the list forgets while the focus is elsewhere.
    connect(lstPages, &QListWidget::itemSelectionChanged, this, [this] {
        const QList<QListWidgetItem*> chosen = lstPages->selectedItems();
        if (!chosen.isEmpty()) mStack->setCurrentIndex(lstPages->row(chosen.front()));
    });
    lstPages->setCurrentRow(0);
}

frmPreferences::Page frmPreferences::BuildPage(PreferencePage which)
{
    Page page;
    page.page = which;
    auto* sheet = new QWidget;
    auto* column = new QVBoxLayout(sheet);
    page.scope = PlainLabelOf(sheet);
    column->addWidget(page.scope);
    int width = 0;
    for (const PreferenceRow& row : PreferenceRows()) {
        if (row.page != which) continue;
        page.rows.push_back(BuildRow(row, sheet));
        column->addWidget(page.rows.back());
        width = std::max(width, page.rows.back()->LabelWidth());
    }
    for (SettingRow* row : page.rows) row->SetLabelWidth(width);
    if (which == PreferencePage::Configurations) {
        mConfigs = new ConfigList(mState, mDraft, mInMeeting, sheet);
        mConfigs->onChange = [this](const QString& chosen) { ConfigsChanged(chosen); };
        column->addWidget(mConfigs);
    }
    if (which == PreferencePage::Meeting) {
        mTrusted = new TrustedList(mDraft, sheet);
        mTrusted->onChange = [this] { ShowChanged(); };
        column->addWidget(mTrusted);
    }
    column->addStretch(1);
    page.scroll = new QScrollArea(mStack);
    page.scroll->setWidgetResizable(true);
    page.scroll->setWidget(sheet);
    page.scroll->setFocusPolicy(Qt::NoFocus);  // the controls on it scroll it
    page.scroll->setAccessibleName(PageName(which));
    mStack->addWidget(page.scroll);
    return page;
}

SettingRow* frmPreferences::BuildRow(const PreferenceRow& row, QWidget* parent)
{
    auto* made = new SettingRow(row, {mState, [this] { return mDraft.Configs(); }}, parent);
    made->onChange = [this, made](const QString& text) {
        mDraft.Set(mConfig, made->Row(), text);
        made->ShowAround(mDraft.Show(mConfig, made->Row()));
        ShowChanged();
    };
    made->onReset = [this, made] {
        mDraft.Reset(mConfig, made->Row());
        made->Show(mDraft.Show(mConfig, made->Row()));
        made->TakeFocus();  // the button is off now
        ShowChanged();
    };
    return made;
}

void frmPreferences::BuildButtons()
{
    cmdResetPage = Named<QPushButton>(this, "cmdResetPage");
    cmdResetPage->setText(tr("&Reset This Page"));
    cmdResetPage->setToolTip(tr("Everything on this page back to its default"));
    cmdResetPage->setAutoDefault(false);
    auto* box =
        new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel | QDialogButtonBox::Apply, this);
    box->setObjectName(u"buttons"_s);
    const auto button = [&](QDialogButtonBox::StandardButton which, const char* name, const QString& text) {
        QPushButton* made = box->button(which);
        made->setObjectName(QLatin1String(name));
        made->setText(text);
        return made;
    };
    cmdOK = button(QDialogButtonBox::Ok, "cmdOK", tr("OK"));
    cmdCancel = button(QDialogButtonBox::Cancel, "cmdCancel", tr("Cancel"));
    cmdApply = button(QDialogButtonBox::Apply, "cmdApply", tr("&Apply"));
    cmdOK->setDefault(true);
    connect(cmdResetPage, &QPushButton::clicked, this, [this] { ResetPage(); });
    connect(cmdOK, &QPushButton::clicked, this, [this] {
        if (Store()) accept();
    });
    connect(cmdCancel, &QPushButton::clicked, this, [this] { QDialog::reject(); });
    connect(cmdApply, &QPushButton::clicked, this, [this] { Store(); });
}

void frmPreferences::Arrange()
{
    auto* top = new QGridLayout;
    top->addWidget(BuddyLabel(tr("&Find:"), txtSearch), 0, 0);
    top->addWidget(txtSearch, 0, 1);
    top->addWidget(BuddyLabel(tr("Setti&ngs of:"), cmbSettingsOf), 0, 2);
    top->addWidget(cmbSettingsOf, 0, 3);
    top->addWidget(lblFound, 1, 0, 1, 4);
    top->setColumnStretch(1, 1);
    auto* middle = new QHBoxLayout;
    middle->addWidget(lstPages);
    middle->addWidget(mStack, 1);
    lstPages->setFixedWidth(lstPages->sizeHintForColumn(0) + lstPages->fontMetrics().averageCharWidth() * 7);
    auto* bottom = new QHBoxLayout;
    bottom->addWidget(cmdResetPage);
    bottom->addStretch(1);
    bottom->addWidget(cmdOK->parentWidget());
    auto* column = new QVBoxLayout(this);
    column->addLayout(top);
    column->addLayout(middle, 1);
    column->addLayout(bottom);
    lblFound->hide();
    const QSize large(fontMetrics().averageCharWidth() * kRoomyCharacters, kRoomy.height());
    resize(kRoomy.expandedTo(large).boundedTo(screen()->availableSize() * 19 / 20));
}

void frmPreferences::AddShortcuts()
{
    const auto add = [this](const QKeySequence& keys, auto act) {
        connect(new QShortcut(keys, this), &QShortcut::activated, this, act);
    };
    add(QKeySequence::Find, [this] {
        txtSearch->setFocus();
        txtSearch->selectAll();
    });
    add(Qt::CTRL | Qt::Key_PageDown, [this] { Turn(1); });
    add(Qt::CTRL | Qt::Key_PageUp, [this] { Turn(-1); });
    add(Qt::Key_F3, [this] { GoToFound(1); });
    add(Qt::SHIFT | Qt::Key_F3, [this] { GoToFound(-1); });
}

void frmPreferences::Turn(int step)
{
    lstPages->setCurrentRow((mStack->currentIndex() + step + kPreferencePages) % kPreferencePages);
}

// --- what is shown -------------------------------------------------------------------------------------

void frmPreferences::FillConfigs()
{
    cmbSettingsOf->clear();
    for (const QString& name : mDraft.Configs()) cmbSettingsOf->addItem(OneLine(name), name);
    cmbSettingsOf->setCurrentIndex(
        std::max(0, cmbSettingsOf->findData(mConfig, Qt::UserRole, Qt::MatchFixedString)));
    mConfig = cmbSettingsOf->currentData().toString();
}

void frmPreferences::ShowAll()
{
    for (const Page& page : mPages)
        for (SettingRow* row : page.rows) row->Show(mDraft.Show(mConfig, row->Row()));
    mConfigs->Fill(mConfig);
    mTrusted->Fill();
    ShowScopes();
    ShowChanged();
}

/// Whose the settings of each page are, and when they act.
void frmPreferences::ShowScopes()
{
    const bool inUse = mConfig.compare(mDraft.Current(), Qt::CaseInsensitive) == 0;
    const QString name = ShortInSentence(mConfig);
    const QString own =
        !mInMeeting ? tr("These settings belong to the configuration \"%1\".").arg(name)
        : inUse
            ? tr("These settings belong to the configuration \"%1\", which is in use: a change acts at once, "
                 "unless its line says otherwise.")
                  .arg(name)
            : tr("These settings belong to the configuration \"%1\". They act once it is chosen in the login "
                 "dialog.")
                  .arg(name);
    for (const Page& page : mPages)
        page.scope->setText(
            page.page == PreferencePage::Configurations
                ? tr("A configuration is a named set of all settings on the other pages and in the "
                     "login dialog.")
                : (own + QChar(u' ') + PageNote(page.page)).trimmed());
}

void frmPreferences::ShowChanged()
{
    cmdApply->setEnabled(mDraft.Changed());
}

void frmPreferences::ConfigsChanged(const QString& chosen)
{
    if (!mDraft.Configs().contains(mConfig, Qt::CaseInsensitive)) mConfig = chosen;
    FillConfigs();
    ShowAll();
    mConfigs->Fill(chosen);
}

void frmPreferences::ResetPage()
{
    const Page& page = mPages[std::size_t(mStack->currentIndex())];
    for (SettingRow* row : page.rows) {
        mDraft.Reset(mConfig, row->Row());
        row->Show(mDraft.Show(mConfig, row->Row()));
    }
    ShowChanged();
}

// --- search --------------------------------------------------------------------------------------------

void frmPreferences::Search()
{
    const QString search = txtSearch->text();
    mFound.clear();
    mFoundAt = -1;
    for (int at = 0; at < kPreferencePages; ++at) {
        const Page& page = mPages[std::size_t(at)];
        int found = 0;
        for (SettingRow* row : page.rows) {
            const bool is = Finds(row->Row(), search);
            row->SetFound(is);
            if (is) mFound.push_back(row), ++found;
        }
        const QString name = PageName(page.page);
        lstPages->item(at)->setText(found == 0 ? name : tr("%1 (%2)").arg(name).arg(found));
    }
    lblFound->setText(FoundText(search));
    lblFound->setVisible(!lblFound->text().isEmpty());
    Announce(*lblFound, lblFound->text());
    const auto here = [this](const SettingRow* row) {
        return int(row->Row().page) == mStack->currentIndex();
    };
    const auto first = std::find_if(mFound.begin(), mFound.end(), here);
    if (mFound.empty()) return;
    SettingRow* shown = first != mFound.end() ? *first : mFound.front();
    mFoundAt = int((first != mFound.end() ? first : mFound.begin()) - mFound.begin()) - 1;
    lstPages->setCurrentRow(int(shown->Row().page));
    mPages[std::size_t(shown->Row().page)].scroll->ensureWidgetVisible(shown);
}

/// "" when nothing is looked for.
QString frmPreferences::FoundText(const QString& search) const
{
    if (search.trimmed().isEmpty()) return {};
    QStringList parts;
    if (!mFound.empty()) parts += tr("%1 found; Enter goes to the next.").arg(mFound.size());
    for (const SetElsewhere& other : SettingsElsewhere())
        if (Finds(other, search))
            parts += tr("\"%1\" is set elsewhere: %2.")
                         .arg(QLatin1String(other.key->key), PreferenceText(other.where));
    return parts.isEmpty() ? tr("Nothing found.") : parts.join(u'\n');
}

void frmPreferences::GoToFound(int step)
{
    if (mFound.empty()) {
        if (!txtSearch->text().isEmpty()) mState.ports.prompts->Beep();
        return;
    }
    const int all = int(mFound.size());
    mFoundAt = (std::max(mFoundAt, step > 0 ? -1 : 0) + step + all) % all;
    SettingRow* row = mFound[std::size_t(mFoundAt)];
    lstPages->setCurrentRow(int(row->Row().page));
    mPages[std::size_t(row->Row().page)].scroll->ensureWidgetVisible(row);
    row->TakeFocus();
}

bool frmPreferences::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == txtSearch && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter) return GoToFound(1), true;  // not to OK
        if (key == Qt::Key_Escape && !txtSearch->text().isEmpty()) return txtSearch->clear(), true;
    }
    return QDialog::eventFilter(watched, event);
}

// --- storing -------------------------------------------------------------------------------------------

/// Shows what cannot be stored, when there is something.
bool frmPreferences::RefusedByFault()
{
    const auto fault = mDraft.FirstFault();
    if (!fault) return false;
    mState.ports.prompts->Beep();
    if (!fault->config.isEmpty()) mConfig = fault->config;
    FillConfigs();
    ShowAll();
    for (const Page& page : mPages)
        for (SettingRow* row : page.rows) {
            if (&row->Row() != fault->row) continue;
            lstPages->setCurrentRow(int(page.page));
            page.scroll->ensureWidgetVisible(row);
            row->TakeFocus();
        }
    return true;
}

/// False: nothing was stored, and the user has been told why.
bool frmPreferences::Store()
{
    if (!mDraft.Changed()) return true;
    if (RefusedByFault()) return false;
    Stored stored;
    try {
        stored = mDraft.Store();
    } catch (const std::exception& e) {
        mState.ports.prompts->Box(BoxIcon::Exclamation, Title(),
                                  tr("The settings could not be stored, and nothing has been changed: %1.")
                                      .arg(InSentence(QString::fromUtf8(e.what()))));
        return false;
    }
    TraceEvent(mState, "preferences_stored");
    mOnStored(stored);
    FillConfigs();
    ShowAll();
    return true;
}

bool ShowPreferences(ProcessState& state, bool inMeeting, frmPreferences::OnStored onStored, QWidget* parent)
{
    std::unique_ptr<frmPreferences> form;
    try {
        form = std::make_unique<frmPreferences>(state, inMeeting, std::move(onStored), parent);
    } catch (const std::exception& e) {
        state.ports.prompts->Box(BoxIcon::Exclamation, Title(),
                                 frmPreferences::tr("The settings cannot be read: %1.")
                                     .arg(InSentence(QString::fromUtf8(e.what()))));
        return false;
    }
    RunModally(state, *form);
    return true;
}
