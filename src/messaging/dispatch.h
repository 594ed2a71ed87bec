#pragma once
// What an incoming message means: a decision, taken by its tag. Pure; the window acts on it.

#include <QString>
#include <variant>

#include "messaging/encryption.h"

namespace decision {

struct Nothing {};       // a receipt or a notice: consumed
struct SharingEnded {};  // the sender's window has gone
struct BoardRecord {
    QString message;
};  // whole, with its tag, deciphered
struct FrameRate {
    int value = 0;
};  // for the frame-rate slider, not yet inside its range
struct ChatLine {
    QString text;
    bool sendReceipt = false;
};

}  // namespace decision

using Decision = std::variant<decision::Nothing, decision::SharingEnded, decision::BoardRecord,
                              decision::FrameRate, decision::ChatLine>;

/// Takes one layer of encryption off, whatever the own settings say, and decides by the tag in front.
/// Tags are compared exactly; a message with an unknown one is a chat line.
/// Throws std::runtime_error when a frame rate does not fit into 32 bits.
Decision DecideMessage(const QString& ownHandle, const QString& fromHandle, const QString& message,
                       const MessageKeys& keys);

/// Whether the receivers of `message` would take it for something else than a chat line.
bool ActsAsRecord(const QString& message);
