#include "ui/frm_replay.h"

#include <QComboBox>
#include <QFile>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QScrollBar>
#include <QShortcut>
#include <QSplitter>
#include <QVBoxLayout>

#include "base/error_trap.h"
#include "base/meeting_screens.h"
#include "messaging/chat_rules.h"
#include "text/qt_line.h"
#include "text/text_rules.h"
#include "text/words.h"
#include "ui/replay_board.h"
#include "ui/replay_slider.h"
#include "whiteboard/sending.h"
#include "widgets/named.h"
#include "widgets/plain_text.h"
#include "widgets/spoken.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int kFramePause = 33;           // milliseconds between two boards of a replay
constexpr int kChatWidth = 240;           // logical pixels
constexpr std::size_t kShownLines = 500;  // of the chat
constexpr qint16 kExactly = 100;          // the quality at which no colour is left out

bool InMeeting(const ProcessState& state)
{
    return state.gMeetingForm && state.gMessenger && state.gMessenger->LoggedIn() && state.gUsers &&
           !state.gUsers->Items().empty();
}

/// The shared encoder's quality for a scope.
class Exactly {
public:
    explicit Exactly(FrameEncoder* encoder)
        : mEncoder(encoder), mBefore(encoder ? encoder->Quality() : kExactly)
    {
        if (mEncoder) mEncoder->SetQuality(kExactly);
    }
    ~Exactly()
    {
        if (mEncoder) mEncoder->SetQuality(mBefore);
    }
    Exactly(const Exactly&) = delete;
    Exactly& operator=(const Exactly&) = delete;

private:
    FrameEncoder* mEncoder;
    const qint16 mBefore;
};

}  // namespace

frmReplay::frmReplay(ProcessState& state, const QString& path)
    : mState(state),
      mPlaying([this](int item) {
          return std::size_t(item) < mSteps.size() ? mSteps[std::size_t(item)].time : 0;
      }),
      picReplay(new ReplayBoard(this)),
      txtChat(Named<QPlainTextEdit>(this, "txtReplayChat")),
      sldReplay(new ReplaySlider(this)),
      cmdBack(Named<QPushButton>(this, "cmdBack")),
      cmdPlay(Named<QPushButton>(this, "cmdPlay")),
      cmdForward(Named<QPushButton>(this, "cmdForward")),
      cmdTake(Named<QPushButton>(this, "cmdTake")),
      cboSpeed(Named<QComboBox>(this, "cboSpeed")),
      lblPlace(Named<QLabel>(this, "lblPlace"))
{
    setObjectName(u"frmReplay"_s);
    setAttribute(Qt::WA_DeleteOnClose);
    const auto news = [this] {
        QMetaObject::invokeMethod(
            this, [this] { Learned(); }, Qt::QueuedConnection);
    };
    mReplay = std::make_unique<Replay>(meeting_file::FileSource(QFile::encodeName(path).toStdString()),
                                       *mState.ports.pictures, news);
    const QString title = QString::fromStdString(mReplay->About().title);
    setWindowTitle(Ours::tr("Replay: %1").arg(OneLine(title.isEmpty() ? QFileInfo(path).fileName() : title)));
    Build();
    Connect();
    resize(QSize(1100, 760).boundedTo(screen()->availableSize() * 9 / 10));
    Go(0);
}

frmReplay::~frmReplay() = default;

