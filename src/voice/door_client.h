#pragma once
// The companion's end of the client's door. One thread at a time.

#include <functional>
#include <string>
#include <string_view>

namespace voice {

class DoorClient {
public:
    DoorClient() = default;
    ~DoorClient() { Close(); }
    DoorClient(const DoorClient&) = delete;
    DoorClient& operator=(const DoorClient&) = delete;

    /// Says the word. False: nobody is there.
    bool Open(const std::string& path, const std::string& word);
    bool IsOpen() const { return mSocket >= 0; }
    /// To wait for; -1: closed.
    int Descriptor() const { return mSocket; }
    /// False: it was not taken. Voice is not worth waiting for.
    bool Send(std::string_view message);
    /// Hands over what has come. Closes itself when the other end has.
    void Receive(const std::function<void(std::string_view)>& take);
    void Close();

private:
    int mSocket = -1;
    std::string mMemory;
};

}  // namespace voice
