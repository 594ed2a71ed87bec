#include "ui/frm_about.h"

#include <QFrame>
#include <QGridLayout>
#include <QIcon>
#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QStandardPaths>
#include <algorithm>

#include "base/error_trap.h"
#include "base/version.h"
#include "text/words.h"
#include "widgets/named.h"
#include "widgets/spoken.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int kIcon = 64;
constexpr int kTextWidth = 330;  // pixels; the lines of the two texts break here

void ShowText(QLabel* label, const QString& text)
{
    label->setTextFormat(Qt::PlainText);
    label->setText(text);
}

}  // namespace

frmAbout::Launcher frmAbout::DesktopLauncher()
{
    return {[](const QString& name) { return QStandardPaths::findExecutable(name); },
            [](const ProgramStart& one) { return QProcess::startDetached(one.program, one.arguments); }};
}

frmAbout::frmAbout(ProcessState& state, QWidget* parent, Launcher launcher)
    : QDialog(parent),
      mState(state),
      mLauncher(std::move(launcher)),
      picIcon(Named<QLabel>(this, "picIcon")),
      lblTitle(Named<QLabel>(this, "lblTitle")),
      lblVersion(Named<QLabel>(this, "lblVersion")),
      lblDescription(Named<QLabel>(this, "lblDescription")),
      lblDisclaimer(Named<QLabel>(this, "lblDisclaimer")),
      cmdOK(Named<QPushButton>(this, "cmdOK")),
      cmdSysInfo(Named<QPushButton>(this, "cmdSysInfo"))
{
    setObjectName(u"frmAbout"_s);
    setWindowTitle(Defined::tr("About %1").arg(QLatin1String(kAppTitle)));
    ShowText(lblVersion, Defined::tr("Version %1").arg(VersionText()));
    ShowText(lblTitle, QLatin1String(kAppTitle));
    ShowText(lblDescription, Ours::tr("Meet, talk and draw together: a shared whiteboard with chat, video, "
                                      "shared windows and voice."));
    ShowText(lblDisclaimer, Ours::tr("This program comes without any warranty. What you draw, write and show "
                                     "reaches everybody in the meeting."));
    picIcon->setPixmap(QIcon(u":/logo.svg"_s).pixmap(QSize(kIcon, kIcon), devicePixelRatioF()));
    cmdOK->setText(Ours::tr("OK"));
    cmdSysInfo->setText(Ours::tr("&System Info..."));
    Arrange();
    connect(cmdOK, &QPushButton::clicked, this, &QDialog::accept);
    connect(cmdSysInfo, &QPushButton::clicked, this, [this] { StartSysInfo(); });
}

void frmAbout::Arrange()
{
    QFont large = lblTitle->font();
    large.setPointSizeF(large.pointSizeF() * 1.6);
    large.setBold(true);
    lblTitle->setFont(large);
    for (QLabel* text : {lblDescription, lblDisclaimer}) {
        text->setWordWrap(true);
        text->setFixedWidth(kTextWidth);
        text->setMinimumHeight(text->heightForWidth(kTextWidth));  // the layout would count on two lines
    }
    cmdOK->setDefault(true);
    cmdOK->setFocus();
    auto* line = new QFrame(this);
    line->setFrameStyle(QFrame::HLine | QFrame::Sunken);
    Speak(*line, {QAccessible::Separator});

    auto* grid = new QGridLayout(this);
    grid->setHorizontalSpacing(16);
    grid->addWidget(picIcon, 0, 0, 3, 1, Qt::AlignTop);
    grid->addWidget(lblTitle, 0, 1, 1, 2);
    grid->addWidget(lblVersion, 1, 1, 1, 2);
    grid->addWidget(lblDescription, 2, 1, 1, 2);
    grid->addWidget(line, 3, 0, 1, 3);
    grid->addWidget(lblDisclaimer, 4, 1, 2, 1, Qt::AlignTop);
    grid->addWidget(cmdOK, 4, 2);
    grid->addWidget(cmdSysInfo, 5, 2);
    layout()->setSizeConstraint(QLayout::SetFixedSize);
}

void frmAbout::StartSysInfo()
{
    Trapped(mState, "StartSysInfo", [&] {
        const std::vector<ProgramStart> programs = SystemInfoPrograms(mState, mLauncher.onPath);
        if (std::ranges::any_of(programs, mLauncher.start)) return;
        mState.ports.prompts->Box(BoxIcon::None, QLatin1String(kAppTitle),
                                  Defined::tr("System Information Is Unavailable At This Time"));
    });
}
