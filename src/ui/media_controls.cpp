#include "ui/media_controls.h"

#include <QGuiApplication>
#include <QMouseEvent>
#include <QSignalBlocker>

#include "media/capture.h"
#include "media/frm_format.h"
#include "media/frm_share_app.h"
#include "media/voice.h"
#include "ui/dialogs.h"
#include "ui/left_panel.h"

namespace {

/// A box that opens under a press of the mouse takes its release: without it the slider would go on paging
/// when the box has closed, and open it again. Posted, because the press is still being handled.
void EndLostPress(QSlider& slider)
{
    if (QGuiApplication::mouseButtons() != Qt::NoButton) return;
    const QPointF at(slider.rect().center());
    QCoreApplication::postEvent(
        &slider, new QMouseEvent(QEvent::MouseButtonRelease, at, slider.mapToGlobal(at), Qt::LeftButton,
                                 Qt::NoButton, Qt::NoModifier));
}

/// The button's place is given: a long text is set narrower, so that there is room on both sides of it.
void FitText(QPushButton& button)
{
    constexpr int kMargin = 6;
    QFont font = button.font();
    font.setStretch(QFont::Unstretched);
    const int room = button.width() - 2 * kMargin;
    int width = QFontMetrics(font).horizontalAdvance(button.text());
    for (int stretch = QFont::Unstretched; width > room && stretch > QFont::UltraCondensed; --stretch) {
        font.setStretch(stretch);
        width = QFontMetrics(font).horizontalAdvance(button.text());
    }
    button.setFont(font);
}

}  // namespace

MediaControls::MediaControls(ProcessState& state, LeftPanel& panel, QWidget& window)
    : mState(state), mPanel(panel), mWindow(window)
{
    QObject::connect(panel.chkTalk, &QCheckBox::toggled, &window, [&state] { chkTalk_Click(state); });
    QObject::connect(panel.cmdFormat, &QPushButton::clicked, &window, [&state] { cmdFormat_Click(state); });
    QObject::connect(panel.sldFPS, &QSlider::valueChanged, &window,
                     [&state, slider = panel.sldFPS](int value) {
                         sldFPS_Scroll(state);
                         if (slider->value() != value) EndLostPress(*slider);
                     });
    QObject::connect(panel.sldJPEG, &QSlider::valueChanged, &window, [&state] { sldJPEG_Scroll(state); });
}

MediaControls::~MediaControls() = default;

void MediaControls::SetFormatCaption(const QString& caption)
{
    mPanel.cmdFormat->setText(caption);
    FitText(*mPanel.cmdFormat);
}
void MediaControls::SetFormatEnabled(bool enabled)
{
    mPanel.cmdFormat->setEnabled(enabled);
}
int MediaControls::FrameRateSlider() const
{
    return mPanel.sldFPS->value();
}
int MediaControls::QualitySlider() const
{
    return mPanel.sldJPEG->value();
}
bool MediaControls::TalkChecked() const
{
    return mPanel.chkTalk->isChecked();
}
void MediaControls::SetPreview(const QImage& picture)
{
    mPanel.picVideo->Show(picture);
}
void MediaControls::EnableTalk(bool enabled)
{
    mPanel.chkTalk->setEnabled(enabled);
}

void MediaControls::ReleaseTalk()
{
    const QSignalBlocker quiet(mPanel.chkTalk);
    mPanel.chkTalk->setChecked(false);
    if (mState.gMessenger) mState.gMessenger->LetVoicePass(false);
}

void MediaControls::SetFrameRateSlider(int framesPerSecond)
{
    const QSignalBlocker quiet(mPanel.sldFPS);
    mPanel.sldFPS->setValue(framesPerSecond);
}

void MediaControls::SetQualitySlider(int quality)
{
    const QSignalBlocker quiet(mPanel.sldJPEG);
    mPanel.sldJPEG->setValue(quality);
}

void MediaControls::RunShareApp()
{
    if (!mShareApp) mShareApp = std::make_unique<frmShareApp>(mState, mWindow.windowTitle(), &mWindow);
    RunModally(mState, *mShareApp);
    if (mShareApp->Unloaded()) mShareApp.reset();
}

std::optional<CameraFormat> MediaControls::ChooseFormat(const CameraFormat& current,
                                                        const std::vector<CameraFormat>& offered)
{
    frmFormat dialog(current, offered, &mWindow);
    if (RunModally(mState, dialog) != QDialog::Accepted) return std::nullopt;
    return dialog.Chosen();
}

void MediaControls::AcrossMeetings(const std::function<void()>& change)
{
    if (TalkChecked() && mState.gUsers)
        for (const auto& item : mState.gUsers->Items())
            if (item->Handle() != mState.gMessenger->Handle())
                VoiceStopParticipant(mState, item->Address(), item->Handle());
    change();
    if (TalkChecked()) chkTalk_Click(mState);
}
