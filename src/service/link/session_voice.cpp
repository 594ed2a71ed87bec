// Voice of a session: whom it goes to, and whose comes.

#include <algorithm>

#include "contract/messenger_service.h"
#include "service/link/session.h"

namespace zephyl::link {

void Session::TalkWith(const std::vector<std::string>& handles)
{
    mTalkWith = handles;
    mLanes.ForgetVoice();
    SayTalkWith();
}

/// What does not fit one header follows in others.
void Session::SayTalkWith()
{
    if (mPhase != Phase::Seated || !mReady || !mConnection) return;
    Header header;
    VoiceTo& to = *header.mutable_voice_to();
    std::size_t bytes = 0;
    for (const std::string& handle : mTalkWith) {
        if (bytes > 0 && bytes + handle.size() > kRecipientListBytes) {
            mConnection->Control(header);
            to.clear_handles();
            to.set_also(true);
            bytes = 0;
        }
        to.add_handles(handle);
        bytes += handle.size();
    }
    mConnection->Control(header);
}

void Session::SendVoice(std::uint64_t frame, std::uint32_t level, std::string_view body)
{
    if (mPhase != Phase::Seated || !mReady || !mConnection || mLeaving || mTalkWith.empty()) return;
    if (body.empty() || body.size() > kVoiceBytes) return;
    Header header;
    header.mutable_voice()->set_frame(frame);
    header.mutable_voice()->set_level(std::min(level, kVoiceLevelMost));
    std::string bytes;
    AppendFrame(bytes, header, body, Way::Up);
    mLanes.PutVoice(std::move(bytes), Lanes::Clock::now());
    if (mDatagrams)
        FillRoad();
    else
        mConnection->Wake();
}

void Session::OnVoice(const Voice& voice, std::string_view body)
{
    if (mLeaving || body.empty() || body.size() > kVoiceBytes) return;
    if (voice.from() == mHandle || !mIncoming.Holds(voice.from())) return;
    if (const auto sink = mNeeds.voice.lock())
        sink->OnVoice(voice.from(), voice.frame(), voice.level(), body);
}

voice_door::People Session::VoicePeople() const
{
    voice_door::People people;
    if (mPhase != Phase::Seated || mLeaving) return people;
    people.phase = mReady || mUntold ? voice_door::Phase::Inside : voice_door::Phase::Cut;
    people.handles.push_back(mHandle);
    for (const std::string& handle : mIncoming.Present())
        if (handle != mHandle) people.handles.push_back(handle);
    return people;
}

/// Whoever comes back may have another seat, and the service knows whom we talk with by their seats.
void Session::OnPresence(const Presence& presence)
{
    TellVoicePeople();
    const bool wanted = std::find(mTalkWith.begin(), mTalkWith.end(), presence.handle()) != mTalkWith.end();
    if (wanted && presence.status() == kStatusPresent) SayTalkWith();
}

void Session::TellVoicePeople()
{
    if (const auto sink = mNeeds.voice.lock()) sink->OnVoicePeople();
}

}  // namespace zephyl::link
