// "Talk" from one microphone to the other's speakers: two real clients, their companions, a real sound server
// whose devices are made up, and speech.

#include <signal.h>

#include <QDir>
#include <QFile>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "scenarios/meeting_fixture.h"

namespace stage {
namespace {

using Sound = std::vector<qint16>;
constexpr int kRate = 48'000;

/// A server of its own. What one of two people says and what the other one hears are two channels of one
/// device: whatever is recorded of it has both at the same moments.
class SoundServer {
public:
    SoundServer(const Folder& folder, const QString& one, const QString& other)
        : mAddress(u"unix:"_s + (folder / "sound"))
    {
        QStringList words{u"pulseaudio"_s,
                          u"-n"_s,
                          u"--daemonize=no"_s,
                          u"--use-pid-file=no"_s,
                          u"--exit-idle-time=-1"_s,
                          u"--realtime=no"_s,
                          u"-v"_s,
                          u"--log-target=stderr"_s,
                          u"-L"_s,
                          u"module-native-protocol-unix auth-anonymous=1 socket="_s + (folder / "sound")};
        words << Device(one, other) << Device(other, one);
        for (QString& word : words) word = u'\'' + word + u'\'';
        const QString home = folder / "sound_home";
        QDir().mkpath(home);
        QFile(home).setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        // It says when it is ready where others say what went wrong.
        mServer = std::make_unique<Child>(
            u"sh"_s, QStringList{u"-c"_s, u"exec "_s + words.join(u' ') + u" 2>&1"_s},
            std::map<QString, QString>{
                {u"HOME"_s, home}, {u"XDG_RUNTIME_DIR"_s, home}, {u"DISPLAY"_s, QString()}},
            folder / "sound.log");
        while (!mServer->ReadLine().contains("startup complete")) {
        }
    }
    const QString& Address() const { return mAddress; }
    Child& Server() { return *mServer; }

private:
    /// `to` hears what `from` says.
    static QStringList Device(const QString& from, const QString& to)
    {
        const QString lab = from + u"_lab"_s;
        const auto part = [&](const char* module, const QString& name, const char* side) {
            return u"module-remap-%1 channels=1 channel_map=mono remix=no %2 master_channel_map=front-%3"_s
                .arg(QLatin1String(module), name, QLatin1String(side));
        };
        return {u"-L"_s, u"module-null-sink rate=48000 channels=2 sink_name="_s + lab,
                u"-L"_s, part("sink", u"master=%1 sink_name=%2_mouth"_s.arg(lab, from), "left"),
                u"-L"_s, part("sink", u"master=%1 sink_name=%2_ears"_s.arg(lab, to), "right"),
                u"-L"_s, part("source", u"master=%1.monitor source_name=%2_mic"_s.arg(lab, from), "left")};
    }
    QString mAddress;
    std::unique_ptr<Child> mServer;
};

Sound ReadSound(const QString& path)
{
    const QByteArray bytes = ReadFile(path);
    Sound sound(std::size_t(bytes.size()) / sizeof(qint16));
    std::memcpy(sound.data(), bytes.constData(), sound.size() * sizeof(qint16));
    return sound;
}

/// Ten-millisecond loudness, from the first to the last that is heard at all.
std::vector<double> Envelope(const Sound& sound)
{
    std::vector<double> envelope;
    for (std::size_t at = 0; at + kRate / 100 <= sound.size(); at += kRate / 100) {
        double power = 0;
        for (std::size_t i = at; i < at + kRate / 100; ++i) power += double(sound[i]) * sound[i];
        envelope.push_back(std::sqrt(power / (kRate / 100)));
    }
    return envelope;
}

double Loudest(const Sound& sound)
{
    const std::vector<double> envelope = Envelope(sound);
    return envelope.empty() ? 0 : *std::max_element(envelope.begin(), envelope.end());
}

/// How like the loudness of the two runs, of 1, where the second one is `lag` steps later.
double Alike(const std::vector<double>& said, const std::vector<double>& heard, std::size_t lag)
{
    double both = 0, a = 0, b = 0;
    for (std::size_t i = 0; i < said.size() && i + lag < heard.size(); ++i) {
        both += said[i] * heard[i + lag];
        a += said[i] * said[i];
        b += heard[i + lag] * heard[i + lag];
    }
    return a == 0 || b == 0 ? 0 : both / std::sqrt(a * b);
}

class Voice : public Meeting {
protected:
    static constexpr double kHeard = 0.8;  // of 1

