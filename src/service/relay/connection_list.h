#pragma once
// The connections there are. Any thread.

#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace zephyl {

class Connection;

class ConnectionList {
public:
    void Add(const std::shared_ptr<Connection>& connection)
    {
        const std::lock_guard lock(mMutex);
        mConnections[connection.get()] = connection;
    }
    void Remove(const Connection* connection)
    {
        const std::lock_guard lock(mMutex);
        mConnections.erase(connection);
    }
    std::vector<std::shared_ptr<Connection>> All() const
    {
        const std::lock_guard lock(mMutex);
        std::vector<std::shared_ptr<Connection>> all;
        for (const auto& [raw, weak] : mConnections)
            if (auto connection = weak.lock()) all.push_back(std::move(connection));
        return all;
    }
    std::size_t Count() const
    {
        const std::lock_guard lock(mMutex);
        return mConnections.size();
    }

private:
    mutable std::mutex mMutex;
    std::unordered_map<const Connection*, std::weak_ptr<Connection>> mConnections;
};

}  // namespace zephyl
