// Looking for services on the network where nobody answers: nothing happens, and nobody waits.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <QElapsedTimer>
#include <QTemporaryDir>

#include "platform/linux/avahi_neighbours.h"

using namespace Qt::StringLiterals;

namespace {

/// A bus that lets in and never says a word.
class MuteBus {
public:
    explicit MuteBus(const QString& path) : mFd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un name{};
        name.sun_family = AF_UNIX;
        path.toLocal8Bit().toStdString().copy(name.sun_path, sizeof name.sun_path - 1);
        EXPECT_EQ(::bind(mFd, reinterpret_cast<const sockaddr*>(&name), sizeof name), 0);
        EXPECT_EQ(::listen(mFd, 4), 0);
    }
    ~MuteBus() { ::close(mFd); }
    MuteBus(const MuteBus&) = delete;
    MuteBus& operator=(const MuteBus&) = delete;

private:
    int mFd;
};

}  // namespace

TEST(Neighbours, NobodyWaitsWhereThereIsNoAvahi)
{
    QTemporaryDir dir;
    const QString bus = dir.filePath(u"bus"_s);
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + bus.toLocal8Bit());
    for (const bool there : {false, true}) {
        SCOPED_TRACE(there);
        std::unique_ptr<MuteBus> mute;
        if (there) mute = std::make_unique<MuteBus>(bus);
        QElapsedTimer took;
        took.start();
        auto neighbours = std::make_unique<AvahiNeighbours>();
        neighbours->Look([] { ADD_FAILURE() << "somebody was found"; });
        EXPECT_TRUE(neighbours->Found().empty());
        neighbours->Look(nullptr);
        neighbours.reset();
        EXPECT_LT(took.elapsed(), 5000);  // the bus library itself waits for 25 s and more
    }
}
