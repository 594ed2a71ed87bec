#include "platform/linux/file_driver.h"

using namespace Qt::StringLiterals;

std::unique_ptr<FileDriver> FileDriver::Open(const QString& path, QString& trouble)
{
    OpenedFrameFile opened = OpenFrameFile(path);
    trouble = opened.trouble;
    if (!opened.file) return nullptr;
    const I420Picture first = opened.file->Next();
    if (!first.IsNull()) return std::unique_ptr<FileDriver>(new FileDriver(std::move(opened.file), first));
    trouble = u"The video file %1 holds no whole picture."_s.arg(path);
    return nullptr;
}

FileDriver::FileDriver(std::unique_ptr<FrameFile> file, const I420Picture& first)
    : mFile(std::move(file)), mNative(I420Format(first.width, first.height)), mFormat(mNative)
{
}

std::vector<CameraFormat> FileDriver::Offered()
{
    return ScaledFormats(mNative);
}

bool FileDriver::SetFormat(const CameraFormat& format)
{
    mTrouble = RefusalOf(format);
    if (!mTrouble.isEmpty()) return false;
    mFormat = I420Format(format.width, format.height);
    mFormat.compression = format.compression;
    return true;
}

QByteArray FileDriver::Newest()
{
    const I420Picture picture = mFile->Next();
    if (picture.IsNull()) {
        mGone = u"The video file can no longer be read."_s;
        return {};
    }
    return Scaled(picture, mFormat.width, mFormat.height).bytes;
}
