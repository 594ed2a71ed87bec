#include "service/relay/cluster/log_chain.h"

#include <algorithm>
#include <utility>

namespace zephyl {
namespace {

constexpr int kOlder = 10;  // about a second lies between two

}  // namespace

LogChain::LogChain(std::string subject, ChainSurroundings& around)
    : mSubject(std::move(subject)), mAround(around)
{
}

/// The engine's thread tells it, the strand hears it.
template <class... Answer>
std::function<void(Answer...)> LogChain::Here(void (LogChain::*member)(Answer...))
{
    return [this, member, post = mAround.post, alive = std::weak_ptr<int>(mAlive)](Answer... answer) {
        post([this, member, alive, ... answer = std::move(answer)] {
            if (!alive.expired()) (this->*member)(answer...);
        });
    };
}

// --- opening ---------------------------------------------------------------------------------------

// Twice, because servers let two pass who expect the same at the same moment: whoever of them had been let
// pass when the first entry came has come himself before the second.
void LogChain::Open(Opened opened)
{
    Put(ChainMessage::Kind::Opening, {});
    mDone = [this, opened = std::move(opened)] {
        if (mEmpty) return opened(0);
        mDone = [this, opened] { opened(mLast); };
        Put(ChainMessage::Kind::Opened, {});
        SendFront();
    };
    mAsking = true;
    AskLast();
}

void LogChain::AskLast()
{
    mAround.engine.Last(mSubject, [this, post = mAround.post, alive = std::weak_ptr<int>(mAlive)](
                                      EngineResult result, EngineEntry last) {
        post([this, alive, result, last = std::move(last)] {
            if (!alive.expired()) OnLast(result, last);
        });
    });
}

// --- writing ---------------------------------------------------------------------------------------

void LogChain::Put(ChainMessage::Kind kind, std::string_view bytes)
{
    const std::size_t parts =
        std::max<std::size_t>(1, (bytes.size() + kChainPartBytes - 1) / kChainPartBytes);
    for (std::size_t part = 0; part < parts; ++part)
        mParts.push_back(WriteChainMessage(
            {mAround.epoch, mNumber + 1 + part, kind, static_cast<std::uint32_t>(part),
             static_cast<std::uint32_t>(parts), bytes.substr(part * kChainPartBytes, kChainPartBytes)}));
}

void LogChain::Append(std::string_view batch, Stored stored)
{
    Put(ChainMessage::Kind::Batch, batch);
    mFirst = 0;
    mDone = [this, stored = std::move(stored)] { stored(mFirst, mLast); };
    SendFront();
}

void LogChain::SendFront()
{
    if (mFenced) return;
    mWaiting = false;
    mAround.engine.Append(mSubject, mParts.front(), mLast,
                          Here<EngineResult, std::uint64_t>(&LogChain::OnAnswer));
}

void LogChain::OnAnswer(EngineResult result, std::uint64_t sequence)
{
    if (result == EngineResult::Ok)
        OnStored(sequence);
    else if (result == EngineResult::Other)
        AskLast();
    else
        Wait(result);
}

void LogChain::OnLast(EngineResult result, const EngineEntry& last)
{
    if (result == EngineResult::Away) return Wait(result);
    const bool first = std::exchange(mAsking, false);
    const std::optional<ChainMessage> stands = ReadChainMessage(last.bytes);
    const bool nothing = result == EngineResult::Missing;
    const bool own = stands && stands->epoch == mAround.epoch;
    mEmpty = first ? nothing : mEmpty && (nothing || own);
    if ((nothing && mLast > 0) || (stands && stands->epoch > mAround.epoch)) {
        mFenced = true;
        return mAround.fenced();
    }
    if (last.sequence < mLast) return OnOlder();
    mOlder = 0;
    if (own && stands->number == mNumber + 1) return OnStored(last.sequence);
    mLast = last.sequence;
    SendFront();
}

// Whoever answered does not know it yet. Or the servers lost their power and came back with what their disks
// had: then nobody will ever know it, and whoever opens the log anew goes on from what there is.
void LogChain::OnOlder()
{
    if (++mOlder < kOlder) return Wait(EngineResult::Full);
    mFenced = true;
    mAround.fenced();
}

void LogChain::OnStored(std::uint64_t sequence)
{
    mOlder = 0;
    if (std::exchange(mRefused, false)) mAround.changed();
    mLast = sequence;
    ++mNumber;
    if (mFirst == 0) mFirst = sequence;
    mParts.pop_front();
    if (!mParts.empty()) return SendFront();
    const auto done = std::exchange(mDone, nullptr);
    done();
}

// What has room or not is tried again a moment later; what was away, when it is back.
void LogChain::Wait(EngineResult why)
{
    if (!std::exchange(mRefused, true)) mAround.changed();
    mWaiting = true;
    if (why == EngineResult::Away && mAround.engine.Connected()) GoOn();
}

void LogChain::GoOn()
{
    if (!std::exchange(mWaiting, false)) return;
    if (mAsking)
        AskLast();
    else
        SendFront();
}

// --- letting go ------------------------------------------------------------------------------------

void LogChain::Purge(std::uint64_t before)
{
    mRest = std::max(mRest, before);
    if (mPurging > 0) return;
    mPurging = mRest;
    mAround.engine.Purge(mSubject, mPurging, Here<EngineResult>(&LogChain::OnPurged));
}

void LogChain::OnPurged(EngineResult)
{
    if (std::exchange(mPurging, 0) < mRest) Purge(mRest);
}

void LogChain::End()
{
    mFenced = true;
}

}  // namespace zephyl
