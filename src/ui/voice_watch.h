#pragma once
// Looks now and then at what the voice companion does: dots beside those who speak, a microphone in the
// status bar, and one word there when "Talk" is silent. A companion that has ended is started again.
// User-interface thread only.

#include <QTimer>

#include "base/process_state.h"
#include "contract/messenger_service.h"
#include "media/companion_care.h"

class AttendeeList;
class MediaControls;
class MeetingStatusBar;

class VoiceWatch {
public:
    /// All of them must outlive it.
    VoiceWatch(ProcessState& state, const MediaControls& media, AttendeeList& list, MeetingStatusBar& status);

private:
    void Look();
    void Care(bool talks, bool companion);
    QString Trouble(const VoiceNews& news) const;
    void NoteSpeaking(const QHash<QString, int>& levels);
    void Show(const VoiceNews& news, bool talks);

    ProcessState& mState;
    const MediaControls& mMedia;
    AttendeeList& mList;
    MeetingStatusBar& mStatus;
    QTimer mTimer;
    CompanionCare mCare;
    QString mTrouble;   // that was said
    QString mSpeaking;  // that was traced
};
