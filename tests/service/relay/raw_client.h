#pragma once
// A client of few words for protocol tests: blocking, one thread, no link. It answers pings, puts items
// together, and otherwise does only what it is told.

#include <chrono>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "service/wire/content.h"
#include "service/wire/framing.h"

namespace zephyl {

inline constexpr std::chrono::seconds kPatience{10};  // with a service that should have answered

struct Received {
    Header header;
    std::string body;
};

/// The connection ended while something was waited for, or nothing came in time.
struct NothingCame : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A text of `total` bytes for everybody, to be shaped further; what its frame begins with.
Header PostHeader(Channel channel, std::uint64_t number, std::size_t total);
/// The same of a live picture.
Header LiveHeader(int type, std::uint64_t frame, std::size_t total);

/// What its bytes travel on.
class RawRoad {
public:
    virtual ~RawRoad() = default;
    virtual void Send(std::string_view bytes) = 0;
    /// Appends what comes next. Throws NothingCame, or what the connection ended of.
    virtual void Fill(std::string& into, std::chrono::steady_clock::time_point until) = 0;
    /// Readable when something may have come.
    virtual int Socket() = 0;
    virtual void Kill() = 0;
};

enum class By { Tcp, Http };

class RawClient {
public:
    /// `from`: the address that it comes from; `to`: where the service is.
    explicit RawClient(std::uint16_t port, const std::string& door = {},
                       std::uint32_t version = kProtocolVersion, const std::string& from = "127.0.0.1",
                       const std::string& to = "127.0.0.1", By by = By::Tcp);

    // Sending.
    void Send(const Header& header, std::string_view body = {});
    void SendBytes(std::string_view bytes);
    void SendItem(const Header& header, std::string_view body);
    /// A text to everyone, or to `to`; its channel follows from its tag.
    void Post(std::uint64_t number, const std::string& text, const std::vector<std::string>& to = {});
    void PostAndWait(std::uint64_t number, const std::string& text, const std::vector<std::string>& to = {})
    {
        Post(number, text, to);
        WaitAccepted(ChannelOfText(text), number);
    }
    void SendLive(int type, std::uint64_t frame, std::string_view body);
    void SendRead(std::uint64_t talk, std::uint64_t board, std::uint64_t live = 0);
    /// Whom this one hears and is heard by from now on; `also`: them, too.
    void TalkWith(const std::vector<std::string>& handles, bool also = false);

    // Calls with their answers.
    LoggedIn Login(const std::string& handle, const std::string& password, std::uint64_t stream,
                   bool again = false);
    Entered Enter(const std::string& code, bool create, const std::string& rejoin = {});
    Resumed Resume(const Place& place, const Cursor& cursor);
    Resumed Resume(const Place& place) { return Resume(place, place.position()); }
    void Leave();
    PasswordSent SendPassword(const std::string& handle);
    PasswordChanged ChangePassword(const std::string& handle, const std::string& password,
                                   const std::string& wish);

    // Receiving. All of these throw NothingCame after ten seconds.
    /// The next frame or whole item, pings answered and left out.
    Received Next();
    /// The next one if it is there already.
    std::optional<Received> Ready();
    int Socket() { return mRoad->Socket(); }
    /// The next one of this kind; others before it are kept for later calls.
    Received Wait(Header::MessageCase kind);
    ByeReason Goodbye() { return Wait(Header::kBye).header.bye().reason(); }
    /// The number of the next post that is refused.
    std::uint64_t Refused() { return Wait(Header::kRefused).header.refused().number(); }
    /// Texts of the next `count` text items.
    std::vector<std::string> Texts(int count);
    /// "handle status" of the next presence.
    std::string Presence();
    /// True when everything sent so far has been answered and none of this kind has come.
    bool Quiet(Header::MessageCase kind);
    bool Ended();
    /// Accepted up to this number on the channel.
    void WaitAccepted(Channel channel, std::uint64_t number);
    /// As a killed process: no Bye, no close of TLS.
    void Kill();

    std::optional<std::string> device;  // shown at each login; one that comes takes its place
    bool readAlong = false;             // answer every item with Read, as a client does that keeps up

private:
    bool FromBuffer(Received& to);

    std::unique_ptr<RawRoad> mRoad;
    FrameReader mReader{Way::Down};
    ItemReader mItems;
    std::deque<Received> mKept;
    std::uint32_t mCall = 0;
    Cursor mTaken;
    Accepted mAccepted;
};

}  // namespace zephyl
