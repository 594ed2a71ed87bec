#pragma once
// The panel's video and voice controls as the media procedures see them, and the dialogs they ask for.

#include <functional>
#include <memory>

#include "base/process_state.h"
#include "media/media_screen.h"

class LeftPanel;
class QWidget;
class frmShareApp;

/// Connects the controls to their procedures. `panel` and `window` must outlive it.
class MediaControls final : public MediaScreen {
public:
    MediaControls(ProcessState& state, LeftPanel& panel, QWidget& window);
    ~MediaControls() override;

    void SetFormatCaption(const QString& caption) override;
    void SetFormatEnabled(bool enabled) override;
    int FrameRateSlider() const override;
    void SetFrameRateSlider(int framesPerSecond) override;
    int QualitySlider() const override;
    bool TalkChecked() const override;
    void SetPreview(const QImage& picture) override;
    void RunShareApp() override;
    std::optional<CameraFormat> ChooseFormat(const CameraFormat& current,
                                             const std::vector<CameraFormat>& offered) override;

    // --- for the window's load; neither runs the sliders' procedures
    void SetQualitySlider(int quality);
    void EnableTalk(bool enabled);
    /// Up, without telling anybody.
    void ReleaseTalk();

    /// Runs `change`, which leaves one meeting and enters another: while talk is on, everybody of the old one
    /// is told to stop before and everybody of the new one is added after.
    void AcrossMeetings(const std::function<void()>& change);

private:
    ProcessState& mState;
    LeftPanel& mPanel;
    QWidget& mWindow;
    std::unique_ptr<frmShareApp> mShareApp;  // loaded but hidden after an OK without a selection
};
