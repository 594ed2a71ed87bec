#pragma once
// Items of a meeting file as the marks and lines that they were, and the other way round. Any thread.

#include <optional>

#include "contract/picture_reader.h"
#include "meeting_file/item.h"
#include "whiteboard/mark.h"

meeting_file::Item ItemOf(const Mark& mark);
/// The board is white again, for this user comes back.
meeting_file::Item BeginsItem(const QString& handle, const QDateTime& when);
meeting_file::Item LineItem(const QString& from, const QString& text, const QDateTime& when);

/// Null: it changes no board, or its picture is none that is shown.
MarkPtr MarkOf(const meeting_file::Item& item, const PictureReader& pictures);

/// In the user's local time; invalid where the file does not know it.
QDateTime TimeOf(const meeting_file::Item& item);
