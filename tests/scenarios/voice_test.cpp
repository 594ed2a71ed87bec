// "Talk" from microphones to speakers: real clients, their companions, a real sound server whose devices are
// made up, and speech.

#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <cstdio>

#include "demo/sound_lab.h"
#include "reliability/datagram_proxy.h"
#include "scenarios/heard.h"
#include "scenarios/meeting_fixture.h"

namespace stage {
namespace {

using heard::Sound;
using By = SoundLab::By;
using Recording = SoundLab::Recording;

Match Hears(const QString& whom)
{
    return [whom](const QJsonObject& line) { return line[u"who"_s].toString().split(u'\n').contains(whom); };
}

Match HearsNobodyBut(const QString& own)
{
    return [own](const QJsonObject& line) {
        const QString who = line[u"who"_s].toString();
        return who.isEmpty() || who == own;
    };
}

class Voice : public Meeting, public testing::WithParamInterface<By> {
protected:
    enum class Road { Straight, Tls, Bad };

    void Open(const QStringList& people) { lab = std::make_unique<SoundLab>(folder, people, GetParam()); }
    /// The first one begins the meeting. Comes back when the companion is there.
    void Seat(const QString& name, Road road = Road::Straight)
    {
        QString address = service.Address();
        if (road == Road::Bad) {
            const auto port = std::uint16_t(address.section(u':', -1).toUInt());
            const std::string own = "127.0.0." + std::to_string(desks.size() + 2);
            streams[name] = std::make_unique<FaultProxy>(port, own);
            datagrams[name] = std::make_unique<DatagramProxy>(port, 16 + std::uint32_t(desks.size()), own);
            address = QString::fromStdString(own + ':' + std::to_string(port));
        }
        auto desk = std::make_unique<Desk>(folder, name);
        desk->Setting(u"Zephyl\\Trusted Services"_s, address, service.Fingerprint());
        if (road == Road::Tls)
            desk->Setting(u"Zephyl\\Configs\\(System Default)\\Data"_s, u"Use TCP Port"_s, u"1"_s);
        desk->Setting(u"Zephyl\\Data"_s, u"Voktal Microphone"_s, SoundLab::Microphone(name));
        desk->Setting(u"Zephyl\\Data"_s, u"Voktal Speakers"_s, SoundLab::Speakers(name));
        if (lab)
            for (const auto& [key, value] : lab->Environment()) desk->Environment(key, value);
        desk->StartClient({u"--service"_s, address});
        desk->Wait("dialog", Is("name", u"frmLogin"_s));
        Enter(*desk, name, u"sound01"_s, !desks.empty());
        desk->Run(u"xdotool"_s, {u"search"_s, u"--sync"_s, u"--class"_s, u"VoktalClass"_s});
        desks[name] = std::move(desk);
    }
    Desk& At(const char* name) { return *desks.at(QLatin1String(name)); }
    void Talk(const char* name)
    {
        At(name).ClickControl(u"chkTalk"_s);
        At(name).Wait("talk");
    }
    void SetWeather(const DatagramProxy::Weather& weather)
    {
        for (auto& [name, road] : datagrams) road->SetBoth(weather);
    }
    /// The companion of a client that runs.
    pid_t Companion(const char* name)
    {
        const QByteArray client = "VOKTAL_CLIENT=" + QByteArray::number(At(name).Client().Pid()) + '\0';
        for (const QString& pid : QDir(u"/proc"_s).entryList(QDir::Dirs)) {
            QFile environment(u"/proc/"_s + pid + u"/environ"_s);
            if (QFile::symLinkTarget(u"/proc/"_s + pid + u"/exe"_s) == Programs() + u"/Voktal"_s &&
                environment.open(QIODevice::ReadOnly) && environment.readAll().contains(client))
                return pid.toInt();
        }
        throw std::runtime_error("no companion");
    }
    /// bob hears ann again, soon after that second of the recording.
    void Returns(const char* what, Recording& recording, double since)
    {
        double first = -1;
        for (double until = since + 2; first < 0 && until < since + kGivenUp; until += 1) {
            recording.WaitFor(until);
            first = heard::FirstAfter(recording.Ears(u"bob"_s), since);
        }
        const double back = first < 0 ? kGivenUp : first - since;
        std::printf("| %s | heard again after %.2f s |\n", what, back);
        std::fflush(stdout);
        EXPECT_LE(back, kBack) << what;
    }
    /// From a second on until now, but for what was on its way.
    void ExpectStill(const char* what, Recording& recording, double since, const char* whose = "bob")
    {
        EXPECT_EQ(heard::Loudest(recording.Ears(QLatin1String(whose)), since + kUnderWay, recording.Length()),
                  0)
            << what;
    }
    /// Nobody is heard, and that for as long.
    void Stillness(const char* what, Recording& recording, double seconds)
    {
        At("bob").Wait("speaking", HearsNobodyBut(u"bob"_s));
        const double since = recording.Length() + kUnderWay;  // the recording may be behind, too
        recording.WaitFor(since + seconds);
        ExpectStill(what, recording, since);
    }

