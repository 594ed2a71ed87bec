#pragma once
// Files that are either whole or as they were before. Any thread.

#include <QByteArray>
#include <QString>

enum class ReadableBy { Everybody, Owner };

/// Writes beside `path` and moves it there when it is whole and on the disk. Throws std::runtime_error,
/// "path: reason", and of a full disk also what to do; what had that name stays then.
void SaveWhole(const QString& path, const QByteArray& bytes, ReadableBy who = ReadableBy::Everybody);
