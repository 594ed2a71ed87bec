#include "support/fake_service.h"

#include <algorithm>
#include <functional>
#include <stdexcept>

#include "messaging/dispatch.h"
#include "messaging/record_kinds.h"

using namespace Qt::StringLiterals;

namespace {

[[noreturn]] void Fail(const QString& description)
{
    throw std::runtime_error(description.toStdString());
}

auto Find(const std::vector<std::shared_ptr<UserItem>>& items, const QString& handle)
{
    return std::find_if(items.begin(), items.end(),
                        [&](const auto& item) { return item->Handle() == handle; });
}

}  // namespace

void FakeItem::Init(const QString& handle, bool)
{
    mService.Call("Init", {handle});
    mHandle = handle;
}

void FakeItem::Deliver(const QString& from, const QString& tag, const QString& message, qint32)
{
    mService.Call("Deliver", {mHandle, from, tag, message});
    mService.NeedSession();
    if (from != mService.Handle()) Fail(u"not the session's handle: "_s + from);
    mService.CountLine(mHandle, message);
    mService.texts.push_back({mHandle, tag, message});
}

void FakeItem::SendVideoFrame(const QByteArray& data, const QString& handle, int x, int y, qint32 type,
                              qint32 quality)
{
    mService.Call("SendVideoFrame", {mHandle, handle, QString::number(x), QString::number(y),
                                     QString::number(type), QString::number(quality)});
    mService.NeedSession();
    const QString own = mService.Handle();
    if (handle != own && handle != QString::fromUtf16(kWhiteboardHandle) + own)
        Fail(u"not the session's handle"_s);
    if (x != qint16(x) || y != qint16(y)) Fail(u"position is outside -32768..32767"_s);
    if (type == kFrameWhiteboard) ++mService.posts;
    mService.frames.push_back({mHandle, handle, x, y, type, quality, data});
}

std::shared_ptr<UserItem> FakeUsers::Item(const QString& handle) const
{
    const auto at = Find(mItems, handle);
    if (at == mItems.end()) Fail(u"no such user: "_s + handle);
    return *at;
}

void FakeUsers::Remove(const QString& handle)
{
    const auto at = Find(mItems, handle);
    if (at == mItems.end()) Fail(u"no such user: "_s + handle);
    mItems.erase(at);
}

void FakeEncoder::SetQuality(qint16 quality)
{
    if (quality < 1 || quality > 100) Fail(u"quality %1 is outside 1..100"_s.arg(quality));
    mQuality = quality;
}

void FakeEncoder::Clear()
{
    mJournal += u"Encoder.Clear()"_s;
    mImage = {};
}

QByteArray FakeEncoder::GetBytes()
{
    if (mImage.width == 0) Fail(u"no image to encode"_s);
    return "jpeg " + QByteArray::number(mImage.width) + 'x' + QByteArray::number(mImage.height) + ' ' +
           QByteArray::number(mQuality);
}

qint32 FakeEncoder::EncodeFrame(const QByteArray& frame, bool isYUV)
{
    const qsizetype pixels = qsizetype(mPrepared.width) * mPrepared.height;
    if (pixels == 0 || frame.size() != (isYUV ? pixels * 3 / 2 : pixels * 3))
        Fail(u"frame of a wrong size"_s);
    mImage = mPrepared;
    return mQuality;
}

void FakeService::Call(const char* name, const QStringList& arguments)
{
    const QString operation = QLatin1String(name);
    journal += operation + u'(' + arguments.join(u',') + u')';
    if (const auto at = failures.find(operation); at != failures.end()) Fail(at->second);
}

void FakeService::NeedSession() const
{
    if (!mLoggedIn) Fail(u"not logged in"_s);
}

bool FakeService::Answer(const char* name, const QStringList& arguments)
{
    Call(name, arguments);
    auto& queue = answers[QLatin1String(name)];
    if (queue.empty()) return true;
    const bool answer = queue.front();
    queue.pop_front();
    return answer;
}

bool FakeService::Enter(const char* name, const QStringList& arguments)
{
    if (!Answer(name, arguments)) return false;
    NeedSession();
    mUsers = std::make_shared<FakeUsers>();
    for (const QString& handle : QStringList(mHandle) + others) {
        auto item = MakeUserItem();
        item->Init(handle, true);
        journal.removeLast();  // the service's own act
        mUsers->Add(item, 0);
    }
    return true;
}

void FakeService::Send(const QString& to, const QString& message, qint32)
{
    Call("Send", {to, message});
    NeedSession();
    CountLine(to, message);
    texts.push_back({to, QString(), message});
}

void FakeService::CountLine(const QString& to, const QString& message)
{
    if (to == mHandle) return;
    ++(IsBoardRecord(message) ? posts : lines);
}

void FakeService::Logout()
{
    Call("Logout", {});
    mLoggedIn = false;
    mHandle.clear();
    mUsers->Empty();
    mWaiting.clear();
}

bool FakeService::Login(const QString& handle, const QString& password, const QString& hostname)
{
    const bool ok = Answer("Login", {handle, password, hostname});
    mLoggedIn = ok;
    mHandle = ok ? (account.isEmpty() ? handle : account) : QString();
    mRefusal = ok ? QString() : refusal;
    return ok;
}

std::shared_ptr<UsersCollection> FakeService::Users()
{
    Call("Users", {});
    return mUsers;
}

QString FakeService::SendPassword(const QString& handle)
{
    Call("SendPassword", {handle});
    return address;
}

std::unique_ptr<FrameEncoder> FakeService::MakeFrameEncoder()
{
    return std::make_unique<FakeEncoder>(journal);
}

void FakeService::UseServiceAddress(const QString* typed)
{
    Call("UseServiceAddress", {typed ? *typed : u"as stored"_s});
}

void FakeService::KeepPicture(const QByteArray& data, int x, int y, qint32 quality)
{
    kept += u"%1 %2 %3 %4"_s.arg(QString::fromLatin1(data)).arg(x).arg(y).arg(quality);
}

void FakeService::SetEvents(MessengerEvents* sink)
{
    mSink = sink;
    while (mSink && !mWaiting.empty()) {
        const auto event = std::move(mWaiting.front());
        mWaiting.pop_front();
        event(*mSink);
    }
}

void FakeService::Own(std::function<void(MessengerEvents&)> event)
{
    if (mSink)
        event(*mSink);
    else
        mWaiting.push_back(std::move(event));
}
