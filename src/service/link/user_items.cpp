#include "service/link/user_items.h"

#include <algorithm>
#include <stdexcept>

namespace zephyl::link {

void LinkUserItem::Init(const QString& handle, bool)
{
    mHandle = handle;
}

std::shared_ptr<Outlet> LinkUserItem::Ready() const
{
    std::shared_ptr<Outlet> outlet = mOutlet.lock();
    if (!outlet) throw std::runtime_error("the messaging service is closed");
    if (mHandle.isEmpty()) throw std::runtime_error("the user item has no handle yet");
    return outlet;
}

void LinkUserItem::Deliver(const QString& fromHandle, const QString&, const QString& message, qint32)
{
    Ready()->DeliverTo(mHandle, fromHandle, message);
}

void LinkUserItem::SendVideoFrame(const QByteArray& data, const QString& handle, int x, int y,
                                  qint32 frameType, qint32 quality)
{
    Ready()->SendFrameTo(mHandle, data, handle, x, y, frameType, quality);
}

QString LinkUserItem::Address() const
{
    const std::shared_ptr<Outlet> outlet = mOutlet.lock();
    return outlet ? outlet->AddressOf(mHandle) : QString();
}

void LinkUsers::Add(std::shared_ptr<UserItem> item, qint32)
{
    if (!item) throw std::runtime_error("no user item to add");
    const bool known = std::any_of(mItems.begin(), mItems.end(),
                                   [&](const auto& one) { return one->Handle() == item->Handle(); });
    if (known) throw std::runtime_error("the user '" + item->Handle().toStdString() + "' is there already");
    mItems.push_back(std::move(item));
}

std::shared_ptr<UserItem> LinkUsers::Item(const QString& handle) const
{
    for (const auto& item : mItems)
        if (item->Handle() == handle) return item;
    throw std::runtime_error("there is no user '" + handle.toStdString() + "'");
}

void LinkUsers::Remove(const QString& handle)
{
    const auto gone = std::erase_if(mItems, [&](const auto& item) { return item->Handle() == handle; });
    if (gone == 0) throw std::runtime_error("there is no user '" + handle.toStdString() + "'");
}

}  // namespace zephyl::link