    /// What the sound server alone brings to an ear is known then.
    void MeetForASpeech(Road road)
    {
        Open({u"ann"_s, u"bob"_s});
        lab->Speech("speech.raw", 20, 1);
        lab->LoopBack(true);
        const auto loop = Spoken();
        lab->LoopBack(false);
        bare = heard::Measure(loop->Mouth(u"ann"_s), loop->Loopback());
        std::printf("| the server alone | p50 %.0f, p95 %.0f ms |\n", bare.At(0.5), bare.At(0.95));
        Seat(u"ann"_s, road);
        Seat(u"bob"_s, road);
        Talk("ann");
        Talk("bob");
    }
    std::unique_ptr<Recording> Spoken()
    {
        auto recording = std::make_unique<Recording>(*lab, "heard.raw");
        EXPECT_EQ(lab->Say(u"ann"_s, folder / "speech.raw")->WaitForEnd(60), 0);
        return recording;
    }
    void ExpectSpeech(const char* name, double mostMs)
    {
        const auto recording = Spoken();
        const Sound said = recording->Mouth(u"ann"_s), ears = recording->Ears(u"bob"_s);
        const heard::Way way = heard::Measure(said, ears);
        const double alike = heard::Alike(said, ears);
        std::printf("| %s | p50 %.0f, p95 %.0f ms | alike %.2f, %.1f dB, found %.0f %% |\n", name,
                    way.At(0.5), way.At(0.95), alike, way.decibels, 100 * way.found);
        std::fflush(stdout);
        EXPECT_GT(alike, kAlike) << name;
        EXPECT_LE(way.At(0.95) - bare.At(0.95), mostMs) << name;
    }

    heard::Way bare;
    static constexpr double kUnderWay = 0.8;  // seconds: jitter buffer, sound server, a busy machine
    static constexpr double kBack = 1, kGivenUp = 15;
    static constexpr double kAlike = 0.8;

