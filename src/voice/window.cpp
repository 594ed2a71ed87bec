#include "voice/window.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QSlider>
#include <QVBoxLayout>

#include "platform/companion.h"
#include "settings/settings.h"
#include "text/qt_line.h"
#include "text/words.h"
#include "widgets/named.h"
#include "widgets/spoken.h"

using namespace Qt::StringLiterals;

namespace voice {

namespace {

constexpr std::chrono::milliseconds kLookEvery{100};
constexpr int kClientlessLooks = 100;  // ten seconds
constexpr int kMeter = 60;             // decibels that a level bar shows
constexpr int kLoudest = 200;          // per cent

int MeterOf(std::uint8_t level)
{
    return std::max(0, kMeter - int(level));
}

QProgressBar* Meter(QWidget* parent, const char* name, const QString& spoken)
{
    auto* meter = Named<QProgressBar>(parent, name);
    meter->setRange(0, kMeter);
    meter->setTextVisible(false);
    meter->setMaximumHeight(12);
    meter->setAccessibleName(spoken);
    return meter;
}

QString TroubleText(SoundTrouble trouble)
{
    switch (trouble) {
        case SoundTrouble::NoServer: return Ours::tr("No sound server answers: this computer is silent.");
        case SoundTrouble::NoMicrophone:
            return Ours::tr("There is no microphone: you hear and are not heard.");
        case SoundTrouble::NoSpeaker:
            return Ours::tr("There are no speakers: you are heard and do not hear.");
        case SoundTrouble::None: break;
    }
    return {};
}

}  // namespace

Window::Window(ProcessState& state, Worker& worker) : mState(state), mWorker(worker)
{
    setObjectName(u"Voktal"_s);
    setWindowTitle(u"Voktal"_s);
    Build();
    ReadSettings();
    Wish();
    QObject::connect(&mTimer, &QTimer::timeout, this, [this] { Look(); });
    mTimer.start(kLookEvery);
}

void Window::Build()
{
    auto* all = new QVBoxLayout(this);
    mStanding = Named<QLabel>(this, "lblStanding");
    mStanding->setTextFormat(Qt::PlainText);
    mStanding->setWordWrap(true);
    all->addWidget(mStanding);
    mMutedSign = Named<QLabel>(this, "lblMuted");
    mMutedSign->setText(Ours::tr("Muted: nobody hears you"));
    mMutedSign->setAlignment(Qt::AlignCenter);
    mMutedSign->setStyleSheet(u"background: #b00020; color: white; font-weight: bold; padding: 4px"_s);
    all->addWidget(mMutedSign);

    auto* own = new QGridLayout;
    mMute = Choice("chkMute", Ours::tr("&Mute my microphone"), keys::kVoktalMuted);
    own->addWidget(mMute, 0, 0);
    mOwnLevel = Meter(this, "barOwn", Ours::tr("Level of your microphone"));
    own->addWidget(mOwnLevel, 0, 1);
    const auto labelled = [&](int row, const QString& text, QWidget* field) {
        auto* label = new QLabel(text, this);
        label->setBuddy(field);
        own->addWidget(label, row, 0);
        own->addWidget(field, row, 1);
    };
    mSpeaks = Named<QComboBox>(this, "cboSpeaks");
    mSpeaks->addItems({Ours::tr("When I speak"), Ours::tr("While I hold the button or the space bar here")});
    labelled(1, Ours::tr("&I am heard:"), mSpeaks);
    mHold = Named<QPushButton>(this, "cmdHold");
    mHold->setText(Ours::tr("Hold to &Talk"));
    own->addWidget(mHold, 2, 1);
    mInput = Named<QComboBox>(this, "cboInput");
    labelled(3, Ours::tr("Mi&crophone:"), mInput);
    mOutput = Named<QComboBox>(this, "cboOutput");
    labelled(4, Ours::tr("&Speakers:"), mOutput);
    mEcho = Choice("chkEcho", Ours::tr("Take out the &echo of the speakers"), keys::kVoktalEcho);
    mNoise = Choice("chkNoise", Ours::tr("Take out &noise"), keys::kVoktalNoise);
    mGain = Choice("chkGain", Ours::tr("Make me as &loud as others"), keys::kVoktalGain);
    own->addWidget(mEcho, 5, 0, 1, 2);
    own->addWidget(mNoise, 6, 0, 1, 2);
    own->addWidget(mGain, 7, 0, 1, 2);
    mTest = Named<QPushButton>(this, "cmdTest");
    mTest->setText(Ours::tr("Hear &Yourself"));
    mTest->setToolTip(Ours::tr("Plays what you say a second later; meanwhile nobody else hears you."));
    mTest->setCheckable(true);
    own->addWidget(mTest, 8, 1);
    all->addLayout(own);

    mNobody = Named<QLabel>(this, "lblNobody");
    mNobody->setText(Ours::tr("Check \"Talk\" in the meeting to talk with those who are there."));
    mNobody->setWordWrap(true);
    all->addWidget(mNobody);
    mList = new QGridLayout;
    all->addLayout(mList);
    all->addStretch();

    SpeakByLabel(*mSpeaks, Ours::tr("I am heard:"));
    SpeakByLabel(*mInput, Ours::tr("Microphone:"));
    SpeakByLabel(*mOutput, Ours::tr("Speakers:"));
    QObject::connect(mSpeaks, &QComboBox::activated, this, [this](int chosen) {
        SaveSetting(mState, keys::kVoktalSpeaks, QString::number(chosen));
        Wish();
    });
    const auto device = [this](QComboBox* box, const SettingKey& key) {
        QObject::connect(box, &QComboBox::activated, this, [this, box, &key] {
            SaveSetting(mState, key, box->currentData().toString());
            Wish();
        });
    };
    device(mInput, keys::kVoktalInput);
    device(mOutput, keys::kVoktalOutput);
    QObject::connect(mHold, &QPushButton::pressed, this, [this] { Hold(true); });
    QObject::connect(mHold, &QPushButton::released, this, [this] { Hold(false); });
    QObject::connect(mTest, &QPushButton::toggled, this, [this] { Wish(); });
}

QCheckBox* Window::Choice(const char* name, const QString& text, const FlagKey& key)
{
    auto* box = Named<QCheckBox>(this, name);
    box->setText(text);
    QObject::connect(box, &QCheckBox::clicked, this, [this, &key](bool on) {
        SaveSetting(mState, key, on ? u"1"_s : u"0"_s);
        Wish();
    });
    return box;
}

void Window::ReadSettings()
{
    mMute->setChecked(FlagSetting(mState, keys::kVoktalMuted));
    mEcho->setChecked(FlagSetting(mState, keys::kVoktalEcho));
    mNoise->setChecked(FlagSetting(mState, keys::kVoktalNoise));
    mGain->setChecked(FlagSetting(mState, keys::kVoktalGain));
    mSpeaks->setCurrentIndex(GetSetting(mState, keys::kVoktalSpeaks) == u"1"_s ? 1 : 0);
    mInputs = mOutputs = {{"", ""}};  // so that they are shown at the first look
}

void Window::Hold(bool held)
{
    if (std::exchange(mHeld, held) == held) return;
    mHold->setDown(held);
    Wish();
}

/// Whoever lets go in another window is not heard to do so here.
void Window::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::ActivationChange && !isActiveWindow()) Hold(false);
    QWidget::changeEvent(event);
}

