#pragma once
// A TLS connection as a road.

#include <memory>

#include "service/net/tls_stream.h"
#include "service/relay/road.h"

namespace zephyl {

class TlsRoad final : public Road {
public:
    explicit TlsRoad(std::unique_ptr<TlsStream> stream) : mStream(std::move(stream)) {}

    TlsStream& Stream() { return *mStream; }
    /// Leaves nothing behind that could be called.
    std::unique_ptr<TlsStream> Release() { return std::move(mStream); }

    const char* Name() const override { return "tcp"; }
    bool InputKept() const override { return mStream->InputKept(); }
    boost::asio::awaitable<void> Readable() override;
    bool TakeReady(std::string& into) override { return mStream->TakeReady(into); }
    bool Free() const override { return true; }
    bool Put(std::string_view bytes, std::string& sealed) override { return mStream->Put(bytes, sealed); }
    void Push() override {}
    bool Flush() override { return mStream->Flush(); }
    std::size_t Backlog() const override { return mStream->Backlog(); }
    void WhenFree(std::function<void()> then) override;
    void Finish() override;
    bool PeerClosed() const override { return mStream->PeerClosed(); }
    void Close() noexcept override { mStream->Close(); }

private:
    std::unique_ptr<TlsStream> mStream;
};

}  // namespace zephyl
