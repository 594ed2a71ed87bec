#pragma once
// JPEG pictures that strangers sent, read as the link reads those of a meeting.

#include <QByteArray>

#include "contract/picture.h"

class PictureReader {
public:
    virtual ~PictureReader() = default;
    /// What of the picture lies on the board when its top left corner is at x, y (board pixels). Null: it is
    /// none that is shown. Any thread.
    virtual PicturePtr Read(const QByteArray& jpeg, int x, int y) const = 0;
};
