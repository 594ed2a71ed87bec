// The controls of frmLogin and their places; what they do stands in frm_login.cpp.
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <algorithm>
#include <cmath>

#include "session/frm_login.h"
#include "widgets/named.h"
#include "widgets/plain_text.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int kMargin = 10;
constexpr int kFrameWidth = 380;
constexpr int kRow = 32;
constexpr int kFirstRow = 26;  // below the frame's title
constexpr int kField = 120;    // left of the fields
constexpr int kHeight = 26;
constexpr int kFrameGap = 5;  // what the opened form grows by beside its second frame

/// How much larger than drawn everything is, so that the longest texts fit at the desktop's font.
double Enlarged(const QWidget& form)
{
    const QFontMetrics metrics(form.font());
    return std::max({1.0, (metrics.horizontalAdvance(u"Send Password!"_s) + 2) / 106.0,
                     (metrics.horizontalAdvance(u"Configuration:"_s) + 2) / 104.0, metrics.height() / 20.0});
}

/// `place` is as drawn, for the usual font.
template <class W>
W* Put(QWidget* parent, const char* name, const QRect& place)
{
    const double factor = Enlarged(*parent->window());
    const auto scaled = [&](int length) { return int(std::lround(length * factor)); };
    return Placed<W>(
        parent, name,
        QRect(scaled(place.x()), scaled(place.y()), scaled(place.width()), scaled(place.height())));
}

template <class W>
W* Button(QWidget* parent, const char* name, const QString& text, const QRect& place)
{
    W* button = Put<W>(parent, name, place);
    button->setText(text);
    return button;
}

QRect FieldAt(int row, int width)
{
    return {kField, kFirstRow + row * kRow, width, kHeight};
}

QLabel* Label(QWidget* parent, const char* name, const QString& text, int row)
{
    auto* label = Put<QLabel>(parent, name, {kMargin, kFirstRow + row * kRow, kField - kMargin - 6, kHeight});
    label->setText(text);
    return label;
}

QGroupBox* Frame(QWidget* parent, const char* name, const QString& title, int top, int rows)
{
    auto* frame = Put<QGroupBox>(parent, name, {kMargin, top, kFrameWidth, kFirstRow + rows * kRow + 6});
    frame->setTitle(title);
    return frame;
}

}  // namespace

void frmLogin::BuildLogin()
{
    frameLogin = Frame(this, "frameLogin", u"Meeting Information"_s, kMargin, 5);
    txtHandle = Put<QLineEdit>(frameLogin, "txtHandle", FieldAt(0, 250));
    txtPassword = Put<QLineEdit>(frameLogin, "txtPassword", FieldAt(1, 140));
    txtPassword->setEchoMode(QLineEdit::Password);
    txtPassword->setStyleSheet(u"lineedit-password-character: 42"_s);  // "*"
    lblPassword = Put<QLabel>(frameLogin, "lblPassword", {kField + 148, kFirstRow + kRow, 106, kHeight});
    lblPassword->setTextFormat(Qt::PlainText);
    lblPassword->setText(u"Send Password!"_s);
    lblPassword->setCursor(Qt::PointingHandCursor);
    lblPassword->setFocusPolicy(Qt::TabFocus);
    QFont link = lblPassword->font();
    link.setUnderline(true);
    lblPassword->setFont(link);
    lblPassword->setForegroundRole(QPalette::Link);
    cmbMeetingCode = Put<QComboBox>(frameLogin, "cmbMeetingCode", FieldAt(2, 250));
    cmbMeetingCode->setEditable(true);
    cmbMeetingCode->setInsertPolicy(QComboBox::NoInsert);
    cmbMeetingCode->setCompleter(nullptr);  // it would change what is typed
    optJoinMeeting =
        Button<QRadioButton>(frameLogin, "optJoinMeeting", u"&Join Existing Meeting"_s, FieldAt(3, 250));
    optNewMeeting =
        Button<QRadioButton>(frameLogin, "optNewMeeting", u"Start &New Meeting"_s, FieldAt(4, 250));
    optNewMeeting->setChecked(true);
    Label(frameLogin, "lblLabels", u"&Handle:"_s, 0)->setBuddy(txtHandle);
    Label(frameLogin, "lblLabels", u"&Password:"_s, 1)->setBuddy(txtPassword);
    Label(frameLogin, "lblLabels", u"&Meeting Code:"_s, 2)->setBuddy(cmbMeetingCode);
}

