#include "app/machine_setup.h"

#include <QGuiApplication>
#include <QStandardPaths>

#include "base/report.h"
#include "base/version.h"

using namespace Qt::StringLiterals;

namespace {

QString UserRegistry()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           u"/quorvia/registry.reg"_s;
}

QString MachineRegistry()
{
    return u"/etc/xdg/quorvia/registry.reg"_s;
}

}  // namespace

Machine::Machine(ProcessState& state, const QString& traceFile)
    : mState(state),
      mTrace(traceFile.isEmpty() ? nullptr : std::make_unique<FileTrace>(traceFile)),
      mRegistry(UserRegistry(), MachineRegistry()),
      mPrompts(state, mWaits),
      mEndProcess(state),
      mCamera(&mGate, mClock),
      mWindows(WhyWindowsAreHidden(qEnvironmentVariable("XDG_SESSION_TYPE"),
                                   qEnvironmentVariable("WAYLAND_DISPLAY"))),
      mCompanion(mFolders.Program()),
      mSettings(state),
      mTrust(state)
{
    Ports& ports = state.ports;
    ports.registry = &mRegistry;
    ports.clock = &mClock;
    ports.waits = &mWaits;
    ports.gate = &mGate;
    ports.eventLog = &mEventLog;
    ports.trace = mTrace.get();
    ports.folders = &mFolders;
    ports.host = &mHost;
    ports.pointer = &mPointer;
    ports.endProcess = &mEndProcess;
    ports.prompts = &mPrompts;
    ports.camera = &mCamera;
    ports.windows = &mWindows;
    ports.companion = &mCompanion;
    ports.clipboard = &mClipboard;
    if (QGuiApplication::platformName() == u"xcb") ports.liveScreen = &mLiveScreen;
}

LinkNeeds Machine::NeedsOfLink()
{
    EventLog& log = mEventLog;
    return {mSettings,
            mGate,
            mWaits,
            mTrust,
            mPost,
            [&log](const QString& line) { log.Write(EventType::Information, line); },
            u"quorvia "_s + VersionText(),
            mFolders.Program() + u"/zephyld"_s};
}
