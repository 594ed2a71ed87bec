#pragma once
// picMain: own video, attendees and chat at the left of the window. Builds its controls at their design
// places and keeps the rules of its width; what the controls do is connected by the window.

#include <QCheckBox>
#include <QFrame>
#include <QGroupBox>
#include <QPushButton>
#include <QSlider>
#include <QWidget>
#include <functional>

#include "messaging/chat_commands.h"
#include "messaging/chat_pane.h"
#include "ui/arrow_button.h"
#include "ui/attendee_list.h"
#include "ui/video_preview.h"

class LeftPanel : public QWidget, public ChatInput {
public:
    explicit LeftPanel(QWidget* parent);

    // --- the controls, by their names
    VideoPreview* picVideo;
    QCheckBox* chkTalk;
    QPushButton* cmdFormat;
    QSlider *sldJPEG, *sldFPS;
    QFrame* Line1;
    QGroupBox* frameUsers;
    AttendeeList* lstUsers;
    MessageBox* txtMessage;
    QPushButton *cmdSend, *cmdWhisper;
    ChatBox* txtChat;
    ArrowButton* picHide;

    /// The panel has another width: the board's left edge follows.
    std::function<void()> onWidthChanged;
    /// One step of a collapse, a restore or a drag: the window lays itself out and paints.
    std::function<void()> onStep;

    /// Collapses the panel, or restores it to 220 pixels at most.
    void picHide_Click();

    // --- ChatInput
    QString MessageText() const override { return txtMessage->Text(); }
    void SetMessageText(const QString& text) override { txtMessage->SetText(text); }
    void FocusMessage() override { txtMessage->setFocus(Qt::OtherFocusReason); }
    QStringList SelectedUsers() const override { return lstUsers->Selected(); }

protected:
    void resizeEvent(QResizeEvent* event) override;     // picMain_Resize
    void mouseMoveEvent(QMouseEvent* event) override;   // picMain_MouseMove
    void mousePressEvent(QMouseEvent* event) override;  // picMain_MouseDown
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;  // picMain_KeyPress

private:
    void BuildVideo();
    void BuildChat();
    void SettleLooks();
    void StepTo(int width, bool paint);
    void ArrangeControls();
    void ShowCover();

    QWidget* mCover;  // over what would show of the controls in the strip of a collapsed panel
    bool mChatHidden = false;
    bool mChatAnimating = false;
    bool mDragging = false;
};
