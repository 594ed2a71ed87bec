#pragma once
// How a chat line looks and who gets it. Pure; no window.

#include <QString>
#include <QStringList>

/// A chat line ready for the box: what stands in it and whose colour it has.
struct ShownLine {
    QString text;    // handle, ": ", text; one paragraph
    quint32 colour;  // 0x00BBGGRR
};

inline constexpr quint32 kOwnLineColour = 0x0000FF;    // red
inline constexpr quint32 kOtherLineColour = 0xFF0000;  // blue

/// What one typed text may have at most, in bytes of UTF-8; the service refuses more.
inline constexpr qsizetype kTypedTextBytes = 16'384;

/// The line of `fromHandle`, coloured by the sender and not by how the text begins. Line breaks become soft
/// breaks inside the line, other control characters vanish (tab stays), so do accents piled up on one letter,
/// and neither name nor text can turn the reading direction of what stands beside it.
ShownLine LineFor(const QString& ownHandle, const QString& fromHandle, const QString& text);
/// The text of a shown line without the marks that only steer the reading direction.
QString WithoutIsolates(QString text);

/// Of the handles given, in their order, those to send to: everybody but oneself (exact spelling).
QStringList Recipients(const QStringList& handles, const QString& ownHandle);

/// How many UTF-16 units to take away from the end of a piece that was put in, so that the whole text keeps
/// the limit; pairs of surrogates stay together, a line break counts as CR LF. `pieceEnd` is the piece's end.
qsizetype UnitsOverLimit(const QString& text, qsizetype pieceEnd, qsizetype limitBytes = kTypedTextBytes);

/// What the chat box forgets when it has grown too large: lines from the top, 500 at a time, or half of them
/// when few lines hold too many characters. 0: nothing.
int LinesToDrop(int lines, qsizetype characters);
