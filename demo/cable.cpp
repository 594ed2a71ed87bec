#include "demo/cable.h"

#include <exception>

using namespace Qt::StringLiterals;

namespace stage {
namespace {

QStringList Enter(const Child& whose, QStringList spaces)
{
    return QStringList{u"nsenter"_s, u"--target"_s, QString::number(whose.Pid()), u"--preserve-credentials"_s,
                       u"--user"_s} +
           spaces;
}

/// A process that says a word once it has what it is there for, and keeps it.
std::unique_ptr<Child> Keeper(QStringList words, const QString& logFile)
{
    const QString program = words.takeFirst();
    auto made = std::make_unique<Child>(program, words, std::map<QString, QString>{}, logFile);
    if (made->ReadLine() != "up") throw std::runtime_error("not up");
    return made;
}

}  // namespace

Cable::Cable(const QString& logFile) : mLog(logFile)
{
    try {
        // Whoever joins the two must own both.
        mOwner = Keeper({u"unshare"_s, u"--map-root-user"_s, u"sh"_s, u"-c"_s, u"echo up; read end"_s}, mLog);
        for (auto& computer : mComputers)
            computer = Keeper(Enter(*mOwner, {u"unshare"_s, u"--net"_s, u"--mount"_s, u"sh"_s, u"-c"_s,
                                              u"mount -t tmpfs none /run && ip link set lo up && echo up; "
                                              "read end"_s}),
                              mLog);
        mApart = true;
        mApart = Join();
    } catch (const std::exception&) {
        mApart = false;
    }
}

bool Cable::Join() const
{
    const auto ip = [this](int at, const QString& words) {
        return In(at, QStringList{u"ip"_s} + words.split(u' ')) == 0;
    };
    bool joined = ip(0, u"link add eth0 type veth peer name eth0 netns %1"_s.arg(mComputers[1]->Pid()));
    for (const int at : {0, 1})
        joined = joined && ip(at, u"address add %1/24 dev eth0"_s.arg(Address(at))) &&
                 ip(at, u"link set eth0 up"_s);
    return joined;
}

QString Cable::Address(int at)
{
    return u"10.77.0.%1"_s.arg(at + 1);
}

QStringList Cable::Launcher(int at) const
{
    return mApart ? Enter(*mComputers[at], {u"--net"_s, u"--mount"_s}) : QStringList();
}

int Cable::In(int at, const QStringList& words) const
{
    QStringList all = Launcher(at) + words;
    const QString program = all.takeFirst();
    return Child(program, all, {}, mLog).WaitForEnd();
}

}  // namespace stage
