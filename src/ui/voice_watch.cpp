#include "ui/voice_watch.h"

#include "base/error_trap.h"
#include "base/report.h"
#include "media/voice.h"
#include "text/words.h"
#include "ui/attendee_list.h"
#include "ui/media_controls.h"
#include "ui/status_panels.h"

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::milliseconds kWhileTalking{100}, kElse{500};

QString TroubleText(voice_door::Trouble trouble)
{
    using voice_door::Trouble;
    switch (trouble) {
        case Trouble::NoServer: return Ours::tr("No voice: this computer has no sound server.");
        case Trouble::NoMicrophone: return Ours::tr("Nobody hears you: there is no microphone.");
        case Trouble::NoSpeaker: return Ours::tr("You hear nobody: there are no speakers.");
        case Trouble::None: break;
    }
    return {};
}

}  // namespace

VoiceWatch::VoiceWatch(ProcessState& state, const MediaControls& media, AttendeeList& list,
                       MeetingStatusBar& status)
    : mState(state), mMedia(media), mList(list), mStatus(status)
{
    mStatus.onVoice = [this] {
        if (mState.gMessenger) mState.gMessenger->ShowVoice();
    };
    QObject::connect(&mTimer, &QTimer::timeout, &mTimer, [this] { Look(); });
    mTimer.start(kElse);
}

void VoiceWatch::Look()
{
    Silently(mState, "VoiceWatch", [&] {
        const bool talks = mMedia.TalkChecked();
        const auto pace = talks ? kWhileTalking : kElse;
        if (mTimer.intervalAsDuration() != pace) mTimer.setInterval(pace);
        if (!mState.gMessenger) return;
        const VoiceNews news = mState.gMessenger->Voice();
        Care(talks, news.companion);
        Show(news, talks);
    });
}

void VoiceWatch::Care(bool talks, bool companion)
{
    switch (mCare.Look(talks, companion, CompanionCare::Clock::now())) {
        case CompanionCare::Due::Start: StartVoktal(mState); break;
        case CompanionCare::Due::Tell: VoiceCompanionCame(mState); break;
        case CompanionCare::Due::Nothing: break;
    }
}

QString VoiceWatch::Trouble(const VoiceNews& news) const
{
    if (news.companion) return TroubleText(news.trouble);
    return mCare.HasEnded() ? Ours::tr("No voice: the voice companion has ended.") : QString();
}

/// Whose voice comes and goes: for those who follow the program.
void VoiceWatch::NoteSpeaking(const QHash<QString, int>& levels)
{
    QStringList handles = levels.keys();
    handles.sort();
    const QString speaking = handles.join(u'\n');
    if (std::exchange(mSpeaking, speaking) != speaking)
        TraceEvent(mState, "speaking", {{u"who"_s, speaking}});
}

void VoiceWatch::Show(const VoiceNews& news, bool talks)
{
    QHash<QString, int> levels;
    if (talks) levels = news.levels;
    if (const auto own = levels.constFind(QString()); own != levels.constEnd()) {
        levels.insert(mState.gMessenger->Handle(), *own);
        levels.remove(QString());
    }
    NoteSpeaking(levels);
    mList.SetLevels(levels);
    const QString trouble = Trouble(news);
    if (talks && trouble != mTrouble && !trouble.isEmpty()) mStatus.Note(trouble);
    mTrouble = talks ? trouble : QString();
    QString text;
    if (news.companion)
        text = !trouble.isEmpty() ? trouble
               : news.muted       ? Ours::tr("Your microphone is muted. Press to open the voice companion.")
                                  : Ours::tr("Press to open the voice companion.");
    mStatus.ShowVoice(text, news.muted || !trouble.isEmpty());
}
