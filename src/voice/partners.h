#pragma once
// With whom to talk, from what the client asks for: its requests name people in a code page, and the door
// names them as they are. Pure.

#include <QByteArray>
#include <QByteArrayList>
#include <QSet>
#include <set>
#include <string>
#include <vector>

namespace voice {

/// A request's handle: what stands behind the last bar, because an address is any text and a handle has none;
/// "" when it names none. The address is nobody's business here.
QByteArray HandleOf(const QByteArray& text);

class Partners {
public:
    void Start(const QByteArray& handle) { mAsked.insert(handle); }
    void Stop(const QByteArray& handle) { mAsked.remove(handle); }
    bool Empty() const { return mAsked.isEmpty(); }

    /// Of those who are there; `handles`: the own one first, UTF-8. Whoever reads alike in the code page is
    /// meant, too: their requests cannot be told apart.
    std::set<std::string> Among(const std::vector<std::string>& handles) const;

private:
    QSet<QByteArray> mAsked;
};

}  // namespace voice
