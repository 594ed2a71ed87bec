#include "session/frm_login.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QGroupBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <algorithm>

#include "base/error_trap.h"
#include "cipher/password.h"
#include "session/meeting_entry.h"
#include "session/service_list.h"
#include "settings/configurations.h"
#include "settings/settings.h"
#include "text/text_rules.h"
#include "text/words.h"
#include "widgets/contrast.h"

using namespace Qt::StringLiterals;

namespace {

QString Title()
{
    return QLatin1String(kAppTitle);
}

void Fill(QComboBox* box, const Choices& choices)
{
    box->clear();
    box->addItems(choices.entries);
    box->setCurrentIndex(choices.selected);  // the toolkit would select the first entry by itself
}

bool IsEnter(const QEvent* event)
{
    if (event->type() != QEvent::KeyPress) return false;
    const int key = static_cast<const QKeyEvent*>(event)->key();
    return key == Qt::Key_Return || key == Qt::Key_Enter;
}

/// Sends "Send Password!" to the address that is typed and not saved yet.
class TypedAddress {
public:
    TypedAddress(MessengerService& service, const QString& address) : mService(service)
    {
        mService.UseServiceAddress(&address);
    }
    ~TypedAddress() { mService.UseServiceAddress(nullptr); }
    TypedAddress(const TypedAddress&) = delete;
    TypedAddress& operator=(const TypedAddress&) = delete;

private:
    MessengerService& mService;
};

}  // namespace

frmLogin::frmLogin(ProcessState& state, QWidget* parent) : QDialog(parent), mState(state)
{
    setObjectName(u"frmLogin"_s);
    setWindowTitle(Defined::tr("%1 - Enter Meeting").arg(Title()));
    BuildLogin();
    BuildMore();
    BuildButtons();
    SetTabs();
    KeepReadable();
    Connect();
    Trapped(mState, "frmLogin_Load", [this] { Load(); });
    Trapped(mState, "frmLogin_Load", [this] { ShowFirst(); });
}

void frmLogin::Load()
{
    chkMore_Click();
    FillLists();
    LoadConfigSettings();
    raise();
    mPointerBefore = mState.ports.pointer->Get();
    mState.ports.pointer->Set(PointerShape::Default);
}

void frmLogin::Connect()
{
    connect(cmdOK, &QPushButton::clicked, this, [this] { cmdOK_Click(); });
    connect(cmdCancel, &QPushButton::clicked, this, [this] { cmdCancel_Click(); });
    connect(chkMore, &QPushButton::toggled, this, [this] { chkMore_Click(); });
    connect(chkHostname, &QCheckBox::toggled, this, [this] { chkHostname_Click(); });
    connect(cmbConfig, &QComboBox::activated, this, [this] { cmbConfig_Click(); });
    for (QRadioButton* option : {optJoinMeeting, optNewMeeting, optHTTP, optTCP, optUDP}) {
        // Tab goes to the one that is chosen; by itself the toolkit offers the first one.
        const auto follow = [option](bool chosen) {
            option->setFocusPolicy(chosen ? Qt::StrongFocus : Qt::ClickFocus);
        };
        connect(option, &QRadioButton::toggled, this, follow);
        follow(option->isChecked());
    }
    BuildLists();
    for (QWidget* watched : {static_cast<QWidget*>(txtHandle), static_cast<QWidget*>(txtPassword),
                             static_cast<QWidget*>(txtHostname), static_cast<QWidget*>(lblPassword)})
        watched->installEventFilter(this);
    cmbMeetingCode->lineEdit()->installEventFilter(this);
}

/// Dark desktops tend to leave links and hints as dark as on paper.
void frmLogin::KeepReadable()
{
    QPalette link = palette();
    link.setColor(QPalette::Link, ReadableOn(link.color(QPalette::Link), link.color(QPalette::Window)));
    lblPassword->setPalette(link);
    QPalette hint = palette();
    hint.setColor(QPalette::PlaceholderText,
                  ReadableOn(hint.color(QPalette::PlaceholderText), hint.color(QPalette::Base)));
    cmbService->setPalette(hint);  // its line edit follows
}

void frmLogin::changeEvent(QEvent* event)
{
    QDialog::changeEvent(event);
    if (event->type() != QEvent::PaletteChange || !lblPassword || mUnloaded) return;
    KeepReadable();
    chkHostname_Click();  // its field has colours of its own too
}

void frmLogin::FillLists()
{
    Fill(cmbConfig, LoadConfigList(mState));
    const Choices codes = LoadMeetingCodeList(mState);
    Fill(cmbMeetingCode, codes);
    if (codes.selected < 0) cmbMeetingCode->setEditText(QString());
    mMeetingServices = LoadMeetingServices(mState);
    ShowServices(*cmbMeetingCode, mMeetingServices);
}

