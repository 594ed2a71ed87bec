#pragma once
// What the client needs of the Zephyl messaging service. The link implements it over the network,
// tests/support in memory. Everything here is called from the user-interface thread only, and events
// arrive on that thread, in order, between the client's own calls. A failing call throws
// std::runtime_error; refusals are results.

#include <QHash>
#include <QString>
#include <QStringList>
#include <chrono>
#include <memory>
#include <optional>
#include <vector>

#include "contract/frame_encoder.h"
#include "contract/picture.h"
#include "contract/voice_door.h"

/// StatusChanged's codes that mean something; every other is ignored.
inline constexpr qint32 kStatusLeft = 0;
inline constexpr qint32 kStatusPresent = 5;

/// VideoFrame's types.
inline constexpr qint32 kFrameVideo = 0;
inline constexpr qint32 kFrameApplication = 1;
inline constexpr qint32 kFrameWhiteboard = 2;

/// Own board work of an earlier stay, which comes again when the meeting is entered anew, has this behind the
/// own handle: it is to be drawn. No handle contains brackets.
inline constexpr char kEarlierSuffix[] = " (earlier)";

/// One attendee, as somebody to send to. Made by MessengerService::MakeUserItem, then Init.
class UserItem {
public:
    virtual ~UserItem() = default;
    virtual void Init(const QString& handle, bool flag) = 0;
    /// Hands one text to this attendee, never enciphered. `fromHandle` must be the session's own handle.
    virtual void Deliver(const QString& fromHandle, const QString& tag, const QString& message,
                         qint32 flags) = 0;
    virtual QString Handle() const = 0;
    /// Host name or address for the voice companion; "" when unknown.
    virtual QString Address() const = 0;
    /// Hands one JPEG picture to this attendee. `handle`: the own handle, at most once behind the
    /// whiteboard prefix. x, y in board pixels; values beyond 16 bits are refused.
    virtual void SendVideoFrame(const QByteArray& data, const QString& handle, int x, int y, qint32 frameType,
                                qint32 quality) = 0;
};

/// The attendees of one meeting entry, in order of joining, the own one first. The service hands it out
/// filled, and Logout empties it; afterwards only the client adds and removes.
class UsersCollection {
public:
    virtual ~UsersCollection() = default;
    virtual void Add(std::shared_ptr<UserItem> item, qint32 flags = 0) = 0;
    /// Throws when there is no such handle (exact spelling).
    virtual std::shared_ptr<UserItem> Item(const QString& handle) const = 0;
    virtual void Remove(const QString& handle) = 0;
    /// All items at this moment; safe to walk while the collection changes.
    virtual std::vector<std::shared_ptr<UserItem>> Items() const = 0;
};

/// The text of a LinkState while there is nothing to say but this.
inline constexpr char kNotInMeeting[] = "Not in a meeting";

/// What is known of the connection; for the last status panel.
struct LinkState {
    enum class Phase { Offline, Connected, Cut, Ended };
    Phase phase = Phase::Offline;
    /// Says that a cut is over, and how: the seat was still there, or the link entered anew by itself.
    enum class Back { No, Resumed, Returned } back = Back::No;
    QString text;     // one short sentence for people; "" when there is nothing to say
    QString details;  // protocol, round-trip time, bytes; for the tooltip
    /// Only the text counts: something was not delivered or is missing. It is shown beside what follows.
    bool remark = false;
};

/// Receives the service's events.
class MessengerEvents {
public:
    virtual ~MessengerEvents() = default;
    virtual void NewMessage(const QString& fromHandle, const QString& message) = 0;
    virtual void StatusChanged(const QString& userHandle, qint32 newStatus) = 0;
    virtual void VideoFrame(const QString& fromHandle, const PicturePtr& frame, int x, int y,
                            qint32 frameType) = 0;
    /// Ours, beside the three: the connection changed, or something could not be delivered.
    virtual void LinkChanged(const LinkState&) {}
    /// Ours: own lines up to this number (see LastLine) are safe with the service. They come in front of
    /// what others answer to them. Of each line the first word counts, this or the next.
    virtual void LinesAccepted(quint64 /*upTo*/) {}
    /// Ours: this own line reaches nobody: it was refused, or the meeting ended before it was accepted.
    virtual void LineLost(quint64 /*line*/) {}

    /// Ours, of the board, in order with what others do there: all that `handle` had drawn by then goes, in
    /// one step of the history. The service lets only who started the meeting say it.
    virtual void TakenBack(const QString& /*fromHandle*/, const QString& /*handle*/) {}

    // Ours, of the board, in order with what others do there. Numbers as LastBoardPost gives them.
    /// The user entered a meeting: its board follows from the beginning, on white. Own posts up to this
    /// number belonged to another one.
    virtual void BoardBegins(quint64 /*ownUpTo*/) {}
    /// This own post stands here in everybody's order. What was posted before it and has no place by now
    /// never gets one: it was refused, or has been wiped for everybody.
    virtual void OwnPlaced(quint64 /*post*/) {}
    /// Of own posts up to this number, what has no place by now never gets one.
    virtual void OwnPassed(quint64 /*upTo*/) {}
    /// This own post reaches nobody: it was refused, or the meeting ended first.
    virtual void OwnLost(quint64 /*post*/) {}
    /// The connection came back to a service that gives no places: what waits for one is taken to stand here,
    /// and PlacesOwn() is false from now on.
    virtual void OwnPlacesEnd() {}
};

/// Which service a session is at, for others who are to come there.
struct ServiceFace {
    QString service;       // HOST[:PORT] as it was asked for; "": this computer's own
    QString fingerprint;   // of its key: "sha256:" and 64 digits
    bool vouched = false;  // an authority of this machine vouches for that key under that name
};