void frmReplay::Build()
{
    txtChat->setReadOnly(true);
    txtChat->setAccessibleName(Ours::tr("Chat"));
    txtChat->setTabChangesFocus(true);
    sldReplay->setAccessibleName(Ours::tr("Place in the meeting"));
    sldReplay->setRange(0, int(mReplay->Items()));
    cmdBack->setText(Ours::tr("&Back"));
    cmdForward->setText(Ours::tr("&Forward"));
    cmdTake->setText(Ours::tr("&Take This Board Into the Meeting"));
    cmdTake->setToolTip(
        PlainToolTip(Ours::tr("Everybody gets it as one picture, which one Undo takes away.")));
    for (const int speed : {1, 2, 4, 8, 16}) cboSpeed->addItem(u"%1 ×"_s.arg(speed), speed);
    SpeakByLabel(*cboSpeed, Ours::tr("Speed"));
    cboSpeed->setToolTip(PlainToolTip(Ours::tr("Speed; long pauses are shortened")));
    lblPlace->setTextFormat(Qt::PlainText);
    lblPlace->setMinimumWidth(1);

    auto* halves = new QSplitter(Qt::Horizontal, this);
    halves->addWidget(txtChat);
    halves->addWidget(picReplay);
    halves->setStretchFactor(1, 1);
    halves->setSizes({kChatWidth, 4 * kChatWidth});
    auto* buttons = new QHBoxLayout;
    for (QWidget* one : {static_cast<QWidget*>(cmdBack), static_cast<QWidget*>(cmdPlay),
                         static_cast<QWidget*>(cmdForward), static_cast<QWidget*>(cboSpeed)})
        buttons->addWidget(one);
    buttons->addStretch();
    buttons->addWidget(cmdTake);
    auto* all = new QVBoxLayout(this);
    all->addWidget(halves, 1);
    all->addWidget(sldReplay);
    all->addWidget(lblPlace);
    all->addLayout(buttons);
    SetPlaying(false);
    sldReplay->setFocus();
}

void frmReplay::Connect()
{
    sldReplay->author = [this](int item) {
        return std::size_t(item) < mSteps.size() ? int(mSteps[std::size_t(item)].author) : -1;
    };
    sldReplay->time = [this](int item) { return TimeText(item); };
    connect(sldReplay, &QSlider::valueChanged, this, [this](int value) { Go(value); });
    connect(cmdPlay, &QPushButton::clicked, this, [this] { cmdPlay_Click(); });
    connect(cmdBack, &QPushButton::clicked, this, [this] { cmdStep_Click(-1); });
    connect(cmdForward, &QPushButton::clicked, this, [this] { cmdStep_Click(1); });
    connect(cmdTake, &QPushButton::clicked, this, [this] { cmdTake_Click(); });
    mTimer.setInterval(kFramePause);
    connect(&mTimer, &QTimer::timeout, this, [this] { Tick(); });
    const std::pair<QKeyCombination, int> zooms[] = {{Qt::CTRL | Qt::Key_Plus, 1},
                                                     {Qt::CTRL | Qt::Key_Equal, 1},
                                                     {Qt::CTRL | Qt::Key_Minus, -1},
                                                     {Qt::CTRL | Qt::Key_0, 0}};
    for (const auto& [keys, steps] : zooms)
        connect(new QShortcut(QKeySequence(keys), this), &QShortcut::activated, this, [this, steps = steps] {
            picReplay->SetZoom(steps == 0 ? Zoom() : picReplay->CurrentZoom().Stepped(steps));
        });
}

/// On the other thread more of the file has become known.
void frmReplay::Learned()
{
    for (const Step& step : mReplay->Steps(mSteps.size(), SIZE_MAX)) mSteps.push_back(step);
    sldReplay->update();
    if (int(mReplay->Position()) != mWanted)
        Go(mWanted);
    else
        ShowPlace();
    if (mReplay->AllKnown()) TraceEvent(mState, "replay", {{u"known"_s, int(mReplay->Items())}});
}

void frmReplay::Go(int position)
{
    mWanted = position;
    if (sldReplay->value() != position) return sldReplay->setValue(position);  // comes back here
    mReplay->Seek(std::size_t(position));
    picReplay->ShowBoard(mReplay->TheBoard(), mReplay->TakeChanged());
    ShowChat();
    ShowPlace();
    if (mState.ports.trace)
        TraceEvent(mState, "replayed",
                   {{u"position"_s, int(mReplay->Position())}, {u"board"_s, mReplay->TheBoard().Checksum()}});
}

QString frmReplay::TimeText(int item) const
{
    if (std::size_t(item) >= mSteps.size() || mSteps[std::size_t(item)].time == 0) return {};
    return QLocale().toString(QDateTime::fromMSecsSinceEpoch(mSteps[std::size_t(item)].time).time(),
                              QLocale::ShortFormat);
}

