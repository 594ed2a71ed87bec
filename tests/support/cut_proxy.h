#pragma once
// Stands between link and relay on loopback and cuts them apart when told.

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <cstdint>
#include <list>
#include <memory>
#include <thread>

class CutProxy {
public:
    explicit CutProxy(std::uint16_t target);
    ~CutProxy();
    CutProxy(const CutProxy&) = delete;
    CutProxy& operator=(const CutProxy&) = delete;

    std::uint16_t Port() const { return mPort; }
    /// Where new connections go from now on.
    void SetTarget(std::uint16_t target);
    /// Resets every connection there is.
    void Cut();
    /// From now on the next connection is reset after so many bytes from the client; 0: never.
    void CutAfter(std::size_t bytesUp);
    /// Refuses new connections, too.
    void Block(bool blocked);

private:
    using Socket = boost::asio::ip::tcp::socket;
    struct Pair;
    void Accept();
    void Copy(std::shared_ptr<Pair> pair, bool up);
    template <class Work>
    void OnThread(Work work);

    boost::asio::io_context mIo;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> mWork{mIo.get_executor()};
    boost::asio::ip::tcp::acceptor mAcceptor;
    std::uint16_t mPort, mTarget;
    bool mBlocked = false;
    std::size_t mCutAfter = 0;
    std::list<std::weak_ptr<Pair>> mPairs;
    std::thread mThread;
};
