#include "platform/linux/linux_camera.h"

#include "platform/linux/file_driver.h"
#include "platform/linux/pattern_driver.h"
#include "platform/linux/v4l2_driver.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {
constexpr auto kAskAgain = 10ms;  // while the gate is closed or the camera has no new frame yet
}

LinuxCamera::LinuxCamera(Gate* gate, const Clock& clock) : mGate(gate), mClock(clock)
{
    mTimer.setSingleShot(true);
    mTimer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&mTimer, &QTimer::timeout, &mTimer, [this] { Tick(); });
}

LinuxCamera::~LinuxCamera()
{
    Close();
}

std::unique_ptr<CameraDriver> LinuxCamera::Connect(int index)
{
    if (mDevice == u"pattern"_s) return std::make_unique<PatternDriver>(mClock);
    if (mDevice.startsWith(u"file:"_s)) return FileDriver::Open(mDevice.sliced(5), mTrouble);
    if (mDevice.isEmpty()) return V4l2Driver::Open(u"/dev/video%1"_s.arg(index), mTrouble);
    mTrouble =
        u"\"%1\" is no video device; it is empty, \"pattern\", or \"file:\" and a path."_s.arg(mDevice);
    return nullptr;
}

bool LinuxCamera::Open(int index)
{
    Close();
    mTrouble.clear();
    mDriver = Connect(index);
    return mDriver != nullptr;
}

void LinuxCamera::Close()
{
    mPreview = false;
    mTimer.stop();
    mOnFrame = nullptr;
    mOnLost = nullptr;
    mDriver.reset();
}

std::vector<CameraFormat> LinuxCamera::Offered()
{
    return mDriver ? mDriver->Offered() : std::vector<CameraFormat>{};
}

CameraFormat LinuxCamera::Format() const
{
    return mDriver ? mDriver->Format() : CameraFormat{};
}

bool LinuxCamera::SetFormat(const CameraFormat& format)
{
    if (!mDriver) return false;
    const bool taken = mDriver->SetFormat(format);
    mTrouble = taken ? QString() : mDriver->Trouble();
    return taken;
}

void LinuxCamera::SetPreviewRate(std::chrono::milliseconds rate)
{
    mRate = rate;
    Apply();
}

void LinuxCamera::SetPreview(bool on)
{
    mPreview = on;
    Apply();
}

void LinuxCamera::SetFrameCallback(std::function<void(const CameraFrame&)> callback)
{
    mOnFrame = std::move(callback);
}

void LinuxCamera::SetLostCallback(std::function<void(const QString&)> callback)
{
    mOnLost = std::move(callback);
}

/// The next frame never moves away: whoever changes the rate again and again does not stop the preview.
void LinuxCamera::Apply()
{
    const bool wasRunning = mTimer.isActive();
    mTimer.stop();
    if (!mDriver) return;
    const bool running = mPreview && mRate > 0ms;
    mDriver->Run(running, running ? mRate : 1000ms);
    if (!running) return;
    const auto due = std::chrono::steady_clock::now() + mRate;
    mDue = wasRunning ? std::min(mDue, due) : due;
    WaitUntilDue();
}

void LinuxCamera::WaitUntilDue()
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(mDue - std::chrono::steady_clock::now());
    mTimer.start(std::max(left, 0ms));
}

void LinuxCamera::ArmNext()
{
    // keeps the cadence, but never runs after what was missed
    mDue = std::max(mDue + mRate, std::chrono::steady_clock::now());
    WaitUntilDue();
}

void LinuxCamera::Tick()
{
    if (mGate && !mGate->IsOpen()) return mTimer.start(kAskAgain);
    const QByteArray bytes = mDriver->Newest();
    if (const QString reason = mDriver->Gone(); !reason.isEmpty()) return Lose(reason);
    if (bytes.isNull()) return mTimer.start(kAskAgain);
    ArmNext();  // first, because the callback may change the rate or close the camera
    const auto onFrame = mOnFrame;
    if (onFrame) onFrame({mDriver->Format(), bytes});
}

void LinuxCamera::Lose(const QString& reason)
{
    const auto onLost = std::move(mOnLost);
    Close();
    if (onLost) onLost(reason);
}
