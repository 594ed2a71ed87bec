#include "support/cut_proxy.h"

#include <array>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <future>

namespace asio = boost::asio;
using asio::ip::tcp;

struct CutProxy::Pair {
    explicit Pair(Socket accepted) : client(std::move(accepted)), relay(client.get_executor()) {}
    void Reset()
    {
        boost::system::error_code ignored;
        for (Socket* socket : {&client, &relay}) {
            socket->set_option(asio::socket_base::linger(true, 0), ignored);
            socket->close(ignored);
        }
    }
    Socket client, relay;
    std::array<std::array<char, 16384>, 2> buffers;
    std::size_t left = 0;  // bytes up until the cut; 0: none
};

CutProxy::CutProxy(std::uint16_t target)
    : mAcceptor(mIo, {asio::ip::address_v4::loopback(), 0}),
      mPort(mAcceptor.local_endpoint().port()),
      mTarget(target)
{
    Accept();
    mThread = std::thread([this] { mIo.run(); });
}

CutProxy::~CutProxy()
{
    mIo.stop();
    mThread.join();
}

template <class Work>
void CutProxy::OnThread(Work work)
{
    std::promise<void> done;
    asio::post(mIo, [&] {
        work();
        done.set_value();
    });
    done.get_future().wait();
}

void CutProxy::SetTarget(std::uint16_t target)
{
    OnThread([&] { mTarget = target; });
}

void CutProxy::CutAfter(std::size_t bytesUp)
{
    OnThread([&] { mCutAfter = bytesUp; });
}

void CutProxy::Block(bool blocked)
{
    OnThread([&] { mBlocked = blocked; });
}

void CutProxy::Cut()
{
    OnThread([&] {
        for (const auto& pair : mPairs)
            if (const auto there = pair.lock()) there->Reset();
        mPairs.clear();
    });
}

void CutProxy::Accept()
{
    mAcceptor.async_accept([this](boost::system::error_code failed, Socket socket) {
        if (failed) return;
        const auto pair = std::make_shared<Pair>(std::move(socket));
        boost::system::error_code refused;
        if (!mBlocked) pair->relay.connect({asio::ip::address_v4::loopback(), mTarget}, refused);
        if (mBlocked || refused) {
            pair->Reset();
        } else {
            pair->left = std::exchange(mCutAfter, 0);
            mPairs.push_back(pair);
            Copy(pair, true);
            Copy(pair, false);
        }
        Accept();
    });
}

void CutProxy::Copy(std::shared_ptr<Pair> pair, bool up)
{
    Socket& from = up ? pair->client : pair->relay;
    from.async_read_some(asio::buffer(pair->buffers[up]), [this, pair, up](auto failed, std::size_t got) {
        if (failed) return pair->Reset();
        const bool cut = up && pair->left != 0 && got >= pair->left;
        if (up && pair->left != 0) pair->left -= std::min(pair->left, got);
        Socket& to = up ? pair->relay : pair->client;
        asio::async_write(to, asio::buffer(pair->buffers[up], got),
                          [this, pair, up, cut](auto lost, std::size_t) {
                              if (lost || cut) return pair->Reset();
                              Copy(pair, up);
                          });
    });
}
