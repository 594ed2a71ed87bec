#pragma once
// The users collection and its items. User-interface thread.

#include <memory>
#include <vector>

#include "contract/messenger_service.h"

namespace zephyl::link {

/// What an item needs of the link. An item may outlive it: then every call throws.
class Outlet {
public:
    virtual ~Outlet() = default;
    virtual void DeliverTo(const QString& handle, const QString& fromHandle, const QString& message) = 0;
    virtual void SendFrameTo(const QString& handle, const QByteArray& data, const QString& fromHandle, int x,
                             int y, qint32 frameType, qint32 quality) = 0;
    virtual QString AddressOf(const QString& handle) const = 0;
};

class LinkUserItem final : public UserItem {
public:
    explicit LinkUserItem(std::weak_ptr<Outlet> outlet) : mOutlet(std::move(outlet)) {}
    void Init(const QString& handle, bool flag) override;
    void Deliver(const QString& fromHandle, const QString& tag, const QString& message,
                 qint32 flags) override;
    QString Handle() const override { return mHandle; }
    QString Address() const override;
    void SendVideoFrame(const QByteArray& data, const QString& handle, int x, int y, qint32 frameType,
                        qint32 quality) override;

private:
    std::shared_ptr<Outlet> Ready() const;

    std::weak_ptr<Outlet> mOutlet;
    QString mHandle;  // "" before Init
};

class LinkUsers final : public UsersCollection {
public:
    void Add(std::shared_ptr<UserItem> item, qint32 flags) override;
    std::shared_ptr<UserItem> Item(const QString& handle) const override;
    void Remove(const QString& handle) override;
    std::vector<std::shared_ptr<UserItem>> Items() const override { return mItems; }
    void Clear() { mItems.clear(); }

private:
    std::vector<std::shared_ptr<UserItem>> mItems;  // a meeting has 200 at most
};

}  // namespace zephyl::link
