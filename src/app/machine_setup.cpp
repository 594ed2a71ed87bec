#include "app/machine_setup.h"

#include <QGuiApplication>
#include <QStandardPaths>
#include <cstdio>

#include "base/version.h"
#include "service/link/link_messenger.h"
#include "settings/settings.h"
#include "settings/settings_listing.h"
#include "text/qt_line.h"

using namespace Qt::StringLiterals;

Machine::Machine(ProcessState& state, const QString& traceFile)
    : mState(state),
      mTrace(traceFile.isEmpty() ? nullptr : std::make_unique<FileTrace>(traceFile)),
      mRegistry(UserRegistryFile(), MachineRegistryFile()),
      mPrompts(state, mWaits),
      mEndProcess(state),
      mCamera(&mGate, mClock),
      mCompanion(mFolders.Program()),
      mSettings(state),
      mTrust(state),
      mPictures(MakePictureReader())
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
    if (WindowsAreHidden(qEnvironmentVariable("XDG_SESSION_TYPE"), qEnvironmentVariable("WAYLAND_DISPLAY")))
        ports.windows = &mPortalWindows;
    ports.companion = &mCompanion;
    ports.clipboard = &mClipboard;
    ports.neighbours = &mNeighbours;
    ports.pictures = mPictures.get();
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
            mFolders.Program() + u"/zephyld"_s,
            QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + u"/quorvia/devices"_s};
}

QString StoredLanguage()
{
    FileRegistry registry(UserRegistryFile(), MachineRegistryFile());
    ProcessState state;
    state.ports.registry = &registry;
    return GetSetting(state, keys::kLanguage);
}

int PrintSettings(const QString& config)
try {
    FileRegistry registry(UserRegistryFile(), MachineRegistryFile());
    ProcessState state;
    state.ports.registry = &registry;
    const SettingKey& chosen = keys::kDefaultConfig;
    state.gConfigName = config;
    if (config.isEmpty())
        state.gConfigName = StoredSetting(state, QLatin1String(chosen.section), QLatin1String(chosen.key),
                                          chosen.scoped, QLatin1String(chosen.application));
    if (state.gConfigName.isEmpty()) state.gConfigName = QLatin1String(keys::kSystemDefault);
    QStringList lines{u"File: "_s + OneLine(UserRegistryFile())};
    lines += ListSettings(state);
    const QStringList strange = RegText(SharedFile(UserRegistryFile()).Read()).NotUnderstood();
    if (!strange.isEmpty()) lines += QStringList{QString(), u"Not understood:"_s};
    for (const QString& line : strange) lines += u"  "_s + OneLine(line);
    for (const QString& line : lines) std::printf("%s\n", line.toUtf8().constData());
    return std::fflush(stdout) == 0 ? 0 : 1;
} catch (const std::exception& error) {
    std::fprintf(stderr, "quorvia: %s\n", OneLine(error.what()).c_str());
    return 1;
}
