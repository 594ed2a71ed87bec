#include "reliability/daemon.h"

#include <dirent.h>
#include <unistd.h>

#include <QFile>
#include <fstream>
#include <sstream>

#include "service/relay/door/sqlite_accounts.h"
#include "service/relay/private_folder.h"

using namespace Qt::StringLiterals;

namespace reliability {

double Since(Time since)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - since).count();
}

Daemon::Daemon(int accounts, const QString& config, zephyl::HashCost cost)
{
    zephyl::StartSodium();
    const std::filesystem::path data = Data().toStdString();
    zephyl::PreparePrivateFolder(data);
    zephyl::SqliteAccounts store(data);
    const std::string hash = zephyl::HashPassword("secret", cost);
    for (int i = 0; i < accounts; ++i) store.Add("c" + std::to_string(i), hash, "");
    QFile file(mFolder / "zephyld.toml");
    if (!file.open(QIODevice::WriteOnly)) throw std::runtime_error("no configuration file");
    file.write(config.toUtf8());
    file.close();
    Start();
}

void Daemon::Start()
{
    const QStringList words = wrapper + QStringList{stage::Programs() + u"/zephyld"_s,
                                                    u"serve"_s,
                                                    u"--config"_s,
                                                    mFolder / "zephyld.toml",
                                                    u"--listen"_s,
                                                    u"127.0.0.1:0"_s,
                                                    u"--data"_s,
                                                    Data()};
    mChild = std::make_unique<stage::Child>(words.front(), words.mid(1), std::map<QString, QString>{},
                                            mFolder / "zephyld.log");
    constexpr int kSeconds = 120;  // long forms run beside much else
    const QList<QByteArray> ready = mChild->ReadLine(kSeconds).split(' ');
    if (ready.size() != 4 || ready[1] != "ready") throw std::runtime_error("zephyld did not get ready");
    mPort = std::uint16_t(ready[2].mid(ready[2].lastIndexOf(':') + 1).toUInt());
    // Others read it meanwhile.
    if (std::string key = ready[3].toStdString(); key != mFingerprint) mFingerprint = std::move(key);
}

int Daemon::End(int signal, int seconds)
{
    mChild->Signal(signal);
    return mChild->WaitForEnd(seconds);
}

QString Daemon::Address() const
{
    return u"127.0.0.1:%1"_s.arg(mPort);
}

long Daemon::ResidentKiB() const
{
    if (stage::kSanitized) return 0;
    std::ifstream in("/proc/" + std::to_string(Pid()) + "/statm");
    long all = 0, resident = 0;
    in >> all >> resident;
    return resident * (::sysconf(_SC_PAGESIZE) / 1024);
}

int DescriptorsOf(pid_t process)
{
    DIR* const folder = ::opendir(("/proc/" + std::to_string(process) + "/fd").c_str());
    if (!folder) return -1;
    int count = -2;  // the two dots
    while (::readdir(folder)) ++count;
    ::closedir(folder);
    return count;
}

int Daemon::Logged(const QByteArray& words) const
{
    QFile file(mFolder / "zephyld.log");
    return file.open(QIODevice::ReadOnly) ? int(file.readAll().count(words)) : 0;
}

double ProcessorSecondsOf(pid_t process)
{
    std::ifstream in("/proc/" + std::to_string(process) + "/stat");
    std::string text;
    std::getline(in, text);
    std::istringstream fields(text.substr(text.rfind(')') + 2));  // the third field on
    std::string skipped;
    for (int field = 3; field < 14; ++field) fields >> skipped;
    double user = 0, system = 0;
    fields >> user >> system;
    return (user + system) / double(::sysconf(_SC_CLK_TCK));
}

}  // namespace reliability