void Window::hideEvent(QHideEvent* event)
{
    Hold(false);
    QWidget::hideEvent(event);
}

void Window::Wish()
{
    Wishes wishes;
    wishes.with = mPartners.Among(mPeople.handles);
    for (const auto& [handle, row] : mRows)
        wishes.volumes[handle] = row.mute->isChecked() ? 0 : float(row.volume->value()) / 100;
    wishes.muted = mMute->isChecked();
    wishes.held = mHeld;
    wishes.ownTest = mTest->isChecked();
    wishes.speaks = mSpeaks->currentIndex() == 1 ? Speaks::WhileHeld : Speaks::Activated;
    wishes.cleaning = {mEcho->isChecked(), mNoise->isChecked(), mGain->isChecked()};
    wishes.input = GetSetting(mState, keys::kVoktalInput).toStdString();
    wishes.output = GetSetting(mState, keys::kVoktalOutput).toStdString();
    mMutedSign->setVisible(wishes.muted);
    mHold->setEnabled(wishes.speaks == Speaks::WhileHeld);
    mWorker.Want(std::move(wishes));
}

void Window::Request(int number, const QByteArray& text)
{
    const QByteArray handle = HandleOf(text);
    if (number == kVoktalClose) return onEnd();
    if (handle.isEmpty()) return;
    if (number == kVoktalStart) mPartners.Start(handle);
    if (number == kVoktalStop || number == kVoktalLeft) mPartners.Stop(handle);
    Wish();
}

void Window::Look()
{
    const Told told = mWorker.Tell();
    if (told.open) {
        show();
        raise();
        activateWindow();
    }
    // Whoever was started for a client has nothing to do without it.
    mWithoutClient = told.hadDoor && !told.door ? mWithoutClient + 1 : 0;
    if (mWithoutClient > kClientlessLooks) return onEnd();
    if (told.people != mPeople) {
        mPeople = told.people;
        Wish();
    }
    if (!isVisible()) return;
    ShowState(told);
    ShowPeople(told);
    if (std::exchange(mInputs, told.inputs) != told.inputs) ShowDevices(*mInput, mInputs, keys::kVoktalInput);
    if (std::exchange(mOutputs, told.outputs) != told.outputs)
        ShowDevices(*mOutput, mOutputs, keys::kVoktalOutput);
}

