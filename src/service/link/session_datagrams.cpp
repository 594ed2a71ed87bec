// Live pictures beside the connection: as datagrams while those pass, else inside TLS as everything else.

#include "service/link/session.h"

namespace zephyl::link {

/// Keys are new with every place, so this is, too.
void Session::OpenDatagrams(const Place& place)
{
    CloseDatagrams();
    const auto keys = KeysOf(place);
    if (!mTarget.datagrams || mDatagramPort == 0 || !keys) return;
    try {
        boost::asio::ip::tcp::endpoint service = mConnection->Remote();
        service.port(mDatagramPort);
        mDatagrams = std::make_shared<Datagrams>(mIo.get_executor(), service, *keys);
        mDatagrams->Run(*this);
    } catch (const std::exception& e) {
        mNeeds.log(QStringLiteral("Live pictures go by TCP: %1").arg(QString::fromUtf8(e.what())));
    }
}

void Session::CloseDatagrams()
{
    mRoadFree.cancel();
    mLanes.NoRoad();
    if (!mDatagrams) return;
    mDatagrams->Close();
    mDatagrams.reset();
}

/// Whether the connection is busy or not.
void Session::FillRoad()
{
    if (!mDatagrams || mPhase != Phase::Seated || !mReady) return;
    const Deadline again = mLanes.FillRoad(*mDatagrams, Lanes::Clock::now());
    mConnection->Wake();  // what the road does not take any more
    if (again == Deadline::max()) return;
    mRoadFree.expires_at(again);
    mRoadFree.async_wait([weak = weak_from_this()](boost::system::error_code stopped) {
        const auto self = weak.lock();
        if (!stopped && self) self->FillRoad();
    });
}

void Session::OnLiveFrame(std::string_view frame)
{
    if (mPhase != Phase::Seated || !mReady) return;
    ReadLiveFrame(frame, Way::Down, [this](const ItemView& item) {
        if (item.header.has_voice())
            OnVoice(item.header.voice(), item.body);
        else
            mIncoming.OnLiveBeside(item);
    });
}

}  // namespace zephyl::link