void frmLogin::BuildMore()
{
    frameMore = Frame(this, "frameMore", u"Advanced Options"_s, 0, 4);
    frameMore->move(frameMore->x(), frameLogin->geometry().bottom() + 1 + kFrameGap);
    cmbConfig = Put<QComboBox>(frameMore, "cmbConfig", FieldAt(0, 164));
    cmbConfig->setToolTip(u"Choose current configuration"_s);
    chkDefaultConfig = Button<QCheckBox>(frameMore, "chkDefaultConfig", u"&Default"_s,
                                         {kField + 174, kFirstRow, 80, kHeight});
    chkDefaultConfig->setToolTip(u"Set as default configuration"_s);
    optHTTP = Button<QRadioButton>(frameMore, "optHTTP", u"HTTP"_s, {kField, kFirstRow + kRow, 74, kHeight});
    optTCP =
        Button<QRadioButton>(frameMore, "optTCP", u"TCP"_s, {kField + 84, kFirstRow + kRow, 74, kHeight});
    optUDP =
        Button<QRadioButton>(frameMore, "optUDP", u"UDP"_s, {kField + 168, kFirstRow + kRow, 74, kHeight});
    chkHostname = Button<QCheckBox>(frameMore, "chkHostname", u"Host&name:"_s,
                                    {kMargin, kFirstRow + 2 * kRow, kField - kMargin - 6, kHeight});
    txtHostname = Put<QLineEdit>(frameMore, "txtHostname", FieldAt(2, 250));
    txtHostname->setToolTip(
        u"Enter your computer's IP address or its fully qualified domain name, for example desk.example.com"_s);
    txtService = Put<QLineEdit>(frameMore, "txtService", FieldAt(3, 250));
    txtService->setPlaceholderText(u"this computer"_s);
    const QString refusal = mState.gMessenger ? mState.gMessenger->LastRefusal() : QString();
    txtService->setToolTip(refusal.isEmpty()
                               ? u"Where the meeting is: HOST or HOST:PORT; empty for this computer"_s
                               : PlainToolTip(refusal));
    Label(frameMore, "lblLabels", u"Configuration:"_s, 0)->setBuddy(cmbConfig);
    Label(frameMore, "lblLabels", u"Protocol:"_s, 1);
    Label(frameMore, "lblService", u"Ser&vice:"_s, 3)->setBuddy(txtService);
}

void frmLogin::BuildButtons()
{
    frameButtons = Put<QFrame>(this, "frameButtons", {kMargin, 0, kFrameWidth, 36});
    chkMore = Button<QPushButton>(frameButtons, "chkMore", QString(), {0, 5, 90, 28});
    chkMore->setCheckable(true);
    chkMore->setToolTip(u"Choose login options"_s);
    cmdCancel = Button<QPushButton>(frameButtons, "cmdCancel", u"Cancel"_s, {kFrameWidth - 188, 5, 90, 28});
    cmdCancel->setToolTip(u"Click here to Exit"_s);
    cmdCancel->setAccessibleDescription(u"Goes back to the meeting, or ends Quorvia when there is none"_s);
    cmdOK = Button<QPushButton>(frameButtons, "cmdOK", u"Enter"_s, {kFrameWidth - 90, 5, 90, 28});
    cmdOK->setToolTip(u"Click here to login to Zephyl"_s);
    chkMore->setAutoDefault(false);
    cmdCancel->setAutoDefault(false);
    cmdOK->setDefault(true);
}

void frmLogin::SetTabs()
{
    QWidget* before = nullptr;
    for (QWidget* control : std::initializer_list<QWidget*>{
             txtHandle, txtPassword, cmbMeetingCode, optJoinMeeting, optNewMeeting, lblPassword, cmbConfig,
             chkDefaultConfig, optHTTP, optTCP, optUDP, chkHostname, txtHostname, txtService, chkMore,
             cmdCancel, cmdOK}) {
        if (before) setTabOrder(before, control);
        before = control;
    }
    txtHandle->setFocus();
}
