#pragma once
// Frames and items as bytes. A frame is a 32-bit length (of all that follows), a 16-bit header length,
// the header and the body, numbers big endian. An item is one frame that says the total, then More.
// Pure: no sockets, no clock, no shared state. Any thread, one at a time per object.

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "service/wire/limits.h"
#include "service/wire/zephyl.pb.h"

namespace zephyl {

/// Which way a frame goes: the two have different bounds for the header.
enum class Way { Up, Down };

/// The peer sent what no peer may send. The connection cannot go on.
struct WireError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Bytes in front of a frame's header.
inline constexpr std::size_t kFramePrefixBytes = 6;

/// Appends one frame to `out`. Throws std::length_error when header or body is over its bound; then
/// `out` is unchanged.
void AppendFrame(std::string& out, const Header& header, std::string_view body, Way way);

/// Bytes of the whole frame at the front of `bytes`, whose prefix must be there. Nothing is checked:
/// for frames of our own making.
std::size_t FrameBytes(std::string_view bytes);

/// The body of that frame.
std::string_view FirstBody(std::string_view bytes);

/// Cuts one item into frames of at most kBodyBytes, one at a time, so that frames of other lanes may
/// go between. `first` must carry the total; `body` must outlive the cutter.
class ItemCutter {
public:
    ItemCutter(Header first, Lane lane, std::string_view body, Way way);
    bool Done() const { return mDone; }
    /// Appends the next frame. Precondition: not Done.
    void AppendNext(std::string& out);

private:
    Header mHeader;
    Lane mLane;
    std::string_view mRest;
    Way mWay;
    bool mDone = false;
};

/// Appends a whole item at once.
void AppendItem(std::string& out, const Header& first, Lane lane, std::string_view body, Way way);

/// A frame inside its reader's memory; good until the reader's next Feed or Next.
struct FrameView {
    const Header& header;
    std::string_view body;
    std::size_t bytes = 0;  // of the whole frame
};

/// Finds frames in a stream of bytes. Lengths are checked as soon as the prefix is there, before the
/// rest is waited for. Holds no memory when it holds no bytes and Rest was called.
class FrameReader {
public:
    explicit FrameReader(Way way) : mWay(way) {}
    void Feed(std::string_view bytes) { Intake().append(bytes); }
    /// Where bytes may be appended instead, for a caller that would otherwise copy them once more.
    std::string& Intake();
    /// The next whole frame, none when bytes are missing. Throws WireError.
    std::optional<FrameView> Next();
    /// Gives memory back when nothing is held; call when the peer is silent.
    void Rest();
    std::size_t HeldBytes() const { return mBytes.size() - mAt; }

private:
    Way mWay;
    std::string mBytes;
    std::size_t mAt = 0;
    Header mHeader;
};

/// An item. Good until the next Take of the same lane, and no longer than the frame that ended it.
struct ItemView {
    const Header& header;
    std::string_view body;
    bool tooLarge = false;  // over its bound: reported with its first frame, the body is thrown away
};

/// Puts items together, one a lane at a time. Memory grows with what has arrived, not with what was
/// announced.
class ItemReader {
public:
    /// True when the frame belongs to a lane: Post, Item, Live, More.
    static bool IsLaneFrame(const Header& header);
    /// Takes a lane frame; gives the item that it completes. Throws WireError when a lane has two items
    /// at once, a More without a first frame, or more bytes than were announced.
    std::optional<ItemView> Take(const FrameView& frame);
    /// Of items that are not complete yet.
    std::size_t HeldBytes() const;

private:
    struct Half {
        Header header;
        std::string body;
        std::size_t total = 0;
        std::size_t arrived = 0;
        bool discard = false;
    };
    std::optional<ItemView> Begin(const FrameView& frame, std::unique_ptr<Half>& slot);
    std::optional<ItemView> Go(const FrameView& frame, std::unique_ptr<Half>& slot);

    std::array<std::unique_ptr<Half>, 3> mHalves;
    std::unique_ptr<Half> mWhole;  // the item handed out last, if it had several frames
};

/// Hands over the one live frame that `bytes` are, whole, or the one of voice; anything else is dropped.
void ReadLiveFrame(std::string_view bytes, Way way, const std::function<void(const ItemView&)>& take);

/// The lane of a frame that begins an item; LANE_UNSPECIFIED for all others.
Lane LaneOf(const Header& header);
/// What the item that this frame begins announces as its total, and what it may have at most.
std::size_t TotalOf(const Header& header);
std::size_t BodyLimit(const Header& header);

}  // namespace zephyl
