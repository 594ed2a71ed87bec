#pragma once
// What a meeting needs of a client's connection, and what the connection asks back.

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "service/wire/zephyl.pb.h"

namespace zephyl {

struct Session;

/// A way for live frames beside the connection, where the client's network lets datagrams through.
class LiveRoad {
public:
    virtual ~LiveRoad() = default;
    /// A picture of so many bytes goes this way now.
    virtual bool Takes(std::size_t bodyBytes) const = 0;
    /// The whole frame of one that it takes. False: not yet; its source is asked again when it may.
    virtual bool Put(std::string_view frame) = 0;
    /// The same of packets of voice that one datagram holds; they wait for no pace.
    virtual void PutVoice(std::string_view frames) = 0;
};

/// What several clients send and what leaves at once.
class Gathered {
public:
    virtual ~Gathered() = default;
    /// It is empty afterwards.
    virtual void Send() = 0;
};

/// What a seat sends beside the connection's own control frames.
class BatchSource {
public:
    virtual ~BatchSource() = default;
    /// Asked when the socket is free.
    virtual void Fill(std::string& batch, std::size_t limit) = 0;
    /// Asked before that, and whenever the road may take something, whether the socket is free or not.
    virtual void FillRoad(LiveRoad& road) = 0;
};

/// One client's end of a connection. Lives on one strand at a time, its home: a meeting's while it has a
/// seat there.
class Client {
public:
    virtual ~Client() = default;

    // --- on the home strand ---
    /// Queues a control frame for the next Flush.
    virtual void Send(const Header& header) = 0;
    /// The same with frames that are made already.
    virtual void SendBytes(std::string_view frames) = 0;
    /// Memory to build batches in; its owner keeps it from one client to the next.
    struct Scratch {
        std::string clear, sealed;
        // Whoever has flushed all of them sends these:
        std::unique_ptr<Gathered> beside;  // voice to several
        std::shared_ptr<Gathered> words;   // to other relays, of whose clients some were among them
        void SendGathered()
        {
            if (beside) beside->Send();
            if (words) std::exchange(words, nullptr)->Send();
        }
    };
    /// Sends what is ready until the socket is busy.
    virtual void Flush(Scratch& scratch) = 0;
    /// Sends only what may go beside the connection; that is a part of Flush.
    virtual void FlushRoad(Scratch&) {}
    /// Says Bye and closes once that has left. What comes in meanwhile is thrown away.
    /// `wait`: the client should not come back before.
    virtual void End(ByeReason reason, const std::string& text, std::chrono::milliseconds wait = {}) = 0;
    /// Closes at once; the reader meets the end.
    virtual void Drop(const std::string& why) = 0;
    /// Offers datagrams to whoever takes this place: an id and keys of its own, from now on.
    virtual void OfferDatagrams(Place& place) = 0;
    /// What to pull batches from; null when the seat has gone.
    virtual void PullFrom(BatchSource* source) = 0;
    /// A seat was resumed: this is that session's connection now.
    virtual void Adopt(std::shared_ptr<Session> session) = 0;
    /// Null before login.
    virtual std::shared_ptr<Session> TheSession() const = 0;
    /// Of somebody whom a person's own service lets in from the local network.
    virtual bool FromOutside() const = 0;

    /// What an operator is told of it.
    struct Facts {
        std::string address;
        std::string protocol;  // "tcp", "udp", "http"
        std::optional<std::chrono::microseconds> delay;
        std::string relay = {};  // that it is connected to; "": this one
    };
    virtual Facts TheFacts() const = 0;
    /// It has answered a ping.
    virtual void Heard(const Pong& pong) = 0;

    // --- any thread ---
    virtual void PostEnd(ByeReason reason, std::string text) = 0;
};

}  // namespace zephyl
