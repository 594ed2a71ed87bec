#include "demo/sound_lab.h"

#include <poll.h>

#include <QDir>
#include <QFile>
#include <chrono>
#include <cstring>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace stage {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds kReady{20};
constexpr int kLookMs = 10;

QString ChannelMap(int channels)
{
    QStringList names;
    for (int i = 0; i < channels; ++i) names << u"aux%1"_s.arg(i);
    return names.join(u',');
}

}  // namespace

SoundLab::SoundLab(const Folder& folder, QStringList people, By by)
    : mFolder(folder), mPeople(std::move(people)), mHome(folder / "sound")
{
    QDir().mkpath(mHome);
    QFile(mHome).setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    mEnvironment = {{u"HOME"_s, mHome}, {u"XDG_RUNTIME_DIR"_s, mHome}, {u"DISPLAY"_s, QString()}};
    if (by == By::PulseAudio)
        StartPulseAudio();
    else
        StartPipeWire();
    Control({u"load-module"_s, u"module-null-sink"_s, u"rate=48000"_s, u"channels=%1"_s.arg(Channels()),
             u"channel_map="_s + ChannelMap(Channels()), u"sink_name=lab"_s});
    const auto part = [&](const char* module, const QString& name, int channel) {
        return Control(QStringList{u"load-module"_s} + Part(module, name, channel).split(u' '));
    };
    for (const QString& person : mPeople) {
        part("sink", person + u"_mouth"_s, Mouth(person));
        part("sink", Speakers(person), Mouth(person) + 1);
        Plug(person);
    }
}

SoundLab::~SoundLab()
{
    while (!mServers.empty()) mServers.pop_back();  // those first that need the others
}

QString SoundLab::Part(const char* module, const QString& name, int channel) const
{
    const bool sink = qstrcmp(module, "sink") == 0;
    return u"module-remap-%1 %1_name=%2 %1_properties=device.description=Headset master=%3 channels=1 "
           u"channel_map=mono remix=no master_channel_map=aux%4"_s
               .arg(QLatin1String(module), name, sink ? u"lab"_s : u"lab.monitor"_s)
               .arg(channel);
}

std::unique_ptr<Child> SoundLab::Start(const QString& program, const QStringList& words)
{
    return std::make_unique<Child>(program, words, mEnvironment, mFolder / "sound.log");
}

void SoundLab::StartPulseAudio()
{
    mAddress = u"unix:"_s + mHome + u"/native"_s;
    const QString native = u"module-native-protocol-unix auth-anonymous=1 socket="_s + mHome + u"/native"_s;
    mServers.push_back(Start(u"pulseaudio"_s,
                             {u"-n"_s, u"--daemonize=no"_s, u"--use-pid-file=no"_s, u"--exit-idle-time=-1"_s,
                              u"--realtime=no"_s, u"--log-target=stderr"_s, u"-L"_s, native}));
    WaitForServer();
}

void SoundLab::WaitFor(const char* what, const std::function<bool()>& ready)
{
    const auto until = Clock::now() + kReady;
    while (!ready()) {
        if (Clock::now() > until) throw std::runtime_error(std::string(what) + " does not get ready");
        ::poll(nullptr, 0, kLookMs);
    }
}

void SoundLab::WaitForServer()
{
    mEnvironment.merge(Environment());
    WaitFor("the sound server", [this] { return Start(u"pactl"_s, {u"info"_s})->WaitForEnd() == 0; });
}

