// Many datagrams by one call, from one loopback socket to another.

#include "service/net/datagram_socket.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>

namespace zephyl {
namespace {

sockaddr_storage At(const char* address)
{
    sockaddr_storage at{};
    auto& v4 = reinterpret_cast<sockaddr_in&>(at);
    auto& v6 = reinterpret_cast<sockaddr_in6&>(at);
    if (::inet_pton(AF_INET, address, &v4.sin_addr) == 1)
        at.ss_family = AF_INET;
    else if (::inet_pton(AF_INET6, address, &v6.sin6_addr) == 1)
        at.ss_family = AF_INET6;
    return at;
}

/// Whoever cuts them: the kernel out of one send, or nobody.
TEST(DatagramSocket, WhatIsSentInOneGoArrivesAsItWas)
{
    DatagramBatch batch;
    const auto add = [&](std::size_t count, std::uint16_t size) {
        for (; count > 0; --count) {
            batch.sizes.push_back(size);
            batch.bytes.append(size, char('a' + batch.sizes.size() % 26));
        }
    };
    add(130, kDatagramBytes);  // more than one call takes
    add(1, 700);
    add(2, kDatagramBytes);
    add(3, 40);
    add(1, 41);  // longer than those before it
    add(1, 1);
    for (const char* address : {"127.0.0.1", "::1"})
        for (const bool cut : {true, false}) {
            SCOPED_TRACE(testing::Message() << address << (cut ? " cut" : ""));
            DatagramSocket here = DatagramSocket::Listen(At(address));
            sockaddr_storage own{};
            socklen_t length = sizeof own;
            ::getsockname(here.Descriptor(), reinterpret_cast<sockaddr*>(&own), &length);
            DatagramSocket there = DatagramSocket::Towards(own);
            for (DatagramSocket* one : {&here, &there})
                if (!cut) one->CutNothing();
            // There, and back from the very address that was asked.
            DatagramPath back;
            const auto arrives = [&](DatagramSocket& at) {
                std::vector<std::uint16_t> sizes;
                std::string bytes;
                for (pollfd wait{at.Descriptor(), POLLIN, 0};
                     sizes.size() < batch.sizes.size() && ::poll(&wait, 1, 10'000) == 1;)
                    at.Receive([&](std::string_view datagram, const DatagramPath& from) {
                        back = from;
                        sizes.push_back(std::uint16_t(datagram.size()));
                        bytes += datagram;
                    });
                return sizes == batch.sizes && bytes == batch.bytes;
            };
            there.Send(batch);
            EXPECT_TRUE(arrives(here));
            here.Send(batch, &back);
            EXPECT_TRUE(arrives(there));
        }
}

}  // namespace
}  // namespace zephyl
