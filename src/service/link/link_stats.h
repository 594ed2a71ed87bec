#pragma once
// Figures of a link, for people and scripts. Plain data.

#include <cstdint>
#include <string>

struct LinkStats {
    std::uint64_t outbox = 0;                           // entries not yet safe
    std::uint64_t numberTalk = 0, numberBoard = 0;      // highest own numbers
    std::uint64_t acceptedTalk = 0, acceptedBoard = 0;  // own numbers that the log has safely
    std::uint64_t cursorTalk = 0, cursorBoard = 0;      // sequences taken
    std::uint64_t enteredBoard = 0;                     // the board's end when the user entered
    std::uint64_t boardToCome = 0;                      // bytes of it, about; 0: all but the last few
    std::uint64_t reconnects = 0;
    std::string
        relay;  // HOST:PORT of the one where the connection stood last, unless it is the user's choice
    std::uint64_t bytesIn = 0, bytesOut = 0;
    std::uint64_t roundTripMicroseconds = 0;  // 0: not measured yet
    // Live pictures: whether they go, and come, by UDP at this moment; datagrams of this connection.
    bool upByUdp = false, downByUdp = false;
    std::uint64_t datagramsSent = 0, datagramsLost = 0;        // as the service tells
    std::uint64_t datagramsReceived = 0, datagramsMissed = 0;  // received, and not
};
