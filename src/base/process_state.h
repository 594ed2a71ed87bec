#pragma once
// The process-wide values: made in main, passed by reference, alive until the process ends.
// User-interface thread only. A test may hold several.

#include <QString>
#include <map>
#include <memory>

#include "base/crect.h"
#include "contract/messenger_service.h"
#include "platform/machine.h"

class RegistryFile;
class MeetingScreens;
class WBHistory;
class MarkSink;
class PictureReader;
class SharedBoard;
class CameraPort;
class WindowsPort;
class CompanionPort;
class ClipboardPort;
class LiveScreen;
class NeighboursPort;
struct ShareKept;

/// The machine, borrowed. Null where a test has no use for it.
struct Ports {
    RegistryFile* registry = nullptr;
    Clock* clock = nullptr;
    Waits* waits = nullptr;
    Gate* gate = nullptr;
    EventLog* eventLog = nullptr;
    Trace* trace = nullptr;
    Folders* folders = nullptr;
    LocalHost* host = nullptr;
    ScreenPointer* pointer = nullptr;
    EndProcess* endProcess = nullptr;
    Prompts* prompts = nullptr;
    CameraPort* camera = nullptr;
    WindowsPort* windows = nullptr;
    CompanionPort* companion = nullptr;
    ClipboardPort* clipboard = nullptr;
    NeighboursPort* neighbours = nullptr;
    const PictureReader* pictures = nullptr;
    LiveScreen* liveScreen = nullptr;  // also null where the toolkit draws on something else
};

struct ProcessState {
    std::unique_ptr<MessengerService> gMessenger;  // set by Main, gone after EndProgram
    std::shared_ptr<UsersCollection> gUsers;       // handed out at meeting entry; null before
    MeetingScreens* gMeetingForm = nullptr;        // what rules need of the window; null without one

    QString gConfigName;  // "" until one is chosen
    QString gMeetingCode;
    QString gInvitation;  // as it came with the start of the program; the first login dialog takes it
    bool gCreateMeeting = false;
    QString gPassword;  // enciphered, as stored
    QString gHostname;
    bool gLoginDialogClosed = false;
    bool gLoginCancelled = false;
    qsizetype gLocalAddressAt = 0;  // the entry of GetLocalIP that txtHostname showed last

    QString gServerKey;
    QString gLocalKey;
    bool gEncryptMessages = false;
    bool gUseLocalKey = false;

    bool gWBApplyingRemote = false;        // a received record is applied, or the window loads
    std::shared_ptr<WBHistory> gWBBuffer;  // whiteboard/history.h; of the meeting that the user is in
    std::shared_ptr<SharedBoard> gShared;  // whiteboard/own_work.h; the log's board beneath the own work
    MarkSink* gMarkSink = nullptr;         // whiteboard/mark_sink.h; null: nobody keeps the meeting

    std::unique_ptr<FrameEncoder> gFrameEncoder;  // holds the JPEG quality; null before InitDIB
    bool gCameraReady = false;
    bool gCaptureIsYUV = false;
    bool gVideoOn = false;
    qint16 gVideoX = 0, gVideoY = 0;  // board pixels
    quint64 gShareWindow = 0;         // 0: none
    bool gAppShareOn = false;
    qint16 gAppX = 0, gAppY = 0;
    std::shared_ptr<ShareKept> gShareKept;            // media/app_sharing.cpp; the last picture shared
    std::map<QString, CRect> gVideoRects, gAppRects;  // by sender; never emptied
    int gVoktalPort = 2074;

    Ports ports;
};

/// The application title, in captions, boxes and the settings store.
inline constexpr char kAppTitle[] = "Quorvia";
