// What fills the login dialog in beside its user, and what is said there of the service: invitations, codes
// of before, why the last login was refused.
#include <QAbstractItemView>
#include <QComboBox>
#include <QEvent>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QStyle>
#include <memory>

#include "base/error_trap.h"
#include "base/report.h"
#include "cipher/password.h"
#include "platform/neighbours.h"
#include "session/frm_login.h"
#include "session/service_list.h"
#include "settings/settings.h"
#include "text/qt_line.h"
#include "text/said.h"
#include "text/text_rules.h"
#include "text/words.h"
#include "widgets/named.h"
#include "widgets/plain_text.h"
#include "widgets/spoken.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int kMarkSize = 20;
constexpr int kNoticeGap = 6;
constexpr int kPasted = 2;  // characters at once: nobody types so

bool SameService(const QString& one, const QString& other)
{
    return Trim(one).compare(Trim(other), Qt::CaseInsensitive) == 0;
}

}  // namespace

frmLogin::~frmLogin()
{
    if (mLooksAround) mState.ports.neighbours->Look(nullptr);
}

/// Neither takes room while there is nothing to say.
void frmLogin::BuildNotice()
{
    mMoreHeight = frameMore->height();
    const QRect field = cmbService->geometry();
    const int beside = isRightToLeft() ? field.right() + 4 : field.left() - kMarkSize - 4;
    lblServiceMark = Placed<QLabel>(frameMore, "lblServiceMark",
                                    QRect(beside, field.center().y() - kMarkSize / 2, kMarkSize, kMarkSize));
    lblNotice = Placed<QLabel>(
        frameMore, "lblNotice",
        QRect(kNoticeGap * 2, field.top(), frameMore->width() - 4 * kNoticeGap, field.height()));
    lblNotice->setTextFormat(Qt::PlainText);
    lblNotice->setWordWrap(true);
    lblNotice->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    lblNotice->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    lblServiceMark->hide();
    lblNotice->hide();
}

/// Beside "Service:" and below it, with the panel unfolded, so that nobody has to know where to look.
void frmLogin::ShowNotice(BoxIcon icon, const QString& text)
{
    const bool warns = icon != BoxIcon::Information;
    const QIcon mark =
        style()->standardIcon(warns ? QStyle::SP_MessageBoxWarning : QStyle::SP_MessageBoxInformation);
    lblServiceMark->setPixmap(mark.pixmap(QSize(kMarkSize, kMarkSize), devicePixelRatioF()));
    lblServiceMark->setToolTip(PlainToolTip(text));
    lblServiceMark->setAccessibleName(warns ? Ours::tr("Warning") : Ours::tr("Note"));
    txtService->setToolTip(PlainToolTip(text));
    lblNotice->setText(text);
    lblNotice->setGeometry(lblNotice->x(), cmbService->geometry().bottom() + kNoticeGap, lblNotice->width(),
                           lblNotice->heightForWidth(lblNotice->width()));
    frameMore->resize(frameMore->width(), lblNotice->geometry().bottom() + kNoticeGap * 2);
    for (QLabel* shown : {lblServiceMark, lblNotice}) shown->show();
    if (chkMore->isChecked())
        chkMore_Click();
    else
        chkMore->setChecked(true);
    Announce(*lblNotice, text);
    TraceEvent(mState, "notice", {{u"text"_s, text}, {u"warns"_s, warns}});
}

/// What it said is of the fields as they were.
void frmLogin::HideNotice()
{
    for (QLabel* hidden : {lblServiceMark, lblNotice}) hidden->hide();
    txtService->setToolTip(QString());
    frameMore->resize(frameMore->width(), mMoreHeight);
    chkMore_Click();
}

void frmLogin::BuildLists()
{
    for (QComboBox* box : {cmbMeetingCode, cmbService}) {
        AddSecondColumn(*box);
        WatchForLinks(box->lineEdit());
        box->installEventFilter(this);
    }
    connect(cmbMeetingCode, &QComboBox::activated, this, [this] { cmbMeetingCode_Picked(); });
    connect(cmbService, &QComboBox::activated, this, [this] { cmbService_Picked(); });
}

/// What the local network offers, once the panel is open for the first time: until then nobody is asked.
void frmLogin::LookAround()
{
    if (mLooksAround || !mState.ports.neighbours) return;
    mLooksAround = true;
    mState.ports.neighbours->Look([this] { ShowNeighbours(); });
}

