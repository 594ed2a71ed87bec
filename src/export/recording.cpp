#include "export/recording.h"

#include "base/version.h"
#include "export/meeting_marks.h"
#include "meeting_file/writer.h"

MeetingRecording::MeetingRecording(std::size_t mostBytes) : mMostBytes(mostBytes)
{
    Begin({}, {});
}

MeetingRecording::~MeetingRecording() = default;

void MeetingRecording::Begin(const QString& title, const QDateTime& now)
{
    mBytes.clear();
    mItems = 0;
    mFull = false;
    const meeting_file::About about{title.left(200).toStdString(), "quorvia " + VersionText().toStdString(),
                                    now.isValid() ? now.toMSecsSinceEpoch() : 0};
    mWriter =
        std::make_unique<meeting_file::Writer>(about, [this](std::string_view bytes) { mBytes += bytes; });
}

void MeetingRecording::BoardBegins(const QString& handle, const QDateTime& now)
{
    if (mItems > 0) Keep(BeginsItem(handle, now));
}

void MeetingRecording::Took(const Mark& mark)
{
    Keep(ItemOf(mark));
}

void MeetingRecording::Said(const QString& from, const QString& text, const QDateTime& when)
{
    Keep(LineItem(from, text, when));
}

void MeetingRecording::Keep(const meeting_file::Item& item)
{
    if (mFull) return;
    try {
        mWriter->Add(item);
        ++mItems;
        mFull = mBytes.size() > mMostBytes;
    } catch (const meeting_file::BadFile&) {
        mFull = true;
    }
}

QByteArray MeetingRecording::File() const
{
    return QByteArray::fromStdString(mBytes + mWriter->Tail());
}
