#pragma once
// The desktop's clipboard, as far as pictures go, and texts that are put there. User-interface thread only.

class QImage;
class QString;

class ClipboardPort {
public:
    virtual ~ClipboardPort() = default;
    virtual void Clear() = 0;
    /// The picture that is there, whatever image type it was put as, or the one in a file that was copied; a
    /// null image when there is none.
    virtual QImage Picture() = 0;
    virtual void SetPicture(const QImage& picture) = 0;
    virtual void SetText(const QString& text) = 0;
};