void frmLogin::LoadConfigSettings()
{
    txtHandle->setText(GetSetting(mState, keys::kHandle));
    txtPassword->setText(DecipherPassword(GetSetting(mState, keys::kPassword)));
    LoadFields();
    chkHostname->setChecked(!txtHostname->text().isEmpty());
    chkHostname_Click();  // its state may not have changed, the field's must follow all the same
    if (FlagSetting(mState, keys::kJoinMeetingDefault)) optJoinMeeting->setChecked(true);
    if (FlagSetting(mState, keys::kUseHttp))
        optHTTP->setChecked(true);
    else if (FlagSetting(mState, keys::kUseTcpPort))
        optTCP->setChecked(true);
    else
        optUDP->setChecked(true);
}

void frmLogin::chkMore_Click()
{
    const bool more = chkMore->isChecked();
    const LoginLayout layout = PlaceFrames(
        {frameLogin->y(), frameLogin->height(), frameMore->y(), frameMore->height(), frameButtons->height()},
        more);
    frameMore->setVisible(more);
    frameButtons->move(frameButtons->x(), layout.buttonsTop);
    setFixedSize(frameLogin->x() * 2 + frameLogin->width(), layout.interiorHeight);
    chkMore->setText(more ? Defined::tr("More <<") : Defined::tr("More >>"));
    if (isVisible()) MoveUpOntoScreen();
    if (more) LookAround();
}

/// Opened low on the screen, the buttons would lie below its edge.
void frmLogin::MoveUpOntoScreen()
{
    const QRect room = screen()->availableGeometry();
    const int over = frameGeometry().bottom() - room.bottom();
    if (over > 0) move(x(), std::max(room.top(), y() - over));
}

void frmLogin::cmbConfig_Click()
{
    Trapped(mState, "cmbConfig_Click", [this] {
        HideNotice();
        mState.gConfigName = cmbConfig->currentText();
        mState.gMessenger->SetConfig(mState.gConfigName);
        mState.gMessenger->LoadConfig();
        LoadConfigSettings();
    });
}

void frmLogin::chkHostname_Click()
{
    Trapped(mState, "chkHostname_Click", [this] {
        const bool checked = chkHostname->isChecked();
        txtHostname->setEnabled(checked);
        QPalette colours = palette();
        if (!checked) colours.setColor(QPalette::Base, colours.color(QPalette::Button));
        txtHostname->setPalette(colours);
        if (checked && txtHostname->text().isEmpty()) txtHostname->setText(GetLocalIP(mState).value(0));
    });
}

void frmLogin::txtHostname_DblClick()
{
    Trapped(mState, "txtHostname_DblClick", [this] {
        const QStringList addresses = GetLocalIP(mState);
        if (++mState.gLocalAddressAt >= addresses.size()) mState.gLocalAddressAt = 0;
        if (addresses.isEmpty()) throw std::runtime_error("this computer has no address");
        txtHostname->setText(addresses[mState.gLocalAddressAt]);
    });
}

void frmLogin::lblPassword_Click()
{
    Trapped(mState, "lblPassword_Click", [this] {
        Prompts& prompts = *mState.ports.prompts;
        const QString handle = Trim(txtHandle->text());
        if (handle.isEmpty()) {
            prompts.Box(BoxIcon::Exclamation, Title(), Defined::tr("Please enter your handle."));
            txtHandle->setFocus();
            return;
        }
        const QString service = Trim(txtService->text());
        const TypedAddress typed(*mState.gMessenger, service);
        const QString address = mState.gMessenger->SendPassword(handle);
        if (address.isEmpty())
            prompts.Box(BoxIcon::Exclamation, Title(), HandleUnknownMessage(handle));
        else
            prompts.Box(BoxIcon::Information, Title(), PasswordSentMessage(handle, address));
    });
}

QString frmLogin::TypedCode() const
{
    return cmbMeetingCode->currentText();
}

void frmLogin::cmdOK_Click()
{
    Trapped(mState, "cmdOK_Click", [this] {
        if (mUnloaded) return;
        for (const QString& text : {TypedCode(), txtService->text()})
            if (HoldsInvitation(text)) {  // typed, not pasted: it is seen before anything is sent
                if (!TakeLink(text)) mState.ports.prompts->Beep();
                return;
            }
        const LoginFault fault = CheckLogin(txtHandle->text(), txtPassword->text(), TypedCode());
        if (fault == LoginFault::None)
            TakeEntries();
        else
            Refuse(fault);
    });
}

void frmLogin::Refuse(LoginFault fault)
{
    mState.ports.prompts->Beep();
    if (fault == LoginFault::NoHandle)
        txtHandle->setFocus();
    else if (fault == LoginFault::NoPassword)
        txtPassword->setFocus();
    else
        cmbMeetingCode->setFocus();
    const QString message = FaultMessage(fault);
    if (!message.isEmpty()) mState.ports.prompts->Box(BoxIcon::Information, Title(), message);
}

