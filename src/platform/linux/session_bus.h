#pragma once
// A connection to the desktop's message bus of our own, served by the program's event loop. Nothing here
// waits, also not for a bus that accepts and then says nothing; how long an answer may take is its asker's
// business. User-interface thread only; not to be destroyed inside one of its own calls.

#include <systemd/sd-bus.h>

#include <QSocketNotifier>
#include <QString>
#include <QTimer>
#include <functional>
#include <memory>
#include <vector>

class SessionBus {
public:
    /// A reply, an error or a signal, valid during the call; null: the call could not be made.
    using Handler = std::function<void(sd_bus_message*)>;
    /// Puts the arguments of a call in.
    using Arguments = std::function<int(sd_bus_message*)>;

    /// Null when there is no bus. `lost` is called once when it goes.
    static std::unique_ptr<SessionBus> Open(std::function<void()> lost);
    ~SessionBus();
    SessionBus(const SessionBus&) = delete;
    SessionBus& operator=(const SessionBus&) = delete;

    struct Call {
        QByteArray to, path, interface, method;
    };
    /// `answered` gets the reply or the error, once, and never after this object's end.
    void Ask(const Call& call, const Arguments& arguments, Handler answered);
    /// Signals that match `rule`, as the bus's own language puts it.
    void Listen(const QByteArray& rule, Handler heard);
    /// "" before the first answer.
    QByteArray OwnName() const;

private:
    struct Slot {
        Handler handler;
        sd_bus_slot* slot = nullptr;
    };
    SessionBus(sd_bus* bus, std::function<void()> lost);
    static int Arrived(sd_bus_message* message, void* slot, sd_bus_error*);
    void Serve();
    void Arm();

    sd_bus* mBus;
    std::function<void()> mLost;
    QSocketNotifier mReadable, mWritable;
    QTimer mDue;
    std::vector<std::unique_ptr<Slot>> mSlots;
};
