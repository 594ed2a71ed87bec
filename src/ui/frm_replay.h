#pragma once
// frmReplay: the player. A window of its own beside the meeting's, or without one.

#include <QElapsedTimer>
#include <QTimer>
#include <QWidget>
#include <memory>

#include "base/process_state.h"
#include "replay/playing.h"
#include "replay/replay.h"

class QComboBox;
class QLabel;
class QPlainTextEdit;
class QPushButton;
class ReplayBoard;
class ReplaySlider;

class frmReplay final : public QWidget {
public:
    /// Throws std::runtime_error when the file is none that can be read.
    frmReplay(ProcessState& state, const QString& path);
    ~frmReplay() override;

    void cmdPlay_Click();
    /// To the next change of the board, or the one before.
    void cmdStep_Click(int direction);
    void cmdTake_Click();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void Build();
    void Connect();
    void Learned();
    void Go(int position);
    void Tick();
    void SetPlaying(bool playing);
    void ShowPlace();
    void ShowChat();
    QString TimeText(int item) const;

    ProcessState& mState;
    std::vector<Step> mSteps;
    Playing mPlaying;
    std::unique_ptr<Replay> mReplay;
    QTimer mTimer;
    QElapsedTimer mSince;
    int mWanted = 0;  // where the slider is; the board follows as the file becomes known
    int mShownLines = -1;

    ReplayBoard* picReplay;
    QPlainTextEdit* txtChat;
    ReplaySlider* sldReplay;
    QPushButton *cmdBack, *cmdPlay, *cmdForward, *cmdTake;
    QComboBox* cboSpeed;
    QLabel* lblPlace;
};

/// The menu entry: asks for a file and opens it. Trapped: "mnuReplay_Click: ".
void mnuReplay_Click(ProcessState& state);
