// Looking for services on the network where nobody answers: nothing happens, and nobody waits.
#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QTemporaryDir>

#include "platform/linux/avahi_neighbours.h"
#include "platform/mute_bus.h"

using namespace Qt::StringLiterals;

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