void frmReplay::ShowPlace()
{
    const int at = int(mReplay->Position()), all = int(mReplay->Items());
    QStringList parts{Ours::tr("%1 of %2", "how many changes have happened").arg(at).arg(all)};
    if (at > 0 && std::size_t(at) <= mSteps.size()) {
        const Step& step = mSteps[std::size_t(at - 1)];
        parts += InSentence(mReplay->Authors().at(step.author));
        if (step.time != 0) parts += GeneralDate(QDateTime::fromMSecsSinceEpoch(step.time));
    }
    if (!mReplay->AllKnown())
        parts += Ours::tr("Reading the file: %1 %").arg(100 * qint64(mReplay->Known()) / std::max(1, all));
    else if (const QString problem = mReplay->Problem(); !problem.isEmpty())
        parts += Ours::tr("Part of the file is damaged or missing.");
    lblPlace->setText(parts.join(u" · "_s));
    lblPlace->setToolTip(PlainToolTip(lblPlace->text()));
    cmdBack->setEnabled(at > 0);
    cmdForward->setEnabled(at < all);
    cmdTake->setEnabled(InMeeting(mState));
}

void frmReplay::ShowChat()
{
    const auto lines = mReplay->Lines(mReplay->Position(), kShownLines);
    if (std::exchange(mShownLines, int(lines.size())) == int(lines.size()) && lines.size() < kShownLines)
        return;
    QStringList texts;
    for (const meeting_file::Item& line : lines)
        texts += LineFor({}, Utf8Text(QByteArrayView(line.from)), Utf8Text(QByteArrayView(line.body))).text;
    txtChat->setPlainText(texts.join(u'\n'));
    txtChat->verticalScrollBar()->setValue(txtChat->verticalScrollBar()->maximum());
}

void frmReplay::SetPlaying(bool playing)
{
    cmdPlay->setText(playing ? Ours::tr("&Pause") : Ours::tr("&Play"));
    if (!playing) return mTimer.stop();
    mPlaying.Begin();
    mSince.start();
    mTimer.start();
}

void frmReplay::Tick()
{
    const int known = int(mSteps.size());
    const int next = mPlaying.Next(mWanted, known, mSince.restart(), cboSpeed->currentData().toInt());
    if (next != mWanted) Go(next);
    if (next >= int(mReplay->Items())) SetPlaying(false);
}

void frmReplay::cmdPlay_Click()
{
    if (!mTimer.isActive() && mWanted >= int(mReplay->Items())) Go(0);
    SetPlaying(!mTimer.isActive());
}

void frmReplay::cmdStep_Click(int direction)
{
    SetPlaying(false);
    const auto isLine = [this](int item) {
        return std::size_t(item) < mSteps.size() &&
               mSteps[std::size_t(item)].kind == meeting_file::Kind::Line;
    };
    const int all = int(mReplay->Items());
    int to = std::clamp(mWanted + direction, 0, all);
    while (to > 0 && to < all && isLine(to - 1)) to += direction;
    Go(to);
}

void frmReplay::cmdTake_Click()
{
    Trapped(mState, "cmdTake_Click", [&] {
        SetPlaying(false);
        if (!InMeeting(mState)) return ShowPlace();
        const Exactly exactly(mState.gFrameEncoder.get());
        PlacePicture(mState, mReplay->TheBoard().Image().copy(), 0, 0);
        mState.gMeetingForm->Panels().Note(
            Ours::tr("The board was taken into the meeting. Undo takes it away."));
    });
}

void frmReplay::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Space) return cmdPlay_Click();
    if (event->key() == Qt::Key_Escape) {
        close();
        return;
    }
    QWidget::keyPressEvent(event);
}

void frmReplay::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    TraceEvent(mState, "dialog", {{u"name"_s, objectName()}});
}

void mnuReplay_Click(ProcessState& state)
{
    Trapped(state, "mnuReplay_Click", [&] {
        const QString name =
            state.ports.prompts->OpenFile(Ours::tr("Replay"), Ours::tr("Meetings"), {u"*.zmeeting"_s});
        if (name.isEmpty()) return;
        (new frmReplay(state, name))->show();  // deletes itself when it is closed
    });
}
