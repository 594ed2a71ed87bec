#pragma once
// The companion's window: who is there, how loud, the own microphone, devices. User-interface thread only.

#include <QTimer>
#include <QWidget>
#include <functional>
#include <map>

#include "base/process_state.h"
#include "settings/keys.h"
#include "voice/partners.h"
#include "voice/worker.h"

class QCheckBox;
class QComboBox;
class QGridLayout;
class QLabel;
class QProgressBar;
class QPushButton;
class QSlider;

namespace voice {

class Window : public QWidget {
public:
    /// `state` (for the settings) and `worker` must outlive it.
    Window(ProcessState& state, Worker& worker);

    /// A request of the client, as docs/companion.md has them.
    void Request(int number, const QByteArray& text);
    /// The client is gone for good, the user closed a window that was opened by hand, or the client asks for
    /// the end.
    std::function<void()> onEnd;

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;

private:
    struct Row {
        QLabel* name;
        QProgressBar* level;
        QSlider* volume;
        QCheckBox* mute;
    };
    void Build();
    QCheckBox* Choice(const char* name, const QString& text, const FlagKey& key);
    void ReadSettings();
    void Wish();
    void Look();
    void ShowState(const Told& told);
    void ShowPeople(const Told& told);
    void ShowDevices(QComboBox& box, const std::vector<Device>& devices, const SettingKey& key);
    Row& RowOf(const std::string& handle);
    void Hold(bool held);

    ProcessState& mState;
    Worker& mWorker;
    Partners mPartners;
    voice_door::People mPeople;
    std::vector<Device> mInputs, mOutputs;
    std::map<std::string, Row> mRows;
    QTimer mTimer;
    int mWithoutClient = 0;  // looks
    bool mHeld = false;

    QLabel *mStanding, *mMutedSign, *mNobody;
    QCheckBox *mMute, *mEcho, *mNoise, *mGain;
    QProgressBar* mOwnLevel;
    QComboBox *mSpeaks, *mInput, *mOutput;
    QPushButton *mHold, *mTest;
    QGridLayout* mList;
};

}  // namespace voice