    std::unique_ptr<SoundLab> lab;
    std::map<QString, std::unique_ptr<FaultProxy>> streams;
    std::map<QString, std::unique_ptr<DatagramProxy>> datagrams;
    std::map<QString, std::unique_ptr<Desk>> desks;
};

std::string NameOf(const testing::TestParamInfo<By>& by)
{
    return by.param == By::PulseAudio ? "PulseAudio" : "PipeWire";
}
INSTANTIATE_TEST_SUITE_P(, Voice, testing::Values(By::PulseAudio, By::PipeWire), NameOf);

/// Programs keep time with each other there: on a machine that does nothing else.
class VoiceAlone : public Voice {};
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(VoiceAlone);
const std::vector<By> kServers{By::PulseAudio, By::PipeWire};
INSTANTIATE_TEST_SUITE_P(, VoiceAlone,
                         testing::ValuesIn(qEnvironmentVariableIsSet("QUORVIA_LONG") ? kServers
                                                                                     : std::vector<By>{}),
                         NameOf);

}  // namespace

TEST_P(Voice, IsHeardFromBothTalksOnUntilOneIsOff)
{
    Open({u"ann"_s, u"bob"_s});
    Seat(u"ann"_s);
    Seat(u"bob"_s);
    const QString speech = lab->Speech("speech.raw", 120);
    Recording recording(*lab, "heard.raw");
    auto says = lab->Say(u"ann"_s, speech);
    Talk("ann");
    At("ann").Wait("speaking", Hears(u"ann"_s));
    recording.WaitFor(recording.Length() + 1);
    EXPECT_EQ(heard::Loudest(recording.Ears(u"bob"_s)), 0);  // he does not listen
    Talk("bob");
    At("bob").Wait("speaking", Hears(u"ann"_s));
    recording.WaitFor(recording.Length() + 2);
    EXPECT_GT(heard::Loudest(recording.Ears(u"bob"_s)), 1000);
    EXPECT_EQ(heard::Loudest(recording.Ears(u"ann"_s)), 0);  // not herself
    Talk("ann");                                             // switched off
    Stillness("Talk is off", recording, 2);
    const double off = recording.Length();
    auto answers = lab->Say(u"bob"_s, speech);
    At("bob").Wait("speaking", Hears(u"bob"_s));
    recording.WaitFor(off + 2);
    EXPECT_EQ(heard::Loudest(recording.Ears(u"ann"_s)), 0);  // she does not listen any more
    EXPECT_EQ(heard::Loudest(recording.Ears(u"bob"_s), off), 0);
}

TEST_P(Voice, SaysWhyItIsSilent)
{
    if (GetParam() == By::PulseAudio) {
        Seat(u"ann"_s);  // no server at all
        Talk("ann");
        At("ann").Wait("note", Is("text", u"No voice: this computer has no sound server."_s));
        return;
    }
    Open({u"ann"_s});
    Seat(u"ann"_s);
    Talk("ann");
    lab->Unplug(u"ann"_s);
    At("ann").Wait("note", Is("text", u"Nobody hears you: there is no microphone."_s));
}

TEST_P(VoiceAlone, ComesBackFromWhateverHappens)
{
    Open({u"ann"_s, u"bob"_s});
    Seat(u"ann"_s, Road::Bad);
    Seat(u"bob"_s, Road::Bad);
    const QString speech = lab->Speech("speech.raw", 600);
    Talk("ann");
    Talk("bob");
    auto says = lab->Say(u"ann"_s, speech);
    Recording recording(*lab, "heard.raw");
    At("bob").Wait("speaking", Hears(u"ann"_s));

    const auto cut = [&](bool is) {
        DatagramProxy::Weather weather;
        weather.stopped = is;
        SetWeather(weather);
        for (auto& [name, road] : streams)
            for (const auto way : {FaultProxy::Way::Up, FaultProxy::Way::Down}) road->Stall(way, is);
    };
    cut(true);
    Stillness("nothing passes for 3 s", recording, 3);
    double since = recording.Length();
    cut(false);
    Returns("nothing passed for 3 s", recording, since);

    for (auto& [name, road] : streams) {
        road->Block(true);
        road->Cut();
    }
    Stillness("connections lost, and none for 3 s", recording, 3);
    since = recording.Length();
    for (auto& [name, road] : streams) road->Block(false);
    Returns("connections lost, and none for 3 s", recording, since);

    service.Stop(SIGKILL);
    Stillness("the relay is killed", recording, 2);
    service.Start();
    since = recording.Length();
    Returns("the relay was killed and started", recording, since);

    for (const char* whose : {"bob", "ann"}) {
        const pid_t killed = Companion(whose);
        since = recording.Length();
        ::kill(killed, SIGKILL);
        recording.WaitFor(since + 4);
        const double gap = heard::LongestGap(recording.Ears(u"bob"_s), since, since + 4);
        std::printf("| %s's companion was killed | silent for %.2f s |\n", whose, gap);
        EXPECT_LE(gap, kBack + kUnderWay);
        EXPECT_NE(Companion(whose), killed);
    }

    for (const char* whose : {"bob", "ann"}) {
        ::kill(Companion(whose), SIGSTOP);
        since = recording.Length();
        recording.WaitFor(since + 3);
        ExpectStill("a companion sleeps", recording, since);
        since = recording.Length();
        ::kill(Companion(whose), SIGCONT);
        Returns("a companion slept for 3 s", recording, since);
    }

    lab->Unplug(u"ann"_s);
    Stillness("her microphone is unplugged", recording, 1);
    since = recording.Length();
    lab->Plug(u"ann"_s);
    Returns("her microphone was unplugged", recording, since);

    const int companion = int(syscall(SYS_pidfd_open, Companion("ann"), 0));
    At("ann").Client().Signal(SIGKILL);
    Stillness("her client is killed", recording, 2);
    pollfd ends{companion, POLLIN, 0};
    EXPECT_EQ(::poll(&ends, 1, 20'000), 1);  // and its companion ends
    ::close(companion);
}

TEST_P(VoiceAlone, FourHearEachOther)
{
    const QStringList all{u"ann"_s, u"bob"_s, u"eve"_s, u"sam"_s};
    Open(all);
    for (const QString& one : all) Seat(one);
    for (const QString& one : all) Talk(one.toLatin1());
    const QString speech = lab->Speech("speech.raw", 5, 1);
    for (const QString& one : all) {
        Recording recording(*lab, "heard.raw");
        EXPECT_EQ(lab->Say(one, speech)->WaitForEnd(), 0);
        for (const QString& other : all) {
            const double alike = heard::Alike(recording.Mouth(one), recording.Ears(other));
            std::printf("| %s at %s's ears | %.2f |\n", qPrintable(one), qPrintable(other), alike);
            if (one == other)
                EXPECT_EQ(heard::Loudest(recording.Ears(other)), 0);
            else
                EXPECT_GT(alike, kAlike);
        }
    }
}

TEST_P(VoiceAlone, IsLikeWhatWasSaidOnGoodAndBadRoads)
{
    using namespace std::chrono_literals;
    MeetForASpeech(Road::Bad);
    const struct {
        const char* name;
        DatagramProxy::Weather weather;
        double mostMs;
    } rows[] = {{"UDP, by proxies", {}, 130},
                {"5 % lost", {.lost = 0.05 / 2}, 130},  // on each of two ways
                {"20 % lost", {.lost = 0.2 / 2}, 130},
                {"50 ms jitter", {.late = 25ms}, 200}};
    for (const auto& row : rows) {
        SetWeather(row.weather);
        ExpectSpeech(row.name, row.mostMs);
    }
    QFile status(u"/proc/%1/status"_s.arg(Companion("bob")));
    ASSERT_TRUE(status.open(QIODevice::ReadOnly));
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith("VmRSS") || line.startsWith("RssAnon"))
            std::printf("| a companion | %s |\n", line.constData());
}

TEST_P(VoiceAlone, IsLikeWhatWasSaidByUdp)
{
    MeetForASpeech(Road::Straight);
    ExpectSpeech("UDP", 120);
}

TEST_P(VoiceAlone, IsLikeWhatWasSaidByTls)
{
    MeetForASpeech(Road::Tls);
    ExpectSpeech("TLS", 150);
}

}  // namespace stage
