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
#include <type_traits>
#include <variant>

#include "session/frm_login.h"
#include "settings/settings.h"
#include "text/words.h"
#include "widgets/named.h"
#include "widgets/spoken.h"

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
    const auto grown = [&](const QString& text, double room) {
        return (metrics.size(Qt::TextShowMnemonic, text).width() + 2) / room;
    };
    return std::max({1.0, grown(Defined::tr("Send Password!"), 106),
                     grown(Defined::tr("Configuration:"), 104), grown(Defined::tr("&Handle:"), 104),
                     grown(Defined::tr("&Meeting Code:"), 104), metrics.height() / 20.0});
}

/// `place` is as drawn, for the usual font; mirrored where people write from right to left.
template <class W>
W* Put(QWidget* parent, const char* name, const QRect& place)
{
    const double factor = Enlarged(*parent->window());
    const auto scaled = [&](int length) { return int(std::lround(length * factor)); };
    QRect at(scaled(place.x()), scaled(place.y()), scaled(place.width()), scaled(place.height()));
    if (parent->isRightToLeft() && !parent->isWindow()) at.moveRight(parent->width() - 1 - at.left());
    return Placed<W>(parent, name, at);
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
    if (parent->isRightToLeft()) label->setAlignment(Qt::AlignRight | Qt::AlignAbsolute | Qt::AlignVCenter);
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
    frameLogin = Frame(this, "frameLogin", Defined::tr("Meeting Information"), kMargin, 5);
    txtHandle = Put<QLineEdit>(frameLogin, "txtHandle", FieldAt(0, 250));
    txtPassword = Put<QLineEdit>(frameLogin, "txtPassword", FieldAt(1, 140));
    txtPassword->setEchoMode(QLineEdit::Password);
    txtPassword->setStyleSheet(u"lineedit-password-character: 42"_s);  // "*"
    lblPassword = Put<QLabel>(frameLogin, "lblPassword", {kField + 148, kFirstRow + kRow, 106, kHeight});
    lblPassword->setTextFormat(Qt::PlainText);
    lblPassword->setText(Defined::tr("Send Password!"));
    lblPassword->setCursor(Qt::PointingHandCursor);
    lblPassword->setFocusPolicy(Qt::TabFocus);
    QFont link = lblPassword->font();
    link.setUnderline(true);
    lblPassword->setFont(link);
    lblPassword->setForegroundRole(QPalette::Link);
    Speak(*lblPassword,
          {.role = QAccessible::Link, .name = lblPassword->text(), .press = [this] { lblPassword_Click(); }});
    cmbMeetingCode = Put<QComboBox>(frameLogin, "cmbMeetingCode", FieldAt(2, 250));
    cmbMeetingCode->setEditable(true);
    cmbMeetingCode->setInsertPolicy(QComboBox::NoInsert);
    cmbMeetingCode->setCompleter(nullptr);  // it would change what is typed
    SpeakByLabel(*cmbMeetingCode, Defined::tr("&Meeting Code:").remove(u'&'));
    optJoinMeeting = Button<QRadioButton>(frameLogin, "optJoinMeeting", Defined::tr("&Join Existing Meeting"),
                                          FieldAt(3, 250));
    optNewMeeting =
        Button<QRadioButton>(frameLogin, "optNewMeeting", Defined::tr("Start &New Meeting"), FieldAt(4, 250));
    optNewMeeting->setChecked(true);
    Label(frameLogin, "lblLabels", Defined::tr("&Handle:"), 0)->setBuddy(txtHandle);
    Label(frameLogin, "lblLabels", Defined::tr("&Password:"), 1)->setBuddy(txtPassword);
    Label(frameLogin, "lblLabels", Defined::tr("&Meeting Code:"), 2)->setBuddy(cmbMeetingCode);
}

/// One control of "Advanced Options".
struct frmLogin::Option {
    std::variant<QComboBox * frmLogin::*, QCheckBox * frmLogin::*, QRadioButton * frmLogin::*,
                 QLineEdit * frmLogin::*>
        control;
    const char* name;
    QString text;     // its caption; what an empty field shows
    int left, width;  // from the left of the fields
    QString tip = {};
    const SettingKey* key =
        nullptr;  // what a field shows of the configuration; the others follow rules of their own
};
struct frmLogin::OptionRow {
    const char* labelName;  // null: the row has none
    QString label;
    std::vector<Option> options;  // in the order of Tab
};

