#pragma once
// Memory for the pixels of live pictures: nameless files of the system, mapped, which the display's server
// can be shown. Used again and again, so that a video meets no fresh pages. Any thread.

#include <QtGlobal>
#include <cstddef>
#include <memory>

class PixelMemory {
public:
    /// Throws std::system_error when there is none to be had.
    explicit PixelMemory(std::size_t bytes);
    ~PixelMemory();
    PixelMemory(const PixelMemory&) = delete;
    PixelMemory& operator=(const PixelMemory&) = delete;

    void* Data() const { return mData; }
    std::size_t Size() const { return mSize; }
    int File() const { return mFile; }
    /// Never the same for two of this process.
    quint64 Serial() const { return mSerial; }

private:
    const std::size_t mSize;
    const quint64 mSerial;
    int mFile;
    void* mData;
};

class PixelPool {
public:
    PixelPool();
    /// At least `bytes`, with whatever stood there before; back in the pool when the last holder has let go,
    /// also after the pool itself has gone. Null: more than a board takes, or none to be had.
    std::shared_ptr<PixelMemory> Take(std::size_t bytes);

private:
    struct Free;
    std::shared_ptr<Free> mFree;
};
