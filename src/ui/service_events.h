#pragma once
// The service's events at the meeting window: asks for a decision and does it. User-interface thread only.

#include <QPoint>
#include <functional>

#include "base/process_state.h"
#include "contract/messenger_service.h"
#include "messaging/dispatch.h"
#include "ui/missing_script.h"
#include "whiteboard/ink_above.h"
#include "whiteboard/own_work.h"

class AttendeeList;
class ChatView;
class MeetingStatusBar;

/// What it is given must outlive it. Needs gMeetingForm from the first event on.
class ServiceEvents final : public MessengerEvents {
public:
    ServiceEvents(ProcessState& state, AttendeeList& lstUsers, ChatView& chat, MeetingStatusBar& status);

    /// Somebody else's line has been shown.
    std::function<void()> onLine;
    /// The board of a meeting begins: the first, or another one.
    std::function<void()> onBoardBegins;

    void NewMessage(const QString& fromHandle, const QString& message) override;
    void StatusChanged(const QString& userHandle, qint32 newStatus) override;
    void VideoFrame(const QString& fromHandle, const PicturePtr& frame, int x, int y,
                    qint32 frameType) override;
    void LinkChanged(const LinkState& link) override;
    void LinesAccepted(quint64 upTo) override;
    void LineLost(quint64 number) override;
    void TakenBack(const QString& fromHandle, const QString& handle) override;
    void BoardBegins(quint64 ownUpTo) override
    {
        if (onBoardBegins) onBoardBegins();
        ::BoardBegins(mState, ownUpTo);
        TakeInkSetting(mState);  // it may be another configuration's
    }
    void OwnPlaced(quint64 post) override { OwnBecame(mState, OwnFate::Placed, post); }
    void OwnPassed(quint64 upTo) override { OwnBecame(mState, OwnFate::Passed, upTo); }
    void OwnLost(quint64 post) override { OwnBecame(mState, OwnFate::Lost, post); }
    void OwnPlacesEnd() override { OwnBecame(mState, OwnFate::AllPlaced, 0); }

private:
    void mZUM_NewMessage(const QString& fromHandle, const QString& message);
    void mZUM_StatusChanged(const QString& userHandle, qint32 newStatus);

    void Do(const QString& fromHandle, const decision::Nothing&) { Q_UNUSED(fromHandle) }
    void Do(const QString& fromHandle, const decision::SharingEnded&)
    {
        StopLive(mState, {fromHandle, kFrameApplication});
    }
    void Do(const QString& fromHandle, const decision::BoardRecord& record);
    void Do(const QString& fromHandle, const decision::FrameRate& rate);
    void Do(const QString& fromHandle, const decision::ChatLine& line);
    void AddAttendee(const QString& handle);
    void RemoveAttendee(const QString& handle);
    void Keep(const QString& record, const PicturePtr& picture, QPoint at, QString from) const;
    void NoteMissingScript(const QString& text);

    ProcessState& mState;
    AttendeeList& mUsers;
    ChatView& mChat;
    MeetingStatusBar& mStatus;
    MissingScript mMissingScript{SomeFontShows};
};
