#include "platform/linux/session_bus.h"

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace {

constexpr int kAtOnce = 64;  // messages handled before the program does something else
constexpr std::uint64_t kNever = ~std::uint64_t(0);

}  // namespace

std::unique_ptr<SessionBus> SessionBus::Open(std::function<void()> lost)
{
    sd_bus* bus = nullptr;
    if (sd_bus_open_user(&bus) < 0) return nullptr;
    if (sd_bus_get_fd(bus) < 0) {
        sd_bus_close_unref(bus);
        return nullptr;
    }
    std::unique_ptr<SessionBus> made(new SessionBus(bus, std::move(lost)));
    made->Arm();
    return made;
}

SessionBus::SessionBus(sd_bus* bus, std::function<void()> lost)
    : mBus(bus),
      mLost(std::move(lost)),
      mReadable(sd_bus_get_fd(bus), QSocketNotifier::Read),
      mWritable(sd_bus_get_fd(bus), QSocketNotifier::Write)
{
    mDue.setSingleShot(true);
    QObject::connect(&mReadable, &QSocketNotifier::activated, &mDue, [this] { Serve(); });
    QObject::connect(&mWritable, &QSocketNotifier::activated, &mDue, [this] { Serve(); });
    QObject::connect(&mDue, &QTimer::timeout, &mDue, [this] { Serve(); });
}

SessionBus::~SessionBus()
{
    for (const auto& slot : mSlots) sd_bus_slot_unref(slot->slot);
    mReadable.setEnabled(false);
    mWritable.setEnabled(false);
    sd_bus_close_unref(mBus);
}

void SessionBus::Ask(const Call& call, const Arguments& arguments, Handler answered)
{
    auto slot = std::make_unique<Slot>();
    slot->handler = std::move(answered);
    sd_bus_message* message = nullptr;
    const bool asked =
        sd_bus_message_new_method_call(mBus, &message, call.to, call.path, call.interface, call.method) >=
            0 &&
        arguments(message) >= 0 &&
        sd_bus_call_async(mBus, &slot->slot, message, &SessionBus::Arrived, slot.get(), kNever) >= 0;
    sd_bus_message_unref(message);
    Slot& kept = *slot;
    mSlots.push_back(std::move(slot));
    if (asked) return Arm();
    QTimer::singleShot(0, &mDue, [&kept] { kept.handler(nullptr); });
}

void SessionBus::Listen(const QByteArray& rule, Handler heard)
{
    auto slot = std::make_unique<Slot>();
    slot->handler = std::move(heard);
    sd_bus_add_match_async(mBus, &slot->slot, rule, &SessionBus::Arrived, nullptr, slot.get());
    mSlots.push_back(std::move(slot));
    Arm();
}

QByteArray SessionBus::OwnName() const
{
    const char* name = nullptr;
    return sd_bus_is_ready(mBus) > 0 && sd_bus_get_unique_name(mBus, &name) >= 0 ? QByteArray(name)
                                                                                 : QByteArray();
}

int SessionBus::Arrived(sd_bus_message* message, void* slot, sd_bus_error*)
{
    static_cast<Slot*>(slot)->handler(message);
    return 0;
}

void SessionBus::Serve()
{
    int more = 1;
    for (int i = 0; i < kAtOnce && more > 0; ++i) more = sd_bus_process(mBus, nullptr);
    if (more >= 0 && sd_bus_is_open(mBus) > 0) return Arm();
    mReadable.setEnabled(false);
    mWritable.setEnabled(false);
    mDue.stop();
    if (auto lost = std::exchange(mLost, nullptr)) lost();
}

void SessionBus::Arm()
{
    const int events = sd_bus_get_events(mBus);
    if (events < 0) return mDue.start(0);
    mReadable.setEnabled(events & POLLIN);
    mWritable.setEnabled(events & POLLOUT);
    std::uint64_t due = kNever;
    if (sd_bus_get_timeout(mBus, &due) < 0 || due == kNever) return mDue.stop();
    const auto now = std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::steady_clock::now().time_since_epoch());
    const auto left = std::chrono::microseconds(due) - now;
    mDue.start(std::max(std::chrono::ceil<std::chrono::milliseconds>(left), std::chrono::milliseconds(0)));
}
