#pragma once
// How each kind of server is spoken to: the same bodies, each in its own protocol. One object per client.

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "relay/servers.h"

/// A connection while a client enters: everything in turn.
class Line {
public:
    virtual ~Line() = default;
    virtual void Put(std::string_view bytes) = 0;
    /// Waits until more has been appended to the dialect's Intake. Throws after ten seconds.
    virtual void Wait() = 0;
};

class Dialect {
public:
    using Got = std::function<void(std::string_view body)>;

    static std::unique_ptr<Dialect> Of(Kind kind);
    virtual ~Dialect() = default;
    /// Until the client is let in; `joins`: to where the messages go, else it stays outside, idle.
    virtual void Enter(Line& line, int index, bool joins) = 0;
    virtual void AppendPost(std::string& out, std::string_view body) = 0;
    /// Takes whole messages off what has arrived; what must be answered is appended to `answer`.
    virtual void Take(const Got& got, std::string& answer) = 0;
    /// Where what arrives is appended.
    virtual std::string& Intake() { return mIn; }

protected:
    std::string mIn;
};

std::unique_ptr<Dialect> MakeMosquittoDialect();
std::unique_ptr<Dialect> MakeNatsDialect();
std::unique_ptr<Dialect> MakeMumbleDialect();
