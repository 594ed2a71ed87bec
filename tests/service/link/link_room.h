#pragma once
// A relay and attendees with the real link to it, both in this process.

#include <string>

#include "reliability/linked_attendee.h"
#include "service/codec/jpeg_encoder.h"
#include "service/link/link_messenger.h"
#include "service/relay/relay_fixture.h"

namespace zephyl {

using AttendeePtr = std::unique_ptr<LinkedAttendee>;

inline std::string At(std::uint16_t port, const std::string& host = "127.0.0.1")
{
    return host + ':' + std::to_string(port);
}

/// Grey where the frame has no bytes.
inline QByteArray Jpeg(int width, int height, std::vector<std::uint8_t> frame = {})
{
    frame.resize(Bgr24Bytes(width, height), 90);
    JpegEncoder encoder;
    const JpegBytes jpeg = encoder.EncodeBgr24(frame, width, height, 60);
    return QByteArray(reinterpret_cast<const char*>(jpeg.data()), qsizetype(jpeg.size()));
}

/// The relay keeps the seat of whoever was cut off, and what a service that stops forgets is part of it.
class LinkRoom : protected RelayRoom {
protected:
    explicit LinkRoom(Protocol usual) : RelayRoom(Ways{}), protocol(usual)
    {
        options.times.grace = std::chrono::minutes(1);
    }
    /// Who goes to `where` and believes this key; "": the relay, and its own.
    AttendeePtr Attendee(const std::string& where = {}, const std::string& key = {})
    {
        auto attendee = std::make_unique<LinkedAttendee>(
            QString::fromStdString(where.empty() ? At(relay->Port()) : where),
            key.empty() ? relay->Fingerprint() : key);
        attendee->protocol = protocol;
        attendee->proxy = httpProxy;
        return attendee;
    }
    AttendeePtr LoggedIn(const char* handle, const std::string& where = {}, const std::string& key = {})
    {
        auto attendee = Attendee(where, key);
        EXPECT_TRUE(attendee->Login(QString::fromLatin1(handle)))
            << qPrintable(attendee->link->LastRefusal());
        return attendee;
    }
    /// And in the meeting "Room01", which the first one makes.
    AttendeePtr Joined(const char* handle, const std::string& where = {}, const std::string& key = {})
    {
        auto attendee = LoggedIn(handle, where, key);
        EXPECT_TRUE(std::exchange(made, true) ? attendee->link->JoinMeeting(QStringLiteral("room01"))
                                              : attendee->link->CreateMeeting(QStringLiteral("Room01"), {}));
        return attendee;
    }

    // Of whoever comes next.
    Protocol protocol;
    QString httpProxy = QStringLiteral("direct");
};

}  // namespace zephyl
