#pragma once
// A proxy of the network that is asked for a way on. One thread.

#include <atomic>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <memory>
#include <string>
#include <thread>

#include "service/net/plain_stream.h"

namespace zephyl {

namespace asio = boost::asio;

/// Lets through whoever asks for a tunnel, with the right name and password where it has some.
class TunnelProxy {
public:
    explicit TunnelProxy(std::string wanted)
        : mWanted(std::move(wanted)), mAcceptor(mIo, {asio::ip::address_v4::loopback(), 0})
    {
        asio::co_spawn(mIo, Accept(), asio::detached);
        mThread = std::thread([this] { mIo.run(); });
    }
    ~TunnelProxy()
    {
        mIo.stop();
        mThread.join();
    }
    std::uint16_t Port() const { return mAcceptor.local_endpoint().port(); }
    std::atomic<int> tunnels{0};

private:
    asio::awaitable<void> Accept()
    {
        for (;;)
            asio::co_spawn(mIo, Serve(co_await mAcceptor.async_accept(asio::use_awaitable)), asio::detached);
    }
    asio::awaitable<void> Serve(asio::ip::tcp::socket socket)
    {
        try {
            const auto client = std::make_shared<PlainStream>(std::move(socket));
            std::string head;
            while (!head.ends_with("\r\n\r\n")) co_await client->Read(head);
            if (!mWanted.empty() &&
                head.find("Proxy-Authorization: Basic " + mWanted + "\r\n") == std::string::npos) {
                co_await client->Write("HTTP/1.1 407 No\r\nContent-Length: 3\r\n\r\nno\n");
                co_return;
            }
            const auto colon = head.find(':'), blank = head.find(' ', colon);
            const auto port =
                static_cast<std::uint16_t>(std::stoi(head.substr(colon + 1, blank - colon - 1)));
            asio::ip::tcp::socket on(mIo);
            co_await on.async_connect({asio::ip::address_v4::loopback(), port}, asio::use_awaitable);
            const auto service = std::make_shared<PlainStream>(std::move(on));
            co_await client->Write("HTTP/1.1 200 Tunnel\r\n\r\n");
            ++tunnels;
            asio::co_spawn(mIo, Carry(service, client), asio::detached);
            co_await Carry(client, service);
        } catch (const std::exception&) {
            // nothing to be told to anybody
        }
    }
    static asio::awaitable<void> Carry(std::shared_ptr<PlainStream> from, std::shared_ptr<PlainStream> to)
    {
        try {
            for (std::string bytes;; bytes.clear()) {
                co_await from->Read(bytes);
                co_await to->Write(bytes);
            }
        } catch (const std::exception&) {
            to->Close();
        }
    }
    const std::string mWanted;
    asio::io_context mIo;
    asio::ip::tcp::acceptor mAcceptor;
    std::thread mThread;
};

}  // namespace zephyl