void frmLogin::ShowNeighbours()
{
    if (cmbService->view()->isVisible()) return;  // it is read just now
    const QString typed = txtService->text();
    const QSignalBlocker quiet(txtService);
    cmbService->clear();
    for (const NeighbourService& one : mState.ports.neighbours->Found()) {
        cmbService->addItem(OneLine(one.address));
        SetSecondColumn(*cmbService, cmbService->count() - 1, one.name);
    }
    cmbService->setCurrentIndex(-1);
    txtService->setText(typed);
    TraceEvent(mState, "neighbours", {{u"count"_s, cmbService->count()}});
}

void frmLogin::cmbService_Picked()
{
    Trapped(mState, "cmbService_Picked", [this] {
        HideNotice();
        GoTo(txtService->text());
    });
}

/// Once the dialog has loaded as it always does.
void frmLogin::ShowFirst()
{
    const QString refusal = mState.gMessenger ? mState.gMessenger->LastRefusal() : QString();
    if (!refusal.isEmpty()) ShowNotice(BoxIcon::Exclamation, Said(OneLine(refusal)));
    if (const QString link = std::exchange(mState.gInvitation, QString()); !link.isEmpty()) TakeLink(link);
}

/// A link that is pasted into a field is taken at once. One that is typed might not be at its end: it is
/// taken by "Enter".
void frmLogin::WatchForLinks(QLineEdit* field)
{
    const auto before = std::make_shared<qsizetype>(field->text().size());
    connect(field, &QLineEdit::textChanged, this, [this, field, before](const QString& text) {
        const bool pasted = text.size() - std::exchange(*before, text.size()) >= kPasted;
        if (pasted && HoldsInvitation(text)) Trapped(mState, "WatchForLinks", [&] { TakeLink(text); });
    });
}

/// False: it is none, and that is said.
bool frmLogin::TakeLink(const QString& text)
{
    const InvitationRead read = FindInvitation(text);
    if (read.invitation)
        TakeInvitation(*read.invitation);
    else
        ShowNotice(BoxIcon::Exclamation, read.fault);
    return read.invitation.has_value();
}

void frmLogin::TakeInvitation(const Invitation& invitation)
{
    cmbMeetingCode->setEditText(invitation.code);
    optJoinMeeting->setChecked(true);
    GoTo(invitation.service);
    const QString key = invitation.fingerprint;
    const QString accepted = key.isEmpty() ? QString() : mState.gMessenger->NameKey(invitation.service, key);
    if (accepted.isEmpty())
        ShowNotice(BoxIcon::Information,
                   Ours::tr("You are invited to the meeting %1 at %2. Type your handle and password for "
                            "that service (at somebody's own computer: choose both), then press Enter.")
                       .arg(invitation.code, invitation.service));
    else
        ShowNotice(
            BoxIcon::Exclamation,
            Ours::tr(
                "This invitation names another key for the service %1 than the one that you accepted before. "
                "The accepted key stays the only one that is believed. Ask the service's operator which one "
                "is right.\nAccepted: %2\nInvitation: %3")
                .arg(invitation.service, OneLine(accepted), key));
    if (Trim(txtHandle->text()).isEmpty())
        txtHandle->setFocus();
    else if (Trim(txtPassword->text()).isEmpty())
        txtPassword->setFocus();
    else
        cmdOK->setFocus();
}

/// The stored password belongs to the stored service: it is not shown to another one because a link, a list
/// or a neighbour named that.
void frmLogin::GoTo(const QString& service)
{
    txtService->setText(service);
    if (txtPassword->isModified()) return;
    const bool home = SameService(service, GetSetting(mState, keys::kServiceAddress));
    txtPassword->setText(home ? DecipherPassword(GetSetting(mState, keys::kPassword)) : QString());
}

void frmLogin::cmbMeetingCode_Picked()
{
    Trapped(mState, "cmbMeetingCode_Picked", [this] {
        const auto known = mMeetingServices.find(TypedCode().toLower());
        if (known == mMeetingServices.end() || SameService(known->second, txtService->text())) return;
        GoTo(known->second);
        const QString service = known->second.isEmpty() ? Ours::tr("this computer") : OneLine(known->second);
        ShowNotice(
            BoxIcon::Information,
            Ours::tr("The meeting %1 was last at this service: %2.").arg(OneLine(TypedCode()), service));
    });
}
