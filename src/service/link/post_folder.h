#pragma once
// The fold rule: the client sends one copy per attendee, the wire carries one post. A copy joins the last
// post while that is open, the copy is equal to it and its recipient is not yet in the list; so two equal
// messages stay two. Pure. User-interface thread.

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <memory>
#include <optional>

#include "service/link/outgoing.h"

namespace zephyl::link {

/// The operation a copy came by. Only Send keeps its list whatever it holds: a whisper to the one other
/// attendee must not reach a newcomer.
enum class Road { Send, Deliver, Frame };

struct Copy {
    Road road = Road::Send;
    QString to;
    QString text;                         // Send, Deliver
    QByteArray data;                      // Frame
    std::optional<PictureShape> picture;  // Frame
};

/// A post that is closed.
struct Folded {
    Copy first;  // its `to` means nothing
    QStringList recipients;
    std::shared_ptr<const std::string> body;
    std::shared_ptr<const void> room;
};

class PostFolder {
public:
    /// True: the copy joined the open post, and nothing else is to be done.
    bool Join(const Copy& copy);
    /// Opens a post with its first copy. Precondition: none is open.
    void Open(Copy copy, std::shared_ptr<const std::string> body, std::shared_ptr<const void> room);
    /// Closes the open post; none when there is none.
    std::optional<Folded> Close();
    bool IsOpen() const { return mOpen.has_value(); }

private:
    std::optional<Folded> mOpen;
};

/// Who gets a closed post. `others`: every other attendee at this moment. A post by Deliver or Frame that
/// names all of them goes to everyone, so that somebody who enters at this moment is not missed.
Audience AudienceOf(const Folded& post, const QStringList& others);

}  // namespace zephyl::link
