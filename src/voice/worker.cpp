#include "voice/worker.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace voice {

namespace {

constexpr int kBusyMs = 10, kIdleMs = 200;
constexpr std::size_t kMostAhead = 6 * kStepSamples;  // what waits for the sound server
constexpr std::chrono::milliseconds kLookEvery{100};

int NewWake()
{
    const int wake = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wake < 0) throw std::runtime_error("no eventfd");
    return wake;
}

/// Rises over every earlier start of the program, as long as the machine is up.
std::uint64_t FirstFrame()
{
    const auto up = std::chrono::steady_clock::now().time_since_epoch();
    return std::uint64_t(std::chrono::duration_cast<std::chrono::milliseconds>(up).count() / kPacketMs);
}

}  // namespace

Worker::Worker()
    : mWake(NewWake()),
      mEngine(
          [this](std::uint64_t frame, std::uint8_t level, std::string_view body) {
              voice_door::Packet packet;
              packet.frame = frame;
              packet.level = level;
              packet.body = body;
              mDoor.Send(voice_door::WritePacket(packet));
          },
          FirstFrame()),
      mPulse(mWake)
{
}

void Worker::Begin(const std::string& path, const std::string& word)
{
    mThread = std::thread([this, path, word] { Run(path, word); });
}

Worker::~Worker()
{
    mStop = true;
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(mWake, &one, sizeof one);
    if (mThread.joinable()) mThread.join();
    ::close(mWake);
}

void Worker::Want(Wishes wishes)
{
    const std::lock_guard lock(mMutex);
    mWishes = std::move(wishes);
    mNews = true;
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(mWake, &one, sizeof one);
}

Told Worker::Tell()
{
    const std::lock_guard lock(mMutex);
    Told told = mTold;
    mTold.open = false;
    return told;
}

void Worker::Run(const std::string& path, const std::string& word)
{
    const bool opened = mDoor.Open(path, word);
    {
        const std::lock_guard lock(mMutex);
        mTold.door = mTold.hadDoor = opened;
    }
    Clock::time_point looked{};
    while (!mStop) {
        Wait();
        mDoor.Receive([this](std::string_view message) { Take(message); });
        FollowWishes();
        const Clock::time_point now = Clock::now();
        MoveSound(now);
        if (now - looked < kLookEvery) continue;
        looked = now;
        mPulse.Look(now);
        SayStatus();
        Told fresh;
        fresh.inputs = mPulse.Inputs();
        fresh.outputs = mPulse.Outputs();
        const std::lock_guard lock(mMutex);
        mTold.door = mDoor.IsOpen();
        if (!mTold.door) mTold.people = {};
        mTold.trouble = mPulse.Trouble();
        mTold.inputs = std::move(fresh.inputs);
        mTold.outputs = std::move(fresh.outputs);
        mTold.ownLevel = mEngine.OwnLevel();
        mTold.speaking = mEngine.TheEncoder().Speaking();
        mTold.levels = mEngine.Levels();
        mTold.delayMs = mEngine.DelayMs();
    }
}

void Worker::Wait()
{
    pollfd waits[] = {{mWake, POLLIN, 0}, {mDoor.Descriptor(), POLLIN, 0}};
    const bool sounds = mEngine.Talks() || mOwnTest;
    ::poll(waits, mDoor.IsOpen() ? 2 : 1, sounds ? kBusyMs : kIdleMs);
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t got = ::read(mWake, &count, sizeof count);
}

void Worker::Take(std::string_view message)
{
    using voice_door::Kind;
    switch (voice_door::KindOf(message).value_or(Kind::Word)) {
        case Kind::Voice:
            if (const auto packet = voice_door::ReadPacket(message))
                mEngine.Arrived(std::string(packet->from), packet->frame, packet->body, Clock::now());
            break;
        case Kind::People:
            if (auto people = voice_door::ReadPeople(message)) {
                mEngine.SetLinkLoss(people->lost);
                const std::lock_guard lock(mMutex);
                mTold.people = std::move(*people);
            }
            break;
        case Kind::Open: {
            const std::lock_guard lock(mMutex);
            mTold.open = true;
            break;
        }
        default: break;
    }
}

void Worker::FollowWishes()
{
    Wishes wishes;
    {
        const std::lock_guard lock(mMutex);
        if (!std::exchange(mNews, false) && mDoor.IsOpen() == !mWith.empty()) return;
        wishes = mWishes;
    }
    // Whose client is gone talks with nobody.
    if (!mDoor.IsOpen()) wishes.with.clear();
    if (std::exchange(mWith, wishes.with) != wishes.with) {
        mEngine.TalkWith(mWith);
        mDoor.Send(voice_door::WriteWith({mWith.begin(), mWith.end()}));
    }
    for (const auto& [handle, volume] : wishes.volumes) mEngine.SetVolume(handle, volume);
    mEngine.TheEncoder().SetMuted(wishes.muted);
    mEngine.TheEncoder().SetHeld(wishes.held);
    mEngine.TheEncoder().SetSpeaks(wishes.speaks);
    mEngine.SetCleaning(wishes.cleaning);
    if (std::exchange(mOwnTest, wishes.ownTest) != wishes.ownTest) mEngine.SetOwnTest(mOwnTest);
    mPulse.Want({mOwnTest || mEngine.Talks(), wishes.input, wishes.output});
    mStatusDue = mSaid.muted != wishes.muted || mStatusDue;
    mSaid.muted = wishes.muted;
}

void Worker::MoveSound(Clock::time_point now)
{
    Step step;
    const bool sounds = mEngine.Talks() || mOwnTest;
    while (mPulse.Hearing().Held() >= step.size()) {
        mPulse.Hearing().Take(step);
        if (sounds) mEngine.Heard(step, mPulse.EchoDelayMs());
    }
    if (!sounds) return;
    const std::size_t ahead = std::clamp(mPulse.Asks(), kStepSamples, kMostAhead);
    while (mPulse.Playing().Held() < ahead) {
        const auto waits = std::chrono::microseconds(mPulse.Playing().Held() * 1'000'000 / kRate);
        mEngine.Play(step, now + waits);
        mPulse.Playing().Put(step);
    }
}

void Worker::SayStatus()
{
    const auto trouble = voice_door::Trouble(int(mPulse.Trouble()));
    if (trouble == mSaid.trouble && !mStatusDue) return;
    mSaid.trouble = trouble;
    mStatusDue = !mDoor.Send(voice_door::WriteStatus(mSaid));
}

}  // namespace voice