void Window::ShowState(const Told& told)
{
    using voice_door::Phase;
    QString text;
    if (!told.hadDoor)
        text = Ours::tr("Started by hand: there is no meeting here. Quorvia starts this program itself.");
    else if (!told.door)
        text = Ours::tr("Quorvia has ended. This program ends in a moment.");
    else if (told.people.phase == Phase::Cut)
        text = Ours::tr("The connection to the service is cut. It comes back by itself.");
    else if (told.people.phase == Phase::Outside)
        text = Ours::tr("Quorvia is not in a meeting.");
    else if (!told.people.handles.empty())
        text = Ours::tr("In the meeting as %1", "handle")
                   .arg(OneLine(QString::fromStdString(told.people.handles[0])));
    const QString trouble = TroubleText(told.trouble);
    if (!trouble.isEmpty()) text += u'\n' + trouble;
    if (mStanding->text() != text) {
        mStanding->setText(text);
        Announce(*mStanding, text);
    }
    mOwnLevel->setValue(mMute->isChecked() ? 0 : MeterOf(told.ownLevel));
}

Window::Row& Window::RowOf(const std::string& handle)
{
    const auto known = mRows.find(handle);
    if (known != mRows.end()) return known->second;
    const QString name = OneLine(QString::fromStdString(handle));
    Row row;
    row.name = new QLabel(this);
    row.name->setTextFormat(Qt::PlainText);
    row.name->setText(name);
    row.level = Meter(this, "barLevel", Ours::tr("Level of %1", "handle").arg(name));
    row.volume = Named<QSlider>(this, "sldVolume");
    row.volume->setOrientation(Qt::Horizontal);
    row.volume->setRange(0, kLoudest);
    row.volume->setValue(100);
    row.volume->setAccessibleName(Ours::tr("Volume of %1", "handle").arg(name));
    row.volume->setToolTip(Ours::tr("Volume of %1", "handle").arg(name));
    row.mute = Named<QCheckBox>(this, "chkMuteOther");
    row.mute->setText(Ours::tr("Mute"));
    row.mute->setAccessibleName(Ours::tr("Mute %1", "handle").arg(name));
    const int at = mList->rowCount();
    mList->addWidget(row.name, at, 0);
    mList->addWidget(row.level, at, 1);
    mList->addWidget(row.volume, at, 2);
    mList->addWidget(row.mute, at, 3);
    QObject::connect(row.volume, &QSlider::valueChanged, this, [this] { Wish(); });
    QObject::connect(row.mute, &QCheckBox::toggled, this, [this] { Wish(); });
    return mRows.emplace(handle, row).first->second;
}

void Window::ShowPeople(const Told& told)
{
    const std::set<std::string> with = mPartners.Among(told.people.handles);
    for (auto row = mRows.begin(); row != mRows.end();) {
        if (with.contains(row->first)) {
            ++row;
            continue;
        }
        for (QWidget* part :
             {static_cast<QWidget*>(row->second.name), static_cast<QWidget*>(row->second.level),
              static_cast<QWidget*>(row->second.volume), static_cast<QWidget*>(row->second.mute)})
            part->deleteLater();
        row = mRows.erase(row);
    }
    for (const std::string& handle : with) {
        const auto level = told.levels.find(handle);
        RowOf(handle).level->setValue(level == told.levels.end() ? 0 : MeterOf(level->second));
    }
    mNobody->setVisible(with.empty() && told.hadDoor);
}

/// What was chosen stays chosen while it is unplugged, and is named so.
void Window::ShowDevices(QComboBox& box, const std::vector<Device>& devices, const SettingKey& key)
{
    const QString chosen = GetSetting(mState, key);
    box.clear();
    box.addItem(Ours::tr("What the desktop has chosen"), QString());
    for (const Device& device : devices)
        box.addItem(OneLine(QString::fromStdString(device.label)), QString::fromStdString(device.name));
    if (box.findData(chosen) < 0)
        box.addItem(Ours::tr("%1 (not plugged in)", "device").arg(OneLine(chosen)), chosen);
    box.setCurrentIndex(box.findData(chosen));
}

void Window::closeEvent(QCloseEvent* event)
{
    if (mWorker.Tell().hadDoor) {
        event->ignore();
        hide();
    } else {
        onEnd();
    }
}

void Window::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Space && !event->isAutoRepeat()) return Hold(true);
    QWidget::keyPressEvent(event);
}

void Window::keyReleaseEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Space && !event->isAutoRepeat()) return Hold(false);
    QWidget::keyReleaseEvent(event);
}

}  // namespace voice
