#pragma once
// Headless clients on the real link, each behind a fault proxy of its own and with a thread of its own as its
// user interface. They send numbered payloads and keep what they saw, with its time.

#include <array>
#include <atomic>
#include <future>
#include <optional>
#include <thread>

#include "reliability/daemon.h"
#include "reliability/fault_proxy.h"
#include "reliability/linked_attendee.h"
#include "reliability/site.h"
#include "service/link/link_stats.h"

namespace reliability {

enum Channel { Talk, Board };

/// The payload that `sender` sends as its `number`th of that channel, `bytes` long (at least 40).
QString Payload(Channel channel, int sender, std::uint32_t number, std::size_t bytes);
struct Read {
    std::uint32_t number;
    bool whole;  // every character as it was sent
};
/// None: no payload of ours.
std::optional<Read> ReadPayload(Channel channel, int sender, const QString& text);

struct Sent {
    std::uint32_t number;
    Time at;
};
struct Applied {
    int sender;
    std::uint32_t number;
    Time at;
};
struct LinkSeen {
    LinkState state;
    Time at;
};

/// What one client saw of one meeting, from entering to leaving.
struct Entry {
    std::array<std::vector<Applied>, 2> applied;  // by channel, in the order of taking
    std::vector<std::pair<int, int>> presence;    // who, status
    int damaged = 0;

    /// False: no payload of ours.
    bool Take(const QString& fromHandle, const QString& text);
};

struct Load {
    double records = 0, lines = 0;  // a second
    std::size_t recordBytes = 120, lineBytes = 60;
};

class Client final : private MessengerEvents {
public:
    Client(const Site& site, int number);
    ~Client() override;

    /// Logged in and in the meeting; throws std::runtime_error when refused.
    void Enter(const QString& code, bool create);
    void Leave();
    /// From now on it sends at this pace.
    void SetLoad(const Load& load);
    /// One item now, to everybody else (a record to the empty meeting is kept for who comes).
    void SendOne(Channel channel, std::size_t bytes);

    /// Runs on the client's thread and returns its result; what it throws is thrown here.
    template <class Work>
    auto Do(Work work)
    {
        using Result = decltype(work());
        std::promise<Result> promise;
        mAttendee.Post([&] {
            try {
                if constexpr (std::is_void_v<Result>)
                    work(), promise.set_value();
                else
                    promise.set_value(work());
            } catch (...) {
                promise.set_exception(std::current_exception());
            }
        });
        return promise.get_future().get();
    }
    /// Polls on the client's thread; false when `seconds` passed first.
    bool Until(const std::function<bool()>& enough, double seconds = 60);

    LinkStats Stats();
    QString Handle() const { return mHandle; }
    int Number() const { return mNumber; }
    /// Only inside Do and Until, or while the client is at rest.
    LinkedAttendee& Attendee() { return mAttendee; }

    FaultProxy proxy;
    std::function<void(const PicturePtr& frame)> onFrame;  // on the client's thread; set before Enter
    std::function<void(int sender, const QString& text)> onText;

    // Of the client's thread.
    std::vector<Entry> entries;
    std::array<std::vector<Sent>, 2> sent;
    std::vector<LinkSeen> states;
    int heldBack = 0;  // not sent, because much was waiting

    std::atomic<std::uint64_t> appliedCount{0}, sentCount{0}, returns{0}, cuts{0}, ends{0};

private:
    void Turn();
    void SendDue();
    bool Due() const;
    void Transmit(Channel channel, std::size_t bytes);

    void NewMessage(const QString& fromHandle, const QString& message) override;
    void StatusChanged(const QString& userHandle, qint32 newStatus) override;
    void VideoFrame(const QString&, const PicturePtr& frame, int, int, qint32) override;
    void LinkChanged(const LinkState& state) override;

    const int mNumber;
    const QString mHandle;
    LinkedAttendee mAttendee;
    Load mLoad;
    std::array<Time, 2> mNext{};
    std::array<std::uint32_t, 2> mNumbers{};
    std::atomic<bool> mStop{false};
    std::thread mThread;
};

using Crowd = std::vector<std::unique_ptr<Client>>;

/// `count` clients in one meeting that the first one makes; everybody holds everybody. `prepare` sees each
/// before it connects.
Crowd Gather(const Site& site, int count, const std::function<void(Client&)>& prepare = {});
void SetLoad(const Crowd& crowd, const Load& load);
/// New connections go to where it listens now.
void Follow(const Crowd& crowd, const Site& site);
/// Everything sent has been applied by everybody else, and every outbox is empty.
bool AtRest(const Crowd& crowd, double seconds = 60);
/// Milliseconds until the client has what the others had sent by now, and the log has what it had sent
/// itself; 60,000: it has not.
double UntilBack(Client& client, const Crowd& crowd);
/// The same until everybody has.
double UntilAllBack(const Crowd& crowd);
/// Until `enough` holds; looks every few milliseconds.
bool WaitFor(const std::function<bool()>& enough, double seconds);
void Sleep(double milliseconds);

}  // namespace reliability
