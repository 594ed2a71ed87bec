#include "platform/linux/frame_file.h"

#include <QFileInfo>

#include "platform/linux/mjpeg_file.h"
#include "platform/linux/y4m_file.h"

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 kLongestHeader = 4096;
constexpr qint64 kLargestMjpeg = 512ll * 1024 * 1024;  // held in memory

OpenedFrameFile Refused(const QString& path, const QString& why)
{
    return {nullptr, u"The video file %1 cannot be used: %2."_s.arg(path, why)};
}

}  // namespace

OpenedFrameFile OpenFrameFile(const QString& path)
{
    const QFileInfo info(path);  // opening a named pipe would wait for its other end
    if (info.exists() && !info.isFile()) return Refused(path, u"it is no file"_s);
    auto file = std::make_unique<QFile>(path);
    if (!file->open(QIODevice::ReadOnly)) return Refused(path, file->errorString());
    const QByteArray line = file->readLine(kLongestHeader);
    if (line.startsWith("YUV4MPEG2 ")) {
        const Y4mHeader header = ReadY4mHeader(line);
        if (!header.trouble.isEmpty()) return Refused(path, header.trouble);
        return {std::make_unique<Y4mFile>(std::move(file), header), {}};
    }
    if (!line.startsWith("\xFF\xD8\xFF")) return Refused(path, u"it is neither Y4M nor MJPEG"_s);
    if (file->size() > kLargestMjpeg) return Refused(path, u"it is larger than 512 MiB"_s);
    return {std::make_unique<MjpegFile>(std::move(file)), {}};
}
