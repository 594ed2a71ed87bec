#pragma once
// The services that the computer's Avahi hears of.

#include <QObject>
#include <memory>

#include "avahi/avahi_thread.h"
#include "platform/neighbours.h"

class AvahiNeighbours final : public NeighboursPort {
public:
    AvahiNeighbours();
    ~AvahiNeighbours() override;
    void Look(std::function<void()> changed) override;
    std::vector<NeighbourService> Found() const override;

private:
    class Browsing;
    QObject mHere;  // on whose thread `changed` runs
    std::shared_ptr<Browsing> mBrowsing;
    std::unique_ptr<AvahiThread> mThread;  // null: nobody has asked yet
};
