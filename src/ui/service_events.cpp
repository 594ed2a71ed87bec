#include "ui/service_events.h"

#include "base/error_trap.h"
#include "base/meeting_screens.h"
#include "media/capture.h"
#include "media/incoming_frames.h"
#include "media/media_screen.h"
#include "media/voice.h"
#include "messaging/attendees.h"
#include "messaging/record_kinds.h"
#include "settings/settings.h"
#include "text/qt_line.h"
#include "text/words.h"
#include "ui/attendee_list.h"
#include "ui/chat_view.h"
#include "ui/status_panels.h"
#include "whiteboard/apply_mark.h"
#include "whiteboard/mark_sink.h"
#include "whiteboard/own_work.h"
#include "whiteboard/remote_apply.h"
#include "widgets/spoken.h"

using namespace Qt::StringLiterals;

ServiceEvents::ServiceEvents(ProcessState& state, AttendeeList& lstUsers, ChatView& chat,
                             MeetingStatusBar& status)
    : mState(state), mUsers(lstUsers), mChat(chat), mStatus(status)
{
}

void ServiceEvents::NewMessage(const QString& fromHandle, const QString& message)
{
    TrappedFromAfar(mState, "mZUM_NewMessage", [&] { mZUM_NewMessage(fromHandle, message); });
}

void ServiceEvents::StatusChanged(const QString& userHandle, qint32 newStatus)
{
    TrappedFromAfar(mState, "mZUM_StatusChanged", [&] { mZUM_StatusChanged(userHandle, newStatus); });
}

void ServiceEvents::VideoFrame(const QString& fromHandle, const PicturePtr& frame, int x, int y,
                               qint32 frameType)
{
    mZUM_VideoFrame(mState, fromHandle, frame, x, y, frameType);  // has its own trap
    if (frameType == kFrameWhiteboard && frame) Keep({}, frame, {x, y}, WithoutWhiteboardPrefix(fromHandle));
}

void ServiceEvents::TakenBack(const QString& fromHandle, const QString& handle)
{
    HandleTakeBack(mState, fromHandle, handle);  // has its own trap
    if (mState.gMarkSink)
        mState.gMarkSink->Took({{}, nullptr, {}, WithoutEarlier(fromHandle), EventTime(mState), 0, handle});
}

void ServiceEvents::LinkChanged(const LinkState& link)
{
    mStatus.ShowLink(link);
    if (!link.remark) mChat.SetConnected(link.phase == LinkState::Phase::Connected);
}

void ServiceEvents::LinesAccepted(quint64 upTo)
{
    mChat.LinesAccepted(upTo);
}

void ServiceEvents::LineLost(quint64 number)
{
    mChat.LineLost(number);
}

void ServiceEvents::mZUM_NewMessage(const QString& fromHandle, const QString& message)
{
    const Decision decided = DecideMessage(mState.gMessenger->Handle(), fromHandle, message,
                                           MessageKeys{mState.gLocalKey, mState.gServerKey});
    std::visit([&](const auto& what) { Do(fromHandle, what); }, decided);
}

void ServiceEvents::Do(const QString& fromHandle, const decision::BoardRecord& record)
{
    HandleWBMessage(mState, fromHandle, record.message);
    if (fromHandle != mState.gMessenger->Handle()) Keep(record.message, nullptr, {}, fromHandle);
    NoteMissingScript(record.message);  // only texts of people have other characters than the form's own
}

void ServiceEvents::Keep(const QString& record, const PicturePtr& picture, QPoint at, QString from) const
{
    if (!mState.gMarkSink || (!picture && !IsMark(record))) return;
    if (from.endsWith(QLatin1String(kEarlierSuffix))) from.chop(qsizetype(sizeof kEarlierSuffix - 1));
    mState.gMarkSink->Took({record, picture, at, from, EventTime(mState), 0});
}

void ServiceEvents::Do(const QString& fromHandle, const decision::FrameRate& rate)
{
    if (!FlagSetting(mState, keys::kAllowRemoteView)) {
        mStatus.Note(Ours::tr("%1 asked for another frame rate; your settings do not allow it.", "handle")
                         .arg(InSentence(fromHandle)));
        return;
    }
    mState.gMeetingForm->Media().SetFrameRateSlider(rate.value);
    sldFPS_Scroll(mState, Cause::Remote);
}

void ServiceEvents::Do(const QString& fromHandle, const decision::ChatLine& line)
{
    if (line.sendReceipt) mState.gMessenger->Send(fromHandle, TagOf(RecordKind::MessageReceived), 0);
    mState.gMeetingForm->Chat().AppendLine(fromHandle, line.text);
    mState.gMeetingForm->ResetPointer();
    NoteMissingScript(fromHandle + line.text);
    if (line.sendReceipt && onLine) onLine();
}

void ServiceEvents::NoteMissingScript(const QString& text)
{
    const QString script = mMissingScript.In(text);
    if (!script.isEmpty())
        mStatus.Note(Ours::tr("No font for %1 is installed.", "a script or its language").arg(script));
}

void ServiceEvents::mZUM_StatusChanged(const QString& userHandle, qint32 newStatus)
{
    TraceEvent(mState, "attendee", {{u"handle"_s, userHandle}, {u"status"_s, newStatus}});
    switch (DecideStatus(mUsers.Has(userHandle), newStatus)) {
        case AttendeeChange::Joined: AddAttendee(userHandle); break;
        case AttendeeChange::Left: RemoveAttendee(userHandle); break;
        case AttendeeChange::None: break;
    }
}

void ServiceEvents::AddAttendee(const QString& handle)
{
    mUsers.Add(handle);
    Announce(mUsers, QCoreApplication::translate("ServiceEvents", "%1 has come").arg(InSentence(handle)));
    const std::shared_ptr<UserItem> item = mState.gMessenger->MakeUserItem();
    item->Init(handle, true);
    mState.gUsers->Add(item, 0);
    if (mState.gMeetingForm->Media().TalkChecked())
        VoiceAddParticipant(mState, item->Address(), item->Handle());
}

void ServiceEvents::RemoveAttendee(const QString& handle)
{
    mUsers.Remove(handle);
    Announce(mUsers, QCoreApplication::translate("ServiceEvents", "%1 has left").arg(InSentence(handle)));
    if (mState.gMeetingForm->Media().TalkChecked()) {
        const std::shared_ptr<UserItem> item = mState.gUsers->Item(handle);
        VoiceRemoveParticipant(mState, item->Address(), item->Handle());
    }
    mState.gUsers->Remove(handle);
    StopLiveOf(mState, handle);
}
