#include "reliability/linked_attendee.h"

#include <ostream>

#include "cipher/password.h"
#include "service/link/link_messenger.h"

using namespace std::chrono_literals;

void PrintTo(const QString& text, std::ostream* stream)
{
    *stream << '"' << text.left(200).toStdString() << '"';
}

LinkedAttendee::LinkedAttendee(QString address, const std::string& pin, const QString& devices)
    : service(std::move(address))
{
    if (!pin.empty()) pins[service] = QString::fromStdString(pin);
    const auto keep = [this](const QString& line) {
        const std::lock_guard lock(mMutex);
        log += line;
    };
    link = MakeLinkMessenger(
        LinkNeeds{*this, *this, *this, *this, *this, keep, QStringLiteral("test"), {}, devices, [this] {
                      return slept.load();
                  }});
    link->SetEvents(this);
}

LinkedAttendee::~LinkedAttendee()
{
    link.reset();
}

bool LinkedAttendee::Login(const QString& handle, const QString& password)
{
    return link->Login(handle, EncipherPassword(password), {});
}

void LinkedAttendee::Draw(const QString& record)
{
    for (const auto& item : link->Users()->Items())
        if (item->Handle() != link->Handle()) item->Deliver(link->Handle(), {}, record, 0);
}

void LinkedAttendee::Film(const QByteArray& jpeg, int type)
{
    for (const auto& item : link->Users()->Items())
        item->SendVideoFrame(jpeg, link->Handle(), 3, 4, type, 65);
}

QStringList LinkedAttendee::Handles() const
{
    QStringList handles;
    for (const auto& item : link->Users()->Items()) handles += item->Handle();
    return handles;
}

void LinkedAttendee::Turn()
{
    std::deque<std::function<void()>> work;
    {
        const std::lock_guard lock(mMutex);
        work.swap(mPosted);
    }
    for (const auto& one : work) one();
}

bool LinkedAttendee::Until(const std::function<bool()>& enough)
{
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    while (true) {
        Turn();
        if (enough()) return true;
        std::unique_lock lock(mMutex);
        // What is asked of the link's figures posts nothing when it comes true: look again now and then.
        mPostedSome.wait_for(lock, 20ms, [&] { return !mPosted.empty(); });
        if (std::chrono::steady_clock::now() >= deadline) return false;
    }
}

qsizetype LinkedAttendee::Logged(const QString& part)
{
    const std::lock_guard lock(mMutex);
    return log.filter(part).size();
}

QString LinkedAttendee::Next()
{
    if (!Until([&] { return !heard.empty(); })) return QStringLiteral("nothing");
    const QString next = heard.front();
    heard.pop_front();
    return next;
}

QStringList LinkedAttendee::Next(int count)
{
    QStringList next;
    while (next.size() < count) next += Next();
    return next;
}

void LinkedAttendee::Hold(bool held)
{
    mHeld = held;
    if (!held) mDrain();
}

void LinkedAttendee::Post(std::function<void()> work)
{
    {
        const std::lock_guard lock(mMutex);
        mPosted.push_back(std::move(work));
    }
    mPostedSome.notify_all();
}

bool LinkedAttendee::Wait(PendingAnswer& pending, std::chrono::milliseconds limit)
{
    struct Signal {
        std::mutex mutex;
        std::condition_variable done;
    };
    const auto signal = std::make_shared<Signal>();
    pending.WhenDone([signal] {
        const std::lock_guard lock(signal->mutex);
        signal->done.notify_all();
    });
    std::unique_lock lock(signal->mutex);
    return signal->done.wait_for(lock, limit, [&] { return pending.Done(); });
}

bool LinkedAttendee::Ask(const QString&, const QString&)
{
    ++questions;
    if (whileAsked) whileAsked();
    return answer;
}

std::optional<QString> LinkedAttendee::PinnedKey(const QString& name)
{
    const auto found = pins.find(name);
    return found == pins.end() ? std::nullopt : std::optional(found->second);
}

void LinkedAttendee::NewMessage(const QString& fromHandle, const QString& message)
{
    if (watcher) return watcher->NewMessage(fromHandle, message);
    heard.push_back(fromHandle + u':' + message);
}

/// Keeps the collection as the client does.
void LinkedAttendee::StatusChanged(const QString& userHandle, qint32 newStatus)
{
    if (watcher)
        watcher->StatusChanged(userHandle, newStatus);
    else
        heard.push_back(QStringLiteral("%1=%2").arg(userHandle).arg(newStatus));
    if (newStatus == kStatusPresent) {
        auto item = link->MakeUserItem();
        item->Init(userHandle, true);
        link->Users()->Add(std::move(item));
    }
    if (newStatus != kStatusLeft) return;
    for (const auto& item : link->Users()->Items())
        if (item->Handle() == userHandle) leftFrom = item->Address();
    link->Users()->Remove(userHandle);
}

void LinkedAttendee::VideoFrame(const QString& fromHandle, const PicturePtr& frame, int x, int y,
                                qint32 frameType)
{
    if (watcher) return watcher->VideoFrame(fromHandle, frame, x, y, frameType);
    heard.push_back(fromHandle +
                    (frame ? QStringLiteral("#%1x%2").arg(frame->pixels.width).arg(frame->pixels.height)
                           : QStringLiteral("#none")));
}
