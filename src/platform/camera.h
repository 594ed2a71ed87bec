#pragma once
// The user's own camera. User-interface thread only; frames arrive there too, through the gate.

#include <QByteArray>
#include <QString>
#include <chrono>
#include <functional>
#include <vector>

/// Four characters as a little-endian 32-bit code: 'I' is the lowest byte of "I420".
constexpr quint32 FourCC(char a, char b, char c, char d)
{
    return quint32(uchar(a)) | quint32(uchar(b)) << 8 | quint32(uchar(c)) << 16 | quint32(uchar(d)) << 24;
}
inline constexpr quint32 kI420 = FourCC('I', '4', '2', '0');
inline constexpr quint32 kIYUV = FourCC('I', 'Y', 'U', 'V');

/// The shape of raw frames. Pixels; bits a pixel; bytes a frame.
struct CameraFormat {
    int width = 0;
    int height = 0;
    quint32 compression = 0;  // FourCC, 0 for plain RGB
    int bitsPerPixel = 0;
    qint32 imageSize = 0;

    friend bool operator==(const CameraFormat&, const CameraFormat&) = default;
};

/// One frame. I420 planes have rows of (width + 1) / 2 chroma samples, and their numbers mean what they mean
/// in JPEG (ITU-R BT.601, all of 0 to 255), whatever the camera meant by its own.
struct CameraFrame {
    CameraFormat format;
    QByteArray bytes;
};

class CameraPort {
public:
    virtual ~CameraPort() = default;

    /// Where the next Open looks: "" the cameras of this computer, "file:PATH" a Y4M or MJPEG file in a
    /// loop, "pattern" a moving test picture.
    virtual void Choose(const QString& device) = 0;
    /// Connects driver `index` (the camera of that number). False: there is none, it is busy, or we may not.
    virtual bool Open(int index) = 0;
    virtual bool IsOpen() const = 0;
    /// One sentence on the last failed Open or SetFormat, for the event log; "" when there was none.
    virtual QString Trouble() const = 0;
    /// Preview off, callbacks gone, driver disconnected. Harmless when closed.
    virtual void Close() = 0;

    /// The formats that the driver offers as I420, smallest first.
    virtual std::vector<CameraFormat> Offered() = 0;
    virtual CameraFormat Format() const = 0;
    /// False: refused, the format stays. A driver may settle on a size nearby; Format tells.
    virtual bool SetFormat(const CameraFormat& format) = 0;

    /// Time from one frame to the next; 0 or less: none at all.
    virtual void SetPreviewRate(std::chrono::milliseconds rate) = 0;
    virtual void SetPreview(bool on) = 0;
    /// Called once a preview frame; null takes it away. A frame that finds the gate closed comes, newest
    /// content first, when the gate is open again.
    virtual void SetFrameCallback(std::function<void(const CameraFrame&)> callback) = 0;
    /// Called once when the open camera disappears, with a sentence for people. The port has closed it.
    virtual void SetLostCallback(std::function<void(const QString&)> callback) = 0;
};
