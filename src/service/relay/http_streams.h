#pragma once
// Who takes a stream that speaks HTTP. Any thread.

#include <memory>
#include <string>

#include "service/relay/came_by.h"
#include "service/relay/door/connection_gate.h"

namespace zephyl {

class TlsStream;

class HttpStreams {
public:
    using Ticket = std::unique_ptr<ConnectionGate::Ticket>;

    virtual ~HttpStreams() = default;
    /// Serves exchanges on a stream that has shaken hands.
    virtual void Serve(std::unique_ptr<TlsStream> stream, std::string address, Ticket ticket, CameBy by) = 0;
};

}  // namespace zephyl
