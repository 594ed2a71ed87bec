#pragma once
// A mark is one change of the board as a value: a record that draws, clears, undoes or redoes, a picture, or
// that somebody's marks are taken back.
// Pure: any thread.

#include <QDateTime>
#include <QPoint>
#include <QString>
#include <memory>

#include "contract/picture.h"

/// Immutable once made.
struct Mark {
    QString record;          // whole, tag included; "": it is none
    PicturePtr picture;      // null: it is a record. Without pixels it can be kept but not applied
    QPoint at;               // of the picture's top left corner, board pixels
    QString author;          // a handle
    QDateTime when;          // on the user's clock
    quint64 sequence = 0;    // of the meeting's log; 0: not known
    QString takesBack = {};  // the handle whose marks go; "": nobody's
};
using MarkPtr = std::shared_ptr<const Mark>;
