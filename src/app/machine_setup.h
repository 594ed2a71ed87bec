#pragma once
// The real machine behind the ports, and what the link needs of it. Made once in main; lives as long.

#include <memory>

#include "app/link_setup.h"
#include "contract/picture_reader.h"
#include "platform/linux/avahi_neighbours.h"
#include "platform/linux/linux_camera.h"
#include "platform/linux/local_host.h"
#include "platform/linux/machine.h"
#include "platform/linux/portal_windows.h"
#include "platform/linux/x11_companion.h"
#include "platform/linux/x11_live_screen.h"
#include "platform/linux/x11_windows.h"
#include "settings/file_registry.h"
#include "ui/end_process.h"
#include "ui/gate.h"
#include "ui/prompts.h"
#include "ui/qt_clipboard.h"
#include "ui/screen_pointer.h"
#include "ui/waits.h"

class Machine {
public:
    /// Fills `state.ports`. `traceFile`: "" for none; throws std::runtime_error when it cannot be opened.
    Machine(ProcessState& state, const QString& traceFile);

    LinkNeeds NeedsOfLink();
    QtEndProcess& Ending() { return mEndProcess; }

private:
    ProcessState& mState;
    SystemClock mClock;
    SyslogEventLog mEventLog;
    XdgFolders mFolders;
    std::unique_ptr<FileTrace> mTrace;
    LinuxLocalHost mHost;
    FileRegistry mRegistry;
    HoldableGate mGate;
    QtWaits mWaits{mGate};
    QtScreenPointer mPointer;
    QtPrompts mPrompts;
    QtEndProcess mEndProcess;
    QtClipboard mClipboard;
    LinuxCamera mCamera;
    X11Windows mWindows;
    PortalWindows mPortalWindows;
    X11Companion mCompanion;
    X11LiveScreen mLiveScreen;
    AvahiNeighbours mNeighbours;
    StoreServiceSettings mSettings;
    PromptTrustQuestion mTrust;
    QtUiPost mPost;
    std::unique_ptr<PictureReader> mPictures;
};

/// The setting "Language", for before there is a machine.
QString StoredLanguage();
/// What `quorvia --settings` prints; "": the default configuration. Needs no display. Returns the exit code.
int PrintSettings(const QString& config);
