#pragma once
// The status bar: three panels of the meeting, and a fourth for the connection and passing notes.

#include <QLabel>
#include <QStatusBar>
#include <QTimer>
#include <QToolButton>
#include <functional>

#include "base/meeting_screens.h"
#include "base/process_state.h"
#include "contract/messenger_service.h"
#include "text/words.h"

class MeetingStatusBar : public QStatusBar, public StatusPanels {
public:
    /// `state` must outlive the bar.
    MeetingStatusBar(ProcessState& state, QWidget* parent);

    void SetPanel(Panel panel, const QString& text) override;
    void Note(const QString& text) override;
    /// What the last panel says, behind the note if there is one; its tooltip has the whole text and the
    /// details.
    void ShowLink(const LinkState& link);

    /// How large the board is shown; nothing is there while that is its own size.
    void ShowZoom(int percent);

    /// The companion's microphone: `text` says how it is; "": there is no companion, and nothing to press.
    void ShowVoice(const QString& text, bool silent);
    std::function<void()> onVoice;

    /// Outside a meeting the last panel says so, whatever the connection.
    void SetInMeeting(bool in);

private:
    /// `letters`: it keeps room for so many when the others want all.
    QLabel* Add(const char* key, const QString& help, int stretch = 0, int letters = 0);
    void SetLinkText(const QString& text);
    QString LinkText() const;
    void ShowLink();
    void ShowNote(const QString& text, std::chrono::seconds time);

    ProcessState& mState;
    QLabel *mReady, *mOpen, *mModified, *mLink, *mZoom;
    QToolButton* mVoice;
    QString mLinkText, mNote, mDetails = Ours::tr("Connection to the service");
    bool mInMeeting = true;
    QTimer mNoteTime;
};
