#pragma once
// frmLogin: who enters which meeting, under which configuration. Loads when it is made; its outcome lies in
// the settings store and in gLoginDialogClosed, gLoginCancelled, gCreateMeeting, gMeetingCode, gConfigName.

#include <QDialog>
#include <map>
#include <vector>

#include "base/process_state.h"
#include "session/invitation.h"
#include "session/login_rules.h"

class QCheckBox;
class QComboBox;
class QFrame;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;

/// Every way out ends in finished(). User-interface thread only.
class frmLogin final : public QDialog {
public:
    explicit frmLogin(ProcessState& state, QWidget* parent = nullptr);
    ~frmLogin() override;

    void cmdOK_Click();
    /// With a session: cancelled. Without one: ends the process.
    void cmdCancel_Click();
    void chkMore_Click();
    void chkHostname_Click();
    void cmbConfig_Click();
    void lblPassword_Click();
    void txtHostname_DblClick();
    /// Somebody chose a code from the list.
    void cmbMeetingCode_Picked();

    void reject() override;  // Escape and the close box

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;
    bool eventFilter(QObject* target, QEvent* event) override;

private:
    void BuildLogin();
    void BuildMore();
    struct Option;
    struct OptionRow;
    static std::vector<OptionRow> OptionRows();
    QWidget* MakeOption(const Option& option, int row);
    void LoadFields();
    void BuildButtons();
    void SetTabs();
    void KeepReadable();
    void MoveUpOntoScreen();
    void Connect();
    void Load();
    void LoadConfigSettings();
    void FillLists();
    void Refuse(LoginFault fault);
    void TakeEntries();
    void SaveProtocol();
    void Unload();
    void SelectOnFocus(QLineEdit* box, QEvent* event);
    QString TypedCode() const;

    // frm_login_invite.cpp: what is said beside "Service:", and what fills the fields in
    void BuildNotice();
    void ShowNotice(BoxIcon icon, const QString& text);
    void HideNotice();
    void BuildLists();
    void WatchForLinks(QLineEdit* field);
    bool TakeLink(const QString& text);
    void TakeInvitation(const Invitation& invitation);
    void GoTo(const QString& service);
    void ShowFirst();
    void LookAround();
    void ShowNeighbours();
    void cmbService_Picked();

    ProcessState& mState;
    PointerShape mPointerBefore = PointerShape::Default;
    bool mUnloaded = false;
    bool mSelectAtRelease = false;  // the click that brought the focus to a text box is not over

    QGroupBox* frameLogin;
    QLineEdit *txtHandle, *txtPassword;
    QLabel* lblPassword = nullptr;
    QComboBox* cmbMeetingCode;
    QRadioButton *optJoinMeeting, *optNewMeeting;
    QFrame* frameButtons;
    QPushButton *chkMore, *cmdCancel, *cmdOK;
    QGroupBox* frameMore;
    QComboBox *cmbConfig, *cmbService;
    QCheckBox* chkDefaultConfig;
    QRadioButton *optHTTP, *optTCP, *optUDP;
    QCheckBox* chkHostname;
    QLineEdit *txtHostname, *txtService;
    QLabel *lblServiceMark, *lblNotice;
    int mMoreHeight = 0;             // of frameMore without a notice
    std::vector<QWidget*> mOptions;  // all of these, in the order of Tab
    std::map<QString, QString> mMeetingServices;
    bool mLooksAround = false;  // on the local network
};
