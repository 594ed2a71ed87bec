#pragma once
// What tells that somebody has said something while the window is behind: a mark and a sound, each only when
// the settings ask for it. User-interface thread only.

#include <QObject>
#include <QProcess>
#include <QStringList>

class QWidget;
struct ProcessState;

/// A short sound as a WAV file; the same each time.
QByteArray NewLineSound();

/// Plays that sound with the first program of the desktop that can: one sound at a time, the rest falls
/// silent. Without any the computer beeps.
class SoundPlayer final : public QObject {
public:
    explicit SoundPlayer(ProcessState& state);
    void Play();

private:
    void TryNext();
    void Played(const QString& player);
    QString File() const;

    ProcessState& mState;
    QProcess mProcess;
    QStringList mLeft;  // programs that have not been tried
};

class NewLines final : public QObject {
public:
    /// Both must outlive this.
    NewLines(ProcessState& state, QWidget& window);
    /// Somebody else's line has been shown.
    void Arrived();

private:
    void Seen();

    ProcessState& mState;
    QWidget& mWindow;
    SoundPlayer mSound;
    int mUnseen = 0;
};