/// Whether this computer's own service lets others on the local network come into the meeting.
enum class LetInWish { Ask, Open, Close };
struct LettingIn {
    QStringList addresses;  // HOST:PORT, the likeliest first, as others reach it; empty: it does not
    QString problem;        // why not, in one sentence; "" when nothing was refused
};

/// Where the voice companion reaches the meeting.
struct VoicePlace {
    QString door;  // a local socket; "": there is none
    QString word;  // to be said first
};

/// What is heard and said at this moment.
struct VoiceNews {
    bool companion = false;  // one has come in by the door
    bool muted = false;
    voice_door::Trouble trouble = voice_door::Trouble::None;
    QHash<QString, int>
        levels;  // by handle, decibels below full scale; the own one under ""; silent ones left out
};

class MessengerService {
public:
    virtual ~MessengerService() = default;

    virtual bool HasMeetingPermission() = 0;
    virtual QString ServerKey() const = 0;
    virtual QString SendTag() const = 0;
    virtual bool LoggedIn() const = 0;
    /// The own handle in the account's spelling; "" without a session.
    virtual QString Handle() const = 0;
    virtual void Send(const QString& to, const QString& message, qint32 flags = 0) = 0;
    virtual void Logout() = 0;
    /// `password` in the enciphered form that the settings hold. False: refused or unreachable, no session.
    virtual bool Login(const QString& handle, const QString& password, const QString& hostname) = 0;
    virtual void LoadConfig() = 0;
    virtual void Close() = 0;
    /// The collection of the meeting entered last; an empty one when in none.
    virtual std::shared_ptr<UsersCollection> Users() = 0;
    virtual bool JoinMeeting(const QString& meetingCode) = 0;
    virtual void LeaveMeeting() = 0;
    virtual bool CreateMeeting(const QString& meetingCode, const QString& second) = 0;
    /// The (masked) address that the password went to; "" for an unknown handle.
    virtual QString SendPassword(const QString& handle) = 0;
    virtual void SetConfig(const QString& configName) = 0;

    // --- of ours -----------------------------------------------------------------------------------
    /// A user item that belongs to this service; Init names it.
    virtual std::shared_ptr<UserItem> MakeUserItem() = 0;
    virtual std::unique_ptr<FrameEncoder> MakeFrameEncoder() = 0;
    /// Who receives the events from now on; null: nobody, events wait. The sink must outlive its stay.
    virtual void SetEvents(MessengerEvents* sink) = 0;
    /// Where the next Login and SendPassword go instead of the stored service ("" = this computer), for
    /// an address that is typed and not saved yet; nullptr: as stored.
    virtual void UseServiceAddress(const QString* typed) = 0;
    /// For an invitation that names the key of `service` (HOST[:PORT]): until the program ends that key, and
    /// no other one, is believed there. The result is the key that the user has accepted before when it is
    /// another one: then nothing changes, and that one goes on being the only one. "": done. Throws when the
    /// store cannot tell.
    virtual QString NameKey(const QString& service, const QString& fingerprint) = 0;
    /// Throws when there is no session.
    virtual ServiceFace Face() const = 0;
    /// Of the meeting that the session is in. What was opened closes when the session leaves it. Throws when
    /// there is no session, or no answer.
    virtual LettingIn LetOthersIn(LetInWish wish) = 0;
    /// Board records and whiteboard pictures that were drawn while nobody else was present.
    virtual void Keep(const QString& record) = 0;
    virtual void KeepPicture(const QByteArray& data, int x, int y, qint32 quality) = 0;
    /// Whether the own handle started the meeting that the session is in, so that it may take back.
    virtual bool StartedMeeting() const { return false; }
    /// For everybody, later newcomers too: all that `handle` has drawn goes, in one step of the history; what
    /// of it comes behind this stays. A post to the board. Throws where StartedMeeting is false.
    virtual void TakeBack(const QString& handle) = 0;
    /// While an event of the board is delivered that happened before the user entered: how long ago, counted
    /// by the service's clock alone; zero where that is not known. None: it happens now.
    virtual std::optional<std::chrono::milliseconds> EventAge() const { return std::nullopt; }
    /// While an event of the board is delivered: its place in the meeting's log. 0: it has none, or it is not
    /// known.
    virtual quint64 EventSequence() const { return 0; }
    /// Whether own posts of the board get a place among the others' by an event. False: nobody says, and they
    /// count where they were drawn.
    virtual bool PlacesOwn() const { return false; }
    /// The number of the newest post to the board that was handed over to go to others or to be kept; as
    /// LastLine has it for lines. Asking ends the post.
    virtual quint64 LastBoardPost() { return 0; }
    /// Much is waiting to be sent: whoever begins something new to send should wait. Sending still works
    /// until the outbox is full; then it throws.
    virtual bool SendingIsTight() const { return false; }
    /// The number of the newest text beside the board's that was handed over for somebody else; 0: none yet.
    /// Numbers rise by one or more with a text, whatever its recipients, and never restart; what was handed
    /// over to nobody (alone, or refused at the call) has none. Asking ends the line: an equal text sent
    /// after it is another one.
    virtual quint64 LastLine() = 0;
    /// Opens the door for the voice companion that this program starts; it stays open until Close.
    virtual VoicePlace OpenVoice() { return {}; }
    virtual VoiceNews Voice() const { return {}; }
    /// Whether voice goes through that door, either way; at first it does not. Acts at once, whatever the
    /// companion has still to do.
    virtual void LetVoicePass(bool /*passes*/) {}
    /// Asks the companion to show its window.
    virtual void ShowVoice() {}
    /// Why the last Login, CreateMeeting or JoinMeeting was refused, in one sentence for people; "" when it
    /// was not.
    virtual QString LastRefusal() const = 0;
};