    std::unique_ptr<Desk> Seat(const QString& name, bool join)
    {
        auto desk = std::make_unique<Desk>(folder, name);
        desk->Setting(u"Zephyl\\Trusted Services"_s, service.Address(), service.Fingerprint());
        desk->Setting(u"Zephyl\\Data"_s, u"Voktal Microphone"_s, name + u"_mic"_s);
        desk->Setting(u"Zephyl\\Data"_s, u"Voktal Speakers"_s, name + u"_ears"_s);
        desk->Environment(u"PULSE_SERVER"_s, sound.Address());
        desk->StartClient({u"--service"_s, service.Address()});
        desk->Wait("dialog", Is("name", u"frmLogin"_s));
        Enter(*desk, name, u"sound01"_s, join);
        desk->Run(u"xdotool"_s, {u"search"_s, u"--sync"_s, u"--class"_s, u"VoktalClass"_s});  // it has come
        return desk;
    }
    void Talk(Desk& desk)
    {
        desk.ClickControl(u"chkTalk"_s);
        desk.Wait("talk");  // the companion has been told
    }
    /// A sentence between two silences, 48 kHz.
    QString Speech()
    {
        const QString file = folder / "speech.raw";
        const QString make =
            u"espeak-ng -v en -w '%1.wav' 'She sells sea shells by the sea shore, and everybody "
            u"hears what she says.' && sox '%1.wav' -r 48000 -c 1 -b 16 -e signed -t raw '%1' "
            u"gain -n -9 pad 1 2"_s.arg(file);
        Child command(u"sh"_s, {u"-c"_s, make}, {}, folder / "speech.log");
        EXPECT_EQ(command.WaitForEnd(), 0);
        return file;
    }
    std::unique_ptr<Child> Record(const QString& device, const QString& file)
    {
        const QString words =
            u"echo begins; exec parec --device=%1 --raw --rate=48000 --channels=2 "
            u"--latency-msec=20 --format=s16le > '%2'"_s.arg(device, file);
        auto child = std::make_unique<Child>(u"sh"_s, QStringList{u"-c"_s, words},
                                             std::map<QString, QString>{{u"PULSE_SERVER"_s, sound.Address()}},
                                             folder / "parec.log");
        child->ReadLine();
        return child;
    }
    void Play(const QString& speech, const QString& device)
    {
        Child player(u"paplay"_s,
                     {u"--device="_s + device, u"--raw"_s, u"--rate=48000"_s, u"--channels=1"_s,
                      u"--format=s16le"_s, u"--latency-msec=50"_s, speech},
                     {{u"PULSE_SERVER"_s, sound.Address()}}, folder / "paplay.log");
        EXPECT_EQ(player.WaitForEnd(60), 0);
    }
    /// What comes to the other one's ears while `from` says it.
    Sound Says(const QString& from, const QString& speech)
    {
        const QString file = folder / "heard.raw";
        const auto recorder = Record(from + u"_lab.monitor"_s, file);
        Play(speech, from + u"_mouth"_s);
        recorder->Signal(SIGINT);
        recorder->WaitForEnd();
        const Sound both = ReadSound(file);
        Sound ears;
        for (std::size_t i = 1; i < both.size(); i += 2) ears.push_back(both[i]);
        return ears;
    }
    double AlikeAtBest(const QString& speech, const Sound& ears)
    {
        const std::vector<double> said = Envelope(ReadSound(speech)), heard = Envelope(ears);
        double best = 0;
        for (std::size_t lag = 0; lag < 300; ++lag) best = std::max(best, Alike(said, heard, lag));
        return best;
    }

    SoundServer sound{folder, u"ann"_s, u"bob"_s};
};

}  // namespace

TEST_F(Voice, IsHeardByThoseWhoTalkAndNotOtherwise)
{
    // Four programs and a sound server keep time with each other here.
    if (!qEnvironmentVariableIsSet("QUORVIA_LONG")) GTEST_SKIP() << "wants a machine that does nothing else";
    auto ann = Seat(u"ann"_s, false);
    auto bob = Seat(u"bob"_s, true);
    const QString speech = Speech();
    EXPECT_LT(Loudest(Says(u"ann"_s, speech)), 1);  // nobody talks yet
    Talk(*ann);
    EXPECT_LT(Loudest(Says(u"ann"_s, speech)), 1);  // he does not listen
    Talk(*bob);
    EXPECT_GT(AlikeAtBest(speech, Says(u"ann"_s, speech)), kHeard);
    EXPECT_GT(AlikeAtBest(speech, Says(u"bob"_s, speech)), kHeard);
    Talk(*ann);  // switched off
    EXPECT_LT(Loudest(Says(u"ann"_s, speech)), 1);
    EXPECT_LT(Loudest(Says(u"bob"_s, speech)), 1);
    Talk(*ann);
    service.Stop(SIGKILL);
    const auto cut = [](const QJsonObject& line) {
        return line[u"panel"_s] == u"Link"_s && line[u"text"_s].toString().startsWith(u"Cut off"_s);
    };
    ann->Wait("panel", cut);
    service.Start();
    ann->Wait("panel", [](const QJsonObject& line) {
        return line[u"panel"_s] == u"Link"_s &&
               line[u"text"_s].toString().contains(u"back"_s, Qt::CaseInsensitive);
    });
    EXPECT_GT(AlikeAtBest(speech, Says(u"ann"_s, speech)), kHeard);
}

}  // namespace stage
