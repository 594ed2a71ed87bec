#pragma once
// The voice companion program: a window of class "VoktalClass" titled "Voktal". User-interface thread only.
// Each call waits for the display at most a second and never for the companion itself; what cannot be
// reached counts as not running. Nothing here throws.

#include <QByteArray>
#include <QString>

enum class CompanionShow { Hidden, Shown };

/// Numbers that the companion understands.
inline constexpr int kVoktalStart = 1225;  // text: address, ":", port, "|", handle
inline constexpr int kVoktalStop = 1228;   // text: address, "|", handle
inline constexpr int kVoktalLeft = 1229;   // text: address, "|", handle
inline constexpr int kVoktalClose = 16;    // no text

/// Bytes of a request's text.
inline constexpr qsizetype kVoktalLongestText = 255;

/// How a companion that is started gets at the meeting's voice: a local socket, and a word to say there
/// first. "": it does not.
struct CompanionDoor {
    QString path, word;
};

class CompanionPort {
public:
    virtual ~CompanionPort() = default;

    virtual bool Running() = 0;
    /// For those that are started from now on.
    virtual void UseDoor(const CompanionDoor& door) = 0;
    /// Starts the program beside our own, without arguments, and does not wait for it. A failure is ignored.
    virtual void Start(CompanionShow show) = 0;
    /// Sends `number` with an atom named `text` (at most kVoktalLongestText, else nothing is sent; "": no
    /// atom) to the companion's window, in the order of the calls. False: it is not running.
    virtual bool Send(int number, const QByteArray& text) = 0;
};
