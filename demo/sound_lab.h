#pragma once
// A sound server with made-up devices: what each of some people says and hears are two channels of one
// device, so that whatever is recorded of it has all of them at the same moments.

#include "demo/stage.h"

namespace stage {

class SoundLab {
public:
    enum class By { PulseAudio, PipeWire };
    static constexpr int kRate = 48'000;

    /// Throws std::runtime_error when the server does not get ready. At most seven people.
    SoundLab(const Folder& folder, QStringList people, By by = By::PulseAudio);
    ~SoundLab();

    /// What a program's environment must say to use it.
    std::map<QString, QString> Environment() const { return {{QStringLiteral("PULSE_SERVER"), mAddress}}; }
    static QString Microphone(const QString& person) { return person + QStringLiteral("_mic"); }
    static QString Speakers(const QString& person) { return person + QStringLiteral("_ears"); }

    void Unplug(const QString& person);  // the microphone
    void Plug(const QString& person);

    /// Sentences spoken one after the other, `seconds` of them at the least, 48 kHz, 16 bits. A gap of
    /// `padding` seconds before and behind them.
    QString Speech(const char* file, int seconds, double padding = 0);
    /// Says what is in the file until that ends, or until the child does.
    std::unique_ptr<Child> Say(const QString& person, const QString& file);

    /// All channels, from the first moment that anything is recorded.
    class Recording {
    public:
        Recording(SoundLab& lab, const char* name);
        /// Seconds so far.
        double Length() const;
        /// Comes back when it is that long; throws when nothing more is recorded.
        void WaitFor(double seconds);
        std::vector<qint16> Mouth(const QString& person) const;
        std::vector<qint16> Ears(const QString& person) const;
        /// What the sound server alone brings from the first person's microphone to speakers.
        std::vector<qint16> Loopback() const;

    private:
        std::vector<qint16> Channel(int channel) const;
        SoundLab& mLab;
        const QString mFile;
        std::unique_ptr<Child> mRecorder;
    };
    /// The server itself brings the first person's microphone to speakers of its own, or no longer: it costs
    /// PulseAudio half a processor.
    void LoopBack(bool on);

private:
    void StartPulseAudio();
    void StartPipeWire();
    static void WaitFor(const char* what, const std::function<bool()>& ready);
    void WaitForServer();
    QByteArray Control(const QStringList& words);
    std::unique_ptr<Child> Start(const QString& program, const QStringList& words);
    int Channels() const { return 2 * int(mPeople.size()) + 1; }
    QString Part(const char* module, const QString& name, int channel) const;
    int Mouth(const QString& person) const { return 2 * int(mPeople.indexOf(person)); }

    const Folder& mFolder;
    const QStringList mPeople;
    QString mHome, mAddress;
    std::map<QString, QString> mEnvironment;
    std::map<QString, QByteArray> mMicrophones;  // their modules
    std::vector<QByteArray> mLoop;               // and those of the loop
    std::vector<std::unique_ptr<Child>> mServers;
};

}  // namespace stage
