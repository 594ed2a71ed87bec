#include "ui/frm_let_in.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "base/error_trap.h"
#include "base/meeting_screens.h"
#include "base/report.h"
#include "text/words.h"
#include "widgets/named.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int kLetters = 60;  // of the average width: how wide the texts are
constexpr int kLines = 7;     // of the invitation, in the longest language

}  // namespace

frmLetIn::frmLetIn(ProcessState& state, const LettingIn& letting, QWidget* parent)
    : QDialog(parent),
      mState(state),
      lblWhat(Named<QLabel>(this, "lblWhat")),
      txtInvitation(Named<QPlainTextEdit>(this, "txtInvitation")),
      cmdOpen(Named<QPushButton>(this, "cmdOpen")),
      cmdCopy(Named<QPushButton>(this, "cmdCopy")),
      cmdStop(Named<QPushButton>(this, "cmdStop")),
      cmdDone(Named<QPushButton>(this, "cmdDone"))
{
    setObjectName(u"frmLetIn"_s);
    setWindowTitle(Ours::tr("Let Others In"));
    lblWhat->setTextFormat(Qt::PlainText);
    lblWhat->setWordWrap(true);
    lblWhat->setMinimumWidth(kLetters * fontMetrics().averageCharWidth());
    txtInvitation->setReadOnly(true);
    txtInvitation->setAccessibleName(Ours::tr("Invitation"));
    txtInvitation->setTabChangesFocus(true);
    txtInvitation->setFixedHeight(kLines * fontMetrics().lineSpacing() + 2 * txtInvitation->frameWidth() + 8);
    cmdOpen->setText(Ours::tr("&Let Others In"));
    cmdCopy->setText(Ours::tr("&Copy Invitation"));
    cmdStop->setText(Ours::tr("&Stop Letting In"));
    cmdDone->setText(Ours::tr("Close"));
    for (QPushButton* button : {cmdCopy, cmdStop, cmdDone}) button->setAutoDefault(false);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    for (QPushButton* button : {cmdOpen, cmdCopy, cmdStop, cmdDone}) buttons->addWidget(button);
    auto* all = new QVBoxLayout(this);
    all->setSizeConstraint(QLayout::SetFixedSize);
    all->addWidget(lblWhat);
    all->addWidget(txtInvitation);
    all->addLayout(buttons);

    connect(cmdOpen, &QPushButton::clicked, this, [this] { cmdOpen_Click(); });
    connect(cmdCopy, &QPushButton::clicked, this, [this] { cmdCopy_Click(); });
    connect(cmdStop, &QPushButton::clicked, this, [this] { cmdStop_Click(); });
    connect(cmdDone, &QPushButton::clicked, this, [this] { accept(); });
    Show(letting);
}

void frmLetIn::cmdOpen_Click()
{
    Ask(LetInWish::Open);
}

void frmLetIn::cmdStop_Click()
{
    Ask(LetInWish::Close);
}

void frmLetIn::Ask(LetInWish wish)
{
    Trapped(mState, "mnuLetIn_Click", [&] { Show(mState.gMessenger->LetOthersIn(wish)); });
}

void frmLetIn::cmdCopy_Click()
{
    Trapped(mState, "mnuInvite_Click", [this] {
        if (!mWays.invitations.empty()) CopyInvitation(mState, mWays.invitations.front());
    });
}

void frmLetIn::Show(const LettingIn& letting)
{
    mWays = WaysBy(mState, letting);
    const bool open = !mWays.invitations.empty();
    QString what = Ours::tr(
        "Others on your local network can come into this meeting while you are in it, and into no other one. "
        "They "
        "need the invitation, which names the meeting code: choose another code if strangers could guess it. "
        "Everybody chooses a handle and a password for this meeting; nobody gets in by yours. Whoever is on "
        "your "
        "network can see that a meeting is open here.\n\nIt ends when you leave the meeting, or with \"Stop "
        "Letting In\": then everybody from outside is gone.");
    if (open) {
        what = Ours::tr(
            "The meeting is open to your local network, until you leave it or choose \"Stop Letting In\". "
            "Pass "
            "this invitation on:");
        if (NamesThisComputerOnly(mWays.invitations.front()))
            what += u' ' +
                    Ours::tr("(This computer is on no network: only people at it can use the invitation.)");
        QString text = SentenceOf(mWays.invitations.front());
        for (std::size_t i = 1; i < mWays.invitations.size(); ++i)
            text +=
                u'\n' + Ours::tr("Or, from another network of yours: %1").arg(LinkOf(mWays.invitations[i]));
        txtInvitation->setPlainText(text);
    } else if (!letting.problem.isEmpty()) {
        what = mWays.problem;
    }
    lblWhat->setText(what);
    for (QWidget* shown : {static_cast<QWidget*>(txtInvitation), static_cast<QWidget*>(cmdCopy),
                           static_cast<QWidget*>(cmdStop)})
        shown->setVisible(open);
    cmdOpen->setVisible(!open);
    (open ? cmdCopy : cmdOpen)->setDefault(true);
    (open ? cmdCopy : cmdOpen)->setFocus();
    TraceEvent(mState, "letting_in", {{u"open"_s, open}, {u"text"_s, what}});
    if (open) mState.gMeetingForm->Panels().Note(Ours::tr("The meeting is open to your local network."));
}