void SoundLab::StartPipeWire()
{
    mServers.push_back(Start(u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--print-address"_s}));
    mEnvironment[u"DBUS_SESSION_BUS_ADDRESS"_s] = QString::fromLatin1(mServers.back()->ReadLine().trimmed());
    mServers.push_back(Start(u"pipewire"_s, {}));
    WaitFor("pipewire", [&] { return QFile::exists(mHome + u"/pipewire-0"_s); });
    for (const QString& program : {u"wireplumber"_s, u"pipewire-pulse"_s})
        mServers.push_back(Start(program, {}));
    mAddress = u"unix:"_s + mHome + u"/pulse/native"_s;
    WaitForServer();
}

QByteArray SoundLab::Control(const QStringList& words)
{
    const auto control = Start(u"pactl"_s, words);
    QByteArray said;
    if (words.front() == u"load-module") said = control->ReadLine().trimmed();
    if (control->WaitForEnd() != 0) throw std::runtime_error("pactl " + words.join(u' ').toStdString());
    return said;
}

void SoundLab::Unplug(const QString& person)
{
    Control({u"unload-module"_s, QString::fromLatin1(mMicrophones.at(person))});
}

void SoundLab::Plug(const QString& person)
{
    mMicrophones[person] = Control(QStringList{u"load-module"_s} +
                                   Part("source", Microphone(person), Mouth(person)).split(u' '));
}

void SoundLab::LoopBack(bool on)
{
    for (; !mLoop.empty(); mLoop.pop_back()) Control({u"unload-module"_s, QString::fromLatin1(mLoop.back())});
    if (!on) return;
    const QString sink = Part("sink", u"probe"_s, Channels() - 1);
    mLoop.push_back(Control(QStringList{u"load-module"_s} + sink.split(u' ')));
    mLoop.push_back(
        Control({u"load-module"_s, u"module-loopback"_s, u"source="_s + Microphone(mPeople.front()),
                 u"sink=probe"_s, u"latency_msec=20"_s}));
}

QString SoundLab::Speech(const char* file, int seconds, double padding)
{
    const QString path = mFolder / file;
    constexpr int kSentence = 4;  // seconds, at the least
    const QString make =
        u"espeak-ng -v en -w '%1.wav' 'She sells sea shells by the sea shore, and everybody who is there can "
        u"hear what she says.' && sox '%1.wav' -r 48000 -c 1 -b 16 -e signed -t raw '%1' gain -n -9 repeat "
        u"%2 "
        u"pad %3 %3"_s.arg(path)
            .arg(seconds / kSentence)
            .arg(padding);
    if (Start(u"sh"_s, {u"-c"_s, make})->WaitForEnd() != 0) throw std::runtime_error("nobody can speak");
    return path;
}

std::unique_ptr<Child> SoundLab::Say(const QString& person, const QString& file)
{
    return Start(u"paplay"_s, {u"--device="_s + person + u"_mouth"_s, u"--raw"_s, u"--rate=48000"_s,
                               u"--channels=1"_s, u"--format=s16le"_s, u"--latency-msec=50"_s, file});
}

SoundLab::Recording::Recording(SoundLab& lab, const char* name) : mLab(lab), mFile(lab.mFolder / name)
{
    const int channels = lab.Channels();
    mRecorder =
        lab.Start(u"sh"_s, {u"-c"_s,
                            u"exec parec --device=lab.monitor --raw --rate=48000 --channels=%1 "
                            u"--channel-map=%2 --latency-msec=20 --format=s16le > '%3'"_s.arg(channels)
                                .arg(ChannelMap(channels), mFile)});
    WaitFor(0.1);
}

double SoundLab::Recording::Length() const
{
    return double(QFile(mFile).size()) / (sizeof(qint16) * mLab.Channels() * kRate);
}

void SoundLab::Recording::WaitFor(double seconds)
{
    const auto until = Clock::now() + kReady + std::chrono::milliseconds(int(1000 * (seconds - Length())));
    while (Length() < seconds) {
        if (Clock::now() > until) throw std::runtime_error("nothing is recorded");
        ::poll(nullptr, 0, kLookMs);
    }
}

std::vector<qint16> SoundLab::Recording::Channel(int channel) const
{
    QFile file(mFile);
    if (!file.open(QIODevice::ReadOnly)) throw std::runtime_error("no recording");
    const QByteArray bytes = file.readAll();
    const std::size_t step = sizeof(qint16) * std::size_t(mLab.Channels());
    std::vector<qint16> sound(std::size_t(bytes.size()) / step);
    for (std::size_t i = 0; i < sound.size(); ++i)
        std::memcpy(&sound[i], bytes.constData() + i * step + sizeof(qint16) * std::size_t(channel),
                    sizeof(qint16));
    return sound;
}

std::vector<qint16> SoundLab::Recording::Mouth(const QString& person) const
{
    return Channel(mLab.Mouth(person));
}

std::vector<qint16> SoundLab::Recording::Ears(const QString& person) const
{
    return Channel(mLab.Mouth(person) + 1);
}

std::vector<qint16> SoundLab::Recording::Loopback() const
{
    return Channel(mLab.Channels() - 1);
}

}  // namespace stage
