#pragma once
// The window's sliders, buttons and dialogs of the media, as values.

#include <QImage>

#include "media/media_screen.h"

class FakeMediaScreen final : public MediaScreen {
public:
    QString caption;
    bool formatEnabled = true, talk = false;
    int fps = -1, quality = 65;
    QImage preview;
    std::optional<CameraFormat> choice;  // ChooseFormat's answer

    void SetFormatCaption(const QString& text) override { caption = text; }
    void SetFormatEnabled(bool enabled) override { formatEnabled = enabled; }
    int FrameRateSlider() const override { return fps; }
    void SetFrameRateSlider(int rate) override { fps = rate; }
    int QualitySlider() const override { return quality; }
    bool TalkChecked() const override { return talk; }
    void SetPreview(const QImage& picture) override { preview = picture; }
    void RunShareApp() override {}
    std::optional<CameraFormat> ChooseFormat(const CameraFormat&, const std::vector<CameraFormat>&) override
    {
        return choice;
    }
};
