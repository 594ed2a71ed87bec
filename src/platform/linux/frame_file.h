#pragma once
// Reading pictures from a Y4M or MJPEG file, again and again. User-interface thread only.

#include <QFile>
#include <QString>
#include <memory>

#include "platform/linux/i420.h"

/// A file of pictures. A damaged or cut-off picture is left out.
class FrameFile {
public:
    virtual ~FrameFile() = default;
    /// The next picture; after the last one the first again. Null: the file holds no whole picture (any
    /// more).
    virtual I420Picture Next() = 0;
};

/// What opening gave: the file, or one sentence why not.
struct OpenedFrameFile {
    std::unique_ptr<FrameFile> file;
    QString trouble;
};
OpenedFrameFile OpenFrameFile(const QString& path);
