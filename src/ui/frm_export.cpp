#include "ui/frm_export.h"

#include <QComboBox>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QJsonArray>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "base/error_trap.h"
#include "base/meeting_screens.h"
#include "base/save_whole.h"
#include "export/recording.h"
#include "text/words.h"
#include "ui/dialogs.h"
#include "whiteboard/board_screen.h"
#include "whiteboard/own_work.h"
#include "widgets/named.h"
#include "widgets/spoken.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int kLetters = 60;  // of the average width: how wide the text is
constexpr int kLines = 4;     // of the text, in the longest language

}  // namespace

frmExport::frmExport(ProcessState& state, const MeetingRecording& recording, QWidget* parent)
    : QDialog(parent),
      mState(state),
      mRecording(recording),
      optBoard(Named<QRadioButton>(this, "optBoard")),
      optHistory(Named<QRadioButton>(this, "optHistory")),
      optMeeting(Named<QRadioButton>(this, "optMeeting")),
      cboFormat(Named<QComboBox>(this, "cboFormat")),
      lblWhat(Named<QLabel>(this, "lblWhat")),
      cmdExport(Named<QPushButton>(this, "cmdExport")),
      cmdCancel(Named<QPushButton>(this, "cmdCancel"))
{
    setObjectName(u"frmExport"_s);
    setWindowTitle(Ours::tr("Export"));
    optBoard->setText(Ours::tr("The &board as it stands"));
    optHistory->setText(Ours::tr("Each board that &Undo reaches"));
    optMeeting->setText(Ours::tr("The whole &meeting, to be replayed"));
    optBoard->setChecked(true);
    cboFormat->addItem(Ours::tr("PDF (lines and text)"), int(BoardFormat::Pdf));
    cboFormat->addItem(Ours::tr("SVG (lines and text)"), int(BoardFormat::Svg));
    cboFormat->addItem(Ours::tr("PNG (picture)"), int(BoardFormat::Png));
    lblWhat->setTextFormat(Qt::PlainText);
    lblWhat->setWordWrap(true);
    lblWhat->setMinimumWidth(kLetters * fontMetrics().averageCharWidth());
    lblWhat->setMinimumHeight(kLines * fontMetrics().lineSpacing());
    lblWhat->setAlignment(Qt::AlignTop | Qt::AlignLeading);
    cmdExport->setText(Ours::tr("&Export..."));
    cmdExport->setDefault(true);
    cmdCancel->setText(Ours::tr("Cancel"));
    cmdCancel->setAutoDefault(false);

    auto* format = new QFormLayout;
    format->addRow(Ours::tr("&Format:"), cboFormat);
    SpeakByLabel(*cboFormat, Ours::tr("&Format:"));
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(cmdExport);
    buttons->addWidget(cmdCancel);
    auto* all = new QVBoxLayout(this);
    all->setSizeConstraint(QLayout::SetFixedSize);
    for (QRadioButton* choice : {optBoard, optHistory, optMeeting}) all->addWidget(choice);
    all->addLayout(format);
    all->addWidget(lblWhat);
    all->addLayout(buttons);

    for (QRadioButton* choice : {optBoard, optHistory, optMeeting})
        connect(choice, &QRadioButton::toggled, this, [this] { ShowChoice(); });
    connect(cboFormat, &QComboBox::currentIndexChanged, this, [this] { ShowChoice(); });
    connect(cmdExport, &QPushButton::clicked, this, [this] { cmdExport_Click(); });
    connect(cmdCancel, &QPushButton::clicked, this, [this] { reject(); });
    ShowChoice();
}

void frmExport::ShowChoice()
{
    const bool meeting = optMeeting->isChecked();
    const auto format = BoardFormat(cboFormat->currentData().toInt());
    cboFormat->setEnabled(!meeting);
    QString what;
    if (meeting) {
        what = Ours::tr(
            "A meeting file of Quorvia: what was drawn since you came, and what was said as you could read "
            "it, "
            "in clear, whispers to you and from you among it. \"Meeting > Replay...\" plays it.");
        if (mRecording.Full())
            what += u' ' + Ours::tr("The meeting is too long to be kept whole: its end is missing.");
    } else if (format == BoardFormat::Png) {
        what = optHistory->isChecked()
                   ? Ours::tr("A picture for each board, in files with numbers.")
                   : Ours::tr(
                         "The board's pixels. Live pictures are among them and hide what is drawn beneath.");
    } else {
        what = Ours::tr(
            "Lines stay sharp at any size, text can be searched and copied. Live pictures are not in it.");
        if (optHistory->isChecked())
            what += u' ' + (format == BoardFormat::Pdf ? Ours::tr("Each board is a page.")
                                                       : Ours::tr("Each board is a file with a number."));
    }
    lblWhat->setText(what);
}

QString frmExport::Ending() const
{
    return optMeeting->isChecked() ? u"zmeeting"_s : EndingOf(BoardFormat(cboFormat->currentData().toInt()));
}

/// Throws with the reason.
QStringList frmExport::Write(const QString& name) const
{
    if (optMeeting->isChecked()) {
        SaveWhole(name, mRecording.File(), ReadableBy::Owner);
        return {name};
    }
    const Boards which = optHistory->isChecked() ? Boards::AllOfTheHistory : Boards::AsItStands;
    const WBHistory& history = SharedOf(mState).History();
    return SaveBoardFiles(name, BoardFiles(mState.gMeetingForm->Board().Image(), history, which,
                                           BoardFormat(cboFormat->currentData().toInt()), mState.gMeetingCode,
                                           *mState.ports.pictures));
}

void frmExport::cmdExport_Click()
{
    const QString name = mState.ports.prompts->SaveFile(
        Ours::tr("Export"), optMeeting->isChecked() ? Ours::tr("Meetings") : cboFormat->currentText(),
        {u"*."_s + Ending()}, Ending());
    if (name.isEmpty()) return;
    const bool done = Trapped(mState, "mnuExport_Click", [&] {
        const QStringList names = Write(name);
        const QString first = QFileInfo(names.first()).fileName();
        mState.gMeetingForm->Panels().Note(
            names.size() == 1
                ? Ours::tr("Exported: %1").arg(first)
                : Ours::tr("Exported: %1 to %2").arg(first, QFileInfo(names.last()).fileName()));
        TraceEvent(mState, "exported", {{u"files"_s, QJsonArray::fromStringList(names)}});
        return true;
    });
    if (done) accept();
}

void mnuExport_Click(ProcessState& state, const MeetingRecording& recording, QWidget* window)
{
    Trapped(state, "mnuExport_Click", [&] {
        frmExport dialog(state, recording, window);
        RunModally(state, dialog);
    });
}
