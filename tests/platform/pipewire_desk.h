#pragma once
// A PipeWire of a test's own, and in it a window that somebody shares. Nothing manages the session: the
// source joins whoever listens to it by itself.

#include <QSize>
#include <memory>

#include "demo/stage.h"

class PipeWireDaemon {
public:
    PipeWireDaemon();
    /// A socket of a connection to it; the caller owns it.
    int Connect() const;
    void Kill();

private:
    stage::Folder mFolder;
    std::unique_ptr<stage::Child> mDaemon;
};

/// Pictures of one colour, 50 a second.
class PictureSource {
public:
    /// Comes back when there is something to connect to.
    PictureSource(const PipeWireDaemon& daemon, QSize size, quint32 colour);
    ~PictureSource();
    quint32 Node() const;
    void Show(QSize size, quint32 colour);

private:
    struct Running;
    std::unique_ptr<Running> mRunning;
};
