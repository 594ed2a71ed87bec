#pragma once
// The meeting so far, packed in memory as a meeting file would hold it: what the board did and what was said,
// since the user came. A stroke costs a copy of its text, and a millisecond now and then for packing.

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <memory>
#include <string>

#include "whiteboard/mark_sink.h"

namespace meeting_file {
struct Item;
class Writer;
}  // namespace meeting_file

class MeetingRecording final : public MarkSink {
public:
    /// Packed, in bytes; what comes behind that is not kept, and Full() says so.
    static constexpr std::size_t kMostBytes = 128 * 1024 * 1024;

    explicit MeetingRecording(std::size_t mostBytes = kMostBytes);
    ~MeetingRecording() override;

    /// Another meeting: nothing is left of the one before.
    void Begin(const QString& title, const QDateTime& now);
    /// The same meeting, to which this user has come back: its board is about to come anew.
    void BoardBegins(const QString& handle, const QDateTime& now);
    void Took(const Mark& mark) override;
    void Said(const QString& from, const QString& text, const QDateTime& when);

    int Items() const { return mItems; }
    bool Full() const { return mFull; }
    /// The meeting file of all that was kept. The recording goes on.
    QByteArray File() const;

private:
    void Keep(const meeting_file::Item& item);

    const std::size_t mMostBytes;
    std::string mBytes;  // without their end
    std::unique_ptr<meeting_file::Writer> mWriter;
    int mItems = 0;
    bool mFull = false;
};