std::vector<frmLogin::OptionRow> frmLogin::OptionRows()
{
    using Form = frmLogin;
    return {
        {"lblLabels",
         Defined::tr("Configuration:"),
         {{&Form::cmbConfig, "cmbConfig", {}, 0, 164, Defined::tr("Choose current configuration")},
          {&Form::chkDefaultConfig, "chkDefaultConfig", Defined::tr("&Default"), 174, 80,
           Defined::tr("Set as default configuration")}}},
        {"lblLabels",
         Defined::tr("Protocol:"),
         {{&Form::optHTTP, "optHTTP", u"HTTP"_s, 0, 74},
          {&Form::optTCP, "optTCP", u"TCP"_s, 84, 74},
          {&Form::optUDP, "optUDP", u"UDP"_s, 168, 74}}},
        {nullptr,
         {},
         {{&Form::chkHostname, "chkHostname", Defined::tr("Host&name:"), kMargin - kField,
           kField - kMargin - 6},
          {&Form::txtHostname,
           "txtHostname",
           {},
           0,
           250,
           Ours::tr("Enter your computer's IP address or its fully qualified domain name, for example "
                    "desk.example.com"),
           &keys::kHostname}}},
        {"lblService",
         Ours::tr("Ser&vice:"),
         {{&Form::cmbService,
           "cmbService",
           {},
           0,
           250,
           Ours::tr("Where the meeting is: HOST or HOST:PORT; empty for this computer")}}},
    };
}

QWidget* frmLogin::MakeOption(const Option& option, int row)
{
    return std::visit(
        [&](auto member) -> QWidget* {
            auto*& control = this->*member;
            using W = std::remove_reference_t<decltype(*control)>;
            control = Put<W>(frameMore, option.name,
                             {kField + option.left, kFirstRow + row * kRow, option.width, kHeight});
            if constexpr (std::is_base_of_v<QAbstractButton, W>) control->setText(option.text);
            if constexpr (std::is_same_v<W, QLineEdit>) control->setPlaceholderText(option.text);
            control->setToolTip(option.tip);
            return control;
        },
        option.control);
}

void frmLogin::BuildMore()
{
    const std::vector<OptionRow> rows = OptionRows();
    frameMore = Frame(this, "frameMore", Defined::tr("Advanced Options"), 0, int(rows.size()));
    frameMore->move(frameMore->x(), frameLogin->geometry().bottom() + 1 + kFrameGap);
    for (int row = 0; row < int(rows.size()); ++row) {
        const OptionRow& made = rows[std::size_t(row)];
        QWidget* first = nullptr;
        for (const Option& option : made.options) {
            mOptions.push_back(MakeOption(option, row));
            if (!first) first = mOptions.back();
        }
        if (!made.labelName) continue;
        QLabel* label = Label(frameMore, made.labelName, made.label, row);
        if (!qobject_cast<QAbstractButton*>(first)) label->setBuddy(first);
    }
    SpeakByLabel(*cmbConfig, Defined::tr("Configuration:"));
    txtHostname->setAccessibleName(Ours::tr("Host name or address"));
    for (QRadioButton* protocol : {optHTTP, optTCP, optUDP})
        protocol->setAccessibleDescription(Ours::tr("Protocol"));
    cmbService->setEditable(true);
    cmbService->setInsertPolicy(QComboBox::NoInsert);
    cmbService->setCompleter(nullptr);
    SpeakByLabel(*cmbService, Ours::tr("Ser&vice:").remove(u'&'));
    txtService = cmbService->lineEdit();
    txtService->setObjectName(u"txtService"_s);
    txtService->setPlaceholderText(Ours::tr("this computer"));
    BuildNotice();
}

void frmLogin::LoadFields()
{
    for (const OptionRow& row : OptionRows())
        for (const Option& option : row.options)
            if (const auto* field = std::get_if<QLineEdit * frmLogin::*>(&option.control);
                field && option.key)
                (this->**field)->setText(GetSetting(mState, *option.key));
    txtService->setText(GetSetting(mState, keys::kServiceAddress));
}

void frmLogin::BuildButtons()
{
    frameButtons = Put<QFrame>(this, "frameButtons", {kMargin, 0, kFrameWidth, 36});
    Speak(*frameButtons, {QAccessible::Grouping});
    chkMore = Button<QPushButton>(frameButtons, "chkMore", QString(), {0, 5, 90, 28});
    chkMore->setCheckable(true);
    chkMore->setToolTip(Defined::tr("Choose login options"));
    cmdCancel =
        Button<QPushButton>(frameButtons, "cmdCancel", Defined::tr("Cancel"), {kFrameWidth - 188, 5, 90, 28});
    cmdCancel->setToolTip(Defined::tr("Click here to Exit"));
    cmdCancel->setAccessibleDescription(
        Ours::tr("Goes back to the meeting, or ends Quorvia when there is none"));
    cmdOK = Button<QPushButton>(frameButtons, "cmdOK", Defined::tr("Enter"), {kFrameWidth - 90, 5, 90, 28});
    cmdOK->setToolTip(Defined::tr("Click here to login to Zephyl"));
    chkMore->setAutoDefault(false);
    cmdCancel->setAutoDefault(false);
    cmdOK->setDefault(true);
}

void frmLogin::SetTabs()
{
    std::vector<QWidget*> controls{txtHandle,      txtPassword,    lblPassword,
                                   cmbMeetingCode, optJoinMeeting, optNewMeeting};
    controls.insert(controls.end(), mOptions.begin(), mOptions.end());
    controls.insert(controls.end(), {chkMore, cmdCancel, cmdOK});
    for (std::size_t i = 1; i < controls.size(); ++i) setTabOrder(controls[i - 1], controls[i]);
    txtHandle->setFocus();
}
