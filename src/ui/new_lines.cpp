#include "ui/new_lines.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>
#include <QTimer>
#include <QWidget>
#include <QtEndian>
#include <cmath>
#include <numbers>

#include "base/process_state.h"
#include "base/report.h"
#include "settings/settings.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int kSamplesPerSecond = 22'050;
constexpr auto kLongestPlaying = 3s;

/// Two soft tones, the second higher, each dying away; -1 to 1.
double Sample(double seconds)
{
    const auto tone = [seconds](double from, double hertz) {
        const double t = seconds - from;
        const double rise = std::min(1.0, t / 0.004);  // without it a click is heard
        return t < 0 ? 0.0 : rise * std::exp(-t * 22) * std::sin(2 * std::numbers::pi * hertz * t);
    };
    return 0.3 * (tone(0, 660) + tone(0.09, 990));
}

template <class T>
void Put(QByteArray& bytes, T value)
{
    const T little = qToLittleEndian(value);
    bytes.append(reinterpret_cast<const char*>(&little), sizeof little);
}

}  // namespace

QByteArray NewLineSound()
{
    constexpr int kSamples = kSamplesPerSecond * 35 / 100;
    constexpr quint16 kPcm = 1, kMono = 1, kBytes = 2;
    QByteArray wav("RIFF");
    Put<quint32>(wav, 36 + kSamples * kBytes);
    wav += "WAVEfmt ";
    Put<quint32>(wav, 16);
    Put(wav, kPcm);
    Put(wav, kMono);
    Put<quint32>(wav, kSamplesPerSecond);
    Put<quint32>(wav, kSamplesPerSecond * kBytes);
    Put(wav, kBytes);
    Put<quint16>(wav, 8 * kBytes);
    wav += "data";
    Put<quint32>(wav, kSamples * kBytes);
    for (int i = 0; i < kSamples; ++i) Put(wav, qint16(32767 * Sample(double(i) / kSamplesPerSecond)));
    return wav;
}

SoundPlayer::SoundPlayer(ProcessState& state) : mState(state)
{
    mProcess.setStandardOutputFile(QProcess::nullDevice());
    mProcess.setStandardErrorFile(QProcess::nullDevice());
    connect(&mProcess, &QProcess::finished, this, [this](int code, QProcess::ExitStatus how) {
        if (code != 0 && how == QProcess::NormalExit) return TryNext();  // its sound server does not run
        Played(mProcess.program());
    });
    connect(&mProcess, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart) TryNext();
    });
}

void SoundPlayer::Play()
{
    if (mProcess.state() != QProcess::NotRunning) return;
    mLeft = {u"pw-play"_s, u"paplay"_s, u"aplay"_s};
    TryNext();
}

void SoundPlayer::TryNext()
{
    const QString file = File();
    while (!mLeft.isEmpty() && !file.isEmpty()) {
        const QString program = QStandardPaths::findExecutable(mLeft.takeFirst());
        if (program.isEmpty()) continue;
        mProcess.start(program, {file}, QIODevice::NotOpen);
        QTimer::singleShot(kLongestPlaying, &mProcess, [this, run = mProcess.processId()] {
            if (mProcess.processId() == run) mProcess.kill();
        });
        return;
    }
    QApplication::beep();
    Played(u"beep"_s);
}

void SoundPlayer::Played(const QString& player)
{
    TraceEvent(mState, "sound", {{u"player"_s, QFileInfo(player).fileName()}});
}

/// The players take files. "": it could not be written.
QString SoundPlayer::File() const
{
    const QString folder =
        QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) + u"/quorvia"_s;
    QString name = folder + u"/new-line.wav"_s;
    const QByteArray sound = NewLineSound();
    if (QFileInfo(name).size() == sound.size()) return name;
    QSaveFile file(name);
    const bool written = QDir().mkpath(folder) && file.open(QIODevice::WriteOnly) &&
                         file.write(sound) == sound.size() && file.commit();
    return written ? name : QString();
}

NewLines::NewLines(ProcessState& state, QWidget& window) : mState(state), mWindow(window), mSound(state)
{
    connect(qGuiApp, &QGuiApplication::applicationStateChanged, this, [this](Qt::ApplicationState now) {
        now == Qt::ApplicationActive ? Seen() : TraceEvent(mState, "behind");
    });
}

void NewLines::Arrived()
{
    if (QGuiApplication::applicationState() == Qt::ApplicationActive) return;
    if (FlagSetting(mState, keys::kMarkNewLines)) {
        mWindow.setWindowTitle(u"(%1) %2"_s.arg(++mUnseen).arg(QLatin1String(kAppTitle)));
        QApplication::alert(&mWindow);
        TraceEvent(mState, "mark", {{u"lines"_s, mUnseen}});
    }
    if (FlagSetting(mState, keys::kSoundNewLines)) mSound.Play();
}

void NewLines::Seen()
{
    if (std::exchange(mUnseen, 0) == 0) return;
    mWindow.setWindowTitle(QLatin1String(kAppTitle));
    TraceEvent(mState, "mark", {{u"lines"_s, 0}});
}
