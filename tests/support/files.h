#pragma once
// Whole files at once.

#include <gtest/gtest.h>

#include <QFile>

inline void WriteFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size()) << path.toStdString();
}

/// Its user's alone to read.
inline void WriteSecret(const QString& path, const QByteArray& bytes)
{
    WriteFile(path, bytes);
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
}

inline QByteArray ReadFile(const QString& path)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
    return file.readAll();
}
