#pragma once
// What the camera, sharing and voice procedures need of the meeting window. User-interface thread only.
// Setting a slider from here never runs its Scroll procedure.

#include <QSize>
#include <QString>
#include <optional>
#include <vector>

#include "platform/camera.h"

class QImage;

class MediaScreen {
public:
    virtual ~MediaScreen() = default;

    // cmdFormat
    virtual void SetFormatCaption(const QString& caption) = 0;
    virtual void SetFormatEnabled(bool enabled) = 0;

    // sldFPS, 0 to 24
    virtual int FrameRateSlider() const = 0;
    virtual void SetFrameRateSlider(int framesPerSecond) = 0;
    // sldJPEG, 1 to 99
    virtual int QualitySlider() const = 0;
    // chkTalk
    virtual bool TalkChecked() const = 0;

    /// Shows the own camera's newest picture in picVideo, scaled to its interior; null: an empty preview.
    virtual void SetPreview(const QImage& picture) = 0;

    // Dialogs; both run modally through prompts and return when they have closed.
    /// frmShareApp (media/frm_share_app.h): leaves its choice in gShareWindow.
    virtual void RunShareApp() = 0;
    /// frmFormat (media/frm_format.h). None: cancelled.
    virtual std::optional<CameraFormat> ChooseFormat(const CameraFormat& current,
                                                     const std::vector<CameraFormat>& offered) = 0;
};
