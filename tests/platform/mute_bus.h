#pragma once
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <QFile>

#include "files/careful_file.h"

/// A bus that lets in and never says a word.
class MuteBus {
public:
    explicit MuteBus(const QString& path) : mSocket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un name{};
        name.sun_family = AF_UNIX;
        QFile::encodeName(path).toStdString().copy(name.sun_path, sizeof name.sun_path - 1);
        EXPECT_EQ(::bind(mSocket.Number(), reinterpret_cast<const sockaddr*>(&name), sizeof name), 0);
        EXPECT_EQ(::listen(mSocket.Number(), 4), 0);
    }

private:
    const files::Descriptor mSocket;
};