void frmLogin::TakeEntries()
{
    if (chkDefaultConfig->isChecked()) SaveSetting(mState, keys::kDefaultConfig, cmbConfig->currentText());
    mState.gCreateMeeting = optNewMeeting->isChecked();
    SaveSetting(mState, keys::kHandle, txtHandle->text());
    SaveSetting(mState, keys::kPassword, EncipherPassword(txtPassword->text()));
    SaveSetting(mState, QLatin1String(keys::kMeetingCodesSection), TypedCode(),
                GeneralDate(mState.ports.clock->Now()), Scoped::No, QLatin1String(keys::kQuorvia));
    SaveMeetingService(mState, TypedCode(), Trim(txtService->text()));
    SaveSetting(mState, keys::kJoinMeetingDefault, optJoinMeeting->isChecked() ? u"1"_s : u"0"_s);
    mState.gMeetingCode = TypedCode();
    SaveSetting(mState, keys::kHostname, chkHostname->isChecked() ? txtHostname->text() : QString());
    SaveProtocol();
    SaveSetting(mState, keys::kServiceAddress, Trim(txtService->text()));
    Unload();
}

void frmLogin::SaveProtocol()
{
    if (!optHTTP->isChecked()) {
        SaveSetting(mState, keys::kUseTcpPort, optTCP->isChecked() ? u"1"_s : u"0"_s);
        SaveSetting(mState, keys::kUseHttp, u"0"_s);
        return;
    }
    SaveSetting(mState, keys::kUseTcpPort, u"0"_s);
    SaveSetting(mState, keys::kUseHttp, u"1"_s);
    const QString interval = GetSetting(mState, keys::kHttpPollingInterval);
    if (UsablePollingInterval(interval) != interval)
        SaveSetting(mState, keys::kHttpPollingInterval, UsablePollingInterval(interval));
}

void frmLogin::cmdCancel_Click()
{
    Trapped(mState, "cmdCancel_Click", [this] {
        if (mUnloaded) return;
        if (mState.gMessenger->LoggedIn()) {
            mState.gLoginCancelled = true;
            Unload();
            return;
        }
        hide();
        mState.ports.endProcess->Now();
    });
}

void frmLogin::reject()
{
    cmdCancel_Click();
}

void frmLogin::Unload()
{
    mUnloaded = true;
    mState.ports.pointer->Set(mPointerBefore);
    mState.gLoginDialogClosed = true;
    done(0);
}

void frmLogin::closeEvent(QCloseEvent* event)
{
    event->accept();
    cmdCancel_Click();
    if (!mUnloaded) event->ignore();  // the service failed to say whether there is a session
}

bool frmLogin::eventFilter(QObject* target, QEvent* event)
{
    const QEvent::Type type = event->type();
    if (target == cmbService && type == QEvent::Wheel) return true;  // not to another service in passing
    if ((target == cmbMeetingCode || target == cmbMeetingCode->lineEdit()) && IsEnter(event)) {
        cmdOK->click();
        return true;  // not also to the default button
    }
    if (target == lblPassword &&
        ((type == QEvent::MouseButtonRelease &&
          lblPassword->rect().contains(static_cast<QMouseEvent*>(event)->pos())) ||
         (type == QEvent::KeyPress && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Space))) {
        lblPassword_Click();
        return true;
    }
    if (target == lblPassword && (type == QEvent::FocusIn || type == QEvent::FocusOut))
        lblPassword->setFrameStyle(type == QEvent::FocusIn ? QFrame::Box | QFrame::Plain : QFrame::NoFrame);
    if (target == txtHostname && type == QEvent::MouseButtonDblClick) {
        txtHostname_DblClick();
        return true;
    }
    if (target == txtHandle || target == txtPassword) SelectOnFocus(static_cast<QLineEdit*>(target), event);
    return QDialog::eventFilter(target, event);
}

void frmLogin::SelectOnFocus(QLineEdit* box, QEvent* event)
{
    // At once, not from a timer: typed keys may already wait behind the one that brought the focus. A click
    // sets the caret after the focus has come, so there the release selects.
    if (event->type() == QEvent::FocusIn) {
        mSelectAtRelease = static_cast<QFocusEvent*>(event)->reason() == Qt::MouseFocusReason;
        box->selectAll();
    } else if (event->type() == QEvent::MouseButtonRelease) {
        if (std::exchange(mSelectAtRelease, false) && !box->hasSelectedText()) box->selectAll();
    } else if (event->type() == QEvent::KeyPress) {
        mSelectAtRelease = false;
    }
}
