#pragma once
// The pictures of one stream of PipeWire. Its library is opened when the first stream is, so that the program
// starts without it, and runs where it is not installed. User-interface thread only.

#include <QString>
#include <functional>
#include <memory>

#include "contract/picture.h"

class PipeWireStream {
public:
    /// "" when the library is there, else a sentence.
    static QString WhyNot();

    /// Takes `socket`, over which the stream `node` can be reached. `changed` is called from the event loop,
    /// never inside a call of ours, when one of the two below has become true.
    PipeWireStream(int socket, quint32 node, std::function<void()> changed);
    ~PipeWireStream();
    PipeWireStream(const PipeWireStream&) = delete;
    PipeWireStream& operator=(const PipeWireStream&) = delete;

    bool Runs() const;
    /// It has ended, or never began; nothing more comes.
    bool Lost() const;
    /// The newest picture; null before the first, and once it is lost.
    Pixels Newest();

private:
    class Running;
    std::unique_ptr<Running> mRunning;
};
