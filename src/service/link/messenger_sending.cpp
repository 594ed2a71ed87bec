// The sending half of LinkMessenger: bounds at the call, copies into posts, own copies raised here.

#include <boost/asio/post.hpp>

#include "service/link/messenger_parts.h"
#include "service/wire/content.h"
#include "service/wire/limits.h"

namespace zephyl::link {

namespace asio = boost::asio;

namespace {

constexpr std::size_t kEntryOverhead = 256;
constexpr std::size_t kTight = kOutboxBytes / 4 * 3;

QString Prefix()
{
    return QString::fromUtf8(kWhiteboardHandle.data(), qsizetype(kWhiteboardHandle.size()));
}

std::size_t BoundOf(const Copy& copy, const std::string& body)
{
    if (!copy.picture) return IsBoardText(body) ? kRecordBytes : kTextBytes;
    switch (copy.picture->type) {
        case kWhiteboardPicture: return kPictureBytes;
        case kApplicationImage: return kApplicationImageBytes;
        default: return kLiveFrameBytes;
    }
}

/// A text beside the board's.
bool IsLine(const Copy& copy)
{
    return !copy.picture && !IsBoardText(copy.text.left(64).toStdString());
}

bool IsLive(const Copy& copy)
{
    return copy.picture && copy.picture->type != kWhiteboardPicture;
}

void CheckCoordinate(const char* name, int value)
{
    if (value < -32768 || value > 32767)
        Fail(QStringLiteral("%1 %2 is outside -32768..32767").arg(QLatin1String(name)).arg(value));
}

}  // namespace

void LinkMessenger::Send(const QString& to, const QString& message, qint32)
{
    RequireMeeting();
    if (to.isEmpty()) Fail(QStringLiteral("a message has no recipient"));
    AddCopy(Copy{Road::Send, to, message, {}, {}});
}

void LinkMessenger::DeliverTo(const QString& handle, const QString& fromHandle, const QString& message)
{
    RequireMeeting();
    RequireOwnHandle(fromHandle);
    AddCopy(Copy{Road::Deliver, handle, message, {}, {}});
}

void LinkMessenger::SendFrameTo(const QString& handle, const QByteArray& data, const QString& fromHandle,
                                int x, int y, qint32 frameType, qint32 quality)
{
    RequireMeeting();
    AddCopy(Copy{Road::Frame, handle, {}, data, ShapeOf(fromHandle, x, y, frameType, quality)});
}

void LinkMessenger::Keep(const QString& record)
{
    if (mInMeeting) PostEveryone(Copy{Road::Deliver, {}, record, {}, {}});
}

void LinkMessenger::KeepPicture(const QByteArray& data, int x, int y, qint32 quality)
{
    if (!mInMeeting) return;
    const PictureShape shape = ShapeOf(Prefix() + mAccount.handle, x, y, kFrameWhiteboard, quality);
    PostEveryone(Copy{Road::Frame, {}, {}, data, shape});
}

void LinkMessenger::TakeBack(const QString& handle)
{
    RequireMeeting();
    if (!StartedMeeting()) Fail(QStringLiteral("only who started the meeting may take back"));
    const std::string whom = handle.toStdString();
    if (whom.empty() || whom.size() > kRecipientListBytes) Fail(QStringLiteral("there is no such handle"));
    CloseFold();
    HandOver(Outgoing{std::make_shared<const std::string>(),
                      {},
                      Audience{true, {}},
                      TakeRoom(kEntryOverhead),
                      0,
                      ++mLastBoardPost,
                      whom});
}

// --- checks --------------------------------------------------------------------------------------------

void LinkMessenger::RequireMeeting() const
{
    if (!mInMeeting) Fail(QStringLiteral("There is no meeting to send to."));
}

void LinkMessenger::RequireOwnHandle(const QString& fromHandle) const
{
    if (fromHandle != mAccount.handle)
        Fail(QStringLiteral("'%1' is not the handle of this session").arg(fromHandle));
}

PictureShape LinkMessenger::ShapeOf(const QString& fromHandle, int x, int y, qint32 frameType,
                                    qint32 quality) const
{
    const bool prefixed = fromHandle.startsWith(Prefix());
    RequireOwnHandle(prefixed ? fromHandle.mid(Prefix().size()) : fromHandle);
    if (frameType != kFrameVideo && frameType != kFrameApplication && frameType != kFrameWhiteboard)
        Fail(QStringLiteral("there is no picture of type %1").arg(frameType));
    CheckCoordinate("x", x);
    CheckCoordinate("y", y);
    return PictureShape{x, y, frameType, prefixed, quality};
}

/// Its share of the outbox, given back by the last owner. Throws when the outbox is full.
std::shared_ptr<const void> LinkMessenger::TakeRoom(std::size_t bytes)
{
    const std::size_t taken = mRoomTaken->fetch_add(bytes) + bytes;
    if (taken > kOutboxBytes) {
        mRoomTaken->fetch_sub(bytes);
        Fail(English("Too much is waiting to be sent. Try again when some of it has gone."));
    }
    if (taken >= kTight && taken - bytes < kTight)
        Note(English("Much is waiting to be sent: it goes out by itself."));
    return std::shared_ptr<const void>(
        mRoomTaken.get(), [counter = mRoomTaken, bytes](const void*) { counter->fetch_sub(bytes); });
}

bool LinkMessenger::SendingIsTight() const
{
    return *mRoomTaken >= kTight;
}

QStringList LinkMessenger::Others() const
{
    QStringList others;
    for (const auto& item : mUsers->Items())
        if (item->Handle() != mAccount.handle) others += item->Handle();
    return others;
}

// --- copies --------------------------------------------------------------------------------------------

void LinkMessenger::AddCopy(const Copy& copy)
{
    if (!LoggedIn()) return Lose(copy);  // ended a moment ago; the events that say so are on their way
    if (!mFolder.Join(copy)) {
        CloseFold();
        OpenPost(copy);
    }
    if (copy.to == mAccount.handle) RaiseOwn(copy);
}

void LinkMessenger::OpenPost(const Copy& copy)
{
    auto body =
        std::make_shared<const std::string>(copy.picture ? copy.data.toStdString() : copy.text.toStdString());
    const std::size_t bound = BoundOf(copy, *body);
    if (body->size() > bound)
        Fail(QStringLiteral("%1 bytes are too many to send: at most %2").arg(body->size()).arg(bound));
    std::shared_ptr<const void> room = IsLive(copy) ? nullptr : TakeRoom(body->size() + kEntryOverhead);
    mFolder.Open(copy, std::move(body), std::move(room));
    mNeeds.post.Post([this, alive = std::weak_ptr<Outlet>(mAlive)] {
        if (!alive.expired()) CloseFold();
    });
}

void LinkMessenger::CloseFold()
{
    std::optional<Folded> post = mFolder.Close();
    if (!post || !mSession) return;
    post->recipients.removeAll(mAccount.handle);
    if (post->recipients.isEmpty()) return;
    Outgoing what{post->body, post->first.picture, AudienceOf(*post, Others()), post->room};
    if (IsLine(post->first))
        what.line = ++mLastLine;
    else if (!IsLive(post->first))
        what.post = ++mLastBoardPost;
    HandOver(std::move(what));
}

quint64 LinkMessenger::LastBoardPost()
{
    CloseFold();
    return mLastBoardPost;
}

quint64 LinkMessenger::LastLine()
{
    CloseFold();
    return mLastLine;
}

/// There is no session to hand it to.
void LinkMessenger::Lose(const Copy& copy)
{
    if (IsLine(copy) && copy.to != mAccount.handle) mQueue.LineLost(++mLastLine);
}

void LinkMessenger::PostEveryone(const Copy& copy)
{
    CloseFold();
    if (!LoggedIn()) return;
    OpenPost(copy);
    const std::optional<Folded> post = mFolder.Close();
    HandOver(Outgoing{post->body, post->first.picture, Audience{true, {}}, post->room, 0, ++mLastBoardPost});
}

void LinkMessenger::HandOver(Outgoing what)
{
    const bool live = what.picture && what.picture->type != kWhiteboardPicture;
    asio::post(mIo, [session = mSession, live, given = std::move(what)]() mutable {
        if (live)
            session->SetLive(std::move(given));
        else
            session->Post(std::move(given));
    });
}

/// The own copy never leaves the link.
void LinkMessenger::RaiseOwn(const Copy& copy)
{
    LinkEvent event;
    event.entry = mEntry;
    event.from = mAccount.handle;
    if (copy.picture) {
        event.kind = LinkEvent::Kind::Frame;
        event.line = copy.picture->type == kWhiteboardPicture ? Line::Board : Line::Live;
        if (copy.picture->prefixed) event.from.prepend(Prefix());
        event.jpeg = copy.data;
        event.x = copy.picture->x;
        event.y = copy.picture->y;
        event.type = copy.picture->type;
    } else {
        event.kind = LinkEvent::Kind::Message;
        event.line = IsLine(copy) ? Line::Talk : Line::Board;
        event.text = copy.text;
    }
    mQueue.Push(std::move(event));
}

}  // namespace zephyl::link
